#include "indicators/rsi_sar.h"

#include <algorithm>

#include "indicators/averages.h"
#include "indicators/lengths.h"
#include "indicators/select.h"
#include "market/market_view.h"

namespace fk::indicators {

using series::NumberOut;
using series::NumberView;

static_assert(kParabolicStep == 0.019999999552965164 && kParabolicMaximum == 0.20000000298023224);

namespace {

// Wilder's averages of the gains and losses between present values.
struct StrengthState {
    explicit StrengthState(int32_t period) : n(period), dn(period), kept(period - 1) {}
    int32_t n;
    double dn, kept;
    double gain = 0, loss = 0, prev = 0;
    int32_t c = 0; // differences taken
    bool havePrev = false;

    // Takes a present value; true when it made a difference (one spans any missing bars).
    [[gnu::always_inline]] bool add(double v) {
        if (!havePrev) {
            havePrev = true;
            prev = v;
            return false;
        }
        const double d = v - prev;
        prev = v;
        if (++c <= n) {
            if (d > 0) gain += d;
            else loss += -d;
            if (c == n) {
                gain /= dn;
                loss /= dn;
            }
        } else {
            // Wilder smoothing; a zero move added leaves the other side's product unchanged. The
            // side is chosen by mask: whether a move is a gain is a coin flip to a predictor.
            const PairMask gained = Pair{d, d} > Pair{0.0, 0.0};
            const Pair move = blend(gained, Pair{d, 0.0}, Pair{0.0, -d});
            gain = (kept * gain + move[0]) / dn;
            loss = (kept * loss + move[1]) / dn;
        }
        return true;
    }
    double value() const { return loss > 0 ? 100 - 100 / (gain / loss + 1) : 100; }
};

// From the first bar written on, every present bar is written. A function of its own, so that
// the averages stay in registers.
template <class In, class Out>
[[gnu::noinline]] void strengthWrites(const In& x, int32_t first, int32_t last, double missing, StrengthState s,
                                      Out& out) {
    out.set(first, s.value());
    for (int32_t i = first + 1; i <= last; ++i) {
        const double v = x[i];
        if (v == missing) continue;
        s.add(v);
        out.set(i, s.value());
    }
}

// Up to the first bar written nothing is written; from there on every present bar is.
template <class In>
void strengthLoop(const In& x, int32_t end, double missing, int32_t n, double firstCount, NumberOut& out) {
    StrengthState st(n);
    int32_t first = 0;
    for (; first < end; ++first) {
        const double v = x[first];
        if (v != missing && st.add(v) && st.c >= firstCount) break;
    }
    if (first >= end) return;
    int32_t last = end - 1;
    while (x[last] == missing) --last;
    withPlainOut(out, first, last + 1, [&](auto& o) { strengthWrites(x, first, last, missing, st, o); });
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

namespace {

// The parabolic stop's position, extremes and factor.
struct ParabolicState {
    ParabolicState(double step, double maximum) : step(step), maximum(maximum), firstFactor(std::min(step, maximum)) {}
    double step, maximum, firstFactor;
    int position = 0; // +1 long, -1 short
    double stop = 0, highest = 0, lowest = 0, factor = firstFactor, prevHigh = 0, prevLow = 0;
    int32_t counted = 0;

    // A reversal puts the stop at the extreme of the position that ends and starts the new one
    // from this bar's range.
    void reverse(int to, double h, double l) {
        stop = to > 0 ? lowest : highest;
        position = to;
        factor = firstFactor;
        highest = h;
        lowest = l;
    }

    // Takes a bar with a close.
    [[gnu::always_inline]] void add(double h, double l) {
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
        trail(h, l);
    }

    // The stop moves a share `factor` of the way to the position's extreme, but never into this
    // bar's or the previous bar's range.
    static double longStop(double stop, double highest, double factor, double l, double prevLow) {
        stop = stop + (highest - stop) * factor;
        stop = l < stop ? l : stop;
        return prevLow < stop ? prevLow : stop;
    }
    static double shortStop(double stop, double lowest, double factor, double h, double prevHigh) {
        stop = stop - (stop - lowest) * factor;
        stop = h > stop ? h : stop;
        return prevHigh > stop ? prevHigh : stop;
    }
    void trail(double h, double l) {
        if (position > 0) stop = longStop(stop, highest, factor, l, prevLow);
        else if (position < 0) stop = shortStop(stop, lowest, factor, h, prevHigh);
        prevHigh = h;
        prevLow = l;
    }

    // Takes the bars with a close from i on while the position stays on the side `Up`, writing
    // `shown ? stop : missing` at each; at the bar that turns it, writes that bar as `add` would
    // and gives the bar after it (last + 1 when none does). The extremes and the factor follow
    // the prices with no branch: a new extreme on a random walk is a coin flip.
    template <bool Up, class In, class Out>
    int32_t ride(In high, In low, In close, int32_t i, int32_t last, double missing, int32_t filter, Out& out) {
        double st = stop, hi = highest, lo = lowest, f = factor, ph = prevHigh, pl = prevLow;
        const double grow[2] = {0.0, step}; // the factor stays at or below the maximum, so + 0 keeps it
        const bool show = shows(filter, Up ? 1 : -1);
        for (; i <= last; ++i) {
            if (close[i] == missing) continue;
            const double h = high[i], l = low[i];
            const bool newHigh = h > hi, newLow = l < lo;
            hi = h > hi ? h : hi;
            lo = l < lo ? l : lo;
            f = std::min(f + grow[Up ? newHigh : newLow], maximum);
            if (Up ? l <= st : h >= st) {
                stop = st, highest = hi, lowest = lo, factor = f, prevHigh = ph, prevLow = pl;
                reverse(Up ? -1 : 1, h, l);
                trail(h, l);
                out.set(i, shows(filter, position) ? stop : missing);
                return i + 1;
            }
            st = Up ? longStop(st, hi, f, l, pl) : shortStop(st, lo, f, h, ph);
            ph = h;
            pl = l;
            out.set(i, show ? st : missing);
        }
        stop = st, highest = hi, lowest = lo, factor = f, prevHigh = ph, prevLow = pl;
        return i;
    }
};

// The volatility stop's position, extremes and average range.
struct VolatilityState {
    VolatilityState(int32_t period, double multiplier) : n(period), dn(period), k(multiplier) {}
    int32_t n;
    double dn, k;
    int position = 0;
    double highest = 0, lowest = 0, sum = 0, avgRange = 0, prevClose = 0, stop = 0;
    int32_t c = 0;

    // Takes a bar with a close; true when a position exists and `stop` is its stop on this bar.
    [[gnu::always_inline]] bool add(double h, double l, double cl) {
        ++c;
        highest = c == 1 ? cl : std::max(highest, cl);
        lowest = c == 1 ? cl : std::min(lowest, cl);
        double tr = h - l;
        if (c > 1) {
            tr = h - prevClose > tr ? h - prevClose : tr;
            tr = prevClose - l > tr ? prevClose - l : tr;
        }
        prevClose = cl;
        if (c < n) sum += tr;
        else if (c == n) avgRange = (sum + tr) / dn;
        else avgRange = ((dn - 1) * avgRange + tr) / dn;
        if (position == 0) {
            if (c < n) return false;
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
            if (position == 0) return false;
        }
        stop = position > 0 ? highest - avgRange * k : lowest + avgRange * k;
        return true;
    }
    // A close through the stop turns the position; the new stop shows from the next bar.
    void turnIfCrossed(double cl) {
        if ((position > 0 && cl <= stop) || (position < 0 && cl >= stop)) {
            position = -position;
            highest = lowest = cl;
        }
    }
};

// Once a stop has a position it has one on every bar with a close, and each of those bars is
// written. Functions of their own, so that the state stays in registers.
template <class In, class Out>
[[gnu::noinline]] void parabolicWrites(In high, In low, In close, int32_t from, int32_t last, double missing,
                                       int32_t filter, ParabolicState s, Out& out) {
    out.set(from, shows(filter, s.position) ? s.stop : missing);
    for (int32_t i = from + 1; i <= last;)
        i = s.position > 0 ? s.ride<true>(high, low, close, i, last, missing, filter, out)
                           : s.ride<false>(high, low, close, i, last, missing, filter, out);
}

template <class In, class Out>
[[gnu::noinline]] void volatilityWrites(In high, In low, In close, int32_t from, int32_t last, double missing,
                                        int32_t filter, VolatilityState s, Out& out) {
    out.set(from, shows(filter, s.position) ? s.stop : missing);
    s.turnIfCrossed(close[from]);
    for (int32_t i = from + 1; i <= last; ++i) {
        const double cl = close[i];
        if (cl == missing) continue;
        s.add(high[i], low[i], cl);
        out.set(i, shows(filter, s.position) ? s.stop : missing);
        s.turnIfCrossed(cl);
    }
}

// Runs a stop over the market: `opens` takes bars until the first position and gives the bar
// it opened on (or the bar count); `writes` goes on from there.
template <class Opens, class Writes>
StatusCode runStop(SeriesHandle& outH, const BarRecord& market, Opens opens, Writes writes) {
    if (market.barCount <= 0) return kTooFewBars;
    NumberOut out(&outH, market.barCount);
    const MarketView m(market);
    const int32_t bars = m.bars;
    auto run = [&](const auto& high, const auto& low, const auto& close) {
        const int32_t from = opens(high, low, close, bars, m.missing);
        if (from >= bars) return;
        int32_t last = bars - 1;
        while (close[last] == m.missing) --last;
        withPlainOut(out, from, last + 1, [&](auto& o) { writes(high, low, close, from, last, m.missing, o); });
    };
    const double* high = m.high.storage(0, bars);
    const double* low = m.low.storage(0, bars);
    const double* close = m.close.storage(0, bars);
    if (high && low && close) run(PlainBars{high, 0}, PlainBars{low, 0}, PlainBars{close, 0});
    else run(m.high, m.low, m.close);
    return kOk;
}

} // namespace

StatusCode parabolicStop(SeriesHandle& outH, const BarRecord& market, double direction, double step, double maximum) {
    const int32_t filter = truncToInt(direction);
    ParabolicState s(step == 0 ? kParabolicStep : step, maximum == 0 ? kParabolicMaximum : maximum);
    return runStop(
        outH, market,
        [&](const auto& high, const auto& low, const auto& close, int32_t bars, double missing) {
            int32_t i = 0;
            for (; i < bars; ++i) {
                if (close[i] == missing) continue;
                s.add(high[i], low[i]);
                if (s.position != 0) break;
            }
            return i;
        },
        [&](const auto& high, const auto& low, const auto& close, int32_t from, int32_t last, double missing,
            auto& out) { parabolicWrites(high, low, close, from, last, missing, filter, s, out); });
}

StatusCode volatilityStop(SeriesHandle& outH, const BarRecord& market, double direction, double period,
                          double multiplier) {
    const int32_t filter = truncToInt(direction);
    const int32_t n = truncToInt(period);
    VolatilityState s(n < 1 ? 7 : n, multiplier == 0 ? 3.0 : multiplier);
    return runStop(
        outH, market,
        [&](const auto& high, const auto& low, const auto& close, int32_t bars, double missing) {
            int32_t i = 0;
            for (; i < bars; ++i) {
                const double cl = close[i];
                if (cl != missing && s.add(high[i], low[i], cl)) break;
            }
            return i;
        },
        [&](const auto& high, const auto& low, const auto& close, int32_t from, int32_t last, double missing,
            auto& out) { volatilityWrites(high, low, close, from, last, missing, filter, s, out); });
}

} // namespace fk::indicators
