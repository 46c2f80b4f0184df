// CCI against a recomputation and across continued calls; the market-driven oscillators and
// volume indicators on bars made for each case.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "support/heap_check.h"
#include "support/series_checks.h"

namespace fk {
namespace {

using namespace testing;

class OscillatorTest : public HeapChecked {};

Vec cci(const Vec& data, double n) { return valuesOf("CCI", {data, n}); }

// Bars from closes (high and low around them), one day apart.
std::vector<Bar> barsOf(const std::vector<double>& closes, double volume = 1000) {
    std::vector<Bar> bars;
    for (std::size_t i = 0; i < closes.size(); ++i)
        bars.push_back({40000.0 + i, closes[i], closes[i] + 1, closes[i] - 1, closes[i], volume});
    return bars;
}

TEST_F(OscillatorTest, CciMatchesARecomputationWithItsWarmUp) {
    const std::vector<double> data = randomSeries(400, 21, 12);
    for (int n : {5, 20}) {
        SCOPED_TRACE(n);
        std::vector<double> want(data.size(), F);
        int k = 0;
        for (int i = 0; i < static_cast<int>(data.size()); ++i) {
            const std::vector<double> w = lastValid(data, i, n);
            if (data[i] == F || static_cast<int>(w.size()) < n) continue;
            double avg = 0;
            for (double x : w) avg += x / n;
            if (++k <= n) continue;
            double dev = 0;
            for (int j = i - n + 1; j <= i; ++j) dev += std::fabs(data[j] - avg); // missing bars count too
            want[i] = (data[i] - avg) / (dev / n * 0.015);
        }
        expectNear(cci(data, n), want);
    }
}

TEST_F(OscillatorTest, CciContinuedGoesOnWithoutANewWarmUp) {
    // A call from a bar past n + 1 whose average exists takes the run as warmed: its bars get
    // values where one call over all bars still shows its warm-up; from the first value of
    // the single call on, the two agree.
    const std::vector<double> data = randomSeries(300, 23, 9);
    const int n = 6;
    const std::vector<double> whole = cci(data, n);
    std::size_t firstValue = 0;
    while (whole[firstValue] == F) ++firstValue;
    for (int chunk : {1, 7, 100}) {
        SCOPED_TRACE(chunk);
        const Vec got = runChunked("CCI", {data, double(n)}, chunk).values;
        expectNear(std::vector<double>(got.begin() + firstValue, got.end()),
                                  std::vector<double>(whole.begin() + firstValue, whole.end()));
        if (chunk == 1) {
            EXPECT_GT(presentCount(Vec(got.begin(), got.begin() + firstValue)), 0);
        }
    }
}

TEST_F(OscillatorTest, PermanentStochasticSteps) {
    std::vector<Bar> bars = barsOf({10, 10, 10, 10, 10});
    bars[2].close = kMissing;
    EXPECT_EQ(valuesOf("PermStochK", {bars, 8.0}), (Vec{4, 6, F, 7, 7.5}));
    EXPECT_EQ(valuesOf("PermStochD", {bars, 1.0}), (Vec{0.5, 1.5, F, 3.5, 7.5}));
}

// The volume weighed by where the close lies in the bar's range (at the high all of it, at the
// low all of it taken away), summed: long enough to cross the blocks the accumulation works in,
// with a value missing here and there in each series; the running sum must carry past them to
// the last bit.
TEST_F(OscillatorTest, VolumeAccumulationOverManyBarsEqualsTheRunningSum) {
    const std::vector<double> close = randomSeries(1500, 7, 40), volume = randomSeries(1500, 8, 40);
    std::vector<Bar> bars;
    for (std::size_t i = 0; i < close.size(); ++i) {
        const double c = close[i] == F ? 50.0 : close[i];
        bars.push_back({1.0 + i, c, c + 1 + (i % 3), c - 1.5, close[i], volume[i]});
    }
    bars[300].high = kMissing;
    bars[700].low = kMissing;
    Vec want;
    double ad = 0;
    for (const Bar& b : bars) {
        if (b.close == F || b.high == F || b.low == F || b.volume == F) {
            want.push_back(F);
            continue;
        }
        ad = b.volume * ((b.close - b.low) - (b.high - b.close)) / (b.high - b.low) + ad;
        want.push_back(ad);
    }
    const Vec got = valuesOf("VolAccumDist", {bars});
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i)
        ASSERT_EQ(std::memcmp(&got[i], &want[i], sizeof(double)), 0) << "bar " << i << ": " << got[i] << " " << want[i];
}

TEST_F(OscillatorTest, CashFlowScalesLargeResultsByPowersOf1000) {
    auto twoBars = [](double volume) { return std::vector<Bar>{{1, 5, 6, 4, 0, volume}, {2, 5, 6, 4, 1, volume}}; };
    const std::vector<Bar> midpoint = {{1, 0, 4, 2, 1, 10}, {2, 0, 8, 4, 1, 10}, {3, 0, 8, 4, 1, 10}};
    const std::vector<Bar> noClose = {{1, 0, 0, 0, 1, 10}, {2, 0, 0, 0, 2, 10}, {3, 0, 0, 0, kMissing, 10},
                                      {4, 0, 0, 0, 5, 10}};
    const std::vector<Bar> dateZero = {{1, 0, 0, 0, 1, 10}, {0.5, 0, 0, 0, 2, 10}, {3, 0, 0, 0, 5, 10}};
    expectExamples({
        {"largest 25,000,000 is divided by 1,000,000", "CashFlow", {twoBars(25e6), 3.0}, {0, 25}},
        {"largest 50,000 is divided by 1000", "CashFlow", {twoBars(50000), 3.0}, {0, 50}},
        {"largest 9,999 stays", "CashFlow", {twoBars(9999), 3.0}, {0, 9999}},
        {"selector 9 gives 0", "CashFlow", {twoBars(9999), 9.0}, {0, 0}},
        {"midpoint of the range", "CashFlow", {midpoint, 4.0}, {0, 30, 30}},
        {"a bar without a close ends the flow", "CashFlow", {noClose, 3.0}, {0, 10}},
        {"a bar of date 0 ends the flow", "CashFlow", {dateZero, 3.0}, {0}},
    });
}

TEST_F(OscillatorTest, LogRangeMaxima) {
    const double e = std::exp(1.0);
    struct Case {
        const char* name;
        const char* function;
        std::vector<Bar> bars;
        double shortest, longest;
        std::vector<double> want;
    };
    const Case cases[] = {
        {"high e times the low before", "KSDIMaxUp", {{1, 0, 1, 1, 1, 0}, {2, 0, e, 2, 2, 0}}, 1, 1, {F, 1}},
        {"highs below the lows paired", "KSDIMaxUp", {{1, 0, 10, 9, 9, 0}, {2, 0, 10, 9, 9, 0}, {3, 0, 3, 2, 2, 0}}, 1, 2,
         {F, F, 0}},
        {"down pairs today's low with earlier highs", "KSDIMaxDn",
         {{1, 0, 4 * std::exp(std::sqrt(2.0)), 1, 1, 0}, {2, 0, 9, 8, 8, 0}, {3, 0, 5, 4, 4, 0}}, 1, 2, {F, F, 1}},
        {"shortest above longest", "KSDIMaxUp", {{1, 0, 1, 1, 1, 0}, {2, 0, e, 2, 2, 0}}, 2, 1, {F, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectNear(valuesOf(c.function, {c.bars, c.shortest, c.longest}), c.want, 1e-12);
    }
    const Vec got = valuesOf("KSDIMaxDn", {barsOf(randomSeries(15, 24)), 2.0, 10.0});
    for (int i = 0; i <= 9; ++i) EXPECT_EQ(got[i], F) << i;
    for (int i = 10; i < 15; ++i) EXPECT_GE(got[i], 0) << i;
}

TEST_F(OscillatorTest, ZeroBalanceProjections) {
    struct Case {
        const char* name;
        int turningPoints;
        int lastClose; // of 64 bars
        std::vector<std::pair<int, double>> want;
    };
    const Case cases[] = {
        {"six turning values and a gap of four", 6, 60, {{60, 6}, {62, 7}, {63, 8}}},
        {"no gap", 6, 63, {{60, 6}}},
        {"gap of two: only the midway projection", 6, 62, {{60, 6}, {63, 7}}},
        {"five turning values: projections only", 5, 59, {{61, 3 + 4 - 1}, {63, 4 + 5 - 2}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<double> closes(64, 100);
        for (int i = c.lastClose + 1; i < 64; ++i) closes[i] = kMissing;
        Vec turns(64, 0);
        for (int k = 1; k <= c.turningPoints; ++k) turns[10 * k] = k;
        turns[15] = kMissing;
        Vec want(64, -1);
        for (auto [bar, v] : c.want) want[bar] = v;
        EXPECT_EQ(valuesOf("CalcZeroBal", {barsOf(closes), turns}, 0, Vec(64, -1)), want);
    }
}

} // namespace
} // namespace fk
