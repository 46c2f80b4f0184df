#include "mathstat/statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "containers/plain_bars.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "mathstat/element_ops.h"

namespace fk::mathstat {

namespace {

// Half up to a whole number of bars; false for NaN and for what a 32-bit count cannot hold.
bool roundedLength(double v, int32_t& n) {
    const double t = std::trunc(v + 0.5);
    if (!(t >= -2147483648.0 && t < 2147483648.0)) return false;
    n = static_cast<int32_t>(t);
    return true;
}

// Running sums of a window of (x, y) pairs: entering pairs are added, leaving ones subtracted.
struct PairSums {
    int32_t n = 0;
    double sx = 0, sxx = 0, sy = 0, syy = 0, sxy = 0;

    void add(double x, double y) {
        ++n;
        sx += x;
        sxx += x * x;
        sy += y;
        syy += y * y;
        sxy += x * y;
    }
    void remove(double x, double y) {
        --n;
        sx -= x;
        sxx -= x * x;
        sy -= y;
        syy -= y * y;
        sxy -= x * y;
    }
    // Pearson r over a window of `len` pairs; false where a variance leaves it undefined.
    bool pearson(double len, double& r) const {
        const double cov = sxy - sx * sy / len;
        const double vx = sxx - sx * sx / len;
        const double vy = syy - sy * sy / len;
        const double d = vx * vy;
        if (!(d > 0)) return false;
        const double root = std::sqrt(d);
        if (root == 0) return false;
        r = cov / root;
        return true;
    }
};

template <class F>
StatusCode normalSeries(SeriesHandle& out, const SeriesHandle& in, int32_t startBar, F f) {
    const int32_t n = series::count(in);
    if (!out.buffer || n == 0) return kTooFewBars;
    // a constant input gives a constant output: its fill value, then the one result
    if (in.buffer->isConstant()) series::setConstantNumber(out, series::fillValue(out), n);
    else resizeNumbers(out, n);
    series::NumberOut o(&out, n);
    const series::NumberView v(&in);
    for (int32_t i = startBar; i < n; ++i) {
        const double x = v[i];
        if (x != v.fill()) o.set(i, f(x));
    }
    return kOk;
}

// Values as integers of the same order: equal values (0 and -0 too) give equal keys, and every
// NaN the one key above all numbers.
int64_t orderKey(double v) {
    if (std::isnan(v)) return INT64_MAX;
    if (v == 0) return 0;
    const auto bits = std::bit_cast<int64_t>(v);
    return bits < 0 ? bits ^ INT64_MAX : bits;
}

// Spearman's D over a sliding window of the last n present values. The values are kept sorted
// (equal ones in the order they came) with their arrival numbers; once the window is full, D is
// carried from one window to the next by what the slide changes.
class RankWindow {
public:
    explicit RankWindow(int32_t n)
        : n_(n), sorted_(n), timeline_(n) {}
    bool ok() const { return sorted_.ok() && timeline_.ok(); }
    bool full() const { return size_ == n_; }
    int64_t d() const { return d_; }

    void push(double v) {
        const int64_t key = orderKey(v);
        if (full()) slide(key);
        else grow(key);
        ++next_;
    }

private:
    struct Entry {
        int64_t key;
        int64_t arrival;
    };

    // First entry whose key is not below (lower) or is above (upper) the key. Halving without
    // branches on the keys: the window's order is as unpredictable as the input.
    template <bool Upper>
    int32_t bound(int64_t key) const {
        if (size_ == 0) return 0;
        auto before = [key](const Entry& e) { return Upper ? e.key <= key : e.key < key; };
        int32_t at = 0;
        for (int32_t len = size_; len > 1;) {
            const int32_t half = len / 2;
            at += half & -static_cast<int32_t>(before(sorted_[at + half - 1]));
            len -= half;
        }
        return at + before(sorted_[at]);
    }

    void grow(int64_t key) {
        const int32_t at = bound<true>(key);
        for (int32_t k = size_; k > at; --k) sorted_[k] = sorted_[k - 1];
        sorted_[at] = {key, next_};
        timeline_[size_] = key;
        if (++size_ < n_) return;
        // full for the first time: D from the start
        d_ = 0;
        const int64_t oldest = next_ - (n_ - 1);
        for (int32_t k = 0; k < n_; ++k) {
            const int64_t q = k - (sorted_[k].arrival - oldest);
            d_ += q * q;
        }
    }

    // The oldest value (time position 0, sorted position `from`) leaves and the new one comes in
    // at time position n - 1: every other value moves one place back in time, and those between
    // the two sorted positions one place in sorted order, as the new value is carried from the
    // leaving one's place to its own. With q = sorted minus time position, whose sum over a full
    // window is 0, the new D is
    //   D - from^2 - 2 from + (n - 1) + (the changes of the moved ones) + (new place - (n - 1))^2.
    void slide(int64_t key) {
        const int64_t oldest = next_ - n_;
        auto q = [&](int32_t k) { return k - (sorted_[k].arrival - oldest); };
        const int32_t from = bound<false>(timeline_[first_]); // the oldest of its equals
        const int64_t f = from;
        int64_t d = d_ - f * f - 2 * f + (n_ - 1);
        int32_t at = from;
        // a value moving one place down changes (q + 1)^2 by -2q - 1, one moving up by 2q + 3
        for (; at + 1 < n_ && sorted_[at + 1].key <= key; ++at) {
            d -= 2 * q(at + 1) + 1;
            sorted_[at] = sorted_[at + 1];
        }
        if (at == from) {
            for (; at > 0 && sorted_[at - 1].key > key; --at) {
                d += 2 * q(at - 1) + 3;
                sorted_[at] = sorted_[at - 1];
            }
        }
        sorted_[at] = {key, next_};
        const int64_t last = at - (n_ - 1);
        d_ = d + last * last;
        timeline_[first_] = key;
        first_ = first_ + 1 == n_ ? 0 : first_ + 1;
    }

    int32_t n_;
    int32_t size_ = 0;
    int32_t first_ = 0; // the oldest value's place in the timeline
    int64_t next_ = 0;  // arrival number of the next value
    int64_t d_ = 0;
    Scratch<Entry> sorted_;
    Scratch<int64_t> timeline_; // keys in the order they came, as a ring
};

} // namespace

double NormalPercentBelow(double x) {
    const double z = std::fabs(x);
    const double t = 1.0 / (1.0 + 0.2316419 * z);
    const double t2 = t * t;
    const double t3 = t2 * t;
    const double t4 = t3 * t;
    const double t5 = t4 * t;
    const double poly = 0.3193815 * t - 0.356538 * t2 + 1.781478 * t3 - 1.821256 * t4 + 1.330274 * t5;
    double p = 1.0 - 0.3989423 * std::exp(-z * z / 2.0) * poly;
    p = p + (1.0 - p) / 50000.0; // a deliberate small pull toward 1
    if (p <= 1.0 && p < 0.5) p = 0.5;
    if (p > 1.0) p = 1.0;
    return x >= 0 ? 100.0 * p : 100.0 * (1.0 - p);
}

double NormalInverse(double p) {
    if (p >= 100) return 999999.0;
    if (p <= 0) return -999999.0;
    if (p == 50) return 0.0;
    if (std::isnan(p)) return p;
    const bool lower = p < 50;
    const double target = lower ? 100 - p : p;
    // step from x = 1 toward the target; each time it is passed, turn and take a quarter step
    double x = 1.0;
    double step = 1.0;
    for (int i = 0; i < 100; ++i) {
        const double got = NormalPercentBelow(x);
        if (std::fabs(got - target) < 0.000001) break;
        if ((step > 0 && got > target) || (step < 0 && got < target)) step = step / -4;
        while (x + step <= 0) step *= 0.5;
        x += step;
    }
    return lower ? -x : x;
}

StatusCode stdDevsAsPercentBelow(SeriesHandle& out, const SeriesHandle& in, int32_t startBar) {
    return normalSeries(out, in, startBar, NormalPercentBelow);
}

StatusCode stdDevsForPercent(SeriesHandle& out, const SeriesHandle& in, int32_t startBar) {
    return normalSeries(out, in, startBar, NormalInverse);
}

StatusCode correlation(SeriesHandle& out, const SeriesHandle& y, const SeriesHandle& x, double length) {
    int32_t len = 0;
    const int32_t n = series::count(y);
    if (!roundedLength(length, len) || len < 1 || n == 0) return kDomainError;
    series::NumberOut o(&out, n);
    const series::NumberView vy(&y), vx(&x);
    const double fill = vy.fill();
    // against time when X is a single constant
    const bool byBar = vx.constant();
    const double* xs = byBar ? nullptr : vx.storage(0, n);
    withSparseOut(vy, o, 0, n, [&](const auto& ys, auto& w) {
        auto run = [&](auto xAt) {
            PairSums s;
            for (int32_t i = 0; i < n; ++i) {
                const double yi = ys[i], xi = xAt(i);
                if (yi != fill && xi != fill) s.add(xi, yi);
                // the window is the last len bars: bar i - len leaves if it had entered
                if (i >= len) {
                    const double yo = ys[i - len], xo = xAt(i - len);
                    if (yo != fill && xo != fill) s.remove(xo, yo);
                }
                double r;
                if (s.n >= len && s.pearson(len, r)) w.set(i, r);
            }
        };
        if (byBar) run([](int32_t i) { return static_cast<double>(i); });
        else if (xs) run([xs](int32_t i) { return xs[i]; });
        else run([&vx](int32_t i) { return vx[i]; });
    });
    return kOk;
}

StatusCode movingCorrelation(SeriesHandle& out, const SeriesHandle& in, double length) {
    int32_t len = 0;
    const int32_t n = series::count(in);
    if (!roundedLength(length, len) || len < 1 || n == 0) return kDomainError;
    series::NumberOut o(&out, n);
    const series::NumberView v(&in);
    const double fill = v.fill();
    withSparseOut(v, o, 0, n, [&](const auto& ys, auto& w) {
        PairSums s;
        double x = 0;       // counts the present values: consecutive in the window
        int32_t oldest = 0; // bar of the oldest present value in the window
        for (int32_t i = 0; i < n; ++i) {
            const double yi = ys[i];
            if (yi != fill) {
                x += 1;
                if (s.n == 0) oldest = i;
                s.add(x, yi);
                if (s.n > len) {
                    s.remove(x - len, ys[oldest]);
                    do ++oldest;
                    while (ys[oldest] == fill);
                }
            }
            if (s.n >= len) {
                double r;
                w.set(i, s.pearson(len, r) ? r : fill);
            }
        }
    });
    return kOk;
}

StatusCode regressionValue(SeriesHandle& out, const SeriesHandle& in, double length, double offset,
                           int32_t startBar, RegressionResume* resume) {
    const bool slopeOnly = length < 0;
    int32_t len = 0;
    const int32_t n = series::count(in);
    if (!roundedLength(std::fabs(length), len) || len < 1 || n == 0) return kOk;
    series::NumberOut o(&out, n);
    const series::NumberView v(&in);
    const double fill = v.fill();
    const double l = len;
    // x is the bar number: the sums run from the first bar, and bars from the start bar on are written
    const int32_t first = std::clamp(startBar, 0, n);
    // the sums of the last call go on where this one starts, when they were made from the same input
    RegressionMark from;
    if (resume) {
        if (resume->input == in.buffer && resume->word == in.word && resume->length == len &&
            std::bit_cast<uint64_t>(resume->fill) == std::bit_cast<uint64_t>(fill))
            for (const RegressionMark& m : resume->marks)
                if (m.bar == first && first > 0) from = m;
        resume->input = in.buffer;
        resume->word = in.word;
        resume->length = len;
        resume->fill = fill;
    }
    withSparseOut(v, o, first, n, [&](const auto& ys, auto& w) {
        PairSums s;
        int32_t oldest = 0, next = 0;
        if (from.bar > 0) {
            s.n = from.n;
            s.sx = from.sx;
            s.sxx = from.sxx;
            s.sy = from.sy;
            s.sxy = from.sxy;
            oldest = from.oldest;
            next = from.bar;
        }
        auto step = [&](int32_t i) {
            const double yi = ys[i];
            if (yi != fill) {
                if (s.n == 0) oldest = i;
                s.add(i, yi);
                if (s.n > len) {
                    s.remove(oldest, ys[oldest]);
                    do ++oldest;
                    while (ys[oldest] == fill);
                }
            }
            if (s.n >= len && i >= first) {
                const double b = (l * s.sxy - s.sy * s.sx) / (l * s.sxx - s.sx * s.sx);
                if (slopeOnly) {
                    w.set(i, b);
                } else {
                    const double a = (s.sy - s.sx * b) / l;
                    w.set(i, a + b * (i - offset));
                }
            }
        };
        // the sums are kept before the last bar and after it
        const int32_t last = n - 1;
        for (; next < last; ++next) step(next);
        if (resume && next == last) resume->marks[0] = RegressionMark{next, s.n, oldest, s.sx, s.sxx, s.sy, s.sxy};
        if (next == last) step(next++);
        if (resume) resume->marks[1] = RegressionMark{next, s.n, oldest, s.sx, s.sxx, s.sy, s.sxy};
    });
    return kOk;
}

StatusCode spearmanRci(SeriesHandle& out, const SeriesHandle& in, double length, int32_t startBar) {
    const int32_t count = series::count(in);
    const double t = std::trunc(length);
    if (count == 0 || !(t >= 1) || startBar >= count) return kOk;
    series::NumberOut o(&out, count);
    const series::NumberView v(&in);
    const double fill = v.fill();
    if (t >= count) {
        // no bar is far enough from the first one
        for (int32_t i = startBar; i < count; ++i) o.set(i, fill);
        return kOk;
    }
    const int32_t n = static_cast<int32_t>(t);
    RankWindow w(n);
    if (!w.ok()) return kDomainError;
    // the window holds the last n present values before the start bar
    int32_t from = startBar;
    for (int32_t seen = 0; from > 0 && seen < n;)
        if (v[--from] != fill) ++seen;
    for (int32_t i = from; i < startBar; ++i)
        if (v[i] != fill) w.push(v[i]);
    // (n x n - 1) x n as a signed 32-bit product, wrapping as such
    const auto un = static_cast<uint32_t>(n);
    const double scale = static_cast<int32_t>((un * un - 1u) * un);
    for (int32_t i = startBar; i < count; ++i) {
        const double x = v[i];
        double result = fill;
        if (x != fill) {
            w.push(x);
            if (i >= n && w.full()) result = (1.0 - 6.0 * static_cast<double>(w.d()) / scale) * 100.0;
        }
        o.set(i, result);
    }
    return kOk;
}

} // namespace fk::mathstat
