#include "indicators/ranks.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/whole_number.h"
#include "indicators/select.h"

namespace fk::ranks {

using series::NumberOut;
using series::NumberView;



namespace {

// Arrays up to this length are short: counted, or (up to kRebuiltUpTo, with 256-bit vectors)
// written afresh.
constexpr int32_t kShort = 64, kRebuiltUpTo = 256;

// Two or four doubles at once: a comparison gives all bits set (-1) where it holds.
using indicators::Pair;
typedef long long PairCount __attribute__((vector_size(16)));
typedef double Quad __attribute__((vector_size(32)));
typedef long long QuadCount __attribute__((vector_size(32)));

// Loads a vector from any address; sets every element of one to x (x + 0 would turn -0 to +0).
template <class V>
[[gnu::always_inline]] inline void load(V& v, const double* p) {
    std::memcpy(&v, p, sizeof v);
}
template <class V>
[[gnu::always_inline]] inline void splat(V& v, double x) {
    for (size_t k = 0; k < sizeof v / sizeof x; ++k) v[k] = x;
}

// Of the n values at s: those below a, those not above b and those below b, counted in vectors
// of type V (whole vectors only; the rest one at a time).
struct Counts {
    int32_t belowA, notAboveB, belowB;
};
template <class V, class C>
[[gnu::always_inline]] inline Counts countIn(const double* s, int32_t n, double a, double b) {
    constexpr int32_t w = sizeof(V) / sizeof(double);
    V va, vb;
    splat(va, a);
    splat(vb, b);
    C ca = {}, cn = {}, cb = {};
    int32_t k = 0;
    for (; k + w <= n; k += w) {
        V e;
        load(e, s + k);
        ca -= e < va;
        cn -= e <= vb;
        cb -= e < vb;
    }
    Counts r{0, 0, 0};
    for (int32_t j = 0; j < w; ++j) {
        r.belowA += static_cast<int32_t>(ca[j]);
        r.notAboveB += static_cast<int32_t>(cn[j]);
        r.belowB += static_cast<int32_t>(cb[j]);
    }
    for (; k < n; ++k) {
        r.belowA += s[k] < a;
        r.notAboveB += s[k] <= b;
        r.belowB += s[k] < b;
    }
    return r;
}
[[gnu::target("avx2")]] Counts countWide(const double* s, int32_t n, double a, double b) {
    return countIn<Quad, QuadCount>(s, n, a, b);
}
Counts countNarrow(const double* s, int32_t n, double a, double b) { return countIn<Pair, PairCount>(s, n, a, b); }

// Writes to t the n sorted values of s (-inf at s[-1], +inf from s[n] to s[n + 3]) with the first
// of those equal to `old` taken out and v put after those equal to it, four places at a time:
// place i takes the smaller of the value after the removal at i and v, or the value after the
// removal at i - 1 where that is larger. Of equal values the one that stays in place is kept.
[[gnu::target("avx2")]] void rebuild(const double* s, double* t, int32_t n, double old, double v) {
    Quad o, w;
    splat(o, old);
    splat(w, v);
    for (int32_t i = 0; i < n; i += 4) {
        Quad before, at, after;
        load(before, s + i - 1);
        load(at, s + i);
        load(after, s + i + 1);
        const Quad left = before < o ? before : at; // after the removal, at i - 1 and at i
        const Quad here = at < o ? at : after;
        const Quad low = w < here ? w : here;
        const Quad r = left > low ? left : low;
        std::memcpy(t + i, &r, sizeof r);
    }
    Quad inf;
    splat(inf, HUGE_VAL);
    std::memcpy(t + n, &inf, sizeof inf);
}

// Of the n sorted values (n >= 1): those below `old` and those not above v, by two searches side
// by side (so that their waits for memory overlap) that keep a quarter of the range after looking
// at three places, then halve it, choosing without a branch.
inline void searches(const double* s, int32_t n, double old, double v, int32_t& belowOld, int32_t& notAbove) {
    const double *a = s, *b = s;
    for (; n >= 4; n -= 3 * (n / 4)) {
        const int32_t q = n / 4;
        a += q * ((a[q] < old) + (a[2 * q] < old) + (a[3 * q] < old));
        b += q * ((b[q] <= v) + (b[2 * q] <= v) + (b[3 * q] <= v));
    }
    for (; n > 1; n -= n / 2) {
        const int32_t half = n / 2;
        a = a[half] < old ? a + half : a;
        b = b[half] <= v ? b + half : b;
    }
    belowOld = static_cast<int32_t>(a - s) + (*a < old ? 1 : 0);
    notAbove = static_cast<int32_t>(b - s) + (*b <= v ? 1 : 0);
}

// Moves the values between places r and p one place towards r, freeing place p (the value at r is
// overwritten). A short move goes two values at a time: its last pair may overwrite place p itself
// and read the place beyond it, so s[-1] and s[n] must exist.
inline void moveTowards(double* s, int32_t n, int32_t r, int32_t p) {
    const int32_t lo = std::min(r, p), hi = std::max(r, p);
    if (n > kShort) {
        std::memmove(s + lo + (p < r ? 1 : 0), s + lo + (p < r ? 0 : 1), sizeof(double) * static_cast<size_t>(hi - lo));
        return;
    }
    const int32_t d = p < r ? -1 : 1;
    double* at = s + (p < r ? r - 1 : r);
    for (int32_t pairs = (hi - lo + 1) >> 1; pairs > 0; --pairs, at += 2 * d) {
        const double e0 = at[d], e1 = at[d + 1];
        at[0] = e0;
        at[1] = e1;
    }
}

} // namespace

[[gnu::target("avx2")]] void putWide(double* v, int32_t at, double x) {
    const QuadCount lanes = {0, 1, 2, 3};
    Quad four;
    load(four, v + (at & ~3));
    Quad xs;
    splat(xs, x);
    four = lanes == (QuadCount{} + (at & 3)) ? xs : four;
    std::memcpy(v + (at & ~3), &four, sizeof four);
}

void countAround(const double* v, int32_t n, double x, bool wide, int32_t& below, int32_t& equal) {
    const Counts c = wide ? countWide(v, n, x, x) : countNarrow(v, n, x, x);
    below = c.belowB;
    equal = c.notAboveB - c.belowB;
}

SortedArray::SortedArray(double* slots, int32_t n, bool wide) : n_(n), rebuilt_(wide && n <= kRebuiltUpTo) {
    if (n <= 0) return;
    s_ = slots + 1;
    t_ = slots + slotsFor(n) / 2 + 1;
    for (double* b : {s_, t_}) {
        b[-1] = -HUGE_VAL;
        std::fill(b, b + n + kSpare - 1, HUGE_VAL);
    }
}

void SortedArray::insert(double v) {
    // nothing leaves: an `old` of +inf takes out the first +inf, one of those after the values
    replace(HUGE_VAL, v);
}

void SortedArray::replace(double old, double v) {
    const bool grows = size_ < n_;
    if (rebuilt_) {
        rebuild(s_, t_, n_, old, v);
        std::swap(s_, t_);
    } else {
        // `old` leaves place r (when one leaves: else the free place after the values) and v
        // comes to place p of the values that stay
        int32_t r, notAbove;
        if (size_ <= kShort) {
            const Counts c = countNarrow(s_, size_, old, v);
            r = c.belowA;
            notAbove = c.notAboveB;
        } else {
            searches(s_, size_, old, v, r, notAbove);
        }
        if (grows) r = size_;
        const int32_t p = notAbove - (!grows && old <= v ? 1 : 0);
        moveTowards(s_, size_, r, p);
        s_[p] = v;
    }
    size_ += grows ? 1 : 0;
}

namespace {

// ---- windows of up to 32 values held in vector registers from bar to bar
//
// With 256-bit vectors a window of n <= 32 values lives in q = ceil(n / 4) registers for the
// whole loop, so that no bar waits for the memory the bar before wrote. The ring of values in
// time order stays in memory only to give the value that leaves, which was written n bars before.

constexpr int32_t kInRegisters = 32;

// The bars of a window held in registers: the input from the lead before the start bar (x[0] is
// bar `lead`) and the output from the start (q[0] is bar `start`), as plain arrays.
struct ShortBars {
    const double* x;
    double* q;
    int32_t n, lead, start, count;
    double missing, fill;
};

// Runs `step(v, leaves)` on the present values of the lead and of every bar from the start
// (`leaves`: the window is full, so the oldest value leaves), and writes what it answers from the
// start on when the window is full; the other bars receive the fill.
template <class Step>
[[gnu::always_inline]] inline void shortWindowBars(const ShortBars& b, Step step) {
    // the lead holds fewer than n present values, so no value leaves before the start bar
    int32_t size = 0;
    for (int32_t i = b.lead; i < b.start; ++i)
        if (present(b.x[i - b.lead], b.missing)) {
            step(b.x[i - b.lead], false);
            ++size;
        }
    const double* x = b.x + (b.start - b.lead);
    const int32_t bars = b.count - b.start;
    int32_t i = 0;
    for (; i < bars && size < b.n; ++i) {
        const double v = x[i];
        if (!present(v, b.missing)) {
            b.q[i] = b.fill;
            continue;
        }
        const double r = step(v, false);
        b.q[i] = ++size == b.n ? r : b.fill;
    }
    // full from here on: each value pushes the oldest out
    for (; i < bars; ++i) {
        const double v = x[i];
        b.q[i] = present(v, b.missing) ? step(v, true) : b.fill;
    }
}

// The sorted window in Q registers, updated as `rebuild` does: +inf after the values.
template <int Q>
[[gnu::target("avx2")]] void percentileInRegisters(const ShortBars& bars, const OrderedWindow::Rank& rank,
                                                   double* ring) {
    const int32_t n = bars.n;
    Quad s[Q], inf, minusInf;
    splat(inf, HUGE_VAL);
    splat(minusInf, -HUGE_VAL);
#pragma GCC unroll 8
    for (Quad& e : s) e = inf;
    const QuadCount lanes = {0, 1, 2, 3};
    const QuadCount heldInLast = lanes < (QuadCount{} + (n - 4 * (Q - 1)));
    alignas(32) double sorted[4 * Q];
    int32_t head = 0;
    shortWindowBars(bars, [&](double v, bool leaves) {
        const double old = leaves ? ring[head] : HUGE_VAL;
        ring[head] = v;
        head = head + 1 == n ? 0 : head + 1;
        Quad o, w;
        splat(o, old);
        splat(w, v);
        Quad t[Q];
#pragma GCC unroll 8
        for (int i = 0; i < Q; ++i) {
            const Quad prev = i > 0 ? s[i - 1] : minusInf, next = i + 1 < Q ? s[i + 1] : inf;
            const Quad before = __builtin_shufflevector(prev, s[i], 3, 4, 5, 6);
            const Quad after = __builtin_shufflevector(s[i], next, 1, 2, 3, 4);
            const Quad left = before < o ? before : s[i];
            const Quad here = s[i] < o ? s[i] : after;
            const Quad low = w < here ? w : here;
            t[i] = left > low ? left : low;
        }
        t[Q - 1] = heldInLast ? t[Q - 1] : inf;
#pragma GCC unroll 8
        for (int i = 0; i < Q; ++i) {
            s[i] = t[i];
            *reinterpret_cast<Quad*>(sorted + 4 * i) = t[i];
        }
        const double lo = sorted[rank.k];
        if (rank.k >= rank.last || rank.f == 0) return lo;
        return lo + rank.f * (sorted[rank.k + 1] - lo);
    });
}

// The window's values in Q registers in ring order (NaN in the places not yet filled, which no
// comparison counts); the rank of each new value is counted among them.
template <int Q>
[[gnu::target("avx2")]] void rankInRegisters(const ShortBars& bars, const double* ranks, double* ring) {
    const int32_t n = bars.n;
    Quad r[Q];
#pragma GCC unroll 8
    for (Quad& e : r) splat(e, NAN);
    QuadCount places[Q];
#pragma GCC unroll 8
    for (int i = 0; i < Q; ++i) places[i] = QuadCount{0, 1, 2, 3} + 4 * i;
    int32_t size = 0, head = 0;
    shortWindowBars(bars, [&](double v, bool leaves) {
        Quad w;
        splat(w, v);
        QuadCount below = {}, equal = {};
#pragma GCC unroll 8
        for (int i = 0; i < Q; ++i) {
            below -= r[i] < w;
            equal -= r[i] == w;
        }
        int32_t b = static_cast<int32_t>(below[0] + below[1] + below[2] + below[3]);
        int32_t e = static_cast<int32_t>(equal[0] + equal[1] + equal[2] + equal[3]) + 1;
        const int32_t at = leaves ? head : size;
        if (leaves) {
            const double old = ring[head];
            b -= old < v ? 1 : 0;
            e -= old == v ? 1 : 0;
            head = head + 1 == n ? 0 : head + 1;
        } else {
            ++size;
        }
        ring[at] = v;
        const QuadCount place = QuadCount{} + at;
#pragma GCC unroll 8
        for (int i = 0; i < Q; ++i) r[i] = places[i] == place ? w : r[i];
        return ranks[2 * b + e - 1];
    });
}

// Runs the register form of a window of n <= 32 values for its number of registers.
template <template <int> class Run, class... Args>
void inRegisters(int32_t n, Args&&... args) {
    switch ((n + 3) / 4) {
    case 1: Run<1>::go(args...); break;
    case 2: Run<2>::go(args...); break;
    case 3: Run<3>::go(args...); break;
    case 4: Run<4>::go(args...); break;
    case 5: Run<5>::go(args...); break;
    case 6: Run<6>::go(args...); break;
    case 7: Run<7>::go(args...); break;
    default: Run<8>::go(args...); break;
    }
}
template <int Q>
struct PercentileRun {
    static void go(const ShortBars& bars, const OrderedWindow::Rank& rank, double* ring) {
        percentileInRegisters<Q>(bars, rank, ring);
    }
};
template <int Q>
struct RankRun {
    static void go(const ShortBars& bars, const double* ranks, double* ring) { rankInRegisters<Q>(bars, ranks, ring); }
};

// Runs the window in registers where it fits (with the vectors, up to 32 values, a window that
// can fill) and the input and output are plain arrays; false, with nothing written, otherwise.
template <template <int> class Run, class Arg>
bool ranInRegisters(SeriesHandle& outH, const SeriesHandle& xH, int32_t n, int32_t start, const Arg& arg) {
    const int32_t count = series::count(xH);
    if (!platform::wideVectors() || n > kInRegisters || n > count || start >= count) return false;
    NumberOut out(&outH, count);
    const NumberView x(&xH);
    const int32_t lead = windowLead(x, n, start);
    const double* src = x.storage(lead, count);
    double* dst = out.storage(start, count);
    if (!src || !dst) return false;
    Scratch<double> ring(n);
    if (!ring.ok()) return true; // no room on the heap: nothing is written
    const ShortBars bars{src, dst, n, lead, start, count, x.fill(), out.fill()};
    inRegisters<Run>(n, bars, arg, ring.data());
    return true;
}

} // namespace

double OrderedWindow::percentile(const Rank& r) const {
    if (r.k >= r.last || r.f == 0) return at(r.k);
    return at(r.k) + r.f * (at(r.k + 1) - at(r.k));
}

OrderedWindow::Rank::Rank(int32_t n, double p) : last(n - 1) {
    const double h = (static_cast<double>(n - 1) * p) / 100.0;
    const double kf = std::floor(h);
    f = h - kf;
    k = kf >= n - 1 ? n - 1 : static_cast<int32_t>(kf);
}

StatusCode equityRank(SeriesHandle& out, const SeriesHandle& x, double length, int32_t start) {
    if (series::count(x) == 0) return kTooFewBars;
    int32_t n;
    if (!roundedCount(length, n) || n < 2) return kDomainError;
    // The rank depends on 2 below + equal - 1 alone (0 to 2n - 2), so each of its values is
    // worked out once, in the same operations: no division per bar.
    const double span = static_cast<double>(n - 1);
    const int64_t values = n <= series::count(x) ? 2 * int64_t{n} - 1 : 0;
    Scratch<double> ranks(values <= INT32_MAX ? static_cast<int32_t>(values) : -1);
    if (!ranks.ok() || ranks.size() != values) return kOk; // no room on the heap: nothing is written
    for (int32_t t = 0; t < ranks.size(); ++t) ranks[t] = 100.0 * (0.5 * static_cast<double>(t)) / span;
    if (ranInRegisters<RankRun>(out, x, n, start, ranks.data())) return kOk;
    return eachWindow<Keep::LatestRank>(out, x, n, start, [&ranks](const OrderedWindow& w, double) {
        int32_t below, equal;
        w.latestRank(below, equal);
        return ranks[2 * below + equal - 1];
    });
}

StatusCode percentile(SeriesHandle& out, const SeriesHandle& x, double length, double percent, int32_t start) {
    if (series::count(x) == 0) return kTooFewBars;
    int32_t n;
    if (!roundedCount(length, n) || n < 1) return kDomainError;
    if (!(percent >= 0 && percent <= 100)) return kDomainError;
    const OrderedWindow::Rank rank(n, percent);
    if (ranInRegisters<PercentileRun>(out, x, n, start, rank)) return kOk;
    return eachWindow<Keep::Sorted>(out, x, n, start,
                                    [rank](const OrderedWindow& w, double) { return w.percentile(rank); });
}

StatusCode median(SeriesHandle& out, const SeriesHandle& x, double length, int32_t start) {
    return percentile(out, x, length, 50.0, start);
}

namespace {

// What a sideways box reports: its length, or its top, bottom or middle (the selector's values).
enum class BoxValue { length = 0, top = 1, bottom = 2, middle = 3 };

// The highest and lowest value of a run of bars that grows at its end and shrinks at its start,
// without a branch on the values: the bars taken in before the last turn carry the extremes from
// each of them to the turn (formed once, from the turn back, when the start reaches the turn),
// those after it the extremes as they ran. Of equal extremes the latest is the one read, as the
// value itself. Missing bars are passed over.
class RunExtremes {
public:
    RunExtremes(const NumberView& x, double missing) : x_(x), missing_(missing) {}
    bool ok() const { return highs_.ok() && lows_.ok(); }

    // The run becomes bar a alone, before a is added (a present).
    void restart(int32_t a) {
        a_ = turn_ = a;
        top_ = -HUGE_VAL;
        bottom_ = HUGE_VAL;
    }
    void add(double v) {
        top_ = v >= top_ ? v : top_;
        bottom_ = v <= bottom_ ? v : bottom_;
    }
    // Drops the first bar; `last` is the run's last bar. False when the heap had no room for the
    // extremes to the turn (the run is then unusable).
    bool dropFirst(int32_t last) {
        do ++a_;
        while (!present(x_[a_], missing_));
        return a_ < turn_ || turnAt(last);
    }
    // (the comparison of the values made whether or not a turn is ahead, so that it is a choice,
    // not a branch)
    double high() const {
        const double before = highs_[a_ & mask_], higher = before > top_ ? before : top_;
        return a_ < turn_ ? higher : top_;
    }
    double low() const {
        const double before = lows_[a_ & mask_], lower = before < bottom_ ? before : bottom_;
        return a_ < turn_ ? lower : bottom_;
    }

private:
    bool turnAt(int32_t last) {
        // bar j's extremes are kept at j modulo a power of 2 that holds the run
        int32_t size = mask_ + 1;
        while (size <= last - a_) size *= 2;
        if (size != mask_ + 1) {
            if (!highs_.renew(size) || !lows_.renew(size)) return false;
            mask_ = size - 1;
        }
        double hi = -HUGE_VAL, lo = HUGE_VAL;
        for (int32_t j = last; j >= a_; --j) {
            const double v = x_[j];
            if (present(v, missing_)) {
                hi = v > hi ? v : hi;
                lo = v < lo ? v : lo;
            }
            highs_[j & mask_] = hi;
            lows_[j & mask_] = lo;
        }
        turn_ = last + 1;
        top_ = -HUGE_VAL;
        bottom_ = HUGE_VAL;
        return true;
    }

    const NumberView& x_;
    double missing_;
    Scratch<double> highs_{64}, lows_{64}; // to the turn
    int32_t mask_ = 63, a_ = 0, turn_ = 0;
    double top_ = -HUGE_VAL, bottom_ = HUGE_VAL; // of the bars from the turn on
};

StatusCode lateralRun(SeriesHandle& outH, const SeriesHandle& xH, double height, double units, double minLength,
                      BoxValue what, int32_t start) {
    const int32_t count = series::count(xH);
    NumberOut out(&outH, count);
    const NumberView x(&xH);
    const double missing = x.fill(), fill = out.fill();
    const bool percent = units != 0;
    int32_t nmin = 1;
    roundedCount(minLength, nmin);
    auto allowed = [=](double lo) { return percent ? (lo > 0 ? lo * height / 100.0 : 0.0) : height; };
    if (start >= count) return kOk;
    RunExtremes run(x, missing);
    if (!run.ok()) return kOk; // no room on the heap: nothing is written
    int32_t length = 0;

    // Rebuild the run ending at the last present bar before the start bar.
    int32_t j = start - 1;
    while (j >= 0 && !present(x[j], missing)) --j;
    if (j >= 0) {
        double hi = x[j], lo = x[j];
        int32_t a = j;
        for (int32_t i = j - 1; i >= 0; --i) {
            const double v = x[i];
            if (!present(v, missing)) continue;
            const double h = std::max(hi, v), l = std::min(lo, v);
            if (h - l > allowed(l)) break;
            hi = h;
            lo = l;
            a = i;
        }
        run.restart(a);
        for (int32_t i = a; i <= j; ++i)
            if (present(x[i], missing)) {
                run.add(x[i]);
                ++length;
            }
    }

    for (int32_t i = start; i < count; ++i) {
        const double v = x[i];
        if (!present(v, missing)) {
            out.set(i, fill);
            continue;
        }
        if (length == 0) run.restart(i);
        run.add(v);
        ++length;
        while (run.high() - run.low() > allowed(run.low())) {
            if (!run.dropFirst(i)) return kOk; // no room on the heap: the bars from here on are not written
            --length;
        }
        const bool box = length >= nmin;
        const double hi = run.high(), lo = run.low();
        switch (what) {
        case BoxValue::length: out.set(i, length * static_cast<int32_t>(box)); break;
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
    if (!roundedCount(minLength, nmin) || nmin < 1) return kDomainError;
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
    if (!truncatedCount(selector, sel) || sel < 1 || sel > 3) return kDomainError;
    return lateralRun(out, x, height, units, minLength, static_cast<BoxValue>(sel), start);
}

} // namespace fk::ranks
