#include "indicators/swings.h"

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
    // A swing at bar j with strength x counts from the first bar c >= j with j + x <= c. Swings
    // wait in a list per confirmation bar, and the confirmed ones are kept sorted by their bar, so
    // the n-th most recent confirmed swing is read directly.
    ranges::IntScratch waiting(n, -1), nextWaiting(n, -1), confirmed(n, 0);
    if (waiting.size() < n || nextWaiting.size() < n || confirmed.size() < n) return;
    int32_t size = 0;
    auto confirm = [&](int32_t j) {
        int32_t i = size++;
        for (; i > 0 && confirmed[i - 1] > j; --i) confirmed[i] = confirmed[i - 1];
        confirmed[i] = j;
    };
    const double fill = v.fill();
    for (int32_t c = 0; c < n; ++c) {
        const double x = v[c];
        if (x != 0.0 && x != fill) {
            const double due = static_cast<double>(c) + x;
            if (due <= c) {
                confirm(c);
            } else if (due <= n - 1) {
                const auto at = static_cast<int32_t>(std::ceil(due));
                nextWaiting[c] = waiting[at];
                waiting[at] = c;
            }
        }
        for (int32_t j = waiting[c]; j >= 0; j = nextWaiting[j]) confirm(j);
        out.set(c, size >= want ? static_cast<double>(c - confirmed[size - want]) : fill);
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
