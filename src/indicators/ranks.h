// Rolling order statistics over the last N present values of a series (percent rank, percentile,
// median) and sideways-range detection. None keeps state between calls: a call starting at bar s
// rebuilds what it needs from the input before s, so chunked calls give what one call gives.
#pragma once
#include <cstdint>
#include <vector>

#include "containers/buffer.h"
#include "containers/series.h"
#include "frame/status.h"

namespace fk::ranks {

// Whole-number parameters: `rounded` adds 0.5 and truncates, `truncated` truncates; both fail
// (false) for NaN and for results outside the 32-bit signed range.
bool rounded(double v, int32_t& n);
bool truncated(double v, int32_t& n);

// The last N present values in time order (a ring) and the same values sorted ascending. Adding
// a value to a full window drops the oldest: the leaving value's place in the sorted array
// becomes a gap that moves to the new value's place.
class OrderedWindow {
public:
    explicit OrderedWindow(int32_t n) : cap_(n), ring_(static_cast<size_t>(n)), sorted_(static_cast<size_t>(n)) {}
    void push(double v);
    bool full() const { return size_ == cap_; }
    int32_t size() const { return size_; }
    // ascending order statistic k (0-based)
    double at(int32_t k) const { return sorted_[static_cast<size_t>(k)]; }
    // f(t, value) for the values in time order, t = 0 the oldest
    template <class F>
    void eachInOrder(F f) const {
        const double* r = ring_.data();
        int32_t t = 0;
        for (int32_t j = head_; j < size_; ++j) f(t++, r[j]);
        for (int32_t j = 0; j < head_; ++j) f(t++, r[j]);
    }
    // values strictly below v, and values equal to v
    void rank(double v, int32_t& below, int32_t& equal) const;
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
    int32_t cap_, size_ = 0, head_ = 0;
    std::vector<double> ring_, sorted_;
};

// A value that can be ordered and is not the series' missing value.
inline bool present(double v, double missing) { return v != missing && v == v; }

// Runs `value(window, x_i)` on every bar from `start` whose input is present and whose window of
// the last n present values is full; every other bar receives the output fill.
template <class Value>
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
    OrderedWindow w(n);
    // the n - 1 present values before the start bar, most recent first, pushed oldest first
    std::vector<double> back;
    for (int32_t i = start - 1; i >= 0 && static_cast<int32_t>(back.size()) < n - 1; --i)
        if (present(x[i], missing)) back.push_back(x[i]);
    for (auto it = back.rbegin(); it != back.rend(); ++it) w.push(*it);
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
