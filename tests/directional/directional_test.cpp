// Directional movement: the indicators against sums taken straight from the bars, the ADX
// against the DX that its own DI lines give, the warm-up and the status codes.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "support/heap_check.h"
#include "support/series_checks.h"

namespace fk {
namespace {

using namespace testing;

class DirectionalTest : public HeapChecked {};

std::vector<Bar> randomBars(int n, uint64_t seed) {
    const std::vector<double> mid = randomSeries(n, seed);
    const std::vector<double> spread = randomSeries(n, seed + 100);
    std::vector<Bar> bars;
    for (int i = 0; i < n; ++i) {
        const double half = 0.2 + std::fabs(spread[i] - 100) / 4;
        bars.push_back({40000.0 + i, mid[i], mid[i] + half, mid[i] - half, mid[i] + half / 3, 1000});
    }
    return bars;
}

Vec run(const char* name, Market& m, double period, std::optional<double> multiplier = {}) {
    return multiplier ? valuesOf(name, {&m, period, *multiplier}) : valuesOf(name, {&m, period});
}

TEST_F(DirectionalTest, DiLinesAreSmoothedMovesOverSmoothedTrueRange) {
    const std::vector<Bar> bars = randomBars(200, 31);
    Market m(bars);
    const int n = 7;
    // moves and true ranges straight from the bars
    double plus = 0, minus = 0, range = 0;
    std::vector<double> wantPlus(bars.size(), F), wantMinus(bars.size(), F);
    for (int i = 1; i < static_cast<int>(bars.size()); ++i) {
        const double up = std::max(0.0, bars[i].high - bars[i - 1].high);
        const double down = std::max(0.0, bars[i - 1].low - bars[i].low);
        const double tr = std::max({bars[i].high - bars[i].low, bars[i].high - bars[i - 1].close,
                                    bars[i - 1].close - bars[i].low});
        const double u = up > down ? up : 0, d = down > up ? down : 0;
        if (i <= n) {
            plus += u;
            minus += d;
            range += tr;
        } else {
            plus += u - plus / n;
            minus += d - minus / n;
            range += tr - range / n;
        }
        if (i >= n) {
            wantPlus[i] = 100 * plus / range;
            wantMinus[i] = 100 * minus / range;
        }
    }
    expectNear(run("PDMI", m, n, 1), wantPlus);
    expectNear(run("NDMI", m, n, 1), wantMinus);
}

TEST_F(DirectionalTest, AdxAveragesTheDxOfItsOwnDiLines) {
    const std::vector<Bar> bars = randomBars(200, 32);
    Market m(bars);
    const int n = 6;
    const std::vector<double> p = run("PDMI", m, n, 1), mi = run("NDMI", m, n, 1);
    const std::vector<double> adx = run("ADX", m, n, 1), signedAdx = run("ModADX", m, n, 1);
    double want = 0, wantSigned = 0;
    for (int i = n; i < static_cast<int>(bars.size()); ++i) {
        const double dx = 100 * std::fabs(p[i] - mi[i]) / (p[i] + mi[i]);
        const double signedDx = 100 * (p[i] - mi[i]) / (p[i] + mi[i]);
        // the running mean of the DX values, then Wilder smoothing from the n-th on
        const double w = std::min(i - n + 1, n);
        want = ((w - 1) * want + dx) / w;
        wantSigned = ((w - 1) * wantSigned + signedDx) / w;
        ASSERT_NEAR(adx[i], want, 1e-9) << i;
        ASSERT_NEAR(signedAdx[i], wantSigned, 1e-9) << i;
    }
}

TEST_F(DirectionalTest, TheFirstValueComesWhereTheCounterReachesPeriodTimesMultiplier) {
    Market m(randomBars(300, 33));
    struct Case {
        const char* name;
        double period;
        std::optional<double> multiplier;
        int firstBar;
    };
    const Case cases[] = {
        {"period 14, no multiplier", 14, {}, 140},
        {"multiplier 0.5 is 10", 14, 0.5, 140},
        {"multiplier 1", 14, 1, 14},
        {"multiplier 2.5", 5, 2.5, 13},
        {"fractional period", 5.9, 1, 5},
    };
    for (const Case& c : cases)
        for (const char* name : {"ADX", "ModADX", "PDMI", "NDMI"}) {
            SCOPED_TRACE(::testing::Message() << c.name << " " << name);
            const std::vector<double> got = run(name, m, c.period, c.multiplier);
            ASSERT_GT(static_cast<int>(got.size()), c.firstBar);
            EXPECT_EQ(got[c.firstBar - 1], F);
            EXPECT_NE(got[c.firstBar], F);
        }
}

TEST_F(DirectionalTest, MovesAndGaps) {
    // equal moves up and down count for neither side
    std::vector<Bar> widening;
    for (int i = 0; i < 12; ++i) widening.push_back({1.0 + i, 10, 11.0 + i, 9.0 - i, 10, 1});
    Market wide(widening);
    EXPECT_EQ(run("PDMI", wide, 3, 1)[5], 0);
    EXPECT_EQ(run("ADX", wide, 3, 1)[5], 0);

    // values stop where the close goes missing
    std::vector<Bar> gap = randomBars(40, 34);
    gap[30].close = kMissing;
    Market holed(gap);
    const std::vector<double> got = run("ADX", holed, 5, 1);
    EXPECT_EQ(got.size(), 30u);
    EXPECT_NE(got[29], F);
}

TEST_F(DirectionalTest, StatusCodes) {
    for (const char* name : {"ADX", "ModADX", "PDMI", "NDMI"}) {
        expectStatuses({
            {name, {'m', 0.0}, kTooFewBars},
            {name, {'m', 0.9}, kTooFewBars},
            {name, {'n', 5.0}, kTooFewBars},
            {name, {'m', 100.0}, kOk}, // a period beyond the bars
        });
    }
}

} // namespace
} // namespace fk
