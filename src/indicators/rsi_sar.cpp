#include "indicators/rsi_sar.h"

#include <algorithm>

#include "indicators/averages.h"
#include "indicators/lengths.h"
#include "market/market_view.h"

namespace fk::indicators {

using series::NumberOut;
using series::NumberView;

static_assert(kParabolicStep == 0.019999999552965164 && kParabolicMaximum == 0.20000000298023224);

namespace {

template <class In>
void strengthLoop(const In& x, int32_t end, double missing, int32_t n, double firstCount, NumberOut& out) {
    const double dn = n, kept = n - 1;
    double gain = 0, loss = 0, prev = 0;
    bool havePrev = false;
    int32_t c = 0;
    for (int32_t i = 0; i < end; ++i) {
        const double v = x[i];
        if (v == missing) continue;
        if (!havePrev) {
            havePrev = true;
            prev = v;
            continue;
        }
        // a difference spans any missing bars between two present values
        const double d = v - prev;
        prev = v;
        ++c;
        if (c <= n) {
            if (d > 0) gain += d;
            else loss += -d;
            if (c == n) {
                gain /= dn;
                loss /= dn;
            }
        } else {
            // Wilder smoothing; a zero move added leaves the other side's product unchanged
            const double up = d > 0 ? d : 0.0, down = d > 0 ? 0.0 : -d;
            gain = (kept * gain + up) / dn;
            loss = (kept * loss + down) / dn;
        }
        if (c >= firstCount) out.set(i, loss > 0 ? 100 - 100 / (gain / loss + 1) : 100);
    }
}

// Which side a direction filter shows: 0 both, positive the long side, negative the short side.
bool shows(int32_t filter, int position) { return filter == 0 || (filter > 0) == (position > 0); }

} // namespace

StatusCode relativeStrength(SeriesHandle& outH, const SeriesHandle& inH, double period, double multiplier) {
    const int32_t n = truncToInt(period);
    NumberOut out(&outH, series::count(inH));
    const NumberView in(&inH);
    if (in.empty() || n < 1) return kTooFewBars;
    const int32_t end = in.count();
    const double firstCount = warmupCount(n, multiplier);
    if (const double* plain = in.storage(0, end))
        strengthLoop(PlainBars{plain, 0}, end, in.fill(), n, firstCount, out);
    else
        strengthLoop(in, end, in.fill(), n, firstCount, out);
    return kOk;
}

StatusCode parabolicStop(SeriesHandle& outH, const BarRecord& market, double direction, double step, double maximum) {
    if (market.barCount <= 0) return kTooFewBars;
    NumberOut out(&outH, market.barCount);
    const MarketView m(market);
    const int32_t filter = truncToInt(direction);
    if (step == 0) step = kParabolicStep;
    if (maximum == 0) maximum = kParabolicMaximum;
    const double firstFactor = std::min(step, maximum);

    int position = 0; // +1 long, -1 short
    double stop = 0, highest = 0, lowest = 0, factor = firstFactor, prevHigh = 0, prevLow = 0;
    int32_t counted = 0;
    // A reversal puts the stop at the extreme of the position that ends and starts the new one
    // from this bar's range.
    auto reverse = [&](int to, double h, double l) {
        stop = to > 0 ? lowest : highest;
        position = to;
        factor = firstFactor;
        highest = h;
        lowest = l;
    };
    for (int32_t i = 0; i < m.bars; ++i) {
        if (!m.present(i)) continue;
        const double h = m.high[i], l = m.low[i];
        const bool first = ++counted == 1;
        if (first || h > highest) {
            highest = h;
            if (position > 0) factor = std::min(factor + step, maximum);
        }
        if (first || l < lowest) {
            lowest = l;
            if (position < 0) factor = std::min(factor + step, maximum);
        }
        if (position == 0) {
            if (counted >= 5) {
                if (l <= lowest) {
                    position = 1;
                    stop = lowest;
                }
                // a new high wins over a new low on the same bar; the new short's stop is the
                // high this bar reached, so it turns long at once
                if (h >= highest) {
                    position = -1;
                    stop = highest;
                    if (h >= stop) reverse(1, h, l);
                }
            }
        } else if (position > 0 && l <= stop) {
            reverse(-1, h, l);
        } else if (position < 0 && h >= stop) {
            reverse(1, h, l);
        }
        if (position > 0) {
            stop = stop + (highest - stop) * factor;
            stop = std::min({stop, l, prevLow});
        } else if (position < 0) {
            stop = stop - (stop - lowest) * factor;
            stop = std::max({stop, h, prevHigh});
        }
        prevHigh = h;
        prevLow = l;
        if (position != 0) out.set(i, shows(filter, position) ? stop : m.missing);
    }
    return kOk;
}

StatusCode volatilityStop(SeriesHandle& outH, const BarRecord& market, double direction, double period,
                          double multiplier) {
    if (market.barCount <= 0) return kTooFewBars;
    NumberOut out(&outH, market.barCount);
    const MarketView m(market);
    const int32_t filter = truncToInt(direction);
    int32_t n = truncToInt(period);
    if (n < 1) n = 7;
    const double k = multiplier == 0 ? 3.0 : multiplier, dn = n;

    int position = 0;
    double highest = 0, lowest = 0, sum = 0, avgRange = 0, prevClose = 0;
    int32_t c = 0;
    for (int32_t i = 0; i < m.bars; ++i) {
        if (!m.present(i)) continue;
        const double cl = m.close[i], h = m.high[i], l = m.low[i];
        ++c;
        highest = c == 1 ? cl : std::max(highest, cl);
        lowest = c == 1 ? cl : std::min(lowest, cl);
        double tr = h - l;
        if (c > 1) {
            if (h - prevClose > tr) tr = h - prevClose;
            if (prevClose - l > tr) tr = prevClose - l;
        }
        prevClose = cl;
        if (c < n) sum += tr;
        else if (c == n) avgRange = (sum + tr) / dn;
        else avgRange = ((dn - 1) * avgRange + tr) / dn;
        if (position == 0) {
            if (c < n) continue;
            // The low-close test restarts the highest close at this close, so the high-close
            // test after it holds as well: the first position is always short.
            if (cl <= lowest) {
                position = 1;
                highest = lowest = cl;
            }
            if (cl >= highest) {
                position = -1;
                highest = lowest = cl;
            }
            if (position == 0) continue;
        }
        const double stop = position > 0 ? highest - avgRange * k : lowest + avgRange * k;
        out.set(i, shows(filter, position) ? stop : m.missing);
        // a close through the stop turns the position; the new stop shows from the next bar
        if ((position > 0 && cl <= stop) || (position < 0 && cl >= stop)) {
            position = -position;
            highest = lowest = cl;
        }
    }
    return kOk;
}

} // namespace fk::indicators
