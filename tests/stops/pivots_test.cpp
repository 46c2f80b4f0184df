// Pivot reversal bars, ease of movement and Bomar bands: the worked cases, long random series
// against plain computations that look back afresh on every bar, and calls made as bars arrive.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "market_data.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class PivotsTest : public HeapChecked {};

Vec onMarket(const char* name, Market& m, double number) { return valuesOf(name, {&m, number}); }

TEST_F(PivotsTest, PivotWorkedCases) {
    const std::vector<double> low = {10, 9.5, 9.8, 9.2, 9.6}, close = {10.5, 9.8, 10, 10.3, 10.2};
    Market bull(barsOf({11, 11, 11, 11, 11}, low, close));
    EXPECT_EQ(onMarket("BullishPivot", bull, 3), (std::vector<double>{F, F, F, 1, 0}));
    Market weak(barsOf({11, 11, 11, 11, 11}, low, {10.5, 9.8, 10, 9.9, 10.2}));
    EXPECT_EQ(onMarket("BullishPivot", weak, 3), (std::vector<double>{F, F, F, 0, 0}));
    Market equal(barsOf({11, 11, 11, 11, 11}, {10, 9.5, 9.8, 9.5, 9.6}, close));
    EXPECT_EQ(onMarket("BullishPivot", equal, 3), (std::vector<double>{F, F, F, 0, 0}));
    Market bear(barsOf({11, 11.5, 11.2, 11.8, 11.4}, {9, 9, 9, 9, 9}, {10.8, 11.2, 11, 10.9, 11.1}));
    EXPECT_EQ(onMarket("BearishPivot", bear, 3), (std::vector<double>{F, F, F, 1, 0}));
    // a missing low inside the look-back, or a missing close before, gives no answer
    Market gap(barsOf({11, 11, 11, 11, 11, 11}, {10, 9.5, 9.8, 9.2, 9.6, 9.1}, {10.5, 9.8, 10, 10.3, F, 10.4}));
    EXPECT_EQ(onMarket("BullishPivot", gap, 3), (std::vector<double>{F, F, F, 1, F, F}));
    EXPECT_EQ(onMarket("BullishPivot", gap, 0.5), (std::vector<double>{F, 0, 0, 1, F, F}));
}

std::vector<double> pivotsByScanning(const std::vector<Bar>& b, int n, bool bullish) {
    std::vector<double> out(b.size(), F);
    for (std::size_t i = static_cast<std::size_t>(n); i < b.size(); ++i) {
        const auto price = [&](std::size_t j) { return bullish ? b[j].low : b[j].high; };
        bool missing = b[i].close == F || b[i - 1].close == F;
        bool beyond = true;
        for (std::size_t j = i - n; j <= i; ++j) missing = missing || price(j) == F;
        if (missing) continue;
        for (std::size_t j = i - n; j < i; ++j) beyond = beyond && (bullish ? price(i) < price(j) : price(i) > price(j));
        const bool back = bullish ? b[i].close > b[i - 1].close : b[i].close < b[i - 1].close;
        out[i] = beyond && back ? 1 : 0;
    }
    return out;
}

// The ease-of-movement values that exist, averaged n at a time afresh.
std::vector<double> easeByAveraging(const std::vector<Bar>& b, int n) {
    std::vector<double> out(b.size(), F), raws;
    for (std::size_t i = 1; i < b.size(); ++i) {
        if (b[i].high == F || b[i].low == F || b[i - 1].high == F || b[i - 1].low == F || b[i].volume == F ||
            !(b[i].volume > 0))
            continue;
        const double move = (b[i].high + b[i].low) / 2 - (b[i - 1].high + b[i - 1].low) / 2;
        raws.push_back(move * (b[i].high - b[i].low) * 10000 / b[i].volume);
        if (raws.size() < static_cast<std::size_t>(n)) continue;
        double sum = 0;
        for (std::size_t k = raws.size() - n; k < raws.size(); ++k) sum += raws[k];
        out[i] = sum / n;
    }
    return out;
}

TEST_F(PivotsTest, EaseOfMoveWorkedCases) {
    Market m(barsOf({10, 11, 12, 11, 10, 11}, {8, 9, 9, 10, 8, 9}, {}, {10000, 20000, 15000, 5000, 0, 10000}));
    EXPECT_EQ(onMarket("EaseOfMove", m, 1), (std::vector<double>{F, 1, 1, 0, F, 2}));
    EXPECT_EQ(onMarket("EaseOfMove", m, 2), (std::vector<double>{F, F, 1, 0.5, F, 1}));
    EXPECT_EQ(onMarket("EaseOfMove", m, 1.5), (std::vector<double>{F, F, 1, 0.5, F, 1}));
    EXPECT_EQ(onMarket("EaseOfMove", m, 9), (std::vector<double>(6, F)));

    // bar 5 alone after a call over bars 0 to 4, seeded with the value of bar 3
    Series out;
    const std::vector<Bar> all =
        barsOf({10, 11, 12, 11, 10, 11}, {8, 9, 9, 10, 8, 9}, {}, {10000, 20000, 15000, 5000, 0, 10000});
    Market growing(std::vector<Bar>(all.begin(), all.begin() + 5));
    Call grown("EaseOfMove");
    grown.out(out).arg(growing).arg(2);
    ASSERT_EQ(grown.run(0), 0);
    growing.append(all[5]);
    ASSERT_EQ(grown.run(5), 0);
    EXPECT_EQ(out.values(), (std::vector<double>{F, F, 1, 0.5, F, 1}));
}

Vec bomar(const char* name, const Vec& x, double length, double window, double percent) {
    return valuesOf(name, {x, length, window, percent});
}

TEST_F(PivotsTest, BomarWorkedCases) {
    const Vec x = {10, 11, 12, 13, 12, 11, 12, 14};
    expectNear(bomar("BomarUpper", x, 3, 4, 50), {F, F, F, F, F, 13, 12, 12.685714285714}, 1e-9, "upper");
    expectNear(bomar("BomarLower", x, 3, 4, 50), {F, F, F, F, F, 11.675675675676, 11.351351351351, 12}, 1e-9,
                     "lower");
    expectNear(bomar("BomarUpper", x, 3, 4, 85), {F, F, F, F, F, 13.090909090909, 12.638888888889, 14}, 1e-9,
                     "extreme ratios");
    expectNear(bomar("BomarUpper", x, 3, 4, 100), bomar("BomarUpper", x, 3, 4, 85), 1e-9, "100 means 85");
    EXPECT_EQ(bomar("BomarUpper", x, 3, 9, 50), std::vector<double>(8, F));
}

TEST_F(PivotsTest, BomarDefaults) {
    std::vector<double> values;
    for (int i = 0; i < 300; ++i) values.push_back(100 + (i * 37 % 23) - (i % 7));
    const Vec& x = values;
    const std::vector<double> upper = bomar("BomarUpper", x, 0, 0, -5);
    const auto first = std::find_if(upper.begin(), upper.end(), [](double v) { return v != F; });
    EXPECT_EQ(first - upper.begin(), 269) << "the first band at the 270th value";
    expectNear(upper, bomar("BomarUpper", x, 21, 250, 85), 1e-9, "defaults");
}

// Averages and ratio windows formed afresh on every bar.
std::vector<double> bomarBySorting(const std::vector<double>& x, int length, int window, double percent, bool upper) {
    const int tail = static_cast<int>(window * (100 - percent) / 200);
    std::vector<double> out(x.size(), F), present, ratios;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (x[i] == F) continue;
        present.push_back(x[i]);
        if (present.size() < static_cast<std::size_t>(length)) continue;
        double sum = 0;
        for (std::size_t k = present.size() - length; k < present.size(); ++k) sum += present[k];
        const double average = sum / length;
        if (!(average > 0)) continue;
        ratios.push_back(x[i] / average);
        if (ratios.size() < static_cast<std::size_t>(window)) continue;
        std::vector<double> w(ratios.end() - window, ratios.end());
        std::sort(w.begin(), w.end());
        out[i] = average * w[upper ? window - 1 - tail : tail];
    }
    return out;
}

// A walk that crosses zero now and then, so that some averages are 0 or below and have no ratio.
std::vector<double> bandInput(int n) {
    std::vector<double> x;
    for (const Bar& b : gappyWalk(n, 11)) x.push_back(b.close == F ? F : b.close - 98.5);
    return x;
}

TEST_F(PivotsTest, AgainstFreshComputations) {
    const std::vector<Bar> bars = gappyWalk(3000);
    Market m(bars);
    for (int n : {1, 3, 17}) {
        EXPECT_EQ(onMarket("BullishPivot", m, n), pivotsByScanning(bars, n, true)) << n;
        EXPECT_EQ(onMarket("BearishPivot", m, n), pivotsByScanning(bars, n, false)) << n;
        expectNear(onMarket("EaseOfMove", m, n), easeByAveraging(bars, n), 1e-9, "EaseOfMove " + std::to_string(n));
    }
    // the gappy walk; a steady climb, whose oldest ratios are the extremes that leave first; and
    // a few levels over and over, all ties
    std::vector<double> climb, levels;
    for (int i = 0; i < 3000; ++i) {
        climb.push_back(100 * std::exp(i * 0.002) * (1 + 0.01 * std::sin(i)));
        levels.push_back(10 + (i * 7 % 5));
    }
    struct Band {
        int length, window;
        double percent;
    };
    for (const std::vector<double>& x : {bandInput(3000), climb, levels}) {
        const Vec& xs = x;
        for (const Band& b : {Band{1, 1, 50}, Band{3, 4, 50}, Band{21, 250, 85}, Band{5, 40, 10}, Band{2, 9, 99}}) {
            const std::string what = std::to_string(b.length) + "/" + std::to_string(b.window) + " on " +
                                     std::to_string(x[1]);
            expectNear(bomar("BomarUpper", xs, b.length, b.window, b.percent),
                             bomarBySorting(x, b.length, b.window, b.percent, true), 1e-9, "upper " + what);
            expectNear(bomar("BomarLower", xs, b.length, b.window, b.percent),
                             bomarBySorting(x, b.length, b.window, b.percent, false), 1e-9, "lower " + what);
        }
    }
}

// Called as bars arrive, in chunks of 1, 7 and 100 bars, each writes exactly what one call writes.
TEST_F(PivotsTest, ChunkedCallsMatchOneCall) {
    const int32_t total = 1200;
    const std::vector<Bar> bars = gappyWalk(total);
    const std::vector<double> x = bandInput(total);
    struct Setup {
        const char* name;
        double a, b, c; // the numbers after the first input
    };
    const Setup setups[] = {{"BullishPivot", 4, 0, 0}, {"BearishPivot", 1, 0, 0}, {"EaseOfMove", 14, 0, 0},
                            {"EaseOfMove", 1, 0, 0},   {"BomarUpper", 5, 60, 80}, {"BomarLower", 21, 250, 85},
                            {"BomarUpper", 1, 1, 85},  {"BomarLower", 1, 30, 85}, {"BomarUpper", 4, 1, 85}};
    for (const Setup& s : setups) {
        SCOPED_TRACE(std::string(s.name) + " " + std::to_string(s.a) + " " + std::to_string(s.b));
        if (std::string(s.name).starts_with("Bomar")) {
            expectChunksMatchOneCall(s.name, {x, s.a, s.b, s.c});
            continue;
        }
        const Vec whole = valuesOf(s.name, {bars, s.a});
        for (int32_t chunk : {1, 7, 100}) {
            Market m;
            Series out;
            Call call(s.name);
            call.out(out).arg(m).arg(s.a);
            // a pivot needs its look-back before its first call: the first calls see more bars
            const int32_t least = static_cast<int32_t>(s.a) + 1;
            ASSERT_EQ(host::playChunks(call, total, chunk, [&](int32_t n) {
                while (m.barCount() < std::max(n, least)) m.append(bars[m.barCount()]);
            }), 0);
            EXPECT_EQ(out.values(), whole) << "chunks of " << chunk;
        }
    }
}

} // namespace
} // namespace fk
