// Rank, percentile, median and sideways box: the worked examples, the rolling window against a
// brute-force sort of each window on random data with ties and holes, restarts at any start bar
// against one call, and the status codes of the family.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

constexpr double M = kMissing;

class RanksTest : public HeapChecked {};

template <class... A>
Vec run(const char* name, const Vec& x, A... numbers) {
    return valuesOf(name, {x, static_cast<double>(numbers)...});
}

// Small whole values (many ties), about one bar in eight missing and a NaN now and then.
Vec tiedWithHoles(int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> v(0, 9), hole(0, 15);
    Vec x(n);
    for (double& e : x) {
        const int h = hole(rng);
        e = h < 2 ? M : h == 2 ? std::nan("") : v(rng);
    }
    return x;
}

TEST_F(RanksTest, WorkedExamples) {
    const Vec x{3, 1, 4, 1, 5, 9, 2, 6};
    EXPECT_EQ(run("EquityRankForBar", x, 5), (Vec{M, M, M, M, 100, 100, 25, 75}));
    EXPECT_EQ(run("EquityRankForBar", Vec{2, 2, 2}, 3), (Vec{M, M, 50}));
    EXPECT_EQ(run("EquityRankForBar", Vec{1, 3, 3, 0, 3}, 5).back(), 75);

    struct Pct { double p, want; } pcts[] = {{0, 1}, {25, 1}, {50, 3}, {60, 3.4}, {90, 4.6}, {100, 5}};
    for (const Pct& c : pcts) EXPECT_NEAR(run("PercentileDLL", Vec{3, 1, 4, 1, 5}, 5, c.p).back(), c.want, 1e-12) << c.p;
    EXPECT_EQ(run("PercentileDLL", x, 4, 50), (Vec{M, M, M, 2, 2.5, 4.5, 3.5, 5.5}));
    EXPECT_EQ(run("PercentileDLL", x, 1, 30), x);

    EXPECT_EQ(run("TSBarMedian", x, 3), (Vec{M, M, 3, 1, 4, 5, 5, 6}));
    EXPECT_EQ(run("TSBarMedian", x, 4), (Vec{M, M, M, 2, 2.5, 4.5, 3.5, 5.5}));
    EXPECT_EQ(run("TSBarMedian", Vec{3, M, 1, 4}, 3), (Vec{M, M, M, 3}));
    EXPECT_EQ(run("TSBarMedian", x, 1), x);
}

TEST_F(RanksTest, LateralExamples) {
    const Vec x{10, 10.5, 10.2, 10.8, 10.4, 11.5, 11.2, 11.4};
    for (int units : {0, 1}) {
        const double h = units ? 9 : 1;
        SCOPED_TRACE(units);
        EXPECT_EQ(run("LateralMovement", x, h, units, 3), (Vec{0, 0, 3, 4, 5, 0, 0, 3}));
        expectNear(run("LateralBox", x, h, units, 3, 1), Vec{M, M, 10.5, 10.8, 10.8, M, M, 11.5});
        expectNear(run("LateralBox", x, h, units, 3, 2), Vec{M, M, 10, 10, 10, M, M, 11.2});
        expectNear(run("LateralBox", x, h, units, 3, 3), Vec{M, M, 10.25, 10.4, 10.4, M, M, 11.35});
    }
    EXPECT_EQ(run("LateralMovement", Vec{10, 10.5, M, 10.2}, 1, 0, 3), (Vec{0, 0, M, 3}));
}

// Brute force: the last n present values before and at each bar, sorted.
Vec bruteWindow(const Vec& x, int i, int n) {
    Vec w;
    if (x[i] == M || std::isnan(x[i])) return w;
    for (int j = i; j >= 0 && static_cast<int>(w.size()) < n; --j)
        if (x[j] != M && !std::isnan(x[j])) w.push_back(x[j]);
    if (static_cast<int>(w.size()) < n) w.clear();
    std::sort(w.begin(), w.end());
    return w;
}

// A walk in whole steps (ties, and new highs and lows that leave the window in turn), with about
// one bar in eight missing.
Vec walkWithHoles(int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> step(-1, 1), hole(0, 7);
    Vec x(n);
    double level = 50;
    for (double& e : x) {
        level += step(rng);
        e = hole(rng) == 0 ? M : level;
    }
    return x;
}

TEST_F(RanksTest, WindowsAgainstSortedCopies) {
    for (const Vec& x : {tiedWithHoles(600, 7), walkWithHoles(600, 9)})
    for (int n : {1, 2, 5, 15, 20, 31, 32, 77}) {
        SCOPED_TRACE(n);
        const Vec rank = run("EquityRankForBar", x, std::max(n, 2));
        const Vec pct = run("PercentileDLL", x, n, 37.5), med = run("TSBarMedian", x, n);
        for (int i = 0; i < static_cast<int>(x.size()); ++i) {
            const Vec w = bruteWindow(x, i, n), r = bruteWindow(x, i, std::max(n, 2));
            const double h = (n - 1) * 37.5 / 100;
            const int k = static_cast<int>(h);
            EXPECT_DOUBLE_EQ(pct[i], w.empty() ? M : k >= n - 1 ? w[n - 1] : w[k] + (h - k) * (w[k + 1] - w[k])) << i;
            EXPECT_DOUBLE_EQ(med[i], w.empty() ? M : n % 2 ? w[n / 2] : (w[n / 2 - 1] + w[n / 2]) / 2) << i;
            if (r.empty()) {
                EXPECT_EQ(rank[i], M) << i;
            } else {
                const double below = std::count_if(r.begin(), r.end(), [&](double v) { return v < x[i]; });
                const double equal = std::count(r.begin(), r.end(), x[i]);
                EXPECT_DOUBLE_EQ(rank[i], 100 * (below + 0.5 * (equal - 1)) / (r.size() - 1)) << i;
            }
        }
    }
}

// Brute force of the sideways box: the longest run of present values ending at each bar whose
// range fits the allowed height. On a walk, and on quiet stretches of 100 to 400 bars between
// jumps (runs longer than the first store of extremes).
TEST_F(RanksTest, LateralAgainstLongestRun) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> step(-0.6, 0.6);
    Vec walk(500);
    double p = 20;
    for (double& v : walk) {
        p += step(rng);
        v = rng() % 10 == 0 ? M : std::round(p * 4) / 4;
    }
    Vec quiet;
    std::uniform_int_distribution<int> stretch(100, 400);
    for (double level = 20; quiet.size() < 2000; level += 10 * step(rng) + 2)
        for (int k = stretch(rng); k > 0; --k) quiet.push_back(rng() % 30 == 0 ? M : std::round((level + step(rng)) * 8) / 8);
    for (const Vec& x : {walk, quiet})
    for (int units : {0, 1}) {
        const double h = units ? 6 : 1.25;
        const Vec len = run("LateralMovement", x, h, units, 4), mid = run("LateralBox", x, h, units, 4, 3);
        for (int i = 0; i < static_cast<int>(x.size()); ++i) {
            if (x[i] == M) {
                EXPECT_EQ(len[i], M);
                continue;
            }
            double hi = x[i], lo = x[i], bestHi = hi, bestLo = lo;
            int l = 1;
            for (int j = i - 1; j >= 0; --j) {
                if (x[j] == M) continue;
                hi = std::max(hi, x[j]);
                lo = std::min(lo, x[j]);
                const double allowed = units ? (lo > 0 ? lo * h / 100 : 0) : h;
                if (hi - lo > allowed) break;
                ++l;
                bestHi = hi;
                bestLo = lo;
            }
            EXPECT_EQ(len[i], l >= 4 ? l : 0) << i;
            EXPECT_EQ(mid[i], l >= 4 ? (bestHi + bestLo) / 2 : M) << i;
        }
    }
}

// Calls at every start bar (as the host calls when bars arrive, and on recomputation) write what
// one call from bar 0 writes.
TEST_F(RanksTest, RestartsMatchOneCall) {
    const Vec x = tiedWithHoles(120, 3);
    const std::pair<const char*, std::vector<Arg>> cases[] = {
        {"EquityRankForBar", {x, 6.0}},
        {"PercentileDLL", {x, 7.0, 80.0}},
        {"TSBarMedian", {x, 4.0}},
        {"LateralMovement", {x, 3.0, 0.0, 2.0}},
        {"LateralBox", {x, 40.0, 1.0, 2.0, 2.0}},
    };
    for (const auto& [name, args] : cases) {
        SCOPED_TRACE(name);
        Vec want = valuesOf(name, args);
        for (int s : {1, 5, 37, 119}) {
            std::fill_n(want.begin(), s, 123.0);
            EXPECT_EQ(valuesOf(name, args, s, Vec(x.size(), 123.0)), want) << "start " << s;
        }
    }
}

TEST_F(RanksTest, StatusCodes) {
    const double nan = std::nan("");
    const Vec x = {1, 2, 3};
    expectStatuses({
        {"EquityRankForBar", {'e', 3.0}, kTooFewBars},          {"LateralMovement", {'e', 1.0, 0.0, 3.0}, kTooFewBars},
        {"TSBarMedian", {'e', 0.0}, kTooFewBars}, // an empty input before a bad length
        {"EquityRankForBar", {x, 1.0}, kDomainError},           {"PercentileDLL", {x, 0.4, 50.0}, kDomainError},
        {"PercentileDLL", {x, 3.0, 101.0}, kDomainError},       {"PercentileDLL", {x, 3.0, nan}, kDomainError},
        {"TSBarMedian", {x, 0.4}, kDomainError},                {"TSBarMedian", {x, 3e9}, kDomainError},
        {"LateralMovement", {x, -1.0, 0.0, 3.0}, kDomainError}, {"LateralBox", {x, nan, 0.0, 3.0, 1.0}, kDomainError},
        {"LateralMovement", {x, 1.0, 0.0, 0.4}, kDomainError},  {"LateralBox", {x, 1.0, 0.0, 3.0, 4.0}, kDomainError},
    });
}

} // namespace
} // namespace fk
