// Rolling order statistics over the last N present values of a series (percent rank, percentile,
// median) and sideways-range detection. None keeps state between calls: a call starting at bar s
// rebuilds what it needs from the input before s, so chunked calls give what one call gives.
#pragma once
#include <cmath>
#include <cstdint>

#include "containers/buffer.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "frame/status.h"
#include "platform/cpu.h"

namespace fk::ranks {

// Up to n values sorted ascending, updated one value at a time: a value is placed after the
// values equal to it, and of equal values the first leaves. Nothing branches on the values, whose
// order a predicting processor cannot foresee. Where the processor has 256-bit vectors, an array
// of up to 256 values is written afresh into a second buffer by comparisons four at a time (fixed
// work, about as fast as a search and a move up to that length). Otherwise the places are counted
// two at a time (up to 64 values) or searched, choosing with conditional moves, and the values
// between them moved.
class SortedArray {
public:
    // The doubles a SortedArray of n values lives in (kept by the caller for its life).
    static int64_t slotsFor(int32_t n) { return 2 * (int64_t{n} + kSpare); }
    // `wide` chooses the 256-bit vectors; it must be false where the processor has none.
    SortedArray(double* slots, int32_t n, bool wide);

    int32_t size() const { return size_; }
    double at(int32_t k) const { return s_[k]; }
    // Adds v (while fewer than n are held).
    void insert(double v);
    // Replaces the first of the values equal to `old` (one held) by v.
    void replace(double old, double v);

private:
    static constexpr int32_t kSpare = 8; // -inf before the values, +inf after them
    double *s_ = nullptr, *t_ = nullptr; // the values, and the buffer the next update writes
    int32_t n_, size_ = 0;
    bool rebuilt_;                       // short and wide: written afresh on each update
};

// What a window keeps beside its values in time order.
enum class Keep {
    Values,     // nothing more
    Sorted,     // the values sorted, for order statistics
    LatestRank, // the rank of the value pushed last among the values
};

// The last N present values in time order (a ring). Adding a value to a full window drops the
// oldest. A window is only usable when it is `ok()`: the heap had room for it.
class OrderedWindow {
public:
    explicit OrderedWindow(int32_t n, Keep keep = Keep::Values, bool wide = platform::wideVectors())
        : cap_(n), keep_(keep), ring_(ringFor(n)), slots_(slotsFor(n, keep)),
          sorted_(slots_.ok() ? slots_.data() : nullptr, keep == Keep::Sorted && slots_.ok() ? n : 0, wide),
          wide_(wide) {}
    bool ok() const { return fits(cap_, keep_) && ring_.ok() && slots_.ok(); }
    void push(double v);
    bool full() const { return size_ == cap_; }
    int32_t size() const { return size_; }
    // ascending order statistic k (0-based), with Keep::Sorted
    double at(int32_t k) const { return sorted_.at(k); }
    // f(t, value) for the values in time order, t = 0 the oldest
    template <class F>
    void eachInOrder(F f) const {
        const double* r = ring_.data();
        int32_t t = 0;
        for (int32_t j = head_; j < size_; ++j) f(t++, r[j]);
        for (int32_t j = 0; j < head_; ++j) f(t++, r[j]);
    }
    // With Keep::LatestRank, of the value pushed last: the values below it, and those equal to
    // it (itself too).
    void latestRank(int32_t& below, int32_t& equal) const {
        below = below_;
        equal = equal_;
    }
    // Where the p-th percentile of a full window of n values lies: between order statistics k
    // and k + 1, the fraction f of the way.
    struct Rank {
        Rank(int32_t n, double p);
        int32_t k, last;
        double f;
    };
    // Linear interpolation between closest ranks: 0 per cent is the lowest value, 100 the highest.
    double percentile(const Rank& r) const;

private:
    // the ring in whole fours; the sorted values' slots; 0 (never ok) for sizes past 32 bits
    static int64_t ringSize(int32_t n) { return (int64_t{n} + 3) & ~int64_t{3}; }
    static bool fits(int32_t n, Keep keep) {
        return n >= 0 && ringSize(n) <= INT32_MAX && (keep != Keep::Sorted || SortedArray::slotsFor(n) <= INT32_MAX);
    }
    static int32_t ringFor(int32_t n) { return fits(n, Keep::Values) ? static_cast<int32_t>(ringSize(n)) : 0; }
    static int32_t slotsFor(int32_t n, Keep keep) {
        return keep == Keep::Sorted && fits(n, keep) ? static_cast<int32_t>(SortedArray::slotsFor(n)) : 0;
    }

    int32_t cap_, size_ = 0, head_ = 0;
    Keep keep_;
    Scratch<double> ring_, slots_;
    SortedArray sorted_;
    bool wide_;
    int32_t below_ = 0, equal_ = 0;
};

// Of the n values at v: those below x, and those equal to it.
void countAround(const double* v, int32_t n, double x, bool wide, int32_t& below, int32_t& equal);
// v[at] = x, written (with 256-bit vectors) as the four values that countAround reads together,
// so that it reads them from the write without waiting for the memory (v holds a multiple of 4).
void putWide(double* v, int32_t at, double x);

inline void OrderedWindow::push(double v) {
    double* r = ring_.data();
    double old = 0;
    const bool leaves = size_ == cap_;
    if (leaves) old = r[head_];
    if (keep_ == Keep::LatestRank) {
        int32_t below, equal;
        countAround(r, size_, v, wide_, below, equal);
        below_ = below - (leaves && old < v ? 1 : 0);
        equal_ = equal - (leaves && old == v ? 1 : 0) + 1;
    }
    if (keep_ == Keep::Sorted) {
        if (leaves) sorted_.replace(old, v);
        else sorted_.insert(v);
    }
    // the ring fills from its start, then turns
    const int32_t at = leaves ? head_ : size_;
    if (keep_ == Keep::LatestRank && wide_) putWide(r, at, v);
    else r[at] = v;
    if (leaves) head_ = head_ + 1 == cap_ ? 0 : head_ + 1;
    else ++size_;
}

// A value that can be ordered and is not the series' missing value.
inline bool present(double v, double missing) { return v != missing && v == v; }

// The bar from which a window must take the present values before the start bar so that it holds
// the n - 1 of them when the start bar comes.
inline int32_t windowLead(const series::NumberView& x, int32_t n, int32_t start) {
    int32_t from = start, found = 0;
    while (found < n - 1 && --from >= 0)
        if (present(x[from], x.fill())) ++found;
    return from < 0 ? 0 : from;
}

// Runs `value(window, x_i)` on every bar from `start` whose input is present and whose window of
// the last n present values is full; every other bar receives the output fill. The window keeps
// what K asks for.
template <Keep K = Keep::Values, class Value>
StatusCode eachWindow(SeriesHandle& outH, const SeriesHandle& xH, int32_t n, int32_t start, Value value) {
    const int32_t count = series::count(xH);
    series::NumberOut out(&outH, count);
    const series::NumberView x(&xH);
    const double missing = x.fill(), fill = out.fill();
    if (start >= count) return kOk;
    if (n > count) {
        // the window can never fill
        for (int32_t i = start; i < count; ++i) out.set(i, fill);
        return kOk;
    }
    OrderedWindow w(n, K);
    if (!w.ok()) return kOk; // no room on the heap: nothing is written
    for (int32_t i = windowLead(x, n, start); i < start; ++i)
        if (present(x[i], missing)) w.push(x[i]);
    for (int32_t i = start; i < count; ++i) {
        const double v = x[i];
        if (!present(v, missing)) {
            out.set(i, fill);
            continue;
        }
        w.push(v);
        out.set(i, w.full() ? value(w, v) : fill);
    }
    return kOk;
}

// Percent rank of each present value among the last N present values (ties take their group's
// mean rank). Checks: no input elements kTooFewBars; N below 2 kDomainError.
StatusCode equityRank(SeriesHandle& out, const SeriesHandle& x, double length, int32_t start);
// The p-th percentile (0 to 100) of the last N present values. Checks: no input elements
// kTooFewBars; N below 1, p outside 0..100 kDomainError.
StatusCode percentile(SeriesHandle& out, const SeriesHandle& x, double length, double percent, int32_t start);
// The median: the 50th percentile.
StatusCode median(SeriesHandle& out, const SeriesHandle& x, double length, int32_t start);

// The longest run of present values ending at each bar whose range fits the allowed height: H
// points, or H percent of the run's lowest value when `units` is not 0. A run of at least the
// minimum length is a sideways box. Checks: no input elements kTooFewBars; H below 0 or NaN,
// minimum length below 1 kDomainError.
// The number of values in the box, or 0.
StatusCode lateralMovement(SeriesHandle& out, const SeriesHandle& x, double height, double units,
                           double minLength, int32_t start);
// The box's top (selector 1), bottom (2) or middle (3); the fill without a box. A selector outside
// 1..3 is a kDomainError.
StatusCode lateralBox(SeriesHandle& out, const SeriesHandle& x, double height, double units, double minLength,
                      double selector, int32_t start);

} // namespace fk::ranks
