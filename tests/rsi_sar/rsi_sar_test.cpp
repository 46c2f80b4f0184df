// RSI against Wilder's averages of the differences between present values; the parabolic and
// the volatility stop on bars traced by hand; the status codes of the family.
#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <random>

#include "support/heap_check.h"
#include "support/series_checks.h"

namespace fk {
namespace {

using namespace testing;

class RsiSarTest : public HeapChecked {};

Vec rsi(const Vec& data, double period, std::optional<double> multiplier = {}, const char* name = "RSI") {
    return multiplier ? valuesOf(name, {data, period, *multiplier}) : valuesOf(name, {data, period});
}

Vec stop(const char* name, Market& m, double direction, double a, double b) {
    return valuesOf(name, {&m, direction, a, b});
}

TEST_F(RsiSarTest, RsiIsWilderSmoothedGainOverLossAcrossGaps) {
    const std::vector<double> data = randomSeries(400, 41, 8);
    // without a multiplier the first value comes at the 10 n-th difference
    for (const std::optional<double> multiplier : std::vector<std::optional<double>>{1.0, 3.0, std::nullopt}) {
        const int n = 9;
        SCOPED_TRACE(multiplier.value_or(0));
        std::vector<double> want(data.size(), F);
        double gain = 0, loss = 0, prev = F;
        int c = 0;
        for (std::size_t i = 0; i < data.size(); ++i) {
            if (data[i] == F) continue;
            if (prev == F) {
                prev = data[i];
                continue;
            }
            const double d = data[i] - prev;
            prev = data[i];
            ++c;
            if (c <= n) {
                gain += std::max(d, 0.0) / n;
                loss += std::max(-d, 0.0) / n;
            } else {
                gain = (gain * (n - 1) + std::max(d, 0.0)) / n;
                loss = (loss * (n - 1) + std::max(-d, 0.0)) / n;
            }
            if (c >= n * multiplier.value_or(10)) want[i] = loss > 0 ? 100 - 100 / (1 + gain / loss) : 100;
        }
        expectNear(rsi(data, n, multiplier), trimmed(want));
    }
}

TEST_F(RsiSarTest, RsiEdges) {
    struct Case {
        const char* name;
        std::vector<double> data;
        double period;
        std::optional<double> multiplier;
        std::vector<double> want;
    };
    const Case cases[] = {
        {"a rising series is 100", {1, 2, 4, 7, 8, 9}, 2, 1, {F, F, 100, 100, 100, 100}},
        {"a difference spans the gap", {1, F, 3, 2}, 1, 1, {F, F, 100, 0}},
        {"multiplier 0.5 is 10", {1, 2, 3, 4, 5, 6}, 1, 0.5, {}},
        {"period 1.9 is 1: nothing of the last loss is kept", {5, 4, 6}, 1.9, 1, {F, 0, 100}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(rsi(c.data, c.period, c.multiplier), c.want);
        EXPECT_EQ(rsi(c.data, c.period, c.multiplier, "RSI2"), c.want);
    }
}

// Bars from (high, low) pairs with the close between them.
std::vector<Bar> rangeBars(const std::vector<std::pair<double, double>>& ranges) {
    std::vector<Bar> bars;
    for (std::size_t i = 0; i < ranges.size(); ++i)
        bars.push_back({1.0 + i, 0, ranges[i].first, ranges[i].second, (ranges[i].first + ranges[i].second) / 2, 1});
    return bars;
}

TEST_F(RsiSarTest, ParabolicTrace) {
    // rising bars, then a bar that falls through the long stop
    const std::vector<Bar> bars = rangeBars({{10, 9}, {11, 10}, {12, 11}, {13, 12}, {14, 13}, {15, 14}, {16, 15}, {12, 8}});
    Market m(bars);
    const double step = 0.019999999552965164;
    // fifth bar: a new high opens a short whose stop it reaches, so it turns long with the stop
    // at the lowest low, the range restarting from this bar
    double s = 9 + (14 - 9) * step;
    std::vector<double> want = {F, F, F, F, s};
    s = std::min({s + (15 - s) * (2 * step), 14.0, 13.0});
    want.push_back(s);
    s = std::min({s + (16 - s) * (3 * step), 15.0, 14.0});
    want.push_back(s);
    // the fall: short from the highest high of the long, moving down toward this bar's low
    s = std::max({16 - (16 - 8) * step, 12.0, 16.0});
    want.push_back(s);
    expectNear(stop("Parabolic", m, 0, 0, 0), want, 1e-15);
    EXPECT_EQ(stop("Parabolic", m, 0, step, 0.20000000298023224), stop("Parabolic", m, 0, 0, 0));
    EXPECT_NE(stop("Parabolic", m, 0, 0.02, 0.2), stop("Parabolic", m, 0, 0, 0));
}

// The parabolic stop read from its rules bar by bar.
Vec parabolicByRules(const std::vector<Bar>& bars, int filter, double step, double maximum) {
    Vec out(bars.size(), F);
    int position = 0, counted = 0;
    double stop = 0, highest = 0, lowest = 0, factor = std::min(step, maximum), prevHigh = 0, prevLow = 0;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        if (bars[i].close == F) continue;
        const double h = bars[i].high, l = bars[i].low;
        const bool first = ++counted == 1, newHigh = first || h > highest, newLow = first || l < lowest;
        highest = newHigh ? h : highest;
        lowest = newLow ? l : lowest;
        if ((position > 0 && newHigh) || (position < 0 && newLow)) factor = std::min(factor + step, maximum);
        const auto reverse = [&](int to) {
            stop = to > 0 ? lowest : highest;
            position = to, factor = std::min(step, maximum), highest = h, lowest = l;
        };
        if (position == 0 && counted >= 5) {
            if (l <= lowest) position = 1, stop = lowest;
            if (h >= highest) {
                position = -1, stop = highest;
                if (h >= stop) reverse(1);
            }
        } else if (position > 0 && l <= stop) {
            reverse(-1);
        } else if (position < 0 && h >= stop) {
            reverse(1);
        }
        if (position > 0) {
            stop = stop + (highest - stop) * factor;
            if (l < stop) stop = l;
            if (prevLow < stop) stop = prevLow;
        } else if (position < 0) {
            stop = stop - (stop - lowest) * factor;
            if (h > stop) stop = h;
            if (prevHigh > stop) stop = prevHigh;
        }
        prevHigh = h, prevLow = l;
        if (position != 0) out[i] = filter == 0 || (filter > 0) == (position > 0) ? stop : F;
    }
    return out;
}

TEST_F(RsiSarTest, ParabolicFollowsItsRulesBarByBar) {
    // a walk in quarter points, so that extremes tie and stops are touched exactly; some closes
    // missing, some highs and lows NaN
    std::mt19937 rng(17);
    std::uniform_real_distribution<double> u(0, 1);
    std::vector<Bar> bars;
    double p = 100;
    for (int i = 0; i < 4000; ++i) {
        p += std::round((u(rng) - 0.5) * 6) / 4;
        const double h = i % 211 == 70 ? NAN : p + std::round(u(rng) * 3) / 4;
        const double l = i % 223 == 90 ? NAN : p - std::round(u(rng) * 3) / 4;
        bars.push_back({1.0 + i, p, h, l, i % 29 == 11 ? F : p, 1});
    }
    Market m(bars);
    for (const auto& [step, maximum] : std::vector<std::pair<double, double>>{{0.02, 0.2}, {0.3, 0.5}, {0.05, 0.05}})
        for (int filter : {0, 1, -2}) {
            Vec got = stop("Parabolic", m, filter, step, maximum);
            got.resize(bars.size(), F);
            EXPECT_EQ(got, parabolicByRules(bars, filter, step, maximum)) << step << " " << filter;
        }
}

TEST_F(RsiSarTest, VolatilityStop) {
    const std::vector<double> closes = randomSeries(120, 43);
    std::vector<Bar> bars;
    for (std::size_t i = 0; i < closes.size(); ++i)
        bars.push_back({1.0 + i, 0, closes[i] + 0.4, closes[i] - 0.3, closes[i], 1});
    Market m(bars);
    EXPECT_EQ(stop("WVolatility", m, 0, 0, 0), stop("WVolatility", m, 0, 7, 3));
    const std::vector<double> got = stop("WVolatility", m, 0, 5, 2);
    // nothing before the first position, which opens short (its stop above the close) no
    // earlier than the fifth bar
    std::size_t first = 0;
    while (got[first] == F) ++first;
    EXPECT_GE(first, 4u);
    EXPECT_GT(got[first], closes[first]);
    // the filters split the stops by side
    const std::vector<double> longs = stop("WVolatility", m, 1, 5, 2), shorts = stop("WVolatility", m, -1, 5, 2);
    int sides = 0;
    for (std::size_t i = first; i < got.size(); ++i) {
        EXPECT_TRUE((longs[i] == F) != (shorts[i] == F)) << i;
        EXPECT_EQ(longs[i] == F ? shorts[i] : longs[i], got[i]) << i;
        sides += longs[i] != F;
    }
    EXPECT_GT(sides, 0);
}

TEST_F(RsiSarTest, VolatilityStopTrace) {
    // closes 10, 11, 12 with ranges of 2: the average range is 2 at the third bar, whose new
    // high close opens the first position, short, with its stop at 12 + 2 * 1
    const std::vector<Bar> bars = {{1, 0, 11, 9, 10, 1}, {2, 0, 12, 10, 11, 1}, {3, 0, 13, 11, 12, 1},
                                   {4, 0, 15, 13, 14.5, 1}, {5, 0, 15, 13, 14, 1}};
    Market m(bars);
    // the fourth close passes that short's stop: the fifth bar shows the long stop, the highest
    // close since the turn less one average range
    const double a3 = (2 * 2 + std::max(2.0, 15 - 12.0)) / 3;
    EXPECT_EQ(stop("WVolatility", m, 0, 3, 1),
              (std::vector<double>{F, F, 14, 12 + a3, 14.5 - (2 * a3 + 2) / 3}));
}

TEST_F(RsiSarTest, StatusCodes) {
    const Vec x = {1, 2, 3};
    expectStatuses({
        {"RSI", {'e', 14.0}, kTooFewBars},
        {"RSI", {x, 0.5}, kTooFewBars},
        {"RSI2", {x, 0.0}, kTooFewBars},
        {"RSI", {x, 5.0}, kOk},
        {"Parabolic", {'n', 0.0, 0.0, 0.0}, kTooFewBars},
        {"WVolatility", {'n', 0.0, 0.0, 0.0}, kTooFewBars},
    });
}

} // namespace
} // namespace fk
