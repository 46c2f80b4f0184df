// Recursive filters and the centre-of-gravity oscillator.
#include "indicators/filters.h"

#include <cmath>

#include "containers/series.h"

namespace fk::filters {

using series::NumberOut;
using series::NumberView;

namespace {

constexpr double kPi = 3.141592653589793;

// Missing marks of one call. An input bar is missing when it holds the input's fill value, which
// is also what a missing output bar gets; a past output is missing when it holds that value or
// the Return Value's own fill value (a bar never written, or a read before bar 0).
struct Marks {
    double in, out;
    bool input(double v) const { return v == in; }
    bool past(double v) const { return v == in || v == out; }
};

// Runs a recursion from the start bar to the input's last element. `step(i, x0, x1, x2, y1, y2)`
// receives the input at bars i, i - 1, i - 2 and the outputs at i - 1, i - 2 and returns y[i].
// Outputs before the start bar come from the Return Value, later ones are those just written.
template <class Step>
void recurse(NumberOut& out, const NumberView& x, int32_t start, Step step) {
    double x1 = x[start - 1], x2 = x[start - 2];
    double y1 = out.get(start - 1), y2 = out.get(start - 2);
    const int32_t end = x.count();
    for (int32_t i = start; i < end; ++i) {
        const double x0 = x[i];
        const double y = step(i, x0, x1, x2, y1, y2);
        out.set(i, y);
        x2 = x1;
        x1 = x0;
        y2 = y1;
        y1 = y;
    }
}

// The checks and the resolving common to every recursive filter. `makeStep(marks)` runs after
// the Return Value is resolved (it may share a buffer with an input) and returns the step.
template <class MakeStep>
StatusCode runFilter(SeriesHandle& outH, const SeriesHandle& xH, int32_t start, MakeStep makeStep) {
    if (NumberView(&xH).empty()) return kDomainError;
    NumberOut out(&outH, series::count(xH));
    const NumberView x(&xH);
    recurse(out, x, start, makeStep(Marks{x.fill(), out.fill()}));
    return kOk;
}

} // namespace

StatusCode laguerre(SeriesHandle& out, const SeriesHandle& x, double gamma, double stage, int32_t start) {
    const double g = gamma;
    if (stage != 0) {
        const double c = 1.0 - g;
        return runFilter(out, x, start, [g, c](Marks m) {
            return [=](int32_t, double x0, double, double, double y1, double) {
                if (m.input(x0)) return m.in;
                double y = x0 * c;
                if (!m.past(y1)) y += g * y1;
                return y;
            };
        });
    }
    const double ng = -g;
    return runFilter(out, x, start, [g, ng](Marks m) {
        return [=](int32_t, double x0, double x1, double, double y1, double) {
            if (m.input(x0)) return m.in;
            double y = ng * x0;
            if (!m.input(x1)) y += x1;
            if (!m.past(y1)) y += g * y1;
            return y;
        };
    });
}

// y[i] = a (x[i] - x[i - 1]) + b y[i - 1], the last term only after an output.
static StatusCode onePoleHighPass(SeriesHandle& out, const SeriesHandle& x, double a, double b, int32_t start) {
    return runFilter(out, x, start, [a, b](Marks m) {
        return [=](int32_t, double x0, double x1, double, double y1, double) {
            if (m.input(x0) || m.input(x1)) return m.in;
            double y = a * (x0 - x1);
            if (!m.past(y1)) y += b * y1;
            return y;
        };
    });
}

StatusCode decycler(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start) {
    if (period <= 0) return kDomainError;
    const double w = 2.0 * kPi / period;
    const double alpha = (std::cos(w) + std::sin(w) - 1.0) / std::cos(w);
    return onePoleHighPass(out, x, alpha / 2.0, 1.0 - alpha, start);
}

StatusCode sinewaveBase(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start) {
    if (period <= 0) return kDomainError;
    const double w = 2.0 * kPi / period;
    const double alpha = (1.0 - std::sin(w)) / std::cos(w);
    return onePoleHighPass(out, x, (1.0 + alpha) / 2.0, alpha, start);
}

StatusCode roofingBase(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start) {
    if (period <= 0) return kDomainError;
    const double w = 2.0 * 0.707 * kPi / period;
    const double alpha = (std::cos(w) + std::sin(w) - 1.0) / std::cos(w);
    const double k0 = (1.0 - alpha / 2.0) * (1.0 - alpha / 2.0);
    const double k1 = 2.0 * (1.0 - alpha);
    const double k2 = (1.0 - alpha) * (1.0 - alpha);
    return runFilter(out, x, start, [=](Marks m) {
        return [=](int32_t, double x0, double x1, double x2, double y1, double y2) {
            if (m.input(x0) || m.input(x1) || m.input(x2)) return m.in;
            double y = k0 * (x0 - 2.0 * x1 + x2);
            if (!m.past(y1)) y += k1 * y1;
            if (!m.past(y2)) y -= k2 * y2;
            return y;
        };
    });
}

StatusCode superSmoother(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start) {
    if (period <= 0) return kDomainError;
    const double a = std::exp(-1.414 * kPi / period);
    const double c2 = 2.0 * a * std::cos(1.414 * kPi / period);
    const double c3 = -a * a;
    const double c1 = 1.0 - c2 - c3;
    return runFilter(out, x, start, [=](Marks m) {
        return [=](int32_t, double x0, double x1, double x2, double y1, double y2) {
            if (m.input(x0) || m.input(x1) || m.input(x2)) return m.in;
            const double p1 = m.past(y1) ? x1 : y1;
            const double p2 = m.past(y2) ? x2 : y2;
            return c1 * (x0 + x1) / 2.0 + c2 * p1 + c3 * p2;
        };
    });
}

StatusCode fisher1(SeriesHandle& out, const SeriesHandle& x, const SeriesHandle& highest,
                   const SeriesHandle& lowest, int32_t start) {
    if (NumberView(&highest).empty() || NumberView(&lowest).empty()) return kDomainError;
    return runFilter(out, x, start, [&](Marks m) {
        const NumberView hv(&highest), lv(&lowest);
        return [=](int32_t i, double x0, double, double, double y1, double) {
            const double h = hv[i], l = lv[i];
            if (m.input(x0) || h == hv.fill() || l == lv.fill() || !(h > l)) return m.in;
            double v = 0.66 * ((x0 - l) / (h - l) - 0.5);
            if (!m.past(y1)) v += 0.67 * y1;
            return v;
        };
    });
}

StatusCode fisher2(SeriesHandle& out, const SeriesHandle& x, int32_t start) {
    return runFilter(out, x, start, [](Marks m) {
        return [=](int32_t, double x0, double, double, double y1, double) {
            if (m.input(x0)) return m.in;
            const double v = x0 > 0.999 ? 0.999 : x0 < -0.999 ? -0.999 : x0;
            double y = 0.5 * std::log((1.0 + v) / (1.0 - v));
            if (!m.past(y1)) y += 0.5 * y1;
            return y;
        };
    });
}

StatusCode cgOscillator(SeriesHandle& outH, const SeriesHandle& xH, double length) {
    if (NumberView(&xH).empty()) return kDomainError;
    NumberOut out(&outH, series::count(xH));
    const NumberView x(&xH);
    const int32_t end = x.count();
    int32_t first = 0;
    while (first < end && x.missing(first)) ++first;
    // the first bar whose span of n bars starts at the first present input
    const double n = std::trunc(length);
    const double firstBar = n + first - 1.0;
    if (!(firstBar < end - 1.0)) return kOk;
    const double weightBase = (length + 1.0) / 2.0;
    const double miss = x.fill();
    for (int32_t b = firstBar > 0 ? static_cast<int32_t>(firstBar) : 0; b < end; ++b) {
        const double x0 = x[b];
        if (x0 == miss) {
            out.set(b, miss);
            continue;
        }
        if (n < 1) continue;
        double num = 0.0, den = 0.0;
        const int32_t span = static_cast<int32_t>(n);
        for (int32_t k = 0; k < span; ++k) {
            const double v = x[b - k];
            if (v == miss) continue;
            num += (k + 1) * v;
            den += v;
        }
        if (den != 0.0) out.set(b, weightBase - num / den);
    }
    return kOk;
}

} // namespace fk::filters
