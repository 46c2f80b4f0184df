// Stops, waves, the n-bar swing line, pivots, ease of movement and Bomar bands: the worked cases,
// long random markets against plain step-by-step computations, calls made as bars arrive, and
// each export's own checks of its market and inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "bench/bench_data.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class StopsTest : public HeapChecked {};

// A random walk of n bars in which every 29th bar has no data, every 41st no volume and every
// 53rd a volume of 0, so that the passes over missing bars are taken.
std::vector<Bar> gappyWalk(int32_t n, uint64_t seed = 7) {
    std::vector<Bar> bars = bench::walkBars(bench::randomWalk(n, seed));
    for (int32_t i = 0; i < n; ++i) {
        Bar& b = bars[static_cast<std::size_t>(i)];
        if (i % 29 == 28) b.open = b.high = b.low = b.close = kMissing;
        if (i % 41 == 40) b.volume = kMissing;
        if (i % 53 == 52) b.volume = 0;
    }
    return bars;
}

Vec onMarket(const char* name, Market& m, double number) { return valuesOf(name, {&m, number}); }

TEST_F(StopsTest, StopAndReverseWorkedCases) {
    Market m(barsOf({1, 1, 1, 1, 1, 1}, {1, 1, 1, 1, 1, 1}, {1, 1, 1, 1, 1, 1}));
    Series ls = Series::of({95, 96, 98, 97, 94, 93}), ss = Series::of({105, 104, 107, 106, 101, 102});
    Series xl = Series::of({98, 99, 101, 99, 97, 95}), xs = Series::of({102, 106, 108, 103, 100, 99});
    struct Case { double filter, ratchet; int side; std::vector<double> stops; }; // side 2: none passed
    const Case cases[] = {
        {0, 1, 2, {F, 96, 98, 98, 101, 101}},  {0, 0, 2, {F, 96, 98, 97, 101, 102}},
        {1, 1, 2, {F, 96, 98, 98, F, F}},      {-1, 1, 2, {F, F, F, F, 101, 101}},
        {0, 1, -1, {105, 96, 98, 98, 101, 101}}, {0, 1, 1, {95, 96, 98, 98, 101, 101}},
        {0, 1, 0, {F, 96, 98, 98, 101, 101}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.stops));
        Series out;
        Call call("StopAndReverse");
        call.out(out).arg(m).arg(ls).arg(ss).arg(xl).arg(xs).arg(c.filter).arg(c.ratchet);
        if (c.side != 2) call.arg(c.side);
        ASSERT_EQ(call.run(0), 0);
        EXPECT_EQ(out.values(), c.stops);
    }
}

// A bar with any level missing gets the Close fill value and is not the "bar before" of the
// next; the start bar is not read, so -2 is no release call.
TEST_F(StopsTest, StopAndReverseMissingLevelsAndStartBar) {
    Market m(barsOf({1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}));
    Series ls = Series::of({95, 96, 90, 97}), ss = Series::of({105, 104, 103, 106});
    Series xl = Series::of({98, F, 99, 99}), xs = Series::of({102, 106, 104, 103});
    Series out;
    Call call("StopAndReverse");
    call.out(out).arg(m).arg(ls).arg(ss).arg(xl).arg(xs).arg(0).arg(1);
    ASSERT_EQ(call.run(-2), 0);
    // bar 2 compares with bar 0's levels (104 < 105, 99 > 95) and takes no position; bar 3
    // reaches bar 2's short level (103 >= 103)
    EXPECT_EQ(out.values(), (std::vector<double>{F, F, F, 97}));
    EXPECT_EQ(call.block().startBar, -2);
}

// The waves as the two passes find them: first where each wave starts, then the sums.
std::vector<double> waveVolumeInTwoPasses(const std::vector<Bar>& bars, double reversal) {
    const std::size_t n = bars.size();
    const auto valid = [&](std::size_t i) { return bars[i].close != F && bars[i].volume != F; };
    const auto qualifies = [&](double m) { return m > 0 && m >= reversal; };
    std::vector<std::size_t> starts;
    std::vector<int> dirs;
    int d = 0;
    double first = 0, extreme = 0;
    std::size_t e = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (!valid(i)) continue;
        const double c = bars[i].close;
        if (starts.empty()) {
            starts.push_back(i);
            dirs.push_back(0);
            first = c;
        } else if (d == 0) {
            d = qualifies(c - first) ? 1 : qualifies(first - c) ? -1 : 0;
            if (d != 0) dirs.back() = d, extreme = c, e = i;
        } else if (d == 1 ? c >= extreme : c <= extreme) {
            extreme = c, e = i;
        } else if (qualifies(d == 1 ? extreme - c : c - extreme)) {
            std::size_t s = e + 1;
            while (!valid(s)) ++s;
            starts.push_back(s);
            d = -d;
            dirs.push_back(d);
            extreme = c, e = i;
        }
    }
    std::vector<double> out(n, F);
    double sum = 0;
    for (std::size_t i = 0, w = 0; i < n; ++i) {
        if (!valid(i)) continue;
        if (w + 1 < starts.size() && i == starts[w + 1]) ++w, sum = 0;
        sum += bars[i].volume;
        out[i] = (dirs[w] == -1 ? -1 : 1) * sum;
    }
    return out;
}

// The window scanned afresh on every bar.
std::vector<double> willStopByScanning(const std::vector<Bar>& bars, const std::vector<double>& hs,
                                       const std::vector<double>& ls, std::size_t n) {
    std::vector<double> out(bars.size(), F), winHigh, winLow;
    int pos = 0;
    double st = 0;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const Bar& b = bars[i];
        if (hs[i] == F || ls[i] == F || b.high == F || b.low == F || b.close == F) continue;
        const auto highest = [&] { return *std::max_element(winHigh.end() - std::min(n, winHigh.size()), winHigh.end()); };
        const auto lowest = [&] { return *std::min_element(winLow.end() - std::min(n, winLow.size()), winLow.end()); };
        const int was = pos; // a position taken on this bar is not tested again on it
        if (pos == 0 && winHigh.size() >= n) pos = b.high > highest() ? 1 : b.low < lowest() ? -1 : 0;
        winHigh.push_back(hs[i]);
        winLow.push_back(ls[i]);
        if (was == 0) st = pos > 0 ? lowest() : highest();
        else if (pos > 0) st = b.low <= st ? (pos = -1, highest()) : std::max(st, lowest());
        else st = b.high >= st ? (pos = 1, lowest()) : std::min(st, highest());
        if (pos != 0) out[i] = st;
    }
    return out;
}

// The n-bar swing line by its rules, one bar at a time: the reference bar, the counts in a row,
// the turn, the line following. A NaN price makes no inside bar, and a NaN reference none either.
std::vector<double> agTrendByRules(const std::vector<Bar>& bars, int n) {
    std::vector<double> out(bars.size(), F);
    bool haveRef = false;
    double refHigh = 0, refLow = 0, line = 0;
    int ups = 0, downs = 0, trend = 0;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const double h = bars[i].high, l = bars[i].low;
        if (h == F || l == F) continue;
        if (!haveRef) {
            haveRef = true, refHigh = h, refLow = l;
            continue;
        }
        if (!(h <= refHigh && l >= refLow)) {
            ups = h > refHigh ? ups + 1 : 0;
            downs = l < refLow ? downs + 1 : 0;
            refHigh = h, refLow = l;
            if (trend != 1 && ups >= n) trend = 1, line = h;
            else if (trend != -1 && downs >= n) trend = -1, line = l;
            else if (trend == 1 && h > line) line = h;
            else if (trend == -1 && l < line) line = l;
        }
        if (trend != 0) out[i] = line;
    }
    return out;
}

TEST_F(StopsTest, AgainstStepByStepComputations) {
    const std::vector<Bar> bars = gappyWalk(5000);
    Market m(bars);
    for (double reversal : {0.0, 0.3, 1.0, 4.0})
        EXPECT_EQ(onMarket("WaveVolume_DLL", m, reversal), waveVolumeInTwoPasses(bars, reversal)) << reversal;
    // the stop levels have holes of their own where the market has data (every 17th high)
    std::vector<double> high, low, close;
    for (const Bar& b : bars)
        high.push_back(high.size() % 17 == 5 ? F : b.high), low.push_back(b.low), close.push_back(b.close);
    // and a channel of closes: the stops are the closes' extremes, the triggers the bars' Low and High
    for (int n : {1, 3, 20})
        for (const auto& [hs, ls] : {std::pair{&high, &low}, {&close, &close}})
            EXPECT_EQ(valuesOf("WillStopCustom", {&m, *hs, *ls, double(n)}), willStopByScanning(bars, *hs, *ls, n))
                << n;
    // quarter ticks make ties and inside bars common; some prices are NaN
    std::vector<Bar> ticks = bars;
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        if (ticks[i].high == F) continue;
        ticks[i].high = i % 97 == 50 ? NAN : std::round(ticks[i].high * 4) / 4;
        ticks[i].low = i % 89 == 30 ? NAN : std::round(ticks[i].low * 4) / 4;
    }
    Market quarters(ticks);
    for (int n : {1, 2, 3, 5}) EXPECT_EQ(onMarket("AgTrend", quarters, n), agTrendByRules(ticks, n)) << n;
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

// The worked cases of the exports that read a market and one number.
TEST_F(StopsTest, WorkedCasesOnAMarket) {
    const Vec closes = {10, 11, 12, 11.5, 11, 12, 13}, volumes = {100, 200, 300, 150, 100, 250, 400};
    const Vec gap = {100, F, 300, 150, 100, 250, 400};
    const Vec agHigh = {10, 11, 12, 11.5, 11, 10, 10.5, 11}, agLow = {8, 9, 10, 10.5, 9.5, 9, 8.5, 9};
    const Vec low = {10, 9.5, 9.8, 9.2, 9.6}, close = {10.5, 9.8, 10, 10.3, 10.2}, top(5, 11);
    const std::vector<Bar> ease =
        barsOf({10, 11, 12, 11, 10, 11}, {8, 9, 9, 10, 8, 9}, {}, {10000, 20000, 15000, 5000, 0, 10000});
    struct Case { const char* name; std::vector<Bar> bars; double number; Vec want; };
    const Case cases[] = {
        {"WaveVolume_DLL", barsOf(closes, closes, closes, volumes), 0.75, {100, 300, 600, -150, -250, 250, 650}},
        {"WaveVolume_DLL", barsOf(closes, closes, closes, volumes), 2, {100, 300, 600, 750, 850, 1100, 1500}},
        {"WaveVolume_DLL", barsOf({10, 10, 10}, {10, 10, 10}, {10, 10, 10}, {5, 6, 7}), 0.5, {5, 11, 18}},
        {"WaveVolume_DLL", barsOf(closes, closes, closes, gap), 0.75, {100, F, 400, -150, -250, 250, 650}},
        {"AgTrend", barsOf(agHigh, agLow, agHigh), 2, {F, F, 12, 12, 12, 9, 8.5, 11}},
        {"AgTrend", barsOf(agHigh, agLow, agHigh), 0, {F, F, F, F, F, F, 8.5, 8.5}},
        {"BullishPivot", barsOf(top, low, close), 3, {F, F, F, 1, 0}},
        {"BullishPivot", barsOf(top, low, close), 0.5, {F, 0, 0, 1, 0}}, // a look-back below 1 is 1
        {"BullishPivot", barsOf(top, low, {10.5, 9.8, 10, 9.9, 10.2}), 3, {F, F, F, 0, 0}},
        {"BullishPivot", barsOf(top, {10, 9.5, 9.8, 9.5, 9.6}, close), 3, {F, F, F, 0, 0}},
        // a missing close alone: no answer on its bar or the next
        {"BullishPivot", barsOf(Vec(6, 11), {10, 9.5, 9.8, 9.2, 9.6, 9.1}, {10.5, 9.8, 10, 10.3, F, 10.4}), 3,
         {F, F, F, 1, F, F}},
        {"BearishPivot", barsOf({11, 11.5, 11.2, 11.8, 11.4}, Vec(5, 9), {10.8, 11.2, 11, 10.9, 11.1}), 3,
         {F, F, F, 1, 0}},
        {"EaseOfMove", ease, 1, {F, 1, 1, 0, F, 2}},
        {"EaseOfMove", ease, 1.5, {F, F, 1, 0.5, F, 1}}, // a length of 1.5 is 2
    };
    for (const Case& c : cases)
        EXPECT_EQ(valuesOf(c.name, {c.bars, c.number}), c.want) << c.name << " row " << &c - cases;
    const Vec high = {10, 11, 12, 12.5, 12, 11, 12.2}, lows = {8, 9, 10, 10.5, 9.8, 9, 10};
    EXPECT_EQ(valuesOf("WillStopCustom", {barsOf(high, lows, high), high, lows, 2.0}), (Vec{F, F, 9, 10, 12.5, 12, 9}));
    // a High that only touches the stop reverses too
    const Vec touch = {10, 11, 12, 12.5, 12, 11, 12};
    EXPECT_EQ(valuesOf("WillStopCustom", {barsOf(touch, lows, touch), touch, lows, 2.0}), (Vec{F, F, 9, 10, 12.5, 12, 9}));

    // EaseOfMove's bar 5 alone after a call over bars 0 to 4, seeded with the value of bar 3
    Series out;
    Market growing(std::vector<Bar>(ease.begin(), ease.begin() + 5));
    Call grown("EaseOfMove");
    grown.out(out).arg(growing).arg(2);
    ASSERT_EQ(grown.run(0), 0);
    growing.append(ease[5]);
    ASSERT_EQ(grown.run(5), 0);
    EXPECT_EQ(out.values(), (std::vector<double>{F, F, 1, 0.5, F, 1}));
}

Vec bomar(const char* name, const Vec& x, double length, double window, double percent) {
    return valuesOf(name, {x, length, window, percent});
}

TEST_F(StopsTest, BomarWorkedCases) {
    const Vec x = {10, 11, 12, 13, 12, 11, 12, 14};
    expectNear(bomar("BomarUpper", x, 3, 4, 50), {F, F, F, F, F, 13, 12, 12.685714285714}, 1e-9, "upper");
    expectNear(bomar("BomarLower", x, 3, 4, 50), {F, F, F, F, F, 11.675675675676, 11.351351351351, 12}, 1e-9, "lower");
    expectNear(bomar("BomarUpper", x, 3, 4, 85), {F, F, F, F, F, 13.090909090909, 12.638888888889, 14}, 1e-9, "85");
    expectNear(bomar("BomarUpper", x, 3, 4, 100), bomar("BomarUpper", x, 3, 4, 85), 1e-9, "100 means 85");
    // the defaults: the first band at the 270th value
    std::vector<double> values;
    for (int i = 0; i < 300; ++i) values.push_back(100 + (i * 37 % 23) - (i % 7));
    const std::vector<double> upper = bomar("BomarUpper", values, 0, 0, -5);
    EXPECT_EQ(std::find_if(upper.begin(), upper.end(), [](double v) { return v != F; }) - upper.begin(), 269);
    expectNear(upper, bomar("BomarUpper", values, 21, 250, 85), 1e-9, "defaults");
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

TEST_F(StopsTest, PivotsAndBandsAgainstFreshComputations) {
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
    const int bands[][3] = {{1, 1, 50}, {3, 4, 50}, {21, 250, 85}, {5, 40, 10}, {2, 9, 99}};
    for (const std::vector<double>& x : {bandInput(3000), climb, levels})
        for (const auto& b : bands)
            for (bool upper : {true, false})
                expectNear(bomar(upper ? "BomarUpper" : "BomarLower", x, b[0], b[1], b[2]),
                           bomarBySorting(x, b[0], b[1], b[2], upper), 1e-9,
                           std::to_string(b[0]) + "/" + std::to_string(b[1]) + " on " + std::to_string(x[1]));
}

// Called as bars arrive, in chunks of 1, 7 and 100 bars, each writes exactly what one call writes.
TEST_F(StopsTest, ChunkedCallsMatchOneCall) {
    const int32_t total = 1200;
    const std::vector<Bar> bars = gappyWalk(total);
    const std::vector<double> x = bandInput(total);
    const std::pair<const char*, double> onBars[] = {{"BullishPivot", 4}, {"BearishPivot", 1}, {"EaseOfMove", 14},
                                                     {"EaseOfMove", 1}};
    for (const auto& [name, a] : onBars) {
        SCOPED_TRACE(std::string(name) + " " + std::to_string(a));
        const Vec whole = valuesOf(name, {bars, a});
        for (int32_t chunk : {1, 7, 100}) {
            Market m;
            Series out;
            Call call(name);
            call.out(out).arg(m).arg(a);
            // a pivot needs its look-back before its first call: the first calls see more bars
            const int32_t least = static_cast<int32_t>(a) + 1;
            ASSERT_EQ(host::playChunks(call, total, chunk, [&](int32_t n) {
                while (m.barCount() < std::max(n, least)) m.append(bars[m.barCount()]);
            }), 0);
            EXPECT_EQ(out.values(), whole) << "chunks of " << chunk;
        }
    }
    const std::tuple<const char*, double, double, double> onSeries[] = {
        {"BomarUpper", 5, 60, 80}, {"BomarLower", 21, 250, 85}, {"BomarUpper", 1, 1, 85},
        {"BomarLower", 1, 30, 85}, {"BomarUpper", 4, 1, 85}};
    for (const auto& [name, l, w, p] : onSeries) expectChunksMatchOneCall(name, {x, l, w, p});
}

// Each export's own checks of its market and its inputs.
TEST_F(StopsTest, StatusCodes) {
    const auto flat = [](int n) { return std::vector<Bar>(static_cast<std::size_t>(n), Bar{41640, 1, 2, 1, 1.5, 10}); };
    const Vec levels = {1, 2, 3};
    expectStatuses({
        {"WaveVolume_DLL", {flat(0), 1.0}, kTooFewBars}, {"WaveVolume_DLL", {flat(1), 1.0}, kOk},
        {"AgTrend", {flat(8), 10.0}, kTooFewBars},       {"AgTrend", {flat(8), 7.0}, kOk},
        // the look-back is tested as given: 0 stands for 3 only in the computation
        {"AgTrend", {flat(3), 0.0}, kOk},                {"AgTrend", {flat(3), 3.0}, kTooFewBars},
        {"AgTrend", {flat(0), 0.0}, kTooFewBars},        {"AgTrend", {flat(0), -1.0}, kOk},
        {"WillStopCustom", {flat(3), levels, levels, 0.0}, kTooFewBars},
        {"WillStopCustom", {flat(4), levels, levels, 0.0}, kOk},
        {"BullishPivot", {flat(5), 5.0}, kTooFewBars},   {"BearishPivot", {flat(5), 5.0}, kTooFewBars},
        {"BullishPivot", {flat(2), 0.0}, kOk},           {"BullishPivot", {flat(1), 0.0}, kTooFewBars},
        {"EaseOfMove", {flat(0), 1.0}, kTooFewBars},     {"EaseOfMove", {flat(1), 100.0}, kOk},
        // an empty input
        {"BomarUpper", {'e', 3.0, 4.0, 50.0}, kDomainError}, {"BomarLower", {'e', 3.0, 4.0, 50.0}, kDomainError},
        {"WillStopCustom", {flat(5), 'e', levels, 2.0}, kDomainError},
        {"WillStopCustom", {flat(5), levels, 'e', 2.0}, kDomainError},
    });
}

} // namespace
} // namespace fk
