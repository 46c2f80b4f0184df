// Faults that the fuzzer found in the indicator families, each kept as the call that showed it.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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
        Market market({{43900, 1, 1, 1, 1, volume}, {43901, 1e10, 1e10, 1e10, 1e10, volume}, {43902, 1, 1, 1, 1, 1}});
        Series out;
        Call call("CashFlow");
        call.out(out).arg(market).arg(3);
        EXPECT_EQ(call.run(0), 0);
        ASSERT_EQ(out.count(), 3);
        EXPECT_EQ(out.at(0), 0);
        EXPECT_TRUE(std::isinf(out.at(1)));
    }
}

// A length series that says 2147483647 bars on consecutive bars: the test for a growth by one
// bar added 1 to that length in 32 bits.
TEST_F(IndicatorRobustness, MovingSumOverTheLongestLengthOnConsecutiveBars) {
    Series in = Series::of({1, 2, 3, 4, 5});
    for (double length : {2147483647.0, 1e300}) {
        SCOPED_TRACE(length);
        Series lengths = Series::of(std::vector<double>(5, length));
        Series out;
        Call call("MovingSum");
        call.out(out).arg(in).arg(lengths).arg(0);
        EXPECT_EQ(call.run(0), 0);
        for (double v : out.values()) EXPECT_EQ(v, out.fill()); // never as many bars as the length
    }
}

// A window far longer than the input: the cosine and sine tables of every period (here 246
// periods of 65,536 bars, 258 MB) were made before finding that no bar has a whole window.
TEST_F(IndicatorRobustness, CycleWindowLongerThanTheInputMakesNoTables) {
    for (const char* name : {"CycleCalc", "CycleAnalysis"}) {
        SCOPED_TRACE(name);
        Series in = Series::of({1, 2, 3, 2, 1, 2, 3});
        Series out = Series::of({0, 0, 0, 0, 0, 0, 0});
        Call call(name);
        call.out(out).arg(in).arg(65536).arg(5).arg(250).arg(0);
        // no room on the heap at all: the call needs none
        platform::HeapHolder::failNextAllocations(1000);
        const StatusCode st = call.run(0);
        platform::HeapHolder::failNextAllocations(0);
        EXPECT_EQ(st, 0);
        for (double v : out.values()) EXPECT_EQ(v, out.fill());
    }
}

// A length of two billion on a short input: the line's sum of squared distances was taken over
// the whole length before finding that no window can fill.
TEST_F(IndicatorRobustness, LineSignificanceLongerThanTheInputWritesTheFill) {
    Series in = Series::of({1, 2, 3, 2, 1});
    Series out;
    Call call("TSLineSignificance");
    call.out(out).arg(in).arg(2147483647.0).arg(0);
    EXPECT_EQ(call.run(0), 0);
    ASSERT_EQ(out.count(), 5);
    for (double v : out.values()) EXPECT_EQ(v, out.fill());
}

// A triangular average far longer than the input: the one-pass ring of the outer average was
// sized by the length (4 GB for two billion bars) before finding that it could never fill.
TEST_F(IndicatorRobustness, TriangularAverageLongerThanTheInputNeedsNoRing) {
    Series in = Series::of({1, 2, 3, 2, 1});
    Series out;
    Call call("MovAvg");
    call.out(out).arg(in).arg(2147483647.0).arg(6);
    platform::HeapHolder::resetLargestRequest();
    EXPECT_EQ(call.run(0), 0);
    EXPECT_LT(platform::HeapHolder::largestRequest(), 4096u);
    ASSERT_EQ(out.count(), 5);
    for (double v : out.values()) EXPECT_EQ(v, out.fill());
}

// A MACD histogram predictor whose longer period is the largest 32-bit number: the periods were
// added in 32 bits to find the warm-up.
TEST_F(IndicatorRobustness, PredictorWithTheLongestPeriodsNeedsNoSumInThirtyTwoBits) {
    Series price = Series::of({10, 11, 12, 11, 10}), level = Series::of({0, 0, 0, 0, 0});
    for (const char* name : {"UpperOscPredictorDLL", "LowerOscPredictorDLL"}) {
        SCOPED_TRACE(name);
        Series out;
        Call call(name);
        call.out(out).arg(price).arg(level).arg(3).arg(2147483647.0).arg(3).arg(2).arg(0).arg(1).arg(0).arg(0);
        EXPECT_EQ(call.run(0), 0);
        ASSERT_EQ(out.count(), 5);
        for (double v : out.values()) EXPECT_EQ(v, out.fill()); // never warmed up
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
