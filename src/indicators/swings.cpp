#include "indicators/swings.h"

#include <algorithm>
#include <cmath>

#include "indicators/ranges.h"
#include "market/market_view.h"

namespace fk::swings {

using series::NumberOut;
using series::NumberView;

bool isSwing(Side side, const NumberView& v, int32_t i, int32_t strength) {
    const double x = v[i];
    const double missing = v.fill();
    // equal values are accepted on the left and rejected on the right
    for (int32_t j = i - strength; j < i; ++j) {
        const double y = v[j];
        if (y == missing || !(side == Side::High ? x >= y : x <= y)) return false;
    }
    for (int32_t j = i + 1; j <= i + strength; ++j) {
        const double y = v[j];
        if (y == missing || !(side == Side::High ? x > y : x < y)) return false;
    }
    return true;
}

void isSwingPoint(Side side, SeriesHandle& outHandle, const SeriesHandle& input, double strength) {
    const int32_t n = series::count(input);
    const int32_t s = ranges::truncate(strength);
    // a negative strength leaves every bar as it was, as a strength the series cannot hold does
    if (s < 0 || static_cast<int64_t>(s) >= static_cast<int64_t>(n) - s) return;
    NumberOut out(&outHandle, n - s);
    const NumberView v(&input);
    for (int32_t i = s; i < n - s; ++i)
        out.set(i, v.missing(i) ? v.fill() : isSwing(side, v, i, s) ? 1.0 : 0.0);
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
    auto dueBar = [&](int32_t j) -> int32_t {
        const double x = v[j];
        if (x == 0.0 || x == fill) return -1;
        const double due = static_cast<double>(j) + x;
        if (due <= j) return j;
        return due <= n - 1 ? static_cast<int32_t>(std::ceil(due)) : -1;
    };
    int32_t total = 0;
    for (int32_t j = 0; j < n; ++j) total += dueBar(j) >= 0;
    if (total < want) {
        for (int32_t c = 0; c < n; ++c) out.set(c, fill);
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
