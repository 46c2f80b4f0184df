// The swing engine in each mode, its continued calls, and the exports built on it: worked
// sequences and chunked host calls against one call.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "indicators/swing_engine.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class SwingEngineTest : public HeapChecked {};

Vec minus(const Vec& v, double d) {
    Vec r;
    for (double x : v) r.push_back(x == F ? F : x - d);
    return r;
}

// A low series left empty: the highs serve as all three series.
struct EngineCase { const char* what; Vec high, low; int32_t mode; double strength; int32_t tie; Vec highs, lows; };

TEST_F(SwingEngineTest, ModesStrengthsAndTies) {
    const Vec ex1 = {10, 11, 12, 11, 10, 11, 13, 12, 11};
    const Vec flat = {10, 12, 12, 11, 10};
    const Vec inside = {10, 12, 11.5, 11, 13, 12, 11}, insideLow = {8, 9, 9.5, 10, 11, 10, 9};
    const Vec mode6 = {10, 12, 11, 14, 12, 13, 11, 12, 10, 11};
    const Vec closes = {5, 6, 6, 5, 4, 5};
    const Vec holed = {10, 11, F, 11, 10, 11, 13, 12, 11}, z5(5, 0.0);
    const EngineCase cases[] = {
        {"mode 0 strength 2", ex1, minus(ex1, 2), 0, 2.9, 0, {0, 0, 2, 0, 0, 0, 2, 0, 0}, {0, 0, 0, 0, 2, 0, 0, 0, 0}},
        {"flat top, last bar", flat, minus(flat, 2), 0, 1, 0, {0, 0, 1, 0, 0}, z5},
        {"flat top, first bar", flat, minus(flat, 2), 0, 1, 1, {0, 1, 0, 0, 0}, z5},
        {"flat top, none", flat, minus(flat, 2), 0, 1, 2, z5, z5},
        {"mode 1 passes over inside bars", inside, insideLow, 1, 7, 0, {0, 0, 0, 0, 1, 0, 0}, {0, 0, 0, 0, 0, 0, 0}},
        {"mode 0 compares them", inside, insideLow, 0, 1, 0, {0, 1, 0, 0, 1, 0, 0}, {0, 0, 0, 0, 0, 0, 0}},
        {"mode 6 intermediate high", mode6, minus(mode6, 1), 6, 3, 0, {0, 0, 0, 3, 0, 0, 0, 0, 0, 0}, Vec(10, 0.0)},
        {"mode 3 passes over a repeated close", closes, {}, 3, 0, 0, {0, 2, 0, 0, 0, 0}, {0, 0, 0, 0, 1, 0}},
        {"mode 4 strength 1", closes, {}, 4, 1, 0, {0, 0, 1, 0, 0, 0}, {0, 0, 0, 0, 1, 0}},
        {"mode 4 strength 0 is 4", closes, {}, 4, 0, 0, Vec(6, 0.0), Vec(6, 0.0)},
        // the highs alone would make bar 1 the swing high
        {"mode 5 midpoints", {10, 12, 11, 10}, {9, 6, 10, 9}, 5, 1, 0, {0, 0, 1, 0}, {0, 1, 0, 0}},
        {"a missing high clears the list", holed, minus(ex1, 2), 0, 2, 0, {0, 0, 0, 0, 0, 0, 2, 0, 0}, Vec(9, 0.0)},
        {"mode 2 strength 1", inside, insideLow, 2, 1, 0, {0, 0, 0, 0, 1, 0, 0}, Vec(7, 0.0)},
    };
    for (const EngineCase& c : cases) {
        SCOPED_TRACE(c.what);
        Series h = Series::of(c.high), l = Series::of(c.low.empty() ? c.high : c.low), highs, lows;
        swingengine::run(h.handle(), l.handle(), h.handle(), c.strength, c.mode, c.tie, &highs.handle(),
                         &lows.handle(), 0);
        EXPECT_EQ(highs.values(), c.highs);
        EXPECT_EQ(lows.values(), c.lows);
    }
}

TEST_F(SwingEngineTest, SetUpsThatDoNothing) {
    for (const auto& [mode, strength] :
         {std::pair{-1, 2.0}, {7, 2.0}, {0, 0.9}, {0, -3.0}, {2, -1.0}, {4, -1.5}, {5, -2.0}}) {
        Series h = Series::of({1, 3, 1, 3, 1}), highs = Series::of({7});
        swingengine::run(h.handle(), h.handle(), h.handle(), strength, mode, 0, &highs.handle(), nullptr, 0);
        EXPECT_EQ(highs.values(), Vec{7}) << mode << " " << strength;
    }
}

// A walk with a swing every few bars, and a few missing highs where asked.
struct Walk { Vec high, low, close; };
Walk walk(int n, bool holes, unsigned seed = 5) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    Walk w;
    double p = 100;
    for (int i = 0; i < n; ++i) {
        p += std::round((u(rng) - 0.5) * 8) / 4; // quarters, so that ties and inside bars occur
        const double range = std::round(u(rng) * 6) / 4;
        w.high.push_back(holes && u(rng) < 0.02 ? F : p + range);
        w.low.push_back(p - range / 2);
        w.close.push_back(p);
    }
    return w;
}

TEST_F(SwingEngineTest, ContinuedCallsGiveTheSeriesOfOneCallInEveryMode) {
    const int n = 600;
    for (bool holes : {false, true}) {
        const Walk w = walk(n, holes);
        for (int32_t mode = 0; mode <= 6; ++mode) {
            for (int outputs = 1; outputs <= 3; ++outputs) { // highs, lows, both
                auto play = [&](int chunk) {
                    Series h, l, c, highs, lows;
                    for (int first = 0; first < n; first += chunk) {
                        const int last = std::min(n, first + chunk);
                        for (int i = first; i < last; ++i) h.push(w.high[i]), l.push(w.low[i]), c.push(w.close[i]);
                        swingengine::run(h.handle(), l.handle(), c.handle(), 3, mode, mode % 3,
                                         outputs & 1 ? &highs.handle() : nullptr,
                                         outputs & 2 ? &lows.handle() : nullptr, first);
                    }
                    return std::make_pair(highs.values(), lows.values());
                };
                const auto whole = play(n);
                for (int chunk : {1, 7, 100})
                    EXPECT_EQ(play(chunk), whole) << "mode " << mode << " outputs " << outputs << " holes " << holes
                                                  << " chunk " << chunk;
            }
        }
    }
}

// The swings by their definition, bar by bar: the compared bars since the last missing one (bars
// inside the last compared one passed over where `skip`), each with st of them on either side
// standing beyond every one of them under the tie rule, marked with the distance to the bar that
// completes its right side. With `intermediate`, those are the short-term points, and what is
// marked is the one before the last that stands beyond the points on either side of it.
std::pair<Vec, Vec> definedSwings(const Vec& high, const Vec& low, int st, bool skip, int tie,
                                  bool intermediate = false) {
    const bool leftStrict = tie == 1 || tie == 2, rightStrict = tie != 1;
    auto beyond = [](double a, double b, bool strict) { return strict ? a > b : a >= b; };
    Vec highs(high.size(), 0.0), lows(high.size(), 0.0);
    std::vector<int> refs, highPoints, lowPoints;
    const auto mark = [&](Vec& out, std::vector<int>& points, const Vec& price, double sign, int k, int i) {
        if (!intermediate) return void(out[k] = i - k);
        points.push_back(k);
        const std::size_t m = points.size();
        if (m < 3) return;
        const int a = points[m - 3], b = points[m - 2], c = points[m - 1];
        const double mid = sign * price[b];
        if (beyond(mid, sign * price[a], leftStrict) && beyond(mid, sign * price[c], rightStrict)) out[b] = i - b;
    };
    for (int i = 0; i < static_cast<int>(high.size()); ++i) {
        if (high[i] == F || low[i] == F) {
            refs.clear();
            highPoints.clear();
            lowPoints.clear();
            continue;
        }
        if (skip && !refs.empty() && high[i] <= high[refs.back()] && low[i] >= low[refs.back()]) continue;
        refs.push_back(i);
        const int size = static_cast<int>(refs.size());
        if (size < 2 * st + 1) continue;
        const int k = refs[size - 1 - st];
        bool isHigh = true, isLow = true;
        for (int j = size - 1 - 2 * st; j < size; ++j) {
            const int b = refs[j];
            if (b == k) continue;
            const bool strict = b < k ? leftStrict : rightStrict;
            isHigh &= beyond(high[k], high[b], strict);
            isLow &= beyond(-low[k], -low[b], strict);
        }
        if (isHigh) mark(highs, highPoints, high, 1, k, i);
        if (isLow) mark(lows, lowPoints, low, -1, k, i);
    }
    return {highs, lows};
}

TEST_F(SwingEngineTest, ModesZeroOneAndSixFindTheSwingsOfTheDefinition) {
    for (unsigned seed : {1u, 2u, 3u}) {
        Walk w = walk(700, seed != 1, seed);
        w.low[350] = std::nan(""); // compares with nothing, and clears nothing
        for (int32_t mode : {0, 1, 6})
            for (int st : {1, 2, 3, 6})
                for (int tie : {0, 1, 2}) {
                    SCOPED_TRACE("seed " + std::to_string(seed) + " mode " + std::to_string(mode) + " strength " +
                                 std::to_string(st) + " tie " + std::to_string(tie));
                    Series h = Series::of(w.high), l = Series::of(w.low), highs, lows;
                    swingengine::run(h.handle(), l.handle(), h.handle(), st, mode, tie, &highs.handle(), &lows.handle(),
                                     0);
                    const auto want = definedSwings(w.high, w.low, mode == 0 ? st : 1, mode != 0, tie, mode == 6);
                    EXPECT_EQ(highs.values(), want.first);
                    EXPECT_EQ(lows.values(), want.second);
                }
    }
}

TEST_F(SwingEngineTest, ResumesAfterTheSecondMostRecentSwingOnlyFarEnoughIn) {
    // Strength 2 swing highs at bars 250 and 300 in 400 bars; a value planted before 250 shows
    // whether a call with start bar 400 kept it, one planted after 300 (not a swing: below 0)
    // that it was rewritten.
    for (const int32_t earlier : {250, 90}) {
        Vec x(400, 0.0);
        for (int i = 0; i < 400; ++i) x[i] = (i % 2) * 0.5; // no strength-2 swing anywhere
        x[earlier] = x[300] = 10;
        Series in = Series::of(x), out;
        Call call("SwingCustomHigh");
        call.out(out).arg(in).arg(2.0).arg(0.0);
        ASSERT_EQ(call.run(0), 0);
        Vec want(400, 0.0);
        want[earlier] = want[300] = 2;
        ASSERT_EQ(out.values(), want);
        series::setNumber(out.handle(), 20, 5);
        series::setNumber(out.handle(), 380, -5);
        ASSERT_EQ(call.run(400), 0);
        const Vec v = out.values();
        EXPECT_EQ(v[20], earlier == 250 ? 5 : 0) << earlier;
        EXPECT_EQ(v[380], 0);
    }
}

TEST_F(SwingEngineTest, CustomSwingsAndHoles) {
    const Vec holed = {1, 3, 1, F, 2, 5, 2};
    const Vec seven(7, 7.0);
    expectExamples({
        {"first bar of a flat top", "SwingCustomHigh", {Vec{10, 12, 12, 11, 10}, 1.0, 1.0}, {0, 1, 0, 0, 0}},
        {"strength 3 marks with 3", "SwingCustomLow", {Vec{5, 4, 3, 1, 2, 3, 4, 2}, 3.7, 0.0}, {0, 0, 0, 3, 0, 0, 0, 0}},
        {"highs of a series with a hole", "SwingCustomHigh", {holed, 1.0, 0.0}, {7, 1, 7, 7, 7, 1, 7}, seven},
        {"lows of a series with a hole", "SwingCustomLow", {holed, 1.0, 0.0}, {7, 7, 1, 7, 7, 7, 7}, seven},
        // the confirmation counts present values: bar 2 is confirmed by bars 3 and 5
        {"strength across the hole", "SwingCustomHigh", {Vec{0, 1, 3, 2, F, 1, 0}, 2.0, 0.0}, {F, F, 2}},
        {"missing values at the ends are no hole", "SwingCustomHigh", {Vec{F, 1, 3, 1, F}, 1.0, 0.0},
         {0, 0, 1, 0, 0, 7, 7}, seven},
    });
    // with a hole a continued call still searches from bar 0
    EXPECT_EQ(valuesOf("SwingCustomHigh", {holed, 1.0, 0.0}, 3, seven), (Vec{7, 1, 7, 7, 7, 1, 7}));
}

TEST_F(SwingEngineTest, CustomSwingsInChunkedHostCalls) {
    const Walk w = walk(500, false, 9);
    for (const char* name : {"SwingCustomHigh", "SwingCustomLow"})
        for (double strength : {1.0, 3.0})
            EXPECT_GT(std::ranges::count(expectChunksMatchOneCall(name, {w.close, strength, 0.0}), strength), 20);
}

TEST_F(SwingEngineTest, SwingSystemLines) {
    const Vec h = {112.0, 112.5, 112.25, 112.1, 112.6, 112.3};
    const struct { const char* name; const char* symbol; double tick, mode, offset; Vec want; } cases[] = {
        {"SwingSystemHigh", "ZBH14", 0.015625, 0, 1, {F, F, 112.53125, 112.53125, 112.53125, 112.625}},
        {"SwingSystemLow", "ZBH14", 0.015625, 0, 1, {F, F, F, F, 111.5625, 111.5625}},
        {"SwingSystemHigh", "ESH14", 0.25, 0, 1, {F, F, 112.75, 112.75, 112.75, 112.75}},
        {"SwingSystemHigh", "MSFT", 0.01, 0, 0, {F, F, 112.5, 112.5, 112.5, 112.6}},
        // no tick: no offset and no rounding; mode 4 reads the closes (midpoints here)
        {"SwingSystemHigh", "MSFT", 0, 4.9, 3, {F, F, 112.25, 112.25, 112.25, 112.35}},
        // a bond root overrides the tick; a negative offset moves the level toward the market
        {"SwingSystemLow", "US", 0.5, 0, -2, {F, F, F, F, 111.65625, 111.65625}},
        {"SwingSystemHigh", "MSFT", 0.01, 7, 0, Vec(6, F)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " " + c.symbol);
        Market m(barsOf(h, minus(h, 0.5), minus(h, 0.25)));
        m.symbol(c.symbol).tick(c.tick, 1);
        Vec want = c.want;
        want.insert(want.end(), {7, 7});
        EXPECT_EQ(valuesOf(c.name, {&m, 1.0, c.mode, c.offset}, 4, Vec(8, 7.0)), want);
    }
}

TEST_F(SwingEngineTest, DivergencesAndIntermediateSwings) {
    const Vec priceHighs = {10, 12, 11, 10, 11, 13, 12, 11};
    const Vec priceLows = {10, 8, 9, 10, 9, 7, 8, 9};
    const Vec signalAt6 = {0, 0, 0, 0, 0, 0, 1, 0}, none(8, 0.0);
    const Vec lw = {5, 3, 4, 1, 3, 2, 6, 4, 8, 5, 7, 6};
    Vec lwHole = lw;
    lwHole[5] = F;
    expectExamples({
        {"bear", "BearDivergence", {priceHighs, Vec{50, 70, 60, 55, 58, 65, 60, 50}, 1.0}, signalAt6},
        {"bull", "BullDivergence", {priceLows, Vec{50, 30, 40, 45, 42, 35, 40, 45}, 1.0}, signalAt6},
        {"indicator confirms", "BearDivergence", {priceHighs, Vec{50, 70, 60, 55, 58, 75, 60, 50}, 1.0}, none},
        {"swings too far apart", "BearDivergence", {priceHighs, Vec{50, 70, 60, 65, 58, 55, 52, 50}, 1.0}, none},
        {"strength 0 finds nothing", "BearDivergence", {priceHighs, Vec{50, 70, 60, 55, 58, 65, 60, 50}, 0.5}, none},
        {"intermediate swings", "LWIntSwing", {lw}, {0, 0, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0}},
        {"the last high not yet confirmed", "LWIntSwing", {Vec(lw.begin(), lw.end() - 1)},
         {0, 0, 0, -1, 0, 0, 0, 0, 0, 0, 0}},
        {"a repeated value is passed over", "LWIntSwing", {Vec{1, 3, 3, 1, 3, 1}}, Vec(6, 0.0)},
        {"a hole is passed over", "LWIntSwing", {lwHole}, {0, 0, 0, -1, 0, F, 0, 0, 1, 0, 0, 0}},
    });
}

// The divergences by their rule, from each input's own swing series: a swing of strength st is
// confirmed st bars after its bar, and each new confirmation judges the last two swings of both.
Vec definedDivergences(bool bear, const Vec& a, const Vec& b, int st) {
    auto swingsOf = [&](const Vec& v) {
        Series x = Series::of(v), marks;
        swingengine::run(x.handle(), x.handle(), x.handle(), st, 0, 0, bear ? &marks.handle() : nullptr,
                         bear ? nullptr : &marks.handle(), 0);
        return marks.values();
    };
    const Vec sa = swingsOf(a), sb = swingsOf(b);
    Vec out(a.size(), 0.0);
    std::vector<int> la, lb;
    int usedA = -1, usedB = -1;
    for (int t = st; t < static_cast<int>(a.size()); ++t) {
        const int j = t - st;
        const bool newA = sa[j] > 0, newB = j < static_cast<int>(sb.size()) && sb[j] > 0;
        if (newA) la.push_back(j);
        if (newB) lb.push_back(j);
        if (!(newA || newB) || la.size() < 2 || lb.size() < 2) continue;
        const int a1 = la[la.size() - 2], a2 = la.back(), b1 = lb[lb.size() - 2], b2 = lb.back();
        if (std::abs(a2 - b2) > st || std::abs(a1 - b1) > st || (a2 == usedA && b2 == usedB)) continue;
        if (bear ? a[a2] > a[a1] && b[b2] < b[b1] : a[a2] < a[a1] && b[b2] > b[b1]) {
            out[t] = 1;
            usedA = a2;
            usedB = b2;
        }
    }
    return out;
}

// Missing and NaN values in either input, at bars of their own; an indicator longer than the
// price, whose bars past the price's last one confirm nothing that counts.
TEST_F(SwingEngineTest, DivergencesFollowTheSwingsOfEachInput) {
    const Walk w = walk(800, true, 11), v = walk(800, true, 12);
    const Vec longer = walk(1000, false, 8).close;
    Vec price = w.high, indicator = v.close;
    price[400] = indicator[200] = std::nan("");
    indicator[500] = F;
    for (bool bear : {true, false})
        for (int st : {1, 2, 3})
            for (const auto& [a, b] : {std::pair<const Vec*, const Vec*>{&price, &indicator}, {&indicator, &price},
                                        {&w.close, &v.high}, {&w.close, &longer}}) {
                SCOPED_TRACE(std::string(bear ? "bear" : "bull") + " strength " + std::to_string(st));
                const Vec got = runCall(bear ? "BearDivergence" : "BullDivergence", {*a, *b, double(st)}).values;
                EXPECT_EQ(got, definedDivergences(bear, *a, *b, st));
                EXPECT_GT(std::count(got.begin(), got.end(), 1.0), 0);
            }
}

// The intermediate swings of a series are those of its present values side by side, a repeated
// value passed over as an inside bar.
TEST_F(SwingEngineTest, IntermediateSwingsOfRepeatsAndHoles) {
    for (unsigned seed : {1u, 2u}) {
        Vec x = walk(900, true, seed).high;
        x[450] = std::nan("");
        Vec present, want(x.size(), 0.0);
        std::vector<int> bars;
        for (int i = 0; i < static_cast<int>(x.size()); ++i) {
            if (x[i] == F) want[i] = F;
            else present.push_back(x[i]), bars.push_back(i);
        }
        const auto [highs, lows] = definedSwings(present, present, 1, true, 0, true);
        for (std::size_t k = 0; k < present.size(); ++k) {
            if (highs[k] > 0) want[bars[k]] = 1;
            if (lows[k] > 0) want[bars[k]] = -1;
        }
        EXPECT_EQ(runCall("LWIntSwing", {x}).values, want) << seed;
        EXPECT_GT(std::count(want.begin(), want.end(), -1.0), 0);
    }
}

TEST_F(SwingEngineTest, StatusCodes) {
    expectStatuses({
        {"SwingSystemHigh", {'n', 1.0, 0.0, 0.0}, kTooFewBars},
        {"BearDivergence", {'e', Vec{1, 2, 3}, 1.0}, kDomainError},
        {"BullDivergence", {Vec{1, 2, 3}, 'e', 1.0}, kDomainError},
        {"LWIntSwing", {'e'}, kDomainError},
    });
}

} // namespace
} // namespace fk
