// Statistics against independent computations: the normal distribution against erfc, the rolling
// correlations and least-squares line against a direct two-pass computation of every window, and
// the rank correlation against a full sort of every window.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

#include "mathstat/statistics.h"
#include "support/heap_check.h"
#include "support/series_checks.h"

namespace fk::mathstat {
namespace {

using namespace testing;
using V = std::vector<double>;

// The bars of the last `len` present values up to bar i (fewer when there are not so many).
std::vector<int> lastPresent(const V& v, int i, int len) {
    std::vector<int> bars;
    for (int j = i; j >= 0 && static_cast<int>(bars.size()) < len; --j)
        if (v[static_cast<std::size_t>(j)] != F) bars.push_back(j);
    std::reverse(bars.begin(), bars.end());
    return bars;
}

// Pearson r of two samples, by means first.
double pearson(const V& x, const V& y) {
    const double n = static_cast<double>(x.size());
    const double mx = std::accumulate(x.begin(), x.end(), 0.0) / n;
    const double my = std::accumulate(y.begin(), y.end(), 0.0) / n;
    double sxy = 0, sxx = 0, syy = 0;
    for (std::size_t k = 0; k < x.size(); ++k) {
        sxy += (x[k] - mx) * (y[k] - my);
        sxx += (x[k] - mx) * (x[k] - mx);
        syy += (y[k] - my) * (y[k] - my);
    }
    return sxy / std::sqrt(sxx * syy);
}

class StatisticsTest : public HeapChecked {};

TEST(NormalDistribution, PercentBelowAgreesWithErfc) {
    EXPECT_EQ(NormalPercentBelow(0), 50.0);
    EXPECT_NEAR(NormalPercentBelow(1), 84.1344, 1e-3);
    for (double x = -6; x <= 6; x += 0.05) {
        // the normal distribution with the deliberate pull toward 1 of (1 - P) / 50000
        double p = 0.5 * std::erfc(-std::fabs(x) / std::sqrt(2.0));
        p += (1 - p) / 50000;
        const double want = x >= 0 ? 100 * p : 100 * (1 - p);
        EXPECT_NEAR(NormalPercentBelow(x), want, 1.1e-3) << x; // the formula's constants: within 0.0011 points
        EXPECT_NEAR(NormalPercentBelow(-x), 100 - NormalPercentBelow(x), 1e-12) << x;
    }
}

TEST(NormalDistribution, InverseRoundTrips) {
    const std::pair<double, double> edges[] = {{100, 999999}, {150, 999999}, {0, -999999}, {-3, -999999}, {50, 0}};
    for (const auto& [p, x] : edges) EXPECT_EQ(NormalInverse(p), x) << p;
    for (double p : {0.01, 0.5, 5.0, 15.9, 30.0, 49.9, 50.001, 50.1, 70.0, 84.1, 97.5, 99.9, 99.999})
        EXPECT_NEAR(NormalPercentBelow(NormalInverse(p)), p, 1e-6) << p;
}

TEST_F(StatisticsTest, NormalSeriesFromTheStartBarSkippingMissing) {
    Series in = Series::of({1, F, -1, 0}), out = Series::of({7, 7, 7, 7, 7, 7});
    Series percents = Series::of({100, 0, 50, F, 84.1}), constant;
    EXPECT_EQ(valuesOf("StdDevsAsPercentBelow", {&in}, 1, out), (V{7, 7, NormalPercentBelow(-1), 50}))
        << "sized to the input";
    EXPECT_EQ(valuesOf("StdDevsForPercent", {&percents}), (V{999999, -999999, 0, F, NormalInverse(84.1)}));
    EXPECT_EQ(valuesOf("StdDevsAsPercentBelow", {1.0}, 0, constant), (V{NormalPercentBelow(1)}));
    EXPECT_TRUE(constant.isConstant());
}

TEST_F(StatisticsTest, CorrelationAgainstTwoPassWindows) {
    const int n = 400, len = 20;
    V y = randomSeries(n, 11), x = randomSeries(n, 12);
    std::fill(y.begin(), y.begin() + 7, F); // a late start
    y[200] = F;                              // and a gap
    Series ys = Series::of(y), xs = Series::of(x), time = Series::constant(0);
    for (bool byBar : {false, true}) {
        SCOPED_TRACE(byBar ? "against time" : "against X");
        // the window is the last len bars: a bar missing from it leaves the bar unwritten
        V want(n, F);
        for (int i = 7 + len - 1; i < n; ++i) {
            if (i >= 200 && i < 200 + len) continue;
            V wx, wy;
            for (int j = i - len + 1; j <= i; ++j) {
                wy.push_back(y[static_cast<std::size_t>(j)]);
                wx.push_back(byBar ? j : x[static_cast<std::size_t>(j)]);
            }
            want[static_cast<std::size_t>(i)] = pearson(wx, wy);
        }
        expectNear(valuesOf("Correlation", {&ys, byBar ? &time : &xs, len + 0.4}), want, 1e-9);
    }
}

TEST_F(StatisticsTest, MovingCorrelationAgainstTwoPassWindows) {
    const int n = 500, len = 15;
    const V y = randomSeries(n, 13, 12);
    V want(n, F), line(len);
    std::iota(line.begin(), line.end(), 0.0);
    for (int i = 0; i < n; ++i) {
        const V wy = lastValid(y, i, len);
        if (static_cast<int>(wy.size()) == len) want[static_cast<std::size_t>(i)] = pearson(line, wy);
    }
    Series in = Series::of(y);
    expectNear(valuesOf("MovingCorrelation", {&in, double(len)}), want, 1e-9);
}

TEST_F(StatisticsTest, RegressionAgainstLeastSquaresPerWindow) {
    const int n = 300, len = 10;
    const V y = randomSeries(n, 14, 12);
    for (double offset : {0.0, 3.0, -5.0}) {
        for (bool slope : {false, true}) {
            SCOPED_TRACE(std::to_string(offset) + (slope ? " slope" : " value"));
            V want(n, F);
            for (int i = 0; i < n; ++i) {
                const std::vector<int> bars = lastPresent(y, i, len);
                if (static_cast<int>(bars.size()) < len) continue;
                double mx = 0, my = 0, sxy = 0, sxx = 0;
                for (int b : bars) mx += b, my += y[static_cast<std::size_t>(b)];
                mx /= len;
                my /= len;
                for (int b : bars) {
                    sxy += (b - mx) * (y[static_cast<std::size_t>(b)] - my);
                    sxx += (b - mx) * (b - mx);
                }
                want[static_cast<std::size_t>(i)] = slope ? sxy / sxx : my + sxy / sxx * (i - offset - mx);
            }
            // (calls continued as bars arrive are compared with one call in the robustness tests)
            expectNear(valuesOf("RegressionValue", {y, double(slope ? -len : len), offset}), want, 1e-8);
        }
    }
}

// Spearman's index of the last n present values by a full sort of each window: ascending, a NaN
// after every number, equal values in the order they came.
V spearmanBySorting(const V& v, int n) {
    V out(v.size(), F);
    const auto scale = static_cast<int32_t>((static_cast<uint32_t>(n) * n - 1u) * static_cast<uint32_t>(n));
    for (int i = n; i < static_cast<int>(v.size()); ++i) {
        const V w = lastValid(v, i, n);
        if (v[static_cast<std::size_t>(i)] == F || static_cast<int>(w.size()) < n) continue;
        std::vector<int> order(static_cast<std::size_t>(n));
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
            const double x = w[static_cast<std::size_t>(a)], y = w[static_cast<std::size_t>(b)];
            return x < y || (!std::isnan(x) && std::isnan(y));
        });
        long long d = 0;
        for (int k = 0; k < n; ++k) d += 1LL * (k - order[static_cast<std::size_t>(k)]) * (k - order[static_cast<std::size_t>(k)]);
        out[static_cast<std::size_t>(i)] = (1.0 - 6.0 * static_cast<double>(d) / scale) * 100.0;
    }
    return out;
}

TEST_F(StatisticsTest, SpearmanMatchesAFullSortOfEveryWindow) {
    const struct {
        int bars, n;
        std::vector<int32_t> chunks;
    } runs[] = {
        {600, 2, {600, 1, 97}},
        {600, 5, {600, 1, 97}},
        {600, 20, {600, 1, 97}},
        {1400, 1291, {1400, 700}}, // (n x n - 1) x n wraps to a negative 32-bit number
    };
    for (const auto& r : runs) {
        SCOPED_TRACE(r.n);
        V v = randomSeries(r.bars, r.n, 10);
        for (double& e : v)
            if (e != F) e = std::round(e * 2) / 2; // many equal values
        for (int k = 7; k < r.bars; k += 101) v[static_cast<std::size_t>(k)] = std::nan("");
        const V want = spearmanBySorting(v, r.n);
        for (int32_t chunk : r.chunks) {
            Series in = Series::of(v), out;
            Call call("SpearmanRCI");
            call.out(out).arg(in).arg(r.n + 0.9);
            ASSERT_EQ(host::playChunks(call, r.bars, chunk, [](int32_t) {}), 0);
            const V got = out.values();
            ASSERT_EQ(got.size(), want.size());
            for (std::size_t i = 0; i < got.size(); ++i)
                ASSERT_EQ(std::bit_cast<uint64_t>(got[i]), std::bit_cast<uint64_t>(want[i]))
                    << "bar " << i << " chunk " << chunk << ": " << got[i] << " vs " << want[i];
        }
    }
}

TEST_F(StatisticsTest, StatusCodes) {
    const V x = {1, 2, 3};
    expectStatuses({
        {"StdDevsAsPercentBelow", {'e'}, kTooFewBars},
        {"StdDevsForPercent", {x}, kTooFewBars, 0, 'z'}, // a Return Value without buffer
        {"Correlation", {x, x, 0.4}, kDomainError},
        {"Correlation", {'e', x, 3.0}, kDomainError},
        {"Correlation", {x, x, NAN}, kDomainError},
        {"MovingCorrelation", {x, -2.0}, kDomainError},
        {"RegressionValue", {x, 0.2, 0.0}, kOk},
        {"SpearmanRCI", {'e', 2.0}, kOk},
    });
}

} // namespace
} // namespace fk::mathstat
