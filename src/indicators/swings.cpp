#include "indicators/swings.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "containers/plain_bars.h"
#include "containers/scratch.h"
#include "indicators/ranges.h"
#include "indicators/sliding_extreme.h"
#include "market/market_view.h"

namespace fk::swings {

using series::NumberOut;
using series::NumberView;

namespace {

// Bars i = s .. n - s - 1 of v, with the highest (lowest) of the s bars on each side taken from
// one window of the last s values pushed: the window that ends at bar i + s is the right side of
// bar i, and the one that ended at bar i - 1, kept s + 1 pushes back, its left side. A missing
// or NaN value fails every comparison, so a bar with one on either side is no swing.
template <bool High, class In, class Out>
void swingPoints(Out& out, const In& v, double missing, int32_t s, int32_t n, double* slots, int32_t* lastBad) {
    SlidingExtreme<High> side(slots, s);
    // the window's extreme and the last failing bar as they stood after each of the last s + 1
    // pushes, in a ring
    double* extremes = slots + 2 * s + 1;
    int32_t bad = -1, at = 0; // at: the place of the next push
    auto push = [&](int32_t j) {
        const double y = v[j];
        bad = ((y == missing) | (y != y)) ? j : bad;
        side.push(y);
        extremes[at] = side.extreme();
        lastBad[at] = bad;
        at = at == s ? 0 : at + 1;
    };
    for (int32_t j = 0; j < 2 * s; ++j) push(j);
    for (int32_t i = s; i < n - s; ++i) {
        // the left side, as it stood after the push of bar i - 1, whose place bar i + s takes
        const double left = extremes[at];
        const bool leftClear = lastBad[at] < i - s;
        push(i + s);
        const double x = v[i];
        // no branch on the values, whose order a predicting processor cannot foresee
        const bool beyond = High ? (x >= left) & (x > side.extreme()) : (x <= left) & (x < side.extreme());
        const double swing = static_cast<double>(beyond & leftClear & (bad <= i)); // 1 or 0
        out.set(i, x == missing ? missing : swing);
    }
}

} // namespace

void isSwingPoint(Side side, SeriesHandle& outHandle, const SeriesHandle& input, double strength) {
    const int32_t n = series::count(input);
    const int32_t s = ranges::truncate(strength);
    // a negative strength leaves every bar as it was, as a strength the series cannot hold does
    if (s < 0 || static_cast<int64_t>(s) >= static_cast<int64_t>(n) - s) return;
    NumberOut out(&outHandle, n - s);
    const NumberView v(&input);
    if (s == 0) { // every bar with a value
        for (int32_t i = 0; i < n; ++i) out.set(i, v.missing(i) ? v.fill() : 1.0);
        return;
    }
    // the window's 2s + 1 slots and the s + 1 extremes kept back; as many bar numbers
    if (3 * int64_t{s} + 2 > INT32_MAX) return;
    Scratch<double> slots(3 * s + 2);
    Scratch<int32_t> bars(s + 1);
    if (!slots.ok() || !bars.ok()) return;
    auto run = [&](const auto& in, auto& o) {
        if (side == Side::High) swingPoints<true>(o, in, v.fill(), s, n, slots.data(), bars.data());
        else swingPoints<false>(o, in, v.fill(), s, n, slots.data(), bars.data());
    };
    const double* src = v.storage(0, n);
    if (double* dst = src ? out.storage(s, n - s) : nullptr) {
        PlainOut o{dst, s, out.fill()};
        run(PlainBars{src, 0}, o);
    } else {
        run(v, out);
    }
}

void swingBarsAgo(SeriesHandle& outHandle, const SeriesHandle& swings, double occurrence) {
    const int32_t n = series::count(swings);
    if (n < 1) return;
    NumberOut out(&outHandle, n);
    const NumberView v(&swings);
    const int32_t want = ranges::truncate(occurrence);
    if (want <= 0) {
        // no swing is needed: it is found before any bar is walked
        for (int32_t c = 0; c < n; ++c) out.set(c, -1.0);
        return;
    }
    // A swing at bar j of strength x counts from the first bar c >= j with j + x <= c; -1 when
    // that bar lies past the series (or x is NaN).
    const double fill = v.fill();
    const double* src = v.storage(0, n);
    auto dueBar = [&](int32_t j) -> int32_t {
        const double x = src ? src[j] : v[j];
        if (x == 0.0 || x == fill) return -1;
        const double due = static_cast<double>(j) + x;
        if (due <= j) return j;
        return due <= n - 1 ? static_cast<int32_t>(std::ceil(due)) : -1;
    };
    // the swings, and whether they count in the order of their bars
    int32_t total = 0, lastDue = -1;
    bool ordered = true;
    for (int32_t j = 0; j < n; ++j) {
        const int32_t due = dueBar(j);
        if (due < 0) continue;
        ++total;
        ordered &= due >= lastDue;
        lastDue = due;
    }
    if (total < want) {
        for (int32_t c = 0; c < n; ++c) out.set(c, fill);
        return;
    }
    // When they count in the order of their bars, the swings counted by bar c are the first ones:
    // each bar adds the number of swings that count from it, and reads the bar of the n-th most
    // recent of those counted so far. The counts are kept in the output, which therefore must not
    // be the input's array (an output on its own input is written bar by bar below, as it reads).
    double* p = ordered && src ? out.reserve(0, n) : nullptr;
    const std::less<const double*> before;
    if (p && (!before(src, p + n) || !before(p, src + n))) {
        ranges::IntScratch bars(total, 0);
        if (bars.size() < total) return;
        out.wrote(n - 1);
        std::fill(p, p + n, 0.0);
        for (int32_t j = 0, k = 0; j < n; ++j) {
            const int32_t due = dueBar(j);
            if (due < 0) continue;
            bars[k++] = j;
            p[due] += 1;
        }
        int32_t counted = 0;
        for (int32_t c = 0; c < n; ++c) {
            counted += static_cast<int32_t>(p[c]);
            const int32_t i = counted - want;
            p[c] = i >= 0 ? static_cast<double>(c - bars[i]) : fill;
        }
        return;
    }
    // Swings wait in a heap by the bar they count from; the counted ones are kept sorted by their
    // own bar, so that the n-th most recent is read directly.
    ranges::IntScratch waiting(total, 0), counted(total, 0);
    if (waiting.size() < total || counted.size() < total) return;
    int32_t* heap = waiting.data();
    int32_t pending = 0, size = 0;
    auto later = [&](int32_t a, int32_t b) { return dueBar(a) > dueBar(b); };
    auto count = [&](int32_t j) {
        int32_t i = size++;
        for (; i > 0 && counted[i - 1] > j; --i) counted[i] = counted[i - 1];
        counted[i] = j;
    };
    for (int32_t c = 0; c < n; ++c) {
        const int32_t due = dueBar(c);
        if (due == c) {
            count(c);
        } else if (due > c) {
            heap[pending++] = c;
            std::push_heap(heap, heap + pending, later);
        }
        while (pending > 0 && dueBar(heap[0]) == c) {
            count(heap[0]);
            std::pop_heap(heap, heap + pending--, later);
        }
        out.set(c, size >= want ? static_cast<double>(c - counted[size - want]) : fill);
    }
}

void zigZag(ZigZagKind kind, SeriesHandle& outHandle, const BarRecord& market, double percent) {
    const int32_t count = market.barCount;
    if (count < 3) return;
    NumberOut out(&outHandle, count);
    const MarketView m(market);
    const double missing = m.missing;
    const bool strict = kind == ZigZagKind::Strict;
    double extreme = missing;
    int direction = 0; // -1 after a high was taken, +1 after a low
    int32_t hi = -1, lo = -1;
    for (int32_t i = 1; i <= count - 2; ++i) {
        const double h0 = m.high[i - 1], h = m.high[i], h2 = m.high[i + 1];
        const double l0 = m.low[i - 1], l = m.low[i], l2 = m.low[i + 1];
        if (h0 == missing || h == missing || h2 == missing || l0 == missing || l == missing || l2 == missing) {
            out.set(i, missing);
            continue;
        }
        if (extreme == missing) extreme = (h + l) / 2;
        // a flat top counts at its last bar, a flat bottom too
        if (h >= h0 && h > h2 && (!strict || lo < 0 || m.low[lo] <= l)) {
            if (direction != -1) {
                if (h >= extreme * (1 + percent * 0.01)) {
                    direction = -1;
                    extreme = h;
                    hi = i;
                    if (lo >= 0) out.set(lo, m.low[lo]);
                }
            } else if (h >= extreme) {
                extreme = h;
                hi = i;
            }
        }
        if (l <= l0 && l < l2 && (!strict || hi < 0 || (i > hi && m.high[hi] >= h))) {
            if (direction == 1) {
                if (l <= extreme) {
                    extreme = l;
                    lo = i;
                }
            } else if (l <= extreme - percent * 0.01 * extreme) {
                direction = 1;
                extreme = l;
                lo = i;
                if (hi >= 0) out.set(hi, m.high[hi]);
            }
        }
    }
    if (strict) {
        if (direction == -1) out.set(hi, m.high[hi]);
        else if (direction == 1) out.set(lo, m.low[lo]);
    }
}

} // namespace fk::swings
