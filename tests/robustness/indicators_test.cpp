// Faults that the fuzzer found in the indicator families, each kept as the call that showed it.
#include <gtest/gtest.h>

#include <cmath>
#include <string_view>

#include "host/hostkit.h"
#include "platform/heap.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class IndicatorRobustness : public HeapChecked {};

// A cash flow that overflows to infinity: scaling it down by thousands until it fell below
// 10,000 never ended.
TEST_F(IndicatorRobustness, CashFlowThatOverflowsToInfinityReturns) {
    for (double volume : {1e300, -1e300}) {
        SCOPED_TRACE(volume);
        const std::vector<Bar> bars = {
            {43900, 1, 1, 1, 1, volume}, {43901, 1e10, 1e10, 1e10, 1e10, volume}, {43902, 1, 1, 1, 1, 1}};
        const Vec got = valuesOf("CashFlow", {bars, 3.0});
        ASSERT_EQ(got.size(), 3u);
        EXPECT_EQ(got[0], 0);
        EXPECT_TRUE(std::isinf(got[1]));
    }
}

// Lengths and periods far past a short input, each of which once did work or took memory in
// proportion to the length before finding that no bar can fill: a length series of 2147483647 on
// consecutive bars (its growth by one bar added 1 in 32 bits); the cosine and sine tables of every
// period (246 periods of 65,536 bars, 258 MB); the line's sum of squared distances over the whole
// length; the triangular average's ring sized by the length (4 GB); a MACD histogram predictor
// whose periods were added in 32 bits. None takes more than a small block, and every bar holds
// the fill value.
TEST_F(IndicatorRobustness, LengthsFarPastTheInputTakeNoLargeBlockAndWriteTheFill) {
    const Vec in = {1, 2, 3, 2, 1}, price = {10, 11, 12, 11, 10}, zeros(5, 0), fill(5, F);
    const struct {
        const char* name;
        std::vector<Arg> args;
        Vec want; // MovingSum writes no bar at all
    } cases[] = {
        {"MovingSum", {in, Vec(5, 2147483647.0), 0.0}, {}},
        {"MovingSum", {in, Vec(5, 1e300), 0.0}, {}},
        {"CycleCalc", {in, 65536.0, 5.0, 250.0, 0.0}, fill},
        {"CycleAnalysis", {in, 65536.0, 5.0, 250.0, 0.0}, fill},
        {"TSLineSignificance", {in, 2147483647.0, 0.0}, fill},
        {"MovAvg", {in, 2147483647.0, 6.0}, fill},
        {"UpperOscPredictorDLL", {price, zeros, 3.0, 2147483647.0, 3.0, 2.0, 0.0, 1.0, 0.0, 0.0}, fill},
        {"LowerOscPredictorDLL", {price, zeros, 3.0, 2147483647.0, 3.0, 2.0, 0.0, 1.0, 0.0, 0.0}, fill},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        platform::HeapHolder::resetLargestRequest();
        const Result r = runCall(c.name, c.args);
        EXPECT_EQ(r.status, kOk);
        EXPECT_LT(platform::HeapHolder::largestRequest(), 4096u);
        EXPECT_EQ(r.values, c.want);
    }
}

// A bar before the resumed one changed between two calls: the search went on from a kept best
// value that the span no longer held, and looked for it past the end of the series.
TEST_F(IndicatorRobustness, ExtremeIndexResumedAfterAnEarlierBarChanged) {
    for (const char* name : {"LowestIndex", "HighestIndex"}) {
        SCOPED_TRACE(name);
        const double best = std::string_view(name) == "LowestIndex" ? 1 : 20;
        Series in = Series::of({5, best, 9, best});
        Series out;
        Call call(name);
        call.out(out).arg(in).arg(3).arg(0);
        EXPECT_EQ(call.run(0), 0);
        // the later of the two equal best values changes, and bars arrive
        series::setNumber(in.handle(), 3, 9);
        for (int k = 0; k < 3; ++k) in.push(9);
        EXPECT_EQ(call.run(4), 0);
        ASSERT_EQ(out.count(), 7);
        EXPECT_EQ(out.at(4), 2); // bars 2 to 4 hold 9s alone, and the first of equals counts
    }
}

} // namespace
} // namespace fk
