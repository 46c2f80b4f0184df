// Status codes of the stops, trends, pivots and bands: each export's own checks of its market and
// its inputs.
#include <vector>

#include "market_data.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Call;
using host::Market;
using host::Series;

class StopsStatusTest : public testing::HeapChecked {};

std::vector<host::Bar> flatBars(int n) {
    return std::vector<host::Bar>(static_cast<std::size_t>(n), host::Bar{41640, 1, 2, 1, 1.5, 10});
}

TEST_F(StopsStatusTest, MarketAndInputChecks) {
    struct Case {
        const char* name;
        int bars;
        double number; // the look-back or length
        StatusCode status;
    };
    const Case cases[] = {
        {"WaveVolume_DLL", 0, 1, kTooFewBars}, {"WaveVolume_DLL", 1, 1, kOk},
        {"AgTrend", 8, 10, kTooFewBars},       {"AgTrend", 8, 7, kOk},
        // the look-back is tested as given: 0 stands for 3 only in the computation
        {"AgTrend", 3, 0, kOk},                {"AgTrend", 3, 3, kTooFewBars},
        {"AgTrend", 0, 0, kTooFewBars},        {"AgTrend", 0, -1, kOk},
        {"WillStopCustom", 3, 0, kTooFewBars}, {"WillStopCustom", 4, 0, kOk},
        {"BullishPivot", 5, 5, kTooFewBars},   {"BearishPivot", 5, 5, kTooFewBars},
        {"BullishPivot", 2, 0, kOk},           {"BullishPivot", 1, 0, kTooFewBars},
        {"EaseOfMove", 0, 1, kTooFewBars},     {"EaseOfMove", 1, 100, kOk},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " on " + std::to_string(c.bars) + " bars, " + std::to_string(c.number));
        Market m(flatBars(c.bars));
        Series out, levels = Series::of({1, 2, 3});
        Call call(c.name);
        call.out(out).arg(m);
        if (std::string(c.name) == "WillStopCustom") call.arg(levels).arg(levels);
        call.arg(c.number);
        EXPECT_EQ(call.run(0), c.status);
        if (c.status != kOk) {
            EXPECT_EQ(out.count(), 0);
        }
    }
}

TEST_F(StopsStatusTest, EmptySeries) {
    Market m(flatBars(5));
    Series some = Series::of({1, 2, 3});
    for (bool noBuffer : {true, false}) {
        SCOPED_TRACE(noBuffer ? "no buffer" : "no elements");
        Series empty = noBuffer ? Series::null() : Series::of({});
        for (const char* name : {"BomarUpper", "BomarLower"}) {
            Series out;
            Call call(name);
            call.out(out).arg(empty).arg(3).arg(4).arg(50);
            EXPECT_EQ(call.run(0), kDomainError) << name;
        }
        for (int entry : {3, 4}) {
            Series out;
            Call call("WillStopCustom");
            call.out(out).arg(m).arg(entry == 3 ? empty : some).arg(entry == 4 ? empty : some).arg(2);
            EXPECT_EQ(call.run(0), kDomainError) << "entry " << entry;
        }
    }
}

} // namespace
} // namespace fk
