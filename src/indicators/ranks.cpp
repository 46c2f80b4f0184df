#include "indicators/ranks.h"

#include <algorithm>
#include <cmath>


namespace fk::ranks {

using series::NumberOut;
using series::NumberView;


bool rounded(double v, int32_t& n) { return truncated(v + 0.5, n); }

bool truncated(double v, int32_t& n) {
    const double t = std::trunc(v);
    if (!(t >= -2147483648.0 && t < 2147483648.0)) return false;
    n = static_cast<int32_t>(t);
    return true;
}

namespace {

// The number of sorted values for which `before(value)` holds (those come first). On price data
// each comparison is a coin toss that a predicting processor would lose, so neither way branches
// on it: a short window is counted whole (the compiler does several at once), a long one searched
// by halves choosing with a conditional move.
template <class Before>
inline int32_t countBefore(const double* s, int32_t n, Before before) {
    if (n <= 64) {
        // four counters, so that the additions do not wait on each other
        int32_t c0 = 0, c1 = 0, c2 = 0, c3 = 0, k = 0;
        for (; k + 4 <= n; k += 4) {
            c0 += before(s[k]) ? 1 : 0;
            c1 += before(s[k + 1]) ? 1 : 0;
            c2 += before(s[k + 2]) ? 1 : 0;
            c3 += before(s[k + 3]) ? 1 : 0;
        }
        for (; k < n; ++k) c0 += before(s[k]) ? 1 : 0;
        return c0 + c1 + c2 + c3;
    }
    const double* base = s;
    while (n > 1) {
        const int32_t half = n >> 1;
        base = before(base[half]) ? base + half : base;
        n -= half;
    }
    return static_cast<int32_t>(base - s) + (before(*base) ? 1 : 0);
}
inline int32_t countBelow(const double* s, int32_t n, double v) {
    return countBefore(s, n, [v](double e) { return e < v; });
}
inline int32_t countNotAbove(const double* s, int32_t n, double v) {
    return countBefore(s, n, [v](double e) { return e <= v; });
}

} // namespace

void OrderedWindow::push(double v) {
    double* s = sorted_.data();
    int32_t k;
    if (size_ < cap_) {
        ring_[static_cast<size_t>((head_ + size_) % cap_)] = v;
        k = size_++;
    } else {
        // the leaving value's place becomes the gap, found among equal values at the first
        const double old = ring_[static_cast<size_t>(head_)];
        ring_[static_cast<size_t>(head_)] = v;
        head_ = head_ + 1 == cap_ ? 0 : head_ + 1;
        k = countBelow(s, size_, old);
        // move the gap up past the values not above v
        while (k + 1 < size_ && s[k + 1] <= v) {
            s[k] = s[k + 1];
            ++k;
        }
    }
    // move the gap down past the values above v
    while (k > 0 && s[k - 1] > v) {
        s[k] = s[k - 1];
        --k;
    }
    s[k] = v;
}

void OrderedWindow::rank(double v, int32_t& below, int32_t& equal) const {
    const double* s = sorted_.data();
    const int32_t lo = ranks::countBelow(s, size_, v);
    below = lo;
    equal = countNotAbove(s + lo, size_ - lo, v);
}

OrderedWindow::Rank::Rank(int32_t n, double p) : last(n - 1) {
    const double h = (static_cast<double>(n - 1) * p) / 100.0;
    const double kf = std::floor(h);
    f = h - kf;
    k = kf >= n - 1 ? n - 1 : static_cast<int32_t>(kf);
}

double OrderedWindow::percentile(const Rank& r) const {
    if (r.k >= r.last || r.f == 0) return at(r.k);
    return at(r.k) + r.f * (at(r.k + 1) - at(r.k));
}

StatusCode equityRank(SeriesHandle& out, const SeriesHandle& x, double length, int32_t start) {
    if (series::count(x) == 0) return kTooFewBars;
    int32_t n;
    if (!rounded(length, n) || n < 2) return kDomainError;
    const double span = static_cast<double>(n - 1);
    return eachWindow(out, x, n, start, [span](const OrderedWindow& w, double v) {
        int32_t below, equal;
        w.rank(v, below, equal);
        return 100.0 * (below + 0.5 * (equal - 1)) / span;
    });
}

StatusCode percentile(SeriesHandle& out, const SeriesHandle& x, double length, double percent, int32_t start) {
    if (series::count(x) == 0) return kTooFewBars;
    int32_t n;
    if (!rounded(length, n) || n < 1) return kDomainError;
    if (!(percent >= 0 && percent <= 100)) return kDomainError;
    const OrderedWindow::Rank rank(n, percent);
    return eachWindow(out, x, n, start, [rank](const OrderedWindow& w, double) { return w.percentile(rank); });
}

StatusCode median(SeriesHandle& out, const SeriesHandle& x, double length, int32_t start) {
    return percentile(out, x, length, 50.0, start);
}

namespace {

// What a sideways box reports: its length, or its top, bottom or middle (the selector's values).
enum class BoxValue { length = 0, top = 1, bottom = 2, middle = 3 };

// Bars in a deque kept as a vector with a moving head; the dropped front is reclaimed when it
// outgrows the live part.
struct BarQueue {
    std::vector<int32_t> bars;
    size_t head = 0;
    bool empty() const { return head == bars.size(); }
    int32_t front() const { return bars[head]; }
    int32_t back() const { return bars.back(); }
    void popBack() { bars.pop_back(); }
    void popFront() {
        if (++head > 64 && head * 2 > bars.size()) {
            bars.erase(bars.begin(), bars.begin() + static_cast<std::ptrdiff_t>(head));
            head = 0;
        }
    }
    void push(int32_t i) { bars.push_back(i); }
};

StatusCode lateralRun(SeriesHandle& outH, const SeriesHandle& xH, double height, double units, double minLength,
                      BoxValue what, int32_t start) {
    const int32_t count = series::count(xH);
    NumberOut out(&outH, count);
    const NumberView x(&xH);
    const double missing = x.fill(), fill = out.fill();
    const bool percent = units != 0;
    int32_t nmin = 1;
    rounded(minLength, nmin);
    auto allowed = [=](double lo) { return percent ? (lo > 0 ? lo * height / 100.0 : 0.0) : height; };
    if (start >= count) return kOk;

    BarQueue top, bottom;  // values falling front to back, and rising
    int32_t a = start, length = 0;
    auto add = [&](int32_t i) {
        const double v = x[i];
        while (!top.empty() && x[top.back()] <= v) top.popBack();
        top.push(i);
        while (!bottom.empty() && x[bottom.back()] >= v) bottom.popBack();
        bottom.push(i);
        ++length;
    };

    // Rebuild the run ending at the last present bar before the start bar.
    int32_t j = start - 1;
    while (j >= 0 && !present(x[j], missing)) --j;
    if (j >= 0) {
        double hi = x[j], lo = x[j];
        a = j;
        for (int32_t i = j - 1; i >= 0; --i) {
            const double v = x[i];
            if (!present(v, missing)) continue;
            const double h = std::max(hi, v), l = std::min(lo, v);
            if (h - l > allowed(l)) break;
            hi = h;
            lo = l;
            a = i;
        }
        for (int32_t i = a; i <= j; ++i)
            if (present(x[i], missing)) add(i);
    }

    for (int32_t i = start; i < count; ++i) {
        if (!present(x[i], missing)) {
            out.set(i, fill);
            continue;
        }
        if (length == 0) a = i;
        add(i);
        while (x[top.front()] - x[bottom.front()] > allowed(x[bottom.front()])) {
            do ++a;
            while (!present(x[a], missing));
            --length;
            while (top.front() < a) top.popFront();
            while (bottom.front() < a) bottom.popFront();
        }
        const bool box = length >= nmin;
        const double hi = x[top.front()], lo = x[bottom.front()];
        switch (what) {
        case BoxValue::length: out.set(i, box ? length : 0); break;
        case BoxValue::top: out.set(i, box ? hi : fill); break;
        case BoxValue::bottom: out.set(i, box ? lo : fill); break;
        case BoxValue::middle: out.set(i, box ? (hi + lo) / 2 : fill); break;
        }
    }
    return kOk;
}

StatusCode lateralChecks(const SeriesHandle& x, double height, double minLength) {
    if (series::count(x) == 0) return kTooFewBars;
    int32_t nmin;
    if (!(height >= 0)) return kDomainError;
    if (!rounded(minLength, nmin) || nmin < 1) return kDomainError;
    return kOk;
}

} // namespace

StatusCode lateralMovement(SeriesHandle& out, const SeriesHandle& x, double height, double units,
                           double minLength, int32_t start) {
    if (StatusCode s = lateralChecks(x, height, minLength); s != kOk) return s;
    return lateralRun(out, x, height, units, minLength, BoxValue::length, start);
}

StatusCode lateralBox(SeriesHandle& out, const SeriesHandle& x, double height, double units, double minLength,
                      double selector, int32_t start) {
    if (StatusCode s = lateralChecks(x, height, minLength); s != kOk) return s;
    int32_t sel;
    if (!truncated(selector, sel) || sel < 1 || sel > 3) return kDomainError;
    return lateralRun(out, x, height, units, minLength, static_cast<BoxValue>(sel), start);
}

} // namespace fk::ranks
