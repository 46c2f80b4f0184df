#include "indicators/pivots.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "calendar/date.h"
#include "containers/plain_bars.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "indicators/select.h"
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

using indicators::Pair;

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
        const double* const fours = w + (n_ & ~3);
        Pair ab = {0.0, 0.0}, cd = {0.0, 0.0}; // the sums a and b, c and d, two at a time
        for (; w != fours; w += 4) {
            Pair e, f;
            std::memcpy(&e, w, sizeof e);
            std::memcpy(&f, w + 2, sizeof f);
            ab += e;
            cd += f;
        }
        // the last n mod 4 values join a in their order
        double a = ab[0];
        switch (n_ & 3) {
        case 3: a += w[0]; a += w[1]; a += w[2]; break;
        case 2: a += w[0]; a += w[1]; break;
        case 1: a += w[0]; break;
        default: break;
        }
        return (a + ab[1]) + (cd[0] + cd[1]);
    }

private:
    double* slots_;
    int32_t n_;
    int32_t at_ = 0;   // the oldest value's slot
    int32_t held_ = 0;
};

// The k-th largest of the last w values pushed (1 <= k <= w). The k largest are kept sorted,
// largest first, with the ring places they came from; every other value stands in `rest` at its
// place, where the k largest leave -inf. A value that enters above the k-th takes its place among
// them and the k-th goes back to the rest; when one of the k leaves the ring, the largest of the
// rest (found by one pass of vector maxima over w values) takes its place. On values without a
// trend that is about every w / k bars, so a bar costs little more than a comparison.
class TopOfWindow {
public:
    // `values` holds 2w + k doubles and `places` w + k integers for the life of the window.
    TopOfWindow(double* values, int32_t* places, int32_t w, int32_t k)
        : ring_(values), rest_(values + w), top_(values + 2 * w), inTop_(places), from_(places + w), w_(w), k_(k) {}

    bool full() const { return held_ == w_; }
    double kth() const { return top_[k_ - 1]; }

    void push(double v) {
        const int32_t at = next_;
        next_ = next_ + 1 == w_ ? 0 : next_ + 1;
        bool refill = false;
        if (held_ == w_) {
            if (inTop_[at]) {
                take(at);
                refill = true;
            }
        } else {
            ++held_;
        }
        ring_[at] = v;
        rest_[at] = v;
        if (size_ < k_ && !refill) {
            enter(at);
        } else if (refill) {
            enter(largestOfRest());
        } else if (v > top_[k_ - 1]) {
            const int32_t out = from_[k_ - 1];
            take(out);
            rest_[out] = ring_[out];
            enter(at);
        }
    }

private:
    // Takes the value from place `at` (one of the top) out of the top.
    void take(int32_t at) {
        int32_t j = 0;
        while (from_[j] != at) ++j;
        for (; j + 1 < size_; ++j) {
            top_[j] = top_[j + 1];
            from_[j] = from_[j + 1];
        }
        --size_;
        inTop_[at] = 0;
    }
    // Puts the value at place `at` (one of the rest) into the top, after those not below it.
    void enter(int32_t at) {
        const double v = ring_[at];
        int32_t j = size_++;
        for (; j > 0 && top_[j - 1] < v; --j) {
            top_[j] = top_[j - 1];
            from_[j] = from_[j - 1];
        }
        top_[j] = v;
        from_[j] = at;
        rest_[at] = -HUGE_VAL;
        inTop_[at] = 1;
    }
    // The place of a largest value of the rest (there is one: the value just pushed at least):
    // the largest of each block of 16 places by vector maxima, then the first place in the block
    // of the largest that holds it and is not one of the top (a real -inf may stand beside the
    // -inf that marks them, so the walk may go on past that block).
    int32_t largestOfRest() const {
        constexpr int32_t kBlock = 16;
        double m = -HUGE_VAL;
        int32_t block = 0;
        for (int32_t b = 0; b < held_; b += kBlock) {
            double bm = -HUGE_VAL;
            if (b + kBlock <= held_) {
                Pair a = {-HUGE_VAL, -HUGE_VAL}, c = a;
                for (int32_t j = b; j < b + kBlock; j += 4) {
                    Pair e, f;
                    std::memcpy(&e, rest_ + j, sizeof e);
                    std::memcpy(&f, rest_ + j + 2, sizeof f);
                    a = e > a ? e : a;
                    c = f > c ? f : c;
                }
                a = c > a ? c : a;
                bm = a[1] > a[0] ? a[1] : a[0];
            } else {
                for (int32_t j = b; j < held_; ++j) bm = rest_[j] > bm ? rest_[j] : bm;
            }
            block = bm > m ? b : block;
            m = bm > m ? bm : m;
        }
        int32_t j = block;
        while (rest_[j] != m || inTop_[j]) ++j;
        return j;
    }

    double *ring_, *rest_, *top_;
    int32_t *inTop_, *from_;
    int32_t w_, k_;
    int32_t held_ = 0, next_ = 0, size_ = 0;
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

StatusCode easeOfMove(SeriesHandle& outH, const BarRecord& market, double number, int32_t start) {
    if (market.barCount <= 0) return kTooFewBars;
    const int32_t bars = market.barCount;
    start = std::max(start, 0);
    if (start >= bars) return kOk;
    const int32_t n = rounded(number, 1);
    NumberOut out(&outH, bars);
    const NumberView highs(&market.high), lows(&market.low), volumes(&market.volume);
    const double none = series::fillValue(market.close);
    if (n > bars) { // more values than bars are never held
        for (int32_t i = start; i < bars; ++i) out.set(i, out.fill());
        return kOk;
    }
    Scratch<double> memory(2 * n);
    if (!memory.ok()) return kOk;
    RecentValues recent(memory.data(), n);
    // over plain arrays where the market and the output are stored as such
    const auto run = [&](const auto& high, const auto& low, const auto& volume, auto& o) {
        // The midpoint move times the range, over the volume in units of 10,000.
        const auto raw = [&](int32_t i, double& r) {
            if (i < 1) return false;
            const double h = high[i], l = low[i], ph = high[i - 1], pl = low[i - 1], v = volume[i];
            if ((h == none) | (l == none) | (ph == none) | (pl == none) | (v == none) | !(v > 0)) return false;
            r = ((h + l) / 2 - (ph + pl) / 2) * (h - l) * 10000 / v;
            return true;
        };
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
    };
    withPlainArrays(start, bars, out, run, highs, lows, volumes);
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
    // the average's values, kept twice; the window's ring, its rest and its top
    const int32_t k = tail + 1;
    const int64_t slots = 2 * int64_t{length} + 2 * int64_t{window} + k;
    if (slots > INT32_MAX || window + int64_t{k} > INT32_MAX) return kOk;
    Scratch<double> memory(static_cast<int32_t>(slots));
    Scratch<int32_t> places(window + k);
    if (!memory.ok() || !places.ok()) return kOk;
    // the upper band's ratio is the k-th largest, the lower one's the k-th smallest: the k-th
    // largest of the ratios negated
    TopOfWindow top(memory.data() + 2 * length, places.data(), window, k);
    const double sign = upper ? 1.0 : -1.0;

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
    for (int32_t i = from; i < count; ++i) {
        const double v = xs[i];
        double band = o.fill();
        double average, q;
        if (v != none) values.push(v);
        if (v != none && values.full() && latestRatio(values, length, average, q)) {
            top.push(sign * q);
            if (top.full()) band = average * (sign * top.kth());
        }
        if (i >= start) o.set(i, band);
    }
    return kOk;
}

} // namespace fk::pivots
