// Stop-and-reverse, wave volume, the n-bar swing line and the trailing-stop reversal: the worked
// cases, and long random markets against plain step-by-step computations.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "market_data.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class StopsTest : public HeapChecked {};

TEST_F(StopsTest, StopAndReverseWorkedCases) {
    Market m(barsOf({1, 1, 1, 1, 1, 1}, {1, 1, 1, 1, 1, 1}, {1, 1, 1, 1, 1, 1}));
    Series ls = Series::of({95, 96, 98, 97, 94, 93}), ss = Series::of({105, 104, 107, 106, 101, 102});
    Series xl = Series::of({98, 99, 101, 99, 97, 95}), xs = Series::of({102, 106, 108, 103, 100, 99});
    struct Case {
        double filter, ratchet;
        int side; // 2: the call passes no initial side
        std::vector<double> stops;
    };
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

Vec waveVolume(Market& m, double reversal) { return valuesOf("WaveVolume_DLL", {&m, reversal}); }

TEST_F(StopsTest, WaveVolumeWorkedCases) {
    const std::vector<double> closes = {10, 11, 12, 11.5, 11, 12, 13}, volumes = {100, 200, 300, 150, 100, 250, 400};
    Market m(barsOf(closes, closes, closes, volumes));
    EXPECT_EQ(waveVolume(m, 0.75), (std::vector<double>{100, 300, 600, -150, -250, 250, 650}));
    EXPECT_EQ(waveVolume(m, 2), (std::vector<double>{100, 300, 600, 750, 850, 1100, 1500}));
    // every fall turns the wave when any move qualifies
    EXPECT_EQ(waveVolume(m, 0), (std::vector<double>{100, 300, 600, -150, -250, 250, 650}));

    Market flat(barsOf({10, 10, 10}, {10, 10, 10}, {10, 10, 10}, {5, 6, 7}));
    EXPECT_EQ(waveVolume(flat, 0.5), (std::vector<double>{5, 11, 18}));

    std::vector<double> gap = volumes;
    gap[1] = F;
    Market gappy(barsOf(closes, closes, closes, gap));
    EXPECT_EQ(waveVolume(gappy, 0.75), (std::vector<double>{100, F, 400, -150, -250, 250, 650}));

    // a first wave found to be falling is negative from its first bar
    Market down(barsOf({10, 9.8, 9, 9.5}, {10, 9.8, 9, 9.5}, {10, 9.8, 9, 9.5}, {1, 2, 3, 4}));
    EXPECT_EQ(waveVolume(down, 0.6), (std::vector<double>{-1, -3, -6, -10}));
    EXPECT_EQ(waveVolume(down, 0.5), (std::vector<double>{-1, -3, -6, 4}));
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
            if (qualifies(c - first)) d = 1;
            else if (qualifies(first - c)) d = -1;
            if (d != 0) {
                dirs.back() = d;
                extreme = c;
                e = i;
            }
        } else if (d == 1 ? c >= extreme : c <= extreme) {
            extreme = c;
            e = i;
        } else if (qualifies(d == 1 ? extreme - c : c - extreme)) {
            std::size_t s = e + 1;
            while (!valid(s)) ++s;
            starts.push_back(s);
            d = -d;
            dirs.push_back(d);
            extreme = c;
            e = i;
        }
    }
    std::vector<double> out(n, F);
    std::size_t w = 0;
    double sum = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (!valid(i)) continue;
        if (w + 1 < starts.size() && i == starts[w + 1]) {
            ++w;
            sum = 0;
        }
        sum += bars[i].volume;
        out[i] = (dirs[w] == -1 ? -1 : 1) * sum;
    }
    return out;
}

TEST_F(StopsTest, WaveVolumeAgainstTwoPasses) {
    const std::vector<Bar> bars = gappyWalk(5000);
    Market m(bars);
    for (double reversal : {0.0, 0.3, 1.0, 4.0})
        EXPECT_EQ(waveVolume(m, reversal), waveVolumeInTwoPasses(bars, reversal)) << reversal;
}

Vec agTrend(Market& m, double lookBack) { return valuesOf("AgTrend", {&m, lookBack}); }

TEST_F(StopsTest, AgTrendWorkedCases) {
    const std::vector<double> high = {10, 11, 12, 11.5, 11, 10, 10.5, 11}, low = {8, 9, 10, 10.5, 9.5, 9, 8.5, 9};
    Market m(barsOf(high, low, high));
    EXPECT_EQ(agTrend(m, 2), (std::vector<double>{F, F, 12, 12, 12, 9, 8.5, 11}));
    EXPECT_EQ(agTrend(m, 0), (std::vector<double>{F, F, F, F, F, F, 8.5, 8.5}));
    // one bar turns the line; an outside bar with no trend against it turns it up first
    EXPECT_EQ(agTrend(m, 1), (std::vector<double>{F, 11, 12, 12, 9.5, 9, 10.5, 11}));

    // a bar without data changes nothing; the swing goes on from the bar before it
    Market gap(barsOf({10, 11, F, 12, 11.5}, {8, 9, F, 10, 10.5}, {1, 1, F, 1, 1}));
    EXPECT_EQ(agTrend(gap, 2), (std::vector<double>{F, F, F, 12, 12}));
}

Vec willStop(Market& m, const Vec& highs, const Vec& lows, double n) {
    return valuesOf("WillStopCustom", {&m, highs, lows, n});
}

TEST_F(StopsTest, WillStopWorkedCase) {
    const std::vector<double> high = {10, 11, 12, 12.5, 12, 11, 12.2}, low = {8, 9, 10, 10.5, 9.8, 9, 10};
    Market m(barsOf(high, low, high));
    EXPECT_EQ(willStop(m, high, low, 2), (std::vector<double>{F, F, 9, 10, 12.5, 12, 9}));
    // a pair with a missing level is left out of the window
    const Vec gappy = {10, 11, F, 12, 12.5, 12, 11, 12.2}, gappyLow = {8, 9, 9, 10, 10.5, 9.8, 9, 10};
    Market m8(barsOf({10, 11, 11, 12, 12.5, 12, 11, 12.2}, {8, 9, 9, 10, 10.5, 9.8, 9, 10},
                     {1, 1, 1, 1, 1, 1, 1, 1}));
    EXPECT_EQ(willStop(m8, gappy, gappyLow, 2), (std::vector<double>{F, F, F, 9, 10, 12.5, 12, 9}));
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
        if (pos == 0) {
            if (winHigh.size() >= n) {
                if (b.high > highest()) pos = 1;
                else if (b.low < lowest()) pos = -1;
            }
            winHigh.push_back(hs[i]);
            winLow.push_back(ls[i]);
            if (pos != 0) st = pos > 0 ? lowest() : highest();
        } else {
            winHigh.push_back(hs[i]);
            winLow.push_back(ls[i]);
            if (pos > 0) {
                if (b.low <= st) pos = -1, st = highest();
                else st = std::max(st, lowest());
            } else {
                if (b.high >= st) pos = 1, st = lowest();
                else st = std::min(st, highest());
            }
        }
        if (pos != 0) out[i] = st;
    }
    return out;
}

TEST_F(StopsTest, WillStopAgainstScanning) {
    const std::vector<Bar> bars = gappyWalk(4000);
    Market m(bars);
    std::vector<double> high, low, close;
    for (const Bar& b : bars) {
        high.push_back(b.high);
        low.push_back(b.low);
        close.push_back(b.close);
    }
    for (int n : {1, 3, 20}) {
        EXPECT_EQ(willStop(m, high, low, n), willStopByScanning(bars, high, low, n)) << n;
        // a channel of closes: the stops are the closes' extremes, the triggers the bars' Low and High
        EXPECT_EQ(willStop(m, close, close, n), willStopByScanning(bars, close, close, n)) << n;
    }
}

} // namespace
} // namespace fk
