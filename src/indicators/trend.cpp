// Trend-state indicators.
#include "indicators/trend.h"

#include <cmath>

#include "containers/bar_runs.h"
#include "containers/series.h"
#include "market/market_view.h"

namespace fk::trend {

using series::NumberOut;
using series::NumberView;
using series::withBars;

namespace {

bool empty(const SeriesHandle& h) { return NumberView(&h).empty(); }

// A past output is missing when it holds the missing value written for a bar or the Return
// Value's own fill value (a bar never written, or a read before bar 0).
struct PastMissing {
    double in, out;
    bool operator()(double v) const { return v == in || v == out; }
};

} // namespace

StatusCode superTrend(SeriesHandle& outH, const SeriesHandle& priceH, const SeriesHandle& upperH,
                      const SeriesHandle& lowerH, int32_t start) {
    if (empty(priceH) || empty(upperH) || empty(lowerH)) return kDomainError;
    NumberOut out(&outH, series::count(priceH));
    const NumberView x(&priceH), up(&upperH), lo(&lowerH);
    const double miss = x.fill();
    const PastMissing pastMissing{miss, out.fill()};
    const int32_t end = x.count();
    // the bar before: the trend resumes from its output while none is known
    const double prevOut0 = out.get(start - 1), prevX0 = x[start - 1];
    withBars(out, start, end - 1, [&](auto y, auto xs, auto ups, auto los) {
        int trend = 0;   // 0 unknown, +1 up, -1 down
        double u = miss; // upper line: falls only while a trend lasts
        double d = miss; // lower line: rises only
        double prevOut = prevOut0, prevX = prevX0;
        for (int32_t i = start; i < end; ++i) {
            const double x0 = xs[i], bUp = ups[i], bLo = los[i];
            double yi = miss;
            if (x0 != miss && bUp != miss && bLo != miss) {
                if (trend == 0 && !pastMissing(prevOut)) {
                    if (prevOut < prevX) {
                        trend = 1;
                        d = prevOut;
                    } else {
                        trend = -1;
                        u = prevOut;
                    }
                }
                u = u == miss || bUp < u ? bUp : u;
                d = d == miss || bLo > d ? bLo : d;
                int next = trend;
                if (trend == 1) {
                    if (d >= x0) next = -1; // a touch counts as a cross
                } else if (trend == -1) {
                    if (x0 >= u) next = 1;
                } else if (x0 <= d && u >= x0) {
                    next = -1;
                } else if (!(x0 < d) && x0 >= u) {
                    next = 1;
                }
                if (next != trend) {
                    u = bUp;
                    d = bLo;
                    trend = next;
                }
                if (trend == 1) yi = d;
                else if (trend == -1) yi = u;
            }
            y.set(i, yi);
            prevOut = yi;
            prevX = x0;
        }
    }, x, up, lo);
    return kOk;
}

StatusCode qqeTrailer(SeriesHandle& outH, const SeriesHandle& oscH, const SeriesHandle& widthH, int32_t start) {
    if (empty(oscH) || empty(widthH)) return kDomainError;
    NumberOut out(&outH, series::count(oscH));
    const NumberView a(&oscH), b(&widthH);
    const double miss = a.fill();
    const PastMissing pastMissing{miss, out.fill()};
    const int32_t end = a.count();
    const double trail0 = out.get(start - 1), a10 = a[start - 1];
    withBars(out, start, end - 1, [&](auto y, auto as, auto bs) {
        double trail = trail0, a1 = a10;
        for (int32_t i = start; i < end; ++i) {
            const double a0 = as[i], b0 = bs[i];
            if (a0 == miss || b0 == miss || a1 == miss) {
                trail = miss;
            } else {
                if (pastMissing(trail)) trail = 50.0; // the oscillator's mid level
                if (trail < a0) {
                    const double t = a0 - b0;
                    trail = a1 <= trail ? t : (t > trail ? t : trail);
                } else if (trail > a0) {
                    const double t = a0 + b0;
                    trail = a1 >= trail ? t : (t < trail ? t : trail);
                }
            }
            y.set(i, trail);
            a1 = a0;
        }
    }, a, b);
    return kOk;
}

StatusCode ttmTrend(SeriesHandle& outH, const SeriesHandle& aH, const SeriesHandle& bH, double lookback, int32_t start) {
    if (empty(aH) || empty(bH)) return kDomainError;
    double span = std::trunc(lookback);
    if (!(span >= 1.0)) return kDomainError;
    const int32_t n = series::count(aH);
    NumberOut out(&outH, n);
    const NumberView a(&aH), b(&bH);
    const int32_t len = span > n ? n : static_cast<int32_t>(span);
    const double miss = a.fill();
    const int32_t oldest = start - len > 0 ? start - len : 0;
    withBars(oldest, n - 1, [&](auto as, auto bs) {
        for (int32_t i = start; i < n; ++i) {
            const double ai = as[i], bi = bs[i];
            if (ai == miss || bi == miss) {
                out.set(i, miss);
                continue;
            }
            double y = ai < bi ? 1.0 : -1.0;
            // the oldest earlier bar whose range holds both values passes on half its output
            for (int32_t j = i - len > 0 ? i - len : 0; j < i; ++j) {
                const double aj = as[j], bj = bs[j];
                const double lo = aj < bj ? aj : bj, hi = aj < bj ? bj : aj;
                // one test of all conditions: each alone is a coin toss to the branch predictor
                if ((aj != miss) & (bj != miss) & (lo <= ai) & (ai <= hi) & (lo <= bi) & (bi <= hi)) {
                    y = out.get(j) / 2.0;
                    break;
                }
            }
            out.set(i, y);
        }
    }, a, b);
    return kOk;
}

StatusCode gannTrend(SeriesHandle& outH, const BarRecord& market) {
    if (market.barCount <= 0) return kDomainError;
    NumberOut out(&outH, market.barCount);
    const MarketView m(market);
    const double highMissing = m.high.fill(), lowMissing = m.low.fill();
    int32_t last = m.bars - 1; // the last bar written
    while (last >= 0 && (m.high[last] == highMissing || m.low[last] == lowMissing)) --last;
    // the bar before bar 0 reads the fill values
    const double high0 = m.high[-1], low0 = m.low[-1];
    withBars(out, 0, last, [&](auto y, auto highs, auto lows) {
        double line = 0.0, h1 = high0, l1 = low0;
        for (int32_t i = 0; i <= last; ++i) {
            const double h = highs[i], l = lows[i];
            if (h != highMissing && l != lowMissing) {
                // a higher high and higher low takes the high, a lower high and lower low the
                // low; picked by index, as the direction of a bar is a coin flip to a predictor
                const int up = (h > h1) & (l > l1), down = (h < h1) & (l < l1);
                const double pick[3] = {line, h, l};
                line = pick[up + 2 * down];
                y.set(i, line);
            }
            h1 = h;
            l1 = l;
        }
    }, m.high, m.low);
    return kOk;
}

} // namespace fk::trend
