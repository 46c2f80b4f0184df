// Trade plans on the market's tick grid.
#include "indicators/trade_plans.h"

#include <cmath>

#include "containers/series.h"
#include "frame/whole_number.h"
#include "market/market_view.h"

namespace fk::plans {

using series::NumberOut;
using series::NumberView;

double ticksNearest(double price, double tick) { return std::floor(price / tick + 0.5); }

namespace {

bool validTick(double t) { return t > 0.0; } // NaN fails

// The position the caller describes bar by bar: an entry price and a direction, both present and
// not 0. A new position starts where the entry or the direction changes.
struct Positions {
    NumberView entry, direction;
    double entryFill, directionFill;

    Positions(const SeriesHandle& e, const SeriesHandle& d)
        : entry(&e), direction(&d), entryFill(entry.fill()), directionFill(direction.fill()) {}

    // +1 long, -1 short, 0 no position
    int dir(int32_t i) const {
        const double e = entry[i], d = direction[i];
        if (e == entryFill || e == 0.0 || d == directionFill || d == 0.0) return 0;
        return d > 0.0 ? 1 : -1;
    }
    bool starts(int32_t i) const {
        const int d = dir(i);
        return d != 0 && (i == 0 || dir(i - 1) != d || entry[i] != entry[i - 1]);
    }
};

} // namespace

StatusCode profitTargetLadder(SeriesHandle& outH, const BarRecord& market, const SeriesHandle& entryH,
                              const SeriesHandle& directionH, double step, double rung, int32_t start) {
    if (market.barCount <= 0) return kTooFewBars;
    const double t = market.tickSize;
    int32_t s = 0, k = 0;
    if (!validTick(t) || !roundedCount(step, s) || s < 1 || !truncatedCount(rung, k)) return kDomainError;
    const int32_t n = market.barCount;
    NumberOut out(&outH, n);
    const Positions pos(entryH, directionH);
    const double fill = out.fill();
    const double offset = static_cast<double>(k) * s; // ticks from the entry, long
    for (int32_t i = start; i < n; ++i) {
        const int d = pos.dir(i);
        out.set(i, d == 0 ? fill : (ticksNearest(pos.entry[i], t) + d * offset) * t);
    }
    return kOk;
}

StatusCode pyramidSchedule(SeriesHandle& outH, const BarRecord& market, const SeriesHandle& entryH,
                           const SeriesHandle& directionH, double step, double maxUnits, double selector,
                           int32_t start) {
    if (market.barCount <= 0) return kTooFewBars;
    const double t = market.tickSize;
    int32_t s = 0, units = 0, sel = 0;
    if (!validTick(t) || !roundedCount(step, s) || s < 1) return kDomainError;
    if (!roundedCount(maxUnits, units) || units < 1) return kDomainError;
    if (!truncatedCount(selector, sel) || sel < 0 || sel > 3) return kDomainError;
    const int32_t n = market.barCount;
    NumberOut out(&outH, n);
    const Positions pos(entryH, directionH);
    const MarketView m(market);
    const double fill = out.fill(), step_ = s, maxAdds = units - 1.0;

    // the position held: entry and extreme in whole ticks, units as a whole number
    double eT = 0.0, xT = 0.0, u = 0.0;
    int dir = 0;
    bool extreme = false;
    auto advance = [&](int32_t i) {
        const int d = pos.dir(i);
        dir = d;
        if (d == 0) return;
        if (pos.starts(i)) {
            eT = ticksNearest(pos.entry[i], t);
            extreme = false;
            u = 1.0;
            return;
        }
        const double price = d > 0 ? m.high[i] : m.low[i];
        if (price != m.missing) {
            const double p = ticksNearest(price, t);
            xT = !extreme ? p : d > 0 ? (p > xT ? p : xT) : (p < xT ? p : xT);
            extreme = true;
        }
        if (extreme) {
            const double g = d * (xT - eT);
            const double reached = g >= 0.0 ? std::floor(g / step_) : 0.0;
            u = 1.0 + (reached < maxAdds ? reached : maxAdds);
        }
    };
    auto value = [&]() {
        if (dir == 0) return fill;
        switch (sel) {
        case 0: return u;
        case 1: return u == units ? fill : (eT + dir * u * step_) * t;
        case 2: return eT * t + dir * step_ * t * (u - 1.0) / 2.0;
        default: return (eT + dir * (u - 2.0) * step_) * t;
        }
    };

    int32_t from = start;
    if (start > 0 && start <= n && pos.dir(start - 1) != 0) {
        from = start - 1;
        while (!pos.starts(from)) --from; // bar 0 in a position is a start
    }
    for (int32_t i = from; i < start; ++i) advance(i);
    for (int32_t i = start; i < n; ++i) {
        advance(i);
        out.set(i, value());
    }
    return kOk;
}

StatusCode reversalBarPlan(SeriesHandle& outH, const BarRecord& market, double lookBack, double multiple,
                           double expiry, double selector, int32_t start) {
    if (market.barCount <= 0) return kTooFewBars;
    const double t = market.tickSize;
    int32_t look = 0, x = 0, sel = 0;
    if (!validTick(t) || !roundedCount(lookBack, look) || look < 1) return kDomainError;
    if (!(multiple > 0.0)) return kDomainError;
    if (!roundedCount(expiry, x) || x < 0) return kDomainError;
    if (!truncatedCount(selector, sel) || sel < 0 || sel > 3) return kDomainError;
    const int32_t n = market.barCount;
    NumberOut out(&outH, n);
    const MarketView m(market);
    const double miss = m.missing, fill = out.fill();

    auto usable = [&](int32_t i) { return m.high[i] != miss && m.low[i] != miss && m.close[i] != miss; };
    // +1 a bullish reversal bar, -1 a bearish one, 0 neither
    auto reversal = [&](int32_t i) {
        if (i < look || !usable(i) || m.close[i - 1] == miss) return 0;
        const double h = m.high[i], l = m.low[i];
        bool lower = true, higher = true;
        for (int32_t j = i - look; j < i && (lower || higher); ++j) {
            const double hj = m.high[j], lj = m.low[j];
            if (hj == miss || lj == miss) return 0;
            lower = lower && l < lj;
            higher = higher && h > hj;
        }
        const double c = m.close[i], c1 = m.close[i - 1];
        return lower && c > c1 ? 1 : higher && c < c1 ? -1 : 0;
    };

    // the plan in force: direction (0 none), target and stop in whole ticks, age in bars
    int dir = 0;
    double target = 0.0, stop = 0.0, age = 0.0;
    auto value = [&]() {
        switch (sel) {
        case 0: return target * t;
        case 1: return stop * t;
        case 2: return static_cast<double>(dir);
        default: return age;
        }
    };
    // the bar's value: the plan it shows, or the fill
    auto advance = [&](int32_t j) {
        if (!usable(j)) return fill;
        if (const int d = reversal(j)) {
            const double h = m.high[j], l = m.low[j], c = m.close[j], range = h - l;
            dir = d;
            target = ticksNearest(d > 0 ? c + multiple * range : c - multiple * range, t);
            stop = d > 0 ? ticksNearest(l, t) - 1.0 : ticksNearest(h, t) + 1.0;
            age = 0.0;
            return value();
        }
        if (dir == 0) return fill;
        age += 1.0;
        if (x >= 1 && age > x) {
            dir = 0;
            return fill;
        }
        const double y = value();
        const double hT = ticksNearest(m.high[j], t), lT = ticksNearest(m.low[j], t);
        if (dir > 0 ? (hT >= target || lT <= stop) : (lT <= target || hT >= stop)) dir = 0;
        return y;
    };

    // the latest reversal bar before the start; older plans have expired once x + 1 usable
    // bars have passed
    const int32_t end = start < n ? start : n;
    int32_t from = end, passed = 0;
    for (int32_t j = end - 1; j >= look; --j) {
        if (reversal(j) != 0) {
            from = j;
            break;
        }
        if (x >= 1 && usable(j) && ++passed > x) break;
    }
    for (int32_t j = from; j < end; ++j) advance(j);
    for (int32_t j = start; j < n; ++j) out.set(j, advance(j));
    return kOk;
}

} // namespace fk::plans
