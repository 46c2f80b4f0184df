#include "indicators/pivots.h"

#include <algorithm>
#include <cstring>

#include "calendar/date.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "indicators/sliding_extreme.h"
#include "market/market_view.h"

namespace fk::pivots {

using calendar::truncToInt32;
using series::NumberOut;
using series::NumberView;

namespace {

int32_t rounded(double v, int32_t otherwise) {
    const int32_t n = truncToInt32(v + 0.5);
    return n < 1 ? otherwise : n;
}

// Bars start .. bars - 1, the window of the n bars before each fed from bar start - n on.
template <bool Highest>
void pivotBars(NumberOut& o, const NumberView& price, const NumberView& close, double none, int32_t n,
               int32_t start, int32_t bars, SlidingExtreme<Highest>& before) {
    int32_t lastMissing = -1; // the last bar fed whose price is missing
    for (int32_t j = std::max(start - n, 0); j < bars; ++j) {
        const double p = price[j];
        if (j >= start) {
            double v = o.fill();
            if (j >= n && lastMissing < j - n && p != none && close[j] != none && close[j - 1] != none) {
                const bool beyond = Highest ? p > before.extreme() : p < before.extreme();
                const bool back = Highest ? close[j] < close[j - 1] : close[j] > close[j - 1];
                v = beyond && back ? 1.0 : 0.0;
            }
            o.set(j, v);
        }
        if (p == none) lastMissing = j;
        before.push(p == none ? SlidingExtreme<Highest>::kNone : p);
    }
}

// A sorted array of ratios: one added, or one replaced by another. The places are found by
// halvings without a branch on the data, whose order is unforeseeable.
void insertSorted(double* a, int32_t n, double q) {
    int32_t k = 0;
    if (n > 0) {
        const double* past = a;
        for (int32_t len = n; len > 1;) {
            const int32_t half = len / 2;
            past = past[half] <= q ? past + half : past;
            len -= half;
        }
        k = static_cast<int32_t>(past - a) + (*past <= q);
    }
    std::memmove(a + k + 1, a + k, sizeof(double) * (n - k));
    a[k] = q;
}

// The place of `old` and the place for q are searched side by side, so that the waits of the
// two halvings overlap.
void replaceSorted(double* a, int32_t n, double old, double q) {
    const double *atOld = a, *pastQ = a;
    for (int32_t len = n; len > 1;) {
        const int32_t half = len / 2;
        atOld = atOld[half] < old ? atOld + half : atOld;
        pastQ = pastQ[half] <= q ? pastQ + half : pastQ;
        len -= half;
    }
    const int32_t r = static_cast<int32_t>(atOld - a) + (*atOld < old);
    const int32_t k = static_cast<int32_t>(pastQ - a) + (*pastQ <= q); // counts `old` too when q >= old
    if (q >= old) { // the ratios between the two places move down one
        std::memmove(a + r, a + r + 1, sizeof(double) * (k - r - 1));
        a[k - 1] = q;
    } else { // up one
        std::memmove(a + k + 1, a + k, sizeof(double) * (r - k));
        a[k] = q;
    }
}

// The ratio of x to the average sum / length, where there is one.
bool ratioOf(double x, double sum, int32_t length, double& q) {
    const double average = sum / length;
    if (!(average > 0)) return false;
    q = x / average;
    return q == q;
}

} // namespace

StatusCode pivot(SeriesHandle& out, const BarRecord& market, double number, int32_t start, bool bullish) {
    const int32_t n = std::max(truncToInt32(number), 1);
    if (!enoughBars(market, n)) return kTooFewBars;
    const int32_t bars = market.barCount;
    start = std::max(start, 0);
    if (start >= bars) return kOk;
    const int64_t slots = 2 * int64_t{n} + 1;
    Scratch<double> memory(slots <= INT32_MAX ? static_cast<int32_t>(slots) : 0);
    if (!memory.ok()) return kOk;
    NumberOut o(&out, bars);
    const NumberView price(bullish ? &market.low : &market.high), close(&market.close);
    if (bullish) {
        SlidingExtreme<false> lowest(memory.data(), n);
        pivotBars(o, price, close, close.fill(), n, start, bars, lowest);
    } else {
        SlidingExtreme<true> highest(memory.data(), n);
        pivotBars(o, price, close, close.fill(), n, start, bars, highest);
    }
    return kOk;
}

StatusCode easeOfMove(SeriesHandle& out, const BarRecord& market, double number, int32_t start) {
    if (market.barCount <= 0) return kTooFewBars;
    const int32_t bars = market.barCount;
    start = std::max(start, 0);
    if (start >= bars) return kOk;
    const int32_t n = rounded(number, 1);
    NumberOut o(&out, bars);
    const NumberView high(&market.high), low(&market.low), volume(&market.volume);
    const double none = series::fillValue(market.close);
    // The midpoint move times the range, over the volume in units of 10,000.
    const auto raw = [&](int32_t i, double& r) {
        if (i < 1) return false;
        const double h = high[i], l = low[i], ph = high[i - 1], pl = low[i - 1], v = volume[i];
        if (h == none || l == none || ph == none || pl == none || v == none || !(v > 0)) return false;
        r = ((h + l) / 2 - (ph + pl) / 2) * (h - l) * 10000 / v;
        return true;
    };
    if (n > bars) { // more values than bars are never held
        for (int32_t i = start; i < bars; ++i) o.set(i, o.fill());
        return kOk;
    }
    Scratch<double> ring(n);
    if (!ring.ok()) return kOk;

    // The n - 1 values before the start, oldest first, end just before the ring's last slot.
    int32_t held = 0;
    for (int32_t j = start - 1; j >= 1 && held < n - 1; --j)
        if (double r; raw(j, r)) ring[n - 2 - held++] = r;
    double sum = 0.0;
    for (int32_t k = n - 1 - held; k <= n - 2; ++k) sum += ring[k];
    int32_t next = n - 1; // the slot of the next value, holding the oldest once n are held
    for (int32_t i = start; i < bars; ++i) {
        double r;
        if (!raw(i, r)) {
            o.set(i, o.fill());
            continue;
        }
        if (held >= n) sum -= ring[next];
        sum += r;
        ring[next] = r;
        next = next + 1 == n ? 0 : next + 1;
        if (held < n) ++held;
        o.set(i, held >= n ? sum / n : o.fill());
    }
    return kOk;
}

StatusCode bomarBand(SeriesHandle& out, const SeriesHandle& x, const BomarParams& p, int32_t start, bool upper) {
    const int32_t count = series::count(x);
    if (count == 0) return kDomainError;
    const int32_t length = rounded(p.length, 21), window = rounded(p.window, 250);
    const double percent = p.percent > 0 && p.percent < 100 ? p.percent : 85.0;
    const int32_t tail = truncToInt32(window * (100 - percent) / 200);
    start = std::max(start, 0);
    if (start >= count) return kOk;
    NumberOut o(&out, count);
    const NumberView xs(&x);
    const double none = xs.fill();
    if (length > count || window > count) { // an average or a window that is never filled
        for (int32_t i = start; i < count; ++i) o.set(i, o.fill());
        return kOk;
    }
    const int64_t slots = int64_t{length} + 2 * int64_t{window};
    Scratch<double> memory(slots <= INT32_MAX ? static_cast<int32_t>(slots) : 0);
    if (slots > INT32_MAX || !memory.ok()) return kOk;
    double* values = memory.data();          // the last `length` present values, a ring
    double* arrivals = values + length;      // the window's ratios in the order they came, a ring
    double* sorted = arrivals + window;      // the same ratios in ascending order

    // Going back from the start, the bar from which the window and its averages are rebuilt:
    // where window - 1 ratios and the length - 1 values before the oldest of them are found.
    int32_t from = 0;
    if (window == 1 && length == 1) {
        from = start;
    } else if (start > 0) {
        const int32_t ratiosWanted = window - 1;
        int32_t found = 0, ratios = 0;
        double sum = 0.0;
        for (int32_t j = start - 1; j >= 0; --j) {
            const double v = xs[j];
            if (v == none) continue;
            if (ratiosWanted == 0) { // the window is the start bar alone
                if (++found >= length - 1) {
                    from = j;
                    break;
                }
                continue;
            }
            const int32_t slot = found % length;
            if (found >= length) sum -= values[slot];
            values[slot] = v;
            sum += v;
            ++found;
            double q;
            // the value length - 1 places back has its average now
            if (found >= length && ratioOf(values[found % length], sum, length, q) && ++ratios == ratiosWanted) {
                from = j;
                break;
            }
        }
    }

    int32_t held = 0, next = 0; // present values held, and the slot of the next one
    int32_t ratios = 0, nextRatio = 0;
    double sum = 0.0;
    for (int32_t i = from; i < count; ++i) {
        const double v = xs[i];
        double band = o.fill();
        if (v != none) {
            if (held >= length) sum -= values[next];
            sum += v;
            values[next] = v;
            next = next + 1 == length ? 0 : next + 1;
            if (held < length) ++held;
            double q;
            if (held >= length && ratioOf(v, sum, length, q)) {
                if (ratios == window) {
                    replaceSorted(sorted, window, arrivals[nextRatio], q);
                } else {
                    insertSorted(sorted, ratios, q);
                    ++ratios;
                }
                arrivals[nextRatio] = q;
                nextRatio = nextRatio + 1 == window ? 0 : nextRatio + 1;
                if (ratios == window) band = sum / length * sorted[upper ? window - 1 - tail : tail];
            }
        }
        if (i >= start) o.set(i, band);
    }
    return kOk;
}

} // namespace fk::pivots
