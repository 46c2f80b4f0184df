#include "indicators/cyber_cycle.h"

#include <algorithm>
#include <cmath>

#include "containers/series.h"
#include "frame/whole_number.h"
#include "indicators/ranks.h"

namespace fk::cycles {

using series::NumberOut;
using series::NumberView;

StatusCode cyberCycle(SeriesHandle& outH, const SeriesHandle& xH, double alpha, double smoothing, int32_t start) {
    const int32_t count = series::count(xH);
    if (count == 0) return kDomainError;
    if (!(alpha > 0)) alpha = 0.07;
    else if (alpha >= 1) alpha = 2.0 / (alpha + 1.0);
    int32_t m = 1;
    const bool smooth = truncatedCount(smoothing, m) && m == 0;

    NumberOut out(&outH, count);
    const NumberView x(&xH);
    const double missing = x.fill(), outFill = out.fill();
    int32_t first = 0;
    while (first < count && x[first] == missing) ++first;
    if (first == count) return kOk;

    const double c1 = (1.0 - alpha / 2.0) * (1.0 - alpha / 2.0);
    const double c2 = 2.0 * (1.0 - alpha);
    const double c3 = (1.0 - alpha) * (1.0 - alpha);
    auto present = [&](int32_t from, int32_t to) {
        for (int32_t j = from; j <= to; ++j)
            if (x[j] == missing) return false;
        return true;
    };
    auto sm = [&](int32_t j) {
        return smooth ? (x[j] + 2.0 * x[j - 1] + 2.0 * x[j - 2] + x[j - 3]) / 6.0 : x[j];
    };
    // a past output that is missing counts as 0
    auto past = [&](int32_t j) {
        const double y = out.get(j);
        return y == missing || y == outFill ? 0.0 : y;
    };
    for (int32_t i = start; i < count; ++i) {
        const int32_t c = i - first;
        double y = missing;
        if (c < 2) {
        } else if (c < 6) {
            if (present(i - 2, i)) y = (x[i] - 2.0 * x[i - 1] + x[i - 2]) / 4.0;
        } else if (present(i - (smooth ? 5 : 2), i)) {
            y = c1 * (sm(i) - 2.0 * sm(i - 1) + sm(i - 2)) + c2 * past(i - 1) - c3 * past(i - 2);
        }
        out.set(i, y);
    }
    return kOk;
}

namespace {

// Whole ticks of a price, rounded up or down, a price within 1e-7 of a tick taken as on it.
double ticksUp(double p, double q) {
    const double t = p / q, r = std::floor(t + 0.5);
    return std::fabs(t - r) <= 1e-7 ? r : std::ceil(t);
}
double ticksDown(double p, double q) {
    const double t = p / q, r = std::floor(t + 0.5);
    return std::fabs(t - r) <= 1e-7 ? r : std::floor(t);
}

// The oscillator's state after each present price, and the price it needs next to reach a level.
struct Oscillator {
    int32_t kind, n1;
    double a1 = 0, a2 = 0, a3 = 0;
    int32_t c = 0; // differences (RSI) or prices (MACD) taken
    bool started = false;
    double prev = 0, sumG = 0, sumL = 0, g = 0, l = 0;
    double e1 = 0, e2 = 0, sg = 0;

    void take(double p) {
        if (kind == 1) {
            takeRsi(p);
            return;
        }
        if (++c == 1) {
            e1 = e2 = p;
        } else {
            e1 = e1 + a1 * (p - e1);
            e2 = e2 + a2 * (p - e2);
        }
        const double m = e1 - e2;
        sg = c == 1 ? m : sg + a3 * (m - sg);
    }
    void takeRsi(double p) {
        if (!started) {
            started = true;
            prev = p;
            return;
        }
        const double d = p - prev;
        prev = p;
        const double gain = d > 0 ? d : 0.0, loss = d < 0 ? -d : 0.0;
        if (++c <= n1) {
            sumG += gain;
            sumL += loss;
            if (c == n1) {
                g = sumG / n1;
                l = sumL / n1;
            }
        } else {
            g = ((n1 - 1) * g + gain) / n1;
            l = ((n1 - 1) * l + loss) / n1;
        }
    }
    double value() const {
        if (kind == 1) return l == 0 ? 100.0 : 100.0 - 100.0 / (g / l + 1.0);
        return kind == 2 ? e1 - e2 : (e1 - e2) - sg;
    }
    // false when no price reaches the level
    bool solve(double level, double price, double& p) const {
        if (kind == 1) {
            if (!(level > 0 && level < 100) || !(g + l > 0)) return false;
            const double rr = level / (100.0 - level);
            const double dd = rr * l - g;
            p = price + (dd > 0 ? (n1 - 1) * dd : (n1 - 1) * dd / rr);
            return true;
        }
        const double line = kind == 2 ? level : sg + level / (1.0 - a3);
        p = (line - (1.0 - a1) * e1 + (1.0 - a2) * e2) / (a1 - a2);
        return true;
    }
};

} // namespace

StatusCode oscPredictor(SeriesHandle& outH, const SeriesHandle& priceH, const SeriesHandle& levelH,
                        const PredictorParams& p, bool upper, int32_t start) {
    const int32_t count = series::count(priceH);
    if (count == 0) return kDomainError;
    int32_t kind, n1, n2 = 0, n3 = 0, mode;
    if (!truncatedCount(p.kind, kind) || kind < 1 || kind > 3) return kDomainError;
    if (!truncatedCount(p.n1, n1) || n1 < (kind == 1 ? 2 : 1)) return kDomainError;
    if (kind >= 2 && (!truncatedCount(p.n2, n2) || n2 < 1 || n2 == n1)) return kDomainError;
    if (kind == 3 && (!truncatedCount(p.n3, n3) || n3 < 2)) return kDomainError;
    if (!truncatedCount(p.mode, mode) || mode < 0 || mode > 2) return kDomainError;
    const double k = p.warmUp > 0 ? p.warmUp : 0.0;
    const bool rounding = p.step > 0, limited = p.maxMove > 0;

    Oscillator osc{kind, n1};
    osc.a1 = 2.0 / (n1 + 1.0);
    osc.a2 = 2.0 / (n2 + 1.0);
    osc.a3 = 2.0 / (n3 + 1.0);
    double ready;
    if (kind == 1) ready = std::max<double>(n1, std::floor(n1 * k + 0.5));
    else if (kind == 2) ready = std::max(1.0, std::floor(std::max(n1, n2) * k + 0.5));
    else ready = std::max(1.0, std::floor((static_cast<double>(std::max(n1, n2)) + n3) * k + 0.5));

    NumberOut out(&outH, count);
    const NumberView price(&priceH), level(&levelH);
    const double fill = price.fill();
    for (int32_t i = 0; i < count; ++i) {
        const double pi = price[i];
        if (pi == fill) {
            if (i >= start) out.set(i, fill);
            continue;
        }
        osc.take(pi);
        if (i < start) continue;
        double v = fill, target;
        const double lambda = level[i];
        if (osc.c >= ready && !level.missing(i) && osc.solve(lambda, pi, target) &&
            !(limited && std::fabs(target - pi) > p.maxMove / 100.0 * std::fabs(pi)) &&
            !(mode == 2 && !(upper ? lambda > osc.value() : lambda < osc.value()))) {
            if (rounding) target = (upper ? ticksUp(target, p.step) : ticksDown(target, p.step)) * p.step;
            v = mode == 1 ? target - pi : target;
        }
        out.set(i, v);
    }
    return kOk;
}

} // namespace fk::cycles
