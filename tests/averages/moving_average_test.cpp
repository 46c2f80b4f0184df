// MovAvg: every kind against an independent computation, the length and kind conversions, the
// triangular decomposition, and calls continued bar by bar as the host makes them.
#include <gtest/gtest.h>

#include <cmath>

#include "indicators/averages.h"
#include "support/heap_check.h"
#include "support/series_checks.h"

namespace fk {
namespace {

using namespace testing;

class MovAvgTest : public HeapChecked {};

Vec movAvg(const Vec& data, double length, double kind) { return valuesOf("MovAvg", {data, length, kind}); }

// Windows of the last n valid values; bars short of n values hold the missing value.
std::vector<double> windowAverage(const std::vector<double>& v, int n, bool weighted) {
    std::vector<double> r(v.size(), F);
    for (int b = 0; b < static_cast<int>(v.size()); ++b) {
        const std::vector<double> w = lastValid(v, b, n);
        if (v[b] == F || static_cast<int>(w.size()) < n) continue;
        double sum = 0, div = 0;
        for (int k = 0; k < n; ++k) {
            const double weight = weighted ? k + 1 : 1;
            sum += weight * w[k];
            div += weight;
        }
        r[b] = sum / div;
    }
    return r;
}

// Exponential smoothing over the valid bars, starting at the first value; `firstValue` valid
// bars pass before anything but the missing value is shown. Wilder's form starts from the
// simple average of its first n values.
std::vector<double> smoothed(const std::vector<double>& v, double alpha, int firstValue, bool wilder) {
    std::vector<double> r(v.size(), F);
    double avg = 0, sum = 0;
    int c = 0;
    for (std::size_t b = 0; b < v.size(); ++b) {
        if (v[b] == F) continue;
        ++c;
        if (wilder) {
            sum += v[b];
            avg = c < firstValue ? 0 : c == firstValue ? sum / firstValue : avg + (v[b] - avg) * alpha;
        } else {
            avg = c == 1 ? v[b] : avg + (v[b] - avg) * alpha;
        }
        if (c >= firstValue) r[b] = avg;
    }
    return r;
}

TEST_F(MovAvgTest, WindowKindsMatchARecomputationOfEveryWindow) {
    const std::vector<double> data = randomSeries(700, 1, 8);
    struct Case {
        double length;
        int n;
    };
    for (const Case c : {Case{2, 2}, Case{4.6, 5}, Case{20, 20}, Case{61, 61}, Case{0.2, 9}}) {
        SCOPED_TRACE(c.length);
        expectNear(movAvg(data, c.length, 1), windowAverage(data, c.n, false), 1e-9, "simple");
        expectNear(movAvg(data, c.length, 3), windowAverage(data, c.n, true), 1e-9, "weighted");
    }
}

TEST_F(MovAvgTest, ExponentialFormsAndTheirWarmUps) {
    const std::vector<double> data = randomSeries(500, 2, 9);
    struct Case {
        const char* name;
        double length, kind;
        double alpha;
        int firstValue; // valid bar that shows the first average
        bool wilder;
    };
    const Case cases[] = {
        {"exponential: 3n - 1 bars warm up", 6, 2, 2.0 / 7, 18, false},
        {"short warm-up: n - 1 bars", 6, -2, 2.0 / 7, 6, false},
        {"smoothing factor 0.25 is length 7", 0.25, 2, 0.25, 21, false},
        {"Wilder", 6, 4, 1.0 / 6, 6, true},
        {"Wilder of a fractional length", 5.5, 4, 1.0 / 5.5, 6, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        expectNear(movAvg(data, c.length, c.kind), smoothed(data, c.alpha, c.firstValue, c.wilder));
    }
}

// The adaptive length packs the period, the fast and the slow length in fields of a decimal number.
TEST_F(MovAvgTest, AdaptiveUnpacksItsLengthsAndFollowsTheEfficiencyOfTheMove) {
    const std::vector<double> data = randomSeries(300, 3);
    const struct {
        double length;
        int period;
        double fast, slow;
    } cases[] = {
        {10, 10, 2, 30},
        {30002000010, 10, 2, 30},
        {20005000014, 14, 5, 20},
        {40000000007, 7, 2, 40},  // no fast length: its default
        {3000020, 20, 3, 30},     // no slow length: its default
        {499999, 499999, 2, 30},  // (longer than the data)
        {500000, -500000, 1, 30}, // a period of 500,000 carries into the fast field
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        const indicators::AdaptiveLengths a = indicators::unpackAdaptive(c.length);
        EXPECT_EQ(a.period, c.period);
        EXPECT_EQ(a.fast, c.fast);
        EXPECT_EQ(a.slow, c.slow);
        if (c.period < 1 || c.period >= static_cast<int>(data.size())) continue;
        std::vector<double> want(data.size(), F);
        const double fastSC = 2 / (c.fast + 1), slowSC = 2 / (c.slow + 1);
        double avg = 0;
        for (int i = c.period; i < static_cast<int>(data.size()); ++i) {
            double noise = 0;
            for (int j = i - c.period + 1; j <= i; ++j) noise += std::fabs(data[j] - data[j - 1]);
            const double er = std::fabs(data[i] - data[i - c.period]) / noise;
            const double sc = er * fastSC + (1 - er) * slowSC;
            if (i == c.period) avg = data[i - 1];
            avg += sc * sc * (data[i] - avg);
            want[i] = avg;
        }
        expectNear(movAvg(data, c.length, 5), want);
    }
}

TEST_F(MovAvgTest, LengthsAndKindsThatComputeNothingLeaveTheOutputAsItWas) {
    struct Case {
        const char* name;
        double length, kind;
    };
    const Case cases[] = {
        {"kind 7", 5, 7},         {"kind -7", 5, -7},     {"kind beyond 16 bits", 5, 65538},
        {"length -5", -5, 1},     {"length 0", 0, 2},     {"adaptive period 0", 30002000000, 5},
        {"triangular length -5", -5, 6},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(valuesOf("MovAvg", {Vec{1, 2, 3, 4, 5, 6}, c.length, c.kind}, 0, {9, 9, 9}), (Vec{9, 9, 9}));
    }
}

// The triangular average of length n is the simple average over (n + 1) / 2 rounded up of the
// simple average over (n + 1) / 2 rounded down, to the last bit.
TEST_F(MovAvgTest, TriangularIsTwoSimplePasses) {
    const std::vector<double> data = randomSeries(200, 5, 9);
    for (double length : {4, 5, 6}) {
        SCOPED_TRACE(length);
        const double inner = std::floor((length + 1) / 2), outer = std::ceil((length + 1) / 2);
        EXPECT_EQ(movAvg(data, length, 6), movAvg(movAvg(data, inner, 1), outer, 1));
    }
}

TEST_F(MovAvgTest, CallsContinuedAsBarsArriveEqualOneCallOverAllBars) {
    // holes everywhere, also inside every warm-up
    const std::vector<double> data = randomSeries(400, 6, 7);
    for (double kind : {1, 2, -2, 3, 4, 5, 6})
        for (int chunk : {1, 7, 100})
            expectNear(runChunked("MovAvg", {data, 7.0, kind}, chunk).values, movAvg(data, 7, kind), 1e-9,
                       "kind " + std::to_string(kind) + " chunk " + std::to_string(chunk));
}

TEST_F(MovAvgTest, AContinuedCallLeavesTheBarsBeforeItsStart) {
    // A call at the last bar rewrites that bar from what precedes it: the recomputed kinds from
    // their span of the input, the exponential ones from the average the output holds.
    std::vector<double> data = randomSeries(300, 7, 10);
    const int last = 299;
    data[last] = 100.5;
    for (double kind : {1, 2, 3, 4, 5, 6}) {
        SCOPED_TRACE(kind);
        const std::vector<double> whole = movAvg(data, 5, kind);
        std::vector<double> marked = whole;
        for (int i = 0; i < last; ++i)
            if (marked[i] != F) marked[i] = 7.0;
        const Vec got = valuesOf("MovAvg", {data, 5.0, kind}, last, marked);
        EXPECT_EQ(std::vector<double>(got.begin(), got.end() - 1), std::vector<double>(marked.begin(), marked.end() - 1));
        const double alpha = kind == 2 ? 2.0 / 6 : 1.0 / 5;
        if (kind == 2 || kind == 4) {
            EXPECT_DOUBLE_EQ(got[last], 7.0 + (data[last] - 7.0) * alpha);
        } else if (kind != 5) {
            EXPECT_NEAR(got[last], whole[last], 1e-9);
        }
    }
}

} // namespace
} // namespace fk
