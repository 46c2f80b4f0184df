// Trade plans: the worked ladders, schedules and reversal plans, the host's chunked calls against
// one call, and the status codes.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class TradePlanTest : public HeapChecked {};

// A market on a quarter-point grid.
struct Ticked : Market {
    explicit Ticked(const std::vector<Bar>& bars = {}) : Market(bars) { tick(0.25, 12.5); }
};

TEST_F(TradePlanTest, LadderRungs) {
    struct Case { const char* what; Vec entry, direction; double step, rung; Vec want; };
    const Case cases[] = {
        {"long target", {101.3}, {1}, 4, 1, {102.25}},
        {"long second target", {101.3}, {1}, 4, 2, {103.25}},
        {"long stop", {101.3}, {1}, 4, -1, {100.25}},
        {"entry on the grid", {101.3}, {1}, 4, 0, {101.25}},
        {"short target", {101.3}, {-1}, 4, 1, {100.25}},
        {"short second stop", {101.3}, {-1}, 4, -2, {103.25}},
        {"step rounded, rung truncated", {101.3}, {1}, 3.6, 1.9, {102.25}},
        {"negative rung truncated", {101.3}, {1}, 4, -1.9, {100.25}},
        // no direction, no entry, a missing entry, then a series shorter than the market
        {"bars without a position", {101.3, 0, F, 100, 100}, {0, 1, 1, 2, 1}, 2, 1, {F, F, F, 100.5, 100.5, F}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::size_t n = c.want.size();
        Ticked m(barsOf(Vec(n, 100), Vec(n, 99)));
        expectNear(valuesOf("PTF_DLL", {&m, c.entry, c.direction, c.step, c.rung}), c.want);
    }
    // a Number for the direction
    Ticked two(barsOf({100, 100}, {99, 99}));
    expectNear(valuesOf("PTF_DLL", {&two, Vec{101.3, 100}, -1.0, 4.0, 1.0}), {100.25, 99});
}

// Long from 100.00 on bars 0 to 5 (step one point, three units), nothing on bar 6, short from
// 103.00 on bar 7.
TEST_F(TradePlanTest, PyramidSchedule) {
    struct Case { const char* what; double units, selector; int32_t start; Vec before, want; };
    const Case cases[] = {
        {"units", 3, 0, 0, {}, {1, 1, 2, 2, 3, 3, F, 1}},
        {"next add", 3, 1, 0, {}, {101, 101, 102, 102, F, F, F, 102}},
        {"average entry", 3, 2, 0, {}, {100, 100, 100.5, 100.5, 101, 101, F, 103}},
        {"stop", 3, 3, 0, {}, {99, 99, 100, 100, 101, 101, F, 104}},
        {"start inside the position", 3, 0, 4, {7, 7, 7, 7}, {7, 7, 7, 7, 3, 3, F, 1}},
        {"start after it", 3, 3, 7, {7, 7, 7, 7, 7, 7, 7}, {7, 7, 7, 7, 7, 7, 7, 104}},
        {"one unit", 1, 1, 0, {}, {F, F, F, F, F, F, F, F}},
        {"one unit held", 1.4, 0, 0, {}, {1, 1, 1, 1, 1, 1, F, 1}},
    };
    Ticked m(barsOf({100.9, 100.75, 101.0, 101.5, 102.25, 103.5, 103, 103.2}, {99, 99, 99, 99, 99, 99, 99, 102.9}));
    const Vec entry = {100, 100, 100, 100, 100, 100, 100, 103.1}, direction = {1, 1, 1, 1, 1, 1, 0, -1};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectNear(valuesOf("PyramidTP", {&m, entry, direction, 4.0, c.units, c.selector}, c.start, c.before), c.want);
    }
}

TEST_F(TradePlanTest, PyramidShortCountsLows) {
    // short from 100: lows 99.5 (2 ticks), 98.9 (4 ticks: one add), 97.1 (12 ticks: capped at 3)
    Ticked m(barsOf({100, 100, 100, 100}, {99, 99.5, 98.9, 97.1}));
    expectNear(valuesOf("PyramidTP", {&m, 100.0, -1.0, 4.0, 3.0, 0.0}), {1, 1, 2, 3});
}

TEST_F(TradePlanTest, ReversalBarPlans) {
    struct Case { const char* what; double expiry, selector; int32_t start; Vec before, want; };
    const Case cases[] = {
        {"target", 3, 0, 0, {}, {F, F, 11.25, 11.25, 11.25, F, 9.5}},
        {"stop", 3, 1, 0, {}, {F, F, 8.75, 8.75, 8.75, F, 12}},
        {"direction", 3, 2, 0, {}, {F, F, 1, 1, 1, F, -1}},
        {"age", 3, 3, 0, {}, {F, F, 0, 1, 2, F, 0}},
        {"expiry after one bar", 1, 0, 0, {}, {F, F, 11.25, 11.25, F, F, 9.5}},
        {"no expiry", 0, 3, 0, {}, {F, F, 0, 1, 2, F, 0}},
        {"start after the touch", 3, 0, 5, {7, 7, 7, 7, 7}, {7, 7, 7, 7, 7, F, 9.5}},
        {"start inside the plan", 3, 3, 4, {7, 7, 7, 7}, {7, 7, 7, 7, 2, F, 0}},
        {"start past an expired plan", 1, 0, 4, {7, 7, 7, 7}, {7, 7, 7, 7, F, F, 9.5}},
    };
    Ticked m(barsOf({10.5, 10.25, 10.0, 10.75, 11.5, 11.25, 11.75}, {9.5, 9.75, 9.0, 10.0, 10.5, 10.75, 10.5},
                    {10.0, 10.0, 10.25, 10.5, 11.25, 11.0, 10.75}));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectNear(valuesOf("ReverseBarTP", {&m, 2.0, 1.0, c.expiry, c.selector}, c.start, c.before), c.want);
    }
}

// A random walk of bars on a quarter-point grid, with a few bars missing, and the position of a
// crossing of two averages.
struct Walk { std::vector<Bar> bars; Vec entry, direction; };
Walk randomWalk(int n) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    Walk w;
    double p = 100, fast = 100, slow = 100, entry = 0, dir = 0;
    for (int i = 0; i < n; ++i) {
        p += (u(rng) - 0.5) * 2;
        const double h = p + u(rng), l = p - u(rng);
        const bool gap = u(rng) < 0.03;
        w.bars.push_back({41000.0 + i, p, gap ? F : h, gap ? F : l, gap ? F : p, 10});
        fast += (p - fast) / 3;
        slow += (p - slow) / 10;
        const double d = fast > slow ? 1 : -1;
        if (d != dir) entry = p;
        dir = d;
        w.entry.push_back(u(rng) < 0.05 ? 0 : entry);
        w.direction.push_back(dir);
    }
    return w;
}

TEST_F(TradePlanTest, ChunkedHostCallsGiveTheSeriesOfOneCall) {
    struct Case { const char* name; bool position; std::vector<double> numbers; };
    const Case cases[] = {
        {"PTF_DLL", true, {3, -2}},
        {"PyramidTP", true, {4, 4, 0}},
        {"PyramidTP", true, {2, 5, 3}},
        {"ReverseBarTP", false, {3, 1.5, 8, 0}},
        {"ReverseBarTP", false, {2, 0.5, 0, 3}},
    };
    const int n = 500;
    const Walk w = randomWalk(n);
    for (const Case& c : cases) {
        std::vector<Arg> args = {w.bars};
        if (c.position) args.insert(args.end(), {w.entry, w.direction});
        args.insert(args.end(), c.numbers.begin(), c.numbers.end());
        const Vec whole = expectChunksMatchOneCall(c.name, args, [](Market& m) { m.tick(0.25, 12.5); });
        EXPECT_GT(presentCount(whole), n / 10) << c.name;
    }
}

TEST_F(TradePlanTest, StatusCodes) {
    const Vec x = {1, 2, 3};
    Market tick0(threeBars()), tickNaN(threeBars()), tickNegative(threeBars());
    tick0.tick(0, 0);
    tickNaN.tick(NAN, 0);
    tickNegative.tick(-0.25, 0);
    expectStatuses({
        {"PTF_DLL", {'n', x, x, 4.0, 1.0}, kTooFewBars},
        {"PyramidTP", {'n', x, x, 4.0, 3.0, 0.0}, kTooFewBars},
        {"ReverseBarTP", {'n', 2.0, 1.0, 0.0, 0.0}, kTooFewBars},
        // a tick size of 0, NaN or below 0
        {"PTF_DLL", {&tick0, x, x, 4.0, 1.0}, kDomainError},
        {"PyramidTP", {&tickNaN, x, x, 4.0, 3.0, 0.0}, kDomainError},
        {"ReverseBarTP", {&tickNegative, 2.0, 1.0, 0.0, 0.0}, kDomainError},
        // step 0.4, rung NaN, rung 3e9
        {"PTF_DLL", {'m', x, x, 0.4, 1.0}, kDomainError}, {"PTF_DLL", {'m', x, x, 4.0, NAN}, kDomainError},
        {"PTF_DLL", {'m', x, x, 4.0, 3e9}, kDomainError},
        // step 0.4, units 0.4, selector 4 and -1
        {"PyramidTP", {'m', x, x, 0.4, 3.0, 0.0}, kDomainError}, {"PyramidTP", {'m', x, x, 4.0, 0.4, 0.0}, kDomainError},
        {"PyramidTP", {'m', x, x, 4.0, 3.0, 4.0}, kDomainError}, {"PyramidTP", {'m', x, x, 4.0, 3.0, -1.0}, kDomainError},
        // look-back 0.4, multiple 0 and NaN, expiry -1.6, selector 4
        {"ReverseBarTP", {'m', 0.4, 1.0, 0.0, 0.0}, kDomainError}, {"ReverseBarTP", {'m', 2.0, 0.0, 0.0, 0.0}, kDomainError},
        {"ReverseBarTP", {'m', 2.0, NAN, 0.0, 0.0}, kDomainError},
        {"ReverseBarTP", {'m', 2.0, 1.0, -1.6, 0.0}, kDomainError},
        {"ReverseBarTP", {'m', 2.0, 1.0, 0.0, 4.0}, kDomainError},
    });
}

} // namespace
} // namespace fk
