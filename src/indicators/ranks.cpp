#include "indicators/ranks.h"

#include <algorithm>
#include <cmath>
#include <cstring>


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

void OrderedWindow::push(double v) {
    double* s = sorted_.data();
    if (size_ < cap_) {
        const int32_t at = static_cast<int32_t>(std::upper_bound(s, s + size_, v) - s);
        std::memmove(s + at + 1, s + at, sizeof(double) * static_cast<size_t>(size_ - at));
        s[at] = v;
        ring_[static_cast<size_t>((head_ + size_) % cap_)] = v;
        ++size_;
        return;
    }
    // One shift between the leaving value's place and the new value's place.
    const double old = ring_[static_cast<size_t>(head_)];
    ring_[static_cast<size_t>(head_)] = v;
    head_ = head_ + 1 == cap_ ? 0 : head_ + 1;
    const int32_t from = static_cast<int32_t>(std::lower_bound(s, s + size_, old) - s);
    if (v >= old) {
        // the new value goes after the gap left at `from`
        const int32_t to = static_cast<int32_t>(std::upper_bound(s + from + 1, s + size_, v) - s) - 1;
        std::memmove(s + from, s + from + 1, sizeof(double) * static_cast<size_t>(to - from));
        s[to] = v;
    } else {
        const int32_t to = static_cast<int32_t>(std::upper_bound(s, s + from, v) - s);
        std::memmove(s + to + 1, s + to, sizeof(double) * static_cast<size_t>(from - to));
        s[to] = v;
    }
}

void OrderedWindow::rank(double v, int32_t& below, int32_t& equal) const {
    const double* s = sorted_.data();
    const double* lo = std::lower_bound(s, s + size_, v);
    below = static_cast<int32_t>(lo - s);
    equal = static_cast<int32_t>(std::upper_bound(lo, s + size_, v) - lo);
}

double OrderedWindow::percentile(double p) const {
    const double h = (static_cast<double>(size_ - 1) * p) / 100.0;
    const double kf = std::floor(h);
    const double f = h - kf;
    if (kf >= size_ - 1) return at(size_ - 1);
    const int32_t k = static_cast<int32_t>(kf);
    if (f == 0) return at(k);
    return at(k) + f * (at(k + 1) - at(k));
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
    return eachWindow(out, x, n, start, [percent](const OrderedWindow& w, double) { return w.percentile(percent); });
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
