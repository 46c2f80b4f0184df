#include "indicators/pivots.h"

#include <algorithm>
#include <cstring>

#include "calendar/date.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "indicators/ranks.h"
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
            // no branch on the values, whose order a predicting processor cannot foresee
            const double c = close[j], c1 = close[j - 1];
            const bool beyond = Highest ? p > before.extreme() : p < before.extreme();
            const bool back = Highest ? c < c1 : c > c1;
            const double v = static_cast<double>(beyond & back); // 1 or 0
            const bool known = (j >= n) & (lastMissing < j - n) & (p != none) & (c != none) & (c1 != none);
            o.set(j, known ? v : o.fill());
        }
        if (p == none) lastMissing = j;
        before.push(p == none ? SlidingExtreme<Highest>::kNone : p);
    }
}

typedef double Pair __attribute__((vector_size(16)));

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
        Pair ab = {0.0, 0.0}, cd = {0.0, 0.0}; // the sums a and b, c and d, two at a time
        int32_t k = 0;
        for (; k + 4 <= n_; k += 4) {
            Pair e, f;
            std::memcpy(&e, w + k, sizeof e);
            std::memcpy(&f, w + k + 2, sizeof f);
            ab += e;
            cd += f;
        }
        double a = ab[0];
        for (; k < n_; ++k) a += w[k];
        return (a + ab[1]) + (cd[0] + cd[1]);
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
    const int64_t slots = 2 * int64_t{length} + int64_t{window} + ranks::SortedArray::slotsFor(window);
    Scratch<double> memory(slots <= INT32_MAX ? static_cast<int32_t>(slots) : 0);
    if (slots > INT32_MAX || !memory.ok()) return kOk;
    double* arrivals = memory.data() + 2 * length; // the window's ratios in the order they came, a ring
    ranks::SortedArray sorted(arrivals + window, window, ranks::wideVectors()); // the same ratios in order

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
                sorted.replace(arrivals[nextRatio], q);
            } else {
                sorted.insert(q);
                ++ratios;
            }
            arrivals[nextRatio] = q;
            nextRatio = nextRatio + 1 == window ? 0 : nextRatio + 1;
            if (ratios == window) band = average * sorted.at(upper ? window - 1 - tail : tail);
        }
        if (i >= start) o.set(i, band);
    }
    return kOk;
}

} // namespace fk::pivots
