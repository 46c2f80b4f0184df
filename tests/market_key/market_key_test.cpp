// The market key: the worked record sheets, read through all four exports of each form, and the
// status codes.
#include <gtest/gtest.h>

#include <string>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class MarketKeyTest : public HeapChecked {};

// The column each bar's close is recorded in: U upward trend, D downward trend, R natural rally,
// r secondary rally, E natural reaction, e secondary reaction, - none.
struct Sheet {
    const char* what;
    Vec closes;
    std::vector<double> numbers; // one: the plain forms; three: the custom forms
    double tick;
    const char* columns;
};

TEST_F(MarketKeyTest, RecordSheets) {
    const Vec ex1 = {100, 103, 107, 110, 112, 108, 105, 103, 106, 109, 111, 113, 107, 104, 99, 97, 103, 100, 96, 91};
    Vec ex1Missing = ex1;
    ex1Missing[3] = F;
    const Sheet sheets[] = {
        {"trends, reactions, rallies", ex1, {6}, 0, "--UUU-EE-RRUEEDDR-DD"},
        {"0 means 6", ex1, {0}, 0, "--UUU-EE-RRUEEDDR-DD"},
        {"a missing close is passed over", ex1Missing, {6}, 0, "--U-U-EE-RRUEEDDR-DD"},
        {"secondary columns", {100, 107, 112, 106, 104, 110, 111, 105, 103, 109, 112, 114}, {6}, 0, "-UUEERReErRU"},
        {"down first", {100, 99, 94, 95, 101, 92}, {-1}, 0, "--D-RD"},
        {"percent", {50, 51, 53.1, 50.4, 49, 52, 51.5, 55}, {5, 2, 1}, 0, "--UEER-U"},
        // 3 ticks of 2 points reverse by 6; the confirmation defaults to half of that
        {"ticks", ex1, {3, 0, 2.9}, 2, "--UUU-EE-RRUEEDDR-DD"},
        // a confirmation of 5: bar 14 (99) stays a natural reaction above 103 - 5
        {"points with a confirmation", ex1, {6, 5, 0}, 0, "--UUU-EE-RRUEEEDR-DD"},
    };
    const std::pair<const char*, std::string> exports[] = {
        {"JLUpTrend", "U"}, {"JLDownTrend", "D"}, {"JLRally", "Rr"}, {"JLReaction", "Ee"}};
    for (const Sheet& s : sheets) {
        std::vector<Bar> bars;
        for (std::size_t i = 0; i < s.closes.size(); ++i) {
            const double c = s.closes[i];
            bars.push_back({40000.0 + i, c, c == F ? F : c + 1, c == F ? F : c - 1, c, 10});
        }
        Market m(bars);
        m.tick(s.tick, 1);
        for (const auto& e : exports) {
            const std::string name = std::string(e.first) + (s.numbers.size() == 3 ? "Cust" : "");
            SCOPED_TRACE(std::string(s.what) + " " + name);
            Vec want;
            for (std::size_t i = 0; i < s.closes.size(); ++i)
                want.push_back(e.second.find(s.columns[i]) != std::string::npos ? s.closes[i] : F);
            want.push_back(7); // past the last bar: kept
            std::vector<Arg> args = {&m};
            args.insert(args.end(), s.numbers.begin(), s.numbers.end());
            EXPECT_EQ(valuesOf(name.c_str(), args, 3, Vec(s.closes.size() + 1, 7.0)), want);
        }
    }
}

TEST_F(MarketKeyTest, StatusCodes) {
    expectStatuses({
        {"JLUpTrend", {'n', 6.0}, kTooFewBars},
        {"JLUpTrendCust", {'n', 6.0, 3.0, 0.0}, kTooFewBars},
    });
}

} // namespace
} // namespace fk
