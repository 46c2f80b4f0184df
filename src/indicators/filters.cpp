// Recursive filters and the centre-of-gravity oscillator.
#include "indicators/filters.h"

#include <cmath>

#include "containers/bar_runs.h"
#include "containers/series.h"

namespace fk::filters {

using series::NumberOut;
using series::NumberView;
using series::withBars;

namespace {

constexpr double kPi = 3.141592653589793;

// The last three inputs and the last two outputs of a recursion, each with its missing mark
// kept beside it so that a value is tested once, when it enters. An input is missing when it
// holds the input's fill value, which is also what a missing output bar gets; a past output is
// missing when it holds that value or the Return Value's own fill value (a bar never written,
// or a read before bar 0).
struct Window {
    double in, out;          // the two fill values
    double x0, x1, x2, y1, y2;
    bool gap0, gap1, gap2;   // x0, x1, x2 missing
    bool none1, none2;       // y1, y2 missing

    bool pastMissing(double v) const { return v == in || v == out; }
    void enter(double x) {
        x2 = x1, gap2 = gap1;
        x1 = x0, gap1 = gap0;
        x0 = x, gap0 = x == in;
    }
    void leave(double y) {
        y2 = y1, none2 = none1;
        y1 = y, none1 = pastMissing(y);
    }
};

// Runs a recursion from the start bar to the input's last element: `step(i, w, extra...)`
// returns y[i] from the window holding x[i], x[i - 1], x[i - 2], y[i - 1] and y[i - 2] and the
// readers of any further inputs. Outputs before the start bar come from the Return Value, later
// ones are those just written.
template <class Step, class... Extra>
void recurse(NumberOut& out, const NumberView& x, int32_t start, Step step, const Extra&... extra) {
    const int32_t end = x.count();
    Window w{x.fill(), out.fill(), 0, 0, 0, 0, 0, false, false, false, false, false};
    w.enter(x[start - 2]);
    w.enter(x[start - 1]);
    w.leave(out.get(start - 2));
    w.leave(out.get(start - 1));
    withBars(out, start, end - 1, [&](auto y, auto xs, auto... more) {
        Window v = w; // a copy of its own, kept in registers
        for (int32_t i = start; i < end; ++i) {
            v.enter(xs[i]);
            const double yi = step(i, v, more...);
            y.set(i, yi);
            v.leave(yi);
        }
    }, x, extra...);
}

// The checks and the resolving common to the recursive filters: `step(i, w, readers...)` with
// readers of the further inputs, which are resolved after the Return Value (it may share a
// buffer with one of them).
template <class Step, class... More>
StatusCode runFilter(SeriesHandle& outH, const SeriesHandle& xH, int32_t start, Step step, const More*... more) {
    if (NumberView(&xH).empty() || (NumberView(more).empty() || ...)) return kDomainError;
    NumberOut out(&outH, series::count(xH));
    const NumberView x(&xH);
    recurse(out, x, start, step, NumberView(more)...);
    return kOk;
}

// y[i] = a (x[i] - x[i - 1]) + b y[i - 1], the last term only after an output.
StatusCode onePoleHighPass(SeriesHandle& out, const SeriesHandle& x, double a, double b, int32_t start) {
    return runFilter(out, x, start, [a, b](int32_t, const Window& w) {
        if (w.gap0 || w.gap1) return w.in;
        double y = a * (w.x0 - w.x1);
        if (!w.none1) y += b * w.y1;
        return y;
    });
}

// Bars from..end - 1 of the centre of gravity over spans of n bars (n >= 1).
template <class Bars>
void centreOfGravity(NumberOut& out, Bars x, double miss, int32_t from, int32_t end, int32_t n, double centre) {
    for (int32_t b = from; b < end; ++b) {
        if (x[b] == miss) {
            out.set(b, miss);
            continue;
        }
        // a missing input adds zero, which is the same as skipping it
        double num = 0.0, den = 0.0, weight = 1.0;
        for (int32_t i = b; i > b - n; --i, weight += 1.0) {
            const double v = x[i] == miss ? 0.0 : x[i];
            num += weight * v;
            den += v;
        }
        if (den != 0.0) out.set(b, centre - num / den);
    }
}

} // namespace

StatusCode laguerre(SeriesHandle& out, const SeriesHandle& x, double gamma, double stage, int32_t start) {
    const double g = gamma;
    if (stage != 0) {
        const double c = 1.0 - g;
        return runFilter(out, x, start, [g, c](int32_t, const Window& w) {
            if (w.gap0) return w.in;
            double y = w.x0 * c;
            if (!w.none1) y += g * w.y1;
            return y;
        });
    }
    const double ng = -g;
    return runFilter(out, x, start, [g, ng](int32_t, const Window& w) {
        if (w.gap0) return w.in;
        double y = ng * w.x0;
        if (!w.gap1) y += w.x1;
        if (!w.none1) y += g * w.y1;
        return y;
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
    return runFilter(out, x, start, [=](int32_t, const Window& w) {
        if (w.gap0 || w.gap1 || w.gap2) return w.in;
        double y = k0 * (w.x0 - 2.0 * w.x1 + w.x2);
        if (!w.none1) y += k1 * w.y1;
        if (!w.none2) y -= k2 * w.y2;
        return y;
    });
}

StatusCode superSmoother(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start) {
    if (period <= 0) return kDomainError;
    const double a = std::exp(-1.414 * kPi / period);
    const double c2 = 2.0 * a * std::cos(1.414 * kPi / period);
    const double c3 = -a * a;
    const double c1 = 1.0 - c2 - c3;
    return runFilter(out, x, start, [=](int32_t, const Window& w) {
        if (w.gap0 || w.gap1 || w.gap2) return w.in;
        // the input stands in for a missing past output
        const double p1 = w.none1 ? w.x1 : w.y1;
        const double p2 = w.none2 ? w.x2 : w.y2;
        return c1 * (w.x0 + w.x1) / 2.0 + c2 * p1 + c3 * p2;
    });
}

StatusCode fisher1(SeriesHandle& out, const SeriesHandle& x, const SeriesHandle& highest,
                   const SeriesHandle& lowest, int32_t start) {
    const double highMissing = series::fillValue(highest), lowMissing = series::fillValue(lowest);
    return runFilter(out, x, start, [=](int32_t i, const Window& w, auto hv, auto lv) {
        const double h = hv[i], l = lv[i];
        if (w.gap0 || h == highMissing || l == lowMissing || !(h > l)) return w.in;
        double v = 0.66 * ((w.x0 - l) / (h - l) - 0.5);
        if (!w.none1) v += 0.67 * w.y1;
        return v;
    }, &highest, &lowest);
}

StatusCode fisher2(SeriesHandle& out, const SeriesHandle& x, int32_t start) {
    return runFilter(out, x, start, [](int32_t, const Window& w) {
        if (w.gap0) return w.in;
        const double v = w.x0 > 0.999 ? 0.999 : w.x0 < -0.999 ? -0.999 : w.x0;
        double y = 0.5 * std::log((1.0 + v) / (1.0 - v));
        if (!w.none1) y += 0.5 * w.y1;
        return y;
    });
}

StatusCode cgOscillator(SeriesHandle& outH, const SeriesHandle& xH, double length) {
    if (NumberView(&xH).empty()) return kDomainError;
    NumberOut out(&outH, series::count(xH));
    const NumberView x(&xH);
    const int32_t end = x.count();
    const double miss = x.fill();
    int32_t first = 0;
    while (first < end && x[first] == miss) ++first;
    // the first bar whose span of n bars starts at the first present input
    const double n = std::trunc(length);
    const double firstBar = n + first - 1.0;
    if (!(firstBar < end - 1.0)) return kOk;
    const int32_t from = firstBar > 0 ? static_cast<int32_t>(firstBar) : 0;
    if (n < 1) {
        // no span to weigh: only missing inputs are written
        for (int32_t b = from; b < end; ++b)
            if (x[b] == miss) out.set(b, miss);
        return kOk;
    }
    const double centre = (length + 1.0) / 2.0;
    const int32_t span = static_cast<int32_t>(n);
    withBars(0, end - 1, [&](auto xs) { centreOfGravity(out, xs, miss, from, end, span, centre); }, x);
    return kOk;
}

} // namespace fk::filters
