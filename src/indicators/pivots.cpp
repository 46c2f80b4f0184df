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
// two searches overlap; each step looks at three places and keeps a quarter of the range.
void replaceSorted(double* a, int32_t n, double old, double q) {
    const double *atOld = a, *pastQ = a;
    int32_t len = n;
    for (; len >= 4; len -= 3 * (len / 4)) {
        const int32_t s = len / 4;
        atOld += s * ((atOld[s] < old) + (atOld[2 * s] < old) + (atOld[3 * s] < old));
        pastQ += s * ((pastQ[s] <= q) + (pastQ[2 * s] <= q) + (pastQ[3 * s] <= q));
    }
    for (; len > 1; len -= len / 2) {
        const int32_t half = len / 2;
        atOld = atOld[half] < old ? atOld + half : atOld;
        pastQ = pastQ[half] <= q ? pastQ + half : pastQ;
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

// The last n values of a run, each kept twice in a ring of 2n slots so that they always lie
// side by side, oldest first. Their sum is formed afresh in one fixed order, so that it depends
// on those n values alone, not on where the run began: a call that starts later, seeded from the
// bars before it, writes exactly what a call from bar 0 writes.
class RecentValues {
public:
    RecentValues(double* slots, int32_t n) : slots_(slots), n_(n) {}

    // A value after the others, and one before them (for a run read backwards).
    void push(double v) {
        slots_[at_] = slots_[at_ + n_] = v;
        at_ = at_ + 1 == n_ ? 0 : at_ + 1;
        held_ += held_ < n_;
    }
    void pushEarlier(double v) {
        at_ = at_ == 0 ? n_ - 1 : at_ - 1;
        slots_[at_] = slots_[at_ + n_] = v;
        held_ += held_ < n_;
    }

    bool full() const { return held_ == n_; }
    // Of the n values (when full): the latest, and the sum, in four running sums over every
    // fourth value.
    double latest() const { return slots_[at_ + n_ - 1]; }
    double sum() const {
        const double* w = slots_ + at_;
        double a = 0.0, b = 0.0, c = 0.0, d = 0.0;
        int32_t k = 0;
        for (; k + 4 <= n_; k += 4) {
            a += w[k];
            b += w[k + 1];
            c += w[k + 2];
            d += w[k + 3];
        }
        for (; k < n_; ++k) a += w[k];
        return (a + b) + (c + d);
    }

private:
    double* slots_;
    int32_t n_;
    int32_t at_ = 0;   // the oldest value's slot
    int32_t held_ = 0;
};

// The ratio of the latest value to the average of the values (full), where there is one.
bool latestRatio(const RecentValues& values, int32_t length, double& average, double& q) {
    average = values.sum() / length;
    if (!(average > 0)) return false;
    q = values.latest() / average;
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
    Scratch<double> memory(2 * n);
    if (!memory.ok()) return kOk;
    RecentValues recent(memory.data(), n);

    // The run begins at the oldest of the n - 1 values before the start.
    int32_t from = start;
    for (int32_t j = start - 1, found = 0; j >= 1 && found < n - 1; --j)
        if (double r; raw(j, r)) {
            from = j;
            ++found;
        }
    for (int32_t i = from; i < bars; ++i) {
        double r;
        const bool has = raw(i, r);
        if (has) recent.push(r);
        if (i >= start) o.set(i, has && recent.full() ? recent.sum() / n : o.fill());
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
    const int64_t slots = 2 * int64_t{length} + 2 * int64_t{window};
    Scratch<double> memory(slots <= INT32_MAX ? static_cast<int32_t>(slots) : 0);
    if (slots > INT32_MAX || !memory.ok()) return kOk;
    double* arrivals = memory.data() + 2 * length; // the window's ratios in the order they came, a ring
    double* sorted = arrivals + window;            // the same ratios in ascending order

    // Going back from the start, the bar from which the window and its averages are rebuilt:
    // where window - 1 ratios and the length - 1 values before the oldest of them are found.
    int32_t from = 0;
    if (window == 1 && length == 1) {
        from = start;
    } else if (start > 0) {
        RecentValues earlier(memory.data(), length);
        int32_t found = 0, ratios = 0;
        for (int32_t j = start - 1; j >= 0; --j) {
            const double v = xs[j];
            if (v == none) continue;
            ++found;
            if (window == 1) { // the window is the start bar alone
                if (found == length - 1) {
                    from = j;
                    break;
                }
                continue;
            }
            earlier.pushEarlier(v);
            // the latest of the values read has its average now
            double average, q;
            if (earlier.full() && latestRatio(earlier, length, average, q) && ++ratios == window - 1) {
                from = j;
                break;
            }
        }
    }

    RecentValues values(memory.data(), length); // the last `length` present values
    int32_t ratios = 0, nextRatio = 0;
    for (int32_t i = from; i < count; ++i) {
        const double v = xs[i];
        double band = o.fill();
        double average, q;
        if (v != none) values.push(v);
        if (v != none && values.full() && latestRatio(values, length, average, q)) {
            if (ratios == window) {
                replaceSorted(sorted, window, arrivals[nextRatio], q);
            } else {
                insertSorted(sorted, ratios, q);
                ++ratios;
            }
            arrivals[nextRatio] = q;
            nextRatio = nextRatio + 1 == window ? 0 : nextRatio + 1;
            if (ratios == window) band = average * sorted[upper ? window - 1 - tail : tail];
        }
        if (i >= start) o.set(i, band);
    }
    return kOk;
}

} // namespace fk::pivots
