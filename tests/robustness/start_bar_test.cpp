// A start bar far past the last bar asks for nothing: every export must answer at once and leave
// its Return Value as the call before made it. Some walked back bar by bar from the start bar
// to the data, two billion steps from a start bar of 2147483647 (MovAvg, CCI, Consecutive,
// MostRecentOccurrence).
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <string_view>
#include <vector>

#include "exports/export_def.h"
#include "host/hostkit.h"

namespace fk {
namespace {

constexpr int kBars = 120;

TEST(StartBar, FarPastTheEndEveryExportAnswersAtOnceAndWritesNothing) {
    std::vector<host::Bar> bars;
    std::vector<double> closes;
    for (int i = 0; i < kBars; ++i) {
        const double p = 100 + 5 * std::sin(i * 0.2);
        bars.push_back({43900.0 + i, p, p + 1, p - 1, p + 0.5, 1000});
        closes.push_back(std::fmod(i, 7) < 3 ? 0 : p);
    }
    for (const ExportEntry& e : exportTable()) {
        // the dump exports answer the number of lines this call wrote, 0 here (their files are
        // tested with the utilities)
        if (std::string_view(e.name).starts_with("DumpArray")) continue;
        for (int32_t start : {INT32_MAX, 1 << 30, kBars + 1}) {
            SCOPED_TRACE(std::string(e.name) + " from bar " + std::to_string(start));
            host::Market market(bars);
            std::vector<std::unique_ptr<host::Series>> series;
            std::vector<std::unique_ptr<host::Text>> texts;
            host::Series out;
            host::Text outText;
            host::Call call(e, e.entry);
            if (e.sig.types[0] == kArgTextSeries) call.out(outText);
            else call.out(out);
            int numbers = 0;
            for (int i = 2; i <= e.sig.maxCount; ++i) {
                switch (e.sig.types[i - 1]) {
                case kArgSeries: call.arg(*series.emplace_back(std::make_unique<host::Series>(host::Series::of(closes)))); break;
                case kArgNumber: call.arg(numbers++ == 0 ? 14.0 : 1.0); break; // a length, then a kind
                case kArgMarket: call.arg(market); break;
                case kArgText: call.arg(*texts.emplace_back(std::make_unique<host::Text>("+"))); break;
                default: call.rawPointer(kParamTextSeries, &texts.emplace_back(std::make_unique<host::Text>("+"))->handle()); break;
                }
            }
            call.run(0);
            const std::vector<double> before = out.values();
            const auto began = std::chrono::steady_clock::now();
            call.run(start);
            const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
            // a walk of two billion bars takes seconds; a call over 120 bars, microseconds
            EXPECT_LT(seconds, 1.0);
            const std::vector<double> after = out.values();
            ASSERT_EQ(after.size(), before.size());
            for (std::size_t i = 0; i < after.size(); ++i)
                EXPECT_TRUE(after[i] == before[i] || (std::isnan(after[i]) && std::isnan(before[i]))) << "bar " << i;
        }
    }
}

} // namespace
} // namespace fk
