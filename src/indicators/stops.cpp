#include "indicators/stops.h"

#include <algorithm>

#include "calendar/date.h"
#include "containers/plain_bars.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "indicators/select.h"
#include "indicators/sliding_extreme.h"
#include "market/market_view.h"

namespace fk::stops {

using calendar::truncToInt32;
using series::NumberOut;
using series::NumberView;

void stopAndReverse(SeriesHandle& outH, const BarRecord& market, const StopLevels& levels, double filter,
                    double ratchet, double initialSide) {
    const int32_t bars = market.barCount > 0 ? market.barCount : 0;
    if (bars == 0) return;
    const int32_t side = truncToInt32(filter);
    const bool ratchets = truncToInt32(ratchet) != 0;
    const int32_t first = truncToInt32(initialSide);
    NumberOut out(&outH, bars);
    const NumberView closes(&market.close), longStops(&levels.longStop), shortStops(&levels.shortStop),
        longExits(&levels.longExit), shortExits(&levels.shortExit);
    const double none = closes.fill();
    const double fills[4] = {longStops.fill(), shortStops.fill(), longExits.fill(), shortExits.fill()};
    // over plain arrays where the inputs and the output are stored as such
    const auto run = [&](const auto& close, const auto& longStop, const auto& shortStop, const auto& longExit,
                         const auto& shortExit, auto& o) {
        int pos = 0;                            // +1 long, -1 short, 0 none yet
        double stop = 0.0;                      // the stop in force for the next bar
        bool seen = false;                      // a valid bar came before
        double lastLong = 0.0, lastShort = 0.0; // its levels
        for (int32_t i = 0; i < bars; ++i) {
            const double ls = longStop[i], ss = shortStop[i], xl = longExit[i], xs = shortExit[i];
            if ((close[i] == none) | (ls == fills[0]) | (ss == fills[1]) | (xl == fills[2]) | (xs == fills[3])) {
                o.set(i, none);
                continue;
            }
            if (pos == 0) {
                // a position taken on this bar is first tested on the next one
                if (first != 0) {
                    pos = first > 0 ? 1 : -1;
                    stop = pos > 0 ? ls : ss;
                } else if (seen) {
                    if (xs >= lastShort) {
                        pos = 1;
                        stop = ls;
                    } else if (xl <= lastLong) {
                        pos = -1;
                        stop = ss;
                    }
                }
            } else if (pos > 0) {
                if (xl <= stop) {
                    pos = -1;
                    stop = ss;
                } else {
                    stop = ratchets ? std::max(stop, ls) : ls;
                }
            } else {
                if (xs >= stop) {
                    pos = 1;
                    stop = ls;
                } else {
                    stop = ratchets ? std::min(stop, ss) : ss;
                }
            }
            seen = true;
            lastLong = ls;
            lastShort = ss;
            const bool shown = pos != 0 && (side == 0 || (side > 0) == (pos > 0));
            o.set(i, shown ? stop : none);
        }
    };
    withPlainArrays(0, bars, out, run, closes, longStops, shortStops, longExits, shortExits);
}

StatusCode waveVolume(SeriesHandle& outH, const BarRecord& market, double reversal) {
    if (market.barCount <= 0) return kTooFewBars;
    const int32_t bars = market.barCount;
    NumberOut out(&outH, bars);
    const NumberView closes(&market.close), volumes(&market.volume);
    const double none = closes.fill();
    const auto qualifies = [reversal](double move) { return move > 0 && move >= reversal; };
    // over plain arrays where the market and the output are stored as such
    const auto run = [&](const auto& close, const auto& volume, auto& o) {
        const auto valid = [&](int32_t i) { return close[i] != none && volume[i] != none; };
        // Rewrites the bars from..to as one wave of direction dir, its sum starting at `from`.
        const auto writeWave = [&](int32_t from, int32_t to, int dir, double& sum) {
            sum = 0.0;
            for (int32_t k = from; k <= to; ++k)
                if (valid(k)) {
                    sum += volume[k];
                    o.set(k, dir * sum);
                }
        };

        int32_t firstBar = -1; // the first valid bar, where the first wave starts
        int dir = 0;           // 0 until the first wave's direction is known (written as up)
        double extreme = 0.0;  // the close that the current wave reached, at bar `extremeBar`
        int32_t extremeBar = 0;
        double sum = 0.0;
        for (int32_t i = 0; i < bars; ++i) {
            if (!valid(i)) {
                o.set(i, o.fill());
                continue;
            }
            const double c = close[i];
            if (firstBar < 0) {
                firstBar = i;
                extreme = c;
            } else if (dir == 0) {
                if (qualifies(c - extreme) || qualifies(extreme - c)) {
                    dir = c > extreme ? 1 : -1;
                    extreme = c;
                    extremeBar = i;
                    if (dir < 0) { // the first wave was written as up so far
                        writeWave(firstBar, i, -1, sum);
                        continue;
                    }
                }
            } else if (dir > 0 ? c >= extreme : c <= extreme) {
                extreme = c;
                extremeBar = i;
            } else if (qualifies(dir > 0 ? extreme - c : c - extreme)) {
                // the wave ended at its extreme: the next one starts at the valid bar after it
                dir = -dir;
                extreme = c;
                const int32_t from = extremeBar + 1;
                extremeBar = i;
                writeWave(from, i, dir, sum);
                continue;
            }
            sum += volume[i];
            o.set(i, (dir < 0 ? -1 : 1) * sum);
        }
    };
    withPlainArrays(0, bars, out, run, closes, volumes);
    return kOk;
}

StatusCode agTrend(SeriesHandle& outH, const BarRecord& market, double number) {
    const int32_t asked = truncToInt32(number);
    if (!enoughBars(market, asked)) return kTooFewBars;
    const int32_t n = asked < 1 ? 3 : asked;
    const int32_t bars = market.barCount > 0 ? market.barCount : 0;
    NumberOut out(&outH, bars);
    const NumberView highs(&market.high), lows(&market.low);
    const double none = series::fillValue(market.close);
    // over plain arrays where the prices and the output are stored as such
    const auto run = [&](const auto& high, const auto& low, auto& o) {
        // Until the first bar with both prices, every bar receives the fill value; that bar is
        // the first reference and changes nothing else.
        int32_t i = 0;
        for (; i < bars && (high[i] == none || low[i] == none); ++i) o.set(i, o.fill());
        if (i == bars) return;
        o.set(i, o.fill());
        // The reference bar's high and its low negated, so that a higher high and a lower low
        // both compare greater. Whether a bar moves is a coin flip, so the reference follows it
        // with no branch.
        indicators::Pair ref = {high[i], -low[i]};
        int32_t ups = 0, downs = 0; // higher highs and lower lows in a row
        int trend = 0;
        double line = 0.0;
        for (++i; i < bars; ++i) {
            const double h = high[i], l = low[i];
            if (h == none || l == none) {
                o.set(i, o.fill());
                continue;
            }
            // An inside bar (its high at most the reference's and its low at least the
            // reference's; a NaN on either side makes none) changes nothing.
            const indicators::Pair x = {h, -l};
            const indicators::PairMask beyond = x > ref, within = x <= ref;
            const indicators::PairMask inside = within & __builtin_shufflevector(within, within, 1, 0);
            ref = indicators::blend(inside, ref, x);
            const int32_t up = beyond[0] != 0, down = beyond[1] != 0, still = inside[0] != 0;
            ups = up * (ups + 1) + still * ups;
            downs = down * (downs + 1) + still * downs;
            // a turn is rare: the only branch taken on the prices
            const bool turnUp = !still & (trend != 1) & (ups >= n);
            const bool turnDown = !turnUp & !still & (trend != -1) & (downs >= n);
            if (turnUp | turnDown) {
                trend = turnUp ? 1 : -1;
                line = turnUp ? h : l;
            } else {
                // The line follows the extremes (both formed, as a new extreme is a coin flip
                // too); an inside bar never passes it: its high is at most the reference's.
                const double higher = h > line ? h : line, lower = l < line ? l : line;
                line = trend == 1 ? higher : trend == -1 ? lower : line;
            }
            o.set(i, trend != 0 ? line : o.fill());
        }
    };
    withPlainArrays(0, bars, out, run, highs, lows);
    return kOk;
}

StatusCode willStop(SeriesHandle& outH, const BarRecord& market, const SeriesHandle& stopHigh,
                    const SeriesHandle& stopLow, double number) {
    if (series::count(stopHigh) == 0 || series::count(stopLow) == 0) return kDomainError;
    const int32_t asked = truncToInt32(number);
    const int32_t n = asked < 1 ? 3 : asked;
    if (!enoughBars(market, n)) return kTooFewBars;
    const int64_t slots = 2 * int64_t{n} + 1;
    Scratch<double> memory(2 * slots <= INT32_MAX ? static_cast<int32_t>(2 * slots) : 0);
    if (!memory.ok()) return kOk;
    SlidingExtreme<true> highest(memory.data(), n);
    SlidingExtreme<false> lowest(memory.data() + slots, n);

    const int32_t bars = market.barCount;
    NumberOut out(&outH, bars);
    const NumberView stopHighs(&stopHigh), stopLows(&stopLow), highs(&market.high), lows(&market.low),
        closes(&market.close);
    const double none = closes.fill(), noStopHigh = stopHighs.fill(), noStopLow = stopLows.fill();
    // over plain arrays where the inputs and the output are stored as such
    const auto run = [&](const auto& hs, const auto& ls, const auto& high, const auto& low, const auto& close,
                         auto& o) {
        int pos = 0;
        double stop = 0.0;
        int32_t held = 0; // valid bars so far; the window holds the last n of them
        for (int32_t i = 0; i < bars; ++i) {
            const double hi = hs[i], lo = ls[i], h = high[i], l = low[i];
            if ((hi == noStopHigh) | (lo == noStopLow) | (h == none) | (l == none) | (close[i] == none)) {
                o.set(i, o.fill());
                continue;
            }
            if (pos == 0 && held >= n) { // a break out of the last n bars takes the first position
                if (h > highest.extreme()) pos = 1;
                else if (l < lowest.extreme()) pos = -1;
                highest.push(hi);
                lowest.push(lo);
                if (pos != 0) stop = pos > 0 ? lowest.extreme() : highest.extreme();
            } else {
                highest.push(hi);
                lowest.push(lo);
                if (pos > 0) {
                    if (l <= stop) {
                        pos = -1;
                        stop = highest.extreme();
                    } else {
                        stop = std::max(stop, lowest.extreme());
                    }
                } else if (pos < 0) {
                    if (h >= stop) {
                        pos = 1;
                        stop = lowest.extreme();
                    } else {
                        stop = std::min(stop, highest.extreme());
                    }
                }
            }
            if (held < n) ++held;
            o.set(i, pos != 0 ? stop : o.fill());
        }
    };
    withPlainArrays(0, bars, out, run, stopHighs, stopLows, highs, lows, closes);
    return kOk;
}

} // namespace fk::stops
