#include "indicators/averages.h"

#include <algorithm>
#include <cmath>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "containers/scratch.h"
#include "indicators/lengths.h"

namespace fk::indicators {

using series::NumberOut;
using series::NumberView;

double lengthFromFactor(double length) { return length > 0 && length < 1 ? 2.0 / length - 1.0 : length; }

AdaptiveLengths unpackAdaptive(double length) {
    const double packed = std::floor(length / 1e6 + 0.5);
    AdaptiveLengths r;
    r.period = std::floor(length - packed * 1e6 + 0.5);
    r.slow = std::floor(packed / 1000 + 0.5);
    r.fast = std::floor(packed - r.slow * 1000 + 0.5);
    if (r.fast <= 0) r.fast = 2;
    if (r.slow <= 0) r.slow = 30;
    return r;
}

bool averageParams(double length, int kind, bool shortWarmup, AverageParams& p) {
    if (kind < kSimple || kind > kAdaptive) return false;
    double len = lengthFromFactor(length);
    if (!(len > 0)) return false;
    p = AverageParams{};
    p.kind = kind;
    if (kind == kAdaptive) {
        const AdaptiveLengths a = unpackAdaptive(len);
        len = a.period;
        if (!(len > 0)) return false;
        p.fastSC = 2.0 / (a.fast + 1.0);
        p.slowSC = 2.0 / (a.slow + 1.0);
    }
    p.length = len;
    p.passThrough = len == 1.0;
    p.n = std::min(roundLength(len), kLongestLength);
    p.warmup = kind == kExponential && !shortWarmup ? 3 * p.n : p.n;
    const double n = p.n;
    if (kind == kExponential) p.alpha = 2.0 / (len + 1.0);
    if (kind == kWilder) p.alpha = 1.0 / len;
    if (kind == kWeighted) p.divisor = n * (n + 1.0) / 2.0;
    return true;
}

bool TempSeries::allocate(int32_t first, int32_t end, double fill) {
    bars_ = BarWindow{nullptr, first, 0, fill};
    const int32_t size = end > first ? end - first : 0;
    if (!values_.renew(size)) return false;
    std::fill_n(values_.data(), size, fill);
    bars_.data = values_.data();
    bars_.size = static_cast<uint32_t>(size);
    return true;
}

namespace {

// Where one engine run begins and what it carries in.
struct Plan {
    int32_t start = 0;      // first bar computed
    int32_t first = 0;      // first bar written
    int32_t counter = 0;    // valid bars taken as counted before the start
    double average = 0;     // running average carried in (exponential forms)
    bool continued = false; // the exponential forms go on from the output's last average
};

// A run from start bar s restarts close to s when enough bars precede it: the exponential
// forms go on from the average the output holds at the last valid bar before s; the others
// recompute their span from the (n + 1)-th valid bar back. Otherwise the run starts at bar 0
// over a cleared output. An output bar that holds no average (still warming up) is no place
// to go on from.
// The walks back begin at the input's end at the latest (`end`, its bar count): past it every bar
// is missing, and a start bar far past it would walk billions of bars.
template <class In, class Seed>
Plan planAverage(const AverageParams& p, In in, double missing, int32_t s, int32_t end, Seed outputAt) {
    Plan plan;
    plan.average = missing;
    if (s <= p.warmup + 1) return plan;
    const int32_t from = std::min(s, end);
    if (p.kind == kExponential || p.kind == kWilder) {
        int32_t v = from - 1;
        while (v >= 0 && in[v] == missing) --v;
        const double seed = v >= 0 ? outputAt(v) : missing;
        if (seed != missing) {
            plan.start = plan.first = s;
            plan.counter = p.warmup;
            plan.average = seed;
            plan.continued = true;
        }
        return plan;
    }
    int32_t v = from, found = 0;
    if (const double* q = in.storage(0, from)) {
        while (found <= p.n && --v >= 0)
            if (q[v] != missing) ++found;
    } else {
        while (found <= p.n && --v >= 0)
            if (in[v] != missing) ++found;
    }
    if (found > p.n) {
        plan.start = v;
        plan.first = s;
    }
    return plan;
}

// The output brought to the input's length, with room to grow by single bars. A run writes
// every bar from its first written bar on (the fill value where the input is missing), which
// clears what those bars held; so a stored series that only grows by bars from `first` on
// reaches its length through those writes, and is not filled beforehand.
void prepareOutput(SeriesHandle& h, int32_t n, int32_t first) {
    SharedBuffer* b = h.buffer;
    if (!b) return;
    if (n > b->capacity && !b->isConstant()) buffers::setCapacity(h, buffers::growthCapacity(n - 1), true);
    b = h.buffer;
    if (n > b->count && first <= b->count && b->kind == kKindNumber && !b->isConstant() && h.offset() == 0) return;
    series::setCount(h, n, true);
}

// The trailing end of a span moves to the next valid bar; its value leaves the sums.
template <class In>
inline double advanceTrail(const In& in, int32_t& trail, double missing) {
    double v;
    do v = in[++trail];
    while (v == missing);
    return v;
}

// Each run loop keeps what it needs in locals, so that writes to the output cannot be taken
// for changes to them, and splits off its warm-up so that the steady loop tests nothing else.

template <class In, class Out>
[[gnu::noinline]] void runExponential(In in, int32_t b, int32_t end, double missing, int32_t first, int32_t counter,
                                      int32_t warmup, double alpha, double avg, Out out) {
    const double blank = out.fill();
    for (; b < end && counter < warmup; ++b) {
        const double x = in[b];
        if (x == missing) {
            if (b >= first) out.set(b, blank);
            continue;
        }
        ++counter;
        avg = avg == missing ? x : avg + (x - avg) * alpha;
        if (b >= first) out.set(b, counter < warmup ? missing : avg);
    }
    for (; b < end; ++b) {
        const double x = in[b];
        if (x == missing) {
            if (b >= first) out.set(b, blank);
            continue;
        }
        avg = avg == missing ? x : avg + (x - avg) * alpha;
        if (b >= first) out.set(b, avg);
    }
}

// The two stages of an average over a window of n present values: the warm-up, whose span up to
// the first bar written (on a restart) writes nothing and whose other bars read missing until n
// values are in, and the full window, where each value pushes the oldest out. W adds a value,
// drops the oldest and gives the average; it is taken and given back by value, so that it lives
// in registers and writes to the output cannot be taken for changes to it.
template <class In, class Out, class W>
[[gnu::always_inline]] inline W warmWindow(In in, Out& out, int32_t& b, int32_t end, double missing, int32_t first,
                                           int32_t& c, int32_t n, W w) {
    const double blank = out.fill();
    for (const int32_t quiet = std::min(first, end); b < quiet && c < n; ++b) {
        const double x = in[b];
        if (x == missing) continue;
        w.add(x);
        ++c;
    }
    for (; b < end && c < n; ++b) {
        const double x = in[b];
        if (x == missing) {
            if (b >= first) out.set(b, blank);
            continue;
        }
        w.add(x);
        ++c;
        if (b >= first) out.set(b, c < n ? missing : w.value());
    }
    return w;
}

template <class In, class Out, class W>
[[gnu::always_inline]] inline void slideWindow(In in, Out& out, int32_t b, int32_t end, double missing, int32_t first,
                                               int32_t trail, W w) {
    const double blank = out.fill();
    for (; b < end; ++b) {
        const double x = in[b];
        if (x == missing) {
            if (b >= first) out.set(b, blank);
            continue;
        }
        w.add(x);
        w.drop(advanceTrail(in, trail, missing));
        if (b >= first) out.set(b, w.value());
    }
}

struct SimpleWindow {
    double dn, sum = 0;
    void add(double x) { sum += x; }
    void drop(double x) { sum -= x; }
    double value() const { return sum / dn; }
};

// Each value weighs its place in the window, n for the latest down to 1 for the oldest.
struct WeightedWindow {
    double dn, divisor, sum = 0, weighted = 0;
    void add(double x) {
        weighted = weighted - sum + dn * x;
        sum += x;
    }
    void drop(double x) { sum -= x; }
    double value() const { return weighted / divisor; }
};

// Simple, and Wilder up to its first value (a simple average), after which Wilder goes on in
// exponential form with the factor 1/L.
template <class In, class Out>
[[gnu::noinline]] void runSimple(const AverageParams& p, In in, int32_t end, double missing, const Plan& plan,
                                 Out out) {
    const int32_t n = p.n, first = plan.first;
    int32_t c = plan.counter, b = plan.start;
    const SimpleWindow w = warmWindow(in, out, b, end, missing, first, c, n, SimpleWindow{double(n)});
    if (c < n) return;
    if (p.kind == kWilder) {
        runExponential<In, Out>(in, b, end, missing, first, c, n, p.alpha, w.value(), out);
        return;
    }
    slideWindow(in, out, b, end, missing, first, plan.start - 1, w);
}

template <class In, class Out>
[[gnu::noinline]] void runWeighted(const AverageParams& p, In in, int32_t end, double missing, const Plan& plan,
                                   Out out) {
    const int32_t n = p.n;
    int32_t c = plan.counter, b = plan.start;
    const WeightedWindow w =
        warmWindow(in, out, b, end, missing, plan.first, c, n, WeightedWindow{double(n), p.divisor});
    slideWindow(in, out, b, end, missing, plan.first, plan.start - 1, w);
}

// The adaptive average: its smoothing constant moves between the fast and the slow one with the
// efficiency of the move over the period (net change over the sum of bar-to-bar changes).
template <class In, class Out>
[[gnu::noinline]] void runAdaptive(const AverageParams& p, In in, int32_t end, double missing, const Plan& plan,
                                   Out out) {
    const int32_t period = p.n, start = plan.start, s = plan.first;
    const double fastSC = p.fastSC, slowSC = p.slowSC, blank = out.fill();
    double noise = 0, avg = missing, prev = missing, trailValue = missing;
    int32_t c = 0, trail = start - 1, prevBar = -1, b = start;
    for (; b < end && c < period; ++b) {
        const double x = in[b];
        if (x == missing) {
            if (b >= s) out.set(b, blank);
            continue;
        }
        ++c;
        if (prevBar >= 0) noise += std::fabs(x - prev);
        if (b >= s) out.set(b, missing);
        prev = x;
        prevBar = b;
    }
    for (; b < end; ++b) {
        const double x = in[b];
        if (x == missing) {
            if (b >= s) out.set(b, blank);
            continue;
        }
        noise += std::fabs(x - prev);
        const int32_t oldTrail = trail;
        const double t = advanceTrail(in, trail, missing);
        if (oldTrail >= start) noise -= std::fabs(t - trailValue);
        trailValue = t;
        const double er = noise > 0 ? std::fabs(x - t) / noise : 0.0;
        const double sc = er * fastSC + (1 - er) * slowSC;
        // up to the first bar written, the average goes on from what the output holds at the
        // previous valid bar
        if (s > 0 && b <= s) {
            const double held = out.get(prevBar);
            if (held != missing) avg = held;
        }
        if (avg == missing) avg = prev;
        avg = avg + sc * sc * (x - avg);
        if (b >= s) out.set(b, avg);
        prev = x;
        prevBar = b;
    }
}

template <class In, class Out>
void runKind(const AverageParams& p, In in, int32_t end, double missing, const Plan& plan, Out out) {
    if (p.passThrough) {
        const double blank = out.fill();
        for (int32_t b = plan.first; b < end; ++b) {
            const double x = in[b];
            out.set(b, x != missing ? x : blank);
        }
        return;
    }
    if (plan.continued) {
        runExponential<In, Out>(in, plan.start, end, missing, plan.first, plan.counter, p.warmup, p.alpha, plan.average, out);
        return;
    }
    switch (p.kind) {
    case kSimple:
    case kWilder: runSimple<In, Out>(p, in, end, missing, plan, out); break;
    case kWeighted: runWeighted<In, Out>(p, in, end, missing, plan, out); break;
    case kExponential:
        runExponential<In, Out>(in, plan.start, end, missing, plan.first, plan.counter, p.warmup, p.alpha, plan.average, out);
        break;
    case kAdaptive: runAdaptive<In, Out>(p, in, end, missing, plan, out); break;
    }
}

// A run over plain arrays where the input and the output are stored that way for all the bars
// it touches (from its start on), otherwise through their element rules.
template <class In, class Out>
void runAverage(const AverageParams& p, const In& in, int32_t end, double missing, const Plan& plan, Out& out) {
    if (const double* src = in.storage(plan.start, end))
        if (double* dst = out.storage(plan.start, end)) {
            runKind(p, PlainBars{src, plan.start}, end, missing, plan, PlainOut{dst, plan.start, out.fill()});
            return;
        }
    runKind<In, Out&>(p, in, end, missing, plan, out);
}

// One engine run into the Return Value. The input is resolved after the output, since
// preparing the output may move a buffer that the two share.
template <class MakeIn>
void writeAverage(SeriesHandle& outH, const AverageParams& p, int32_t end, double missing, const Plan& plan,
                  MakeIn makeIn) {
    prepareOutput(outH, end, plan.first);
    NumberOut out(&outH, end);
    const auto in = makeIn();
    runAverage(p, in, end, missing, plan, out);
}

// The first of the triangular average's two simple averages, made one bar at a time from bar
// `start` on: what its pass would write into the temporary series, which holds the missing value
// before `first`.
template <class In>
class InnerAverage {
public:
    InnerAverage(const In& in, int32_t n, double missing, int32_t start, int32_t first)
        : in_(in), n_(n), dn_(n), missing_(missing), first_(first), trail_(start - 1) {}

    double at(int32_t b) {
        const double x = in_[b];
        if (x == missing_) return missing_;
        double v;
        if (c_ < n_) {
            sum_ += x;
            ++c_;
            v = c_ < n_ ? missing_ : sum_ / dn_;
        } else {
            sum_ += x;
            sum_ -= advanceTrail(in_, trail_, missing_);
            v = sum_ / dn_;
        }
        return b >= first_ ? v : missing_;
    }

private:
    In in_;
    int32_t n_;
    double dn_, missing_;
    int32_t first_, trail_;
    int32_t c_ = 0;
    double sum_ = 0;
};

// The second simple average over the first one's values, its span held in a ring of the last
// n + 1 values (the oldest of them leaves when a value enters).
class OuterAverage {
public:
    OuterAverage(double* ring, int32_t n) : ring_(ring), n_(n), dn_(n) {}

    // a value that is not missing; the result to write (`warming` while fewer than n are held)
    double add(double v, double warming) {
        ring_[head_] = v;
        head_ = head_ == n_ ? 0 : head_ + 1;
        sum_ += v;
        if (c_ < n_) {
            ++c_;
            return c_ < n_ ? warming : sum_ / dn_;
        }
        sum_ -= ring_[head_];
        return sum_ / dn_;
    }
    // Starts afresh from the n + 1 values a filled ring holds, oldest first, as a run that
    // begins at the oldest of them leaves its sum.
    void restartFromRing() {
        sum_ = 0;
        for (int32_t k = 0; k < n_; ++k) sum_ += ring_[(head_ + k) % (n_ + 1)];
        sum_ += ring_[(head_ + n_) % (n_ + 1)];
        sum_ -= ring_[head_];
        c_ = n_;
        // the oldest value has left the sum; the next one entering takes its place in the ring
    }

private:
    double* ring_;
    int32_t n_;
    double dn_;
    int32_t head_ = 0, c_ = 0;
    double sum_ = 0;
};

// Bars b .. end - 1 of the one pass, written from `first` on. A function of its own, so that the
// two averages' sums stay in registers.
[[gnu::noinline]] void triangularWrites(InnerAverage<PlainBars> values, OuterAverage avg, int32_t b, int32_t end,
                                        int32_t first, double missing, PlainOut o) {
    for (; b < end; ++b) {
        const double v = values.at(b);
        const double r = v == missing ? o.fill() : avg.add(v, missing);
        if (b >= first) o.set(b, r);
    }
}

// The triangular average in one pass over plain arrays: the inner average feeds the outer one
// bar by bar, each value as the two-pass form would read it back from its temporary series.
// False (nothing written) where it does not apply; the caller then makes the two passes.
bool triangularInOnePass(SeriesHandle& outH, const SeriesHandle& inH, const AverageParams& inner,
                         const AverageParams& outer, const Plan& innerPlan, int32_t s, int32_t end, double missing,
                         double* ring) {
    prepareOutput(outH, end, s);
    NumberOut out(&outH, end);
    const NumberView view(&inH);
    const double* src = view.storage(innerPlan.start, end);
    if (!src) return false;
    const PlainBars in{src, innerPlan.start};
    const int32_t n = outer.n;
    OuterAverage avg(ring, n);
    InnerAverage<PlainBars> values(in, inner.n, missing, innerPlan.start, innerPlan.first);
    int32_t b = innerPlan.start, first = 0;
    if (s > outer.warmup + 1) {
        // the outer average restarts from the (n + 1)-th value back from s, when there is one
        const int32_t stop = std::min(s, end);
        int32_t held = 0;
        for (; b < stop; ++b) {
            const double v = values.at(b);
            if (v == missing) continue;
            avg.add(v, missing);
            ++held;
        }
        if (held > n) {
            avg.restartFromRing();
            first = s;
        } else {
            avg = OuterAverage(ring, n);
            values = InnerAverage<PlainBars>(in, inner.n, missing, innerPlan.start, innerPlan.first);
            b = innerPlan.start;
        }
    }
    double* dst = out.storage(first, end);
    if (!dst) return false;
    const PlainOut o{dst, first, out.fill()};
    // before the inner average's first bar its values read as missing
    for (int32_t k = first; k < std::min(b, end); ++k) o.set(k, o.fill());
    triangularWrites(values, avg, b, end, first, missing, o);
    return true;
}

StatusCode triangularAverage(SeriesHandle& outH, const SeriesHandle& inH, double length, int32_t s) {
    const double len = lengthFromFactor(length);
    AverageParams inner, outer;
    if (!(len > 0) || !averageParams(std::floor((len + 1) / 2), kSimple, false, inner) ||
        !averageParams(std::ceil((len + 1) / 2), kSimple, false, outer) || !inH.buffer || !outH.buffer)
        return kOk;
    TempSeries temp;
    {
        const NumberView in(&inH);
        const double missing = in.fill();
        // The inner pass starts where the outer pass's restart will look back to, so that the
        // outer pass finds its span among the inner pass's values; small starts recompute all.
        int32_t from = 0;
        if (s > 0) {
            int32_t v = std::min(s, in.count()), found = 0;
            while (found <= outer.n && --v >= 0)
                if (in[v] != missing) ++found;
            from = v < 10 ? 0 : v;
        }
        // one pass keeps the outer average's last n + 1 values in a ring; an outer average longer
        // than the input never fills, and the fallback writes its fill without such a ring
        if (!inner.passThrough && !outer.passThrough && outer.n <= in.count() && in.storage(0, in.count())) {
            const Plan plan = planAverage(inner, in, missing, from, in.count(), [missing](int32_t) { return missing; });
            constexpr int32_t kRingOnStack = 256;
            double onStack[kRingOnStack];
            Scratch<double> onHeap(outer.n + 1 > kRingOnStack ? outer.n + 1 : 0);
            double* ring = outer.n + 1 > kRingOnStack ? onHeap.data() : onStack;
            if (ring && triangularInOnePass(outH, inH, inner, outer, plan, s, in.count(), missing, ring))
                return kOk;
        }
        if (!averageToTemp(in, inner, from, temp)) return kOk;
    }
    const double missing = temp.bars().fill();
    const int32_t end = series::count(inH);
    const Plan plan = planAverage(outer, temp.bars(), missing, s, end, [missing](int32_t) { return missing; });
    writeAverage(outH, outer, end, missing, plan, [&temp] { return temp.bars(); });
    return kOk;
}

} // namespace

bool averageToTemp(const NumberView& in, const AverageParams& p, int32_t s, TempSeries& out) {
    const double missing = in.fill();
    const Plan plan = planAverage(p, in, missing, s, in.count(), [missing](int32_t) { return missing; });
    if (!out.allocate(plan.start, in.count(), missing)) return false;
    BarWindow bars = out.bars();
    runAverage(p, in, in.count(), missing, plan, bars);
    return true;
}

StatusCode averageSeries(SeriesHandle& outH, const SeriesHandle& inH, double length, int kind, bool shortWarmup,
                         int32_t s) {
    if (s == -2) return kOk;
    if (s < 0) s = 0;
    AverageParams p;
    if (!averageParams(length, kind, shortWarmup, p) || !inH.buffer || !outH.buffer) return kOk;
    const NumberView in(&inH);
    const int32_t end = in.count();
    const double missing = in.fill();
    const Plan plan = planAverage(p, in, missing, s, end, [&outH](int32_t v) { return series::number(outH, v); });
    writeAverage(outH, p, end, missing, plan, [&inH] { return NumberView(&inH); });
    return kOk;
}

StatusCode movingAverage(SeriesHandle& out, const SeriesHandle& in, double length, double kindNumber, int32_t s) {
    int kind = toShort(kindNumber);
    const bool shortWarmup = kind < 0;
    if (kind < 0) kind = -kind;
    if (kind == 0) kind = kSimple;
    if (s == -2) return kOk;
    if (s < 0) s = 0;
    if (kind == kTriangular) return triangularAverage(out, in, length, s);
    return averageSeries(out, in, length, kind, shortWarmup, s);
}

namespace {

// The sign filter of MovingSum: mode > 0 keeps positive values, < 0 negative ones, 0 all.
struct SignFilter {
    int32_t mode;
    constexpr double operator()(double x) const {
        return mode > 0 ? (x > 0 ? x : 0.0) : mode < 0 ? (x < 0 ? x : 0.0) : x;
    }
};

// The span of n bars that ends at bar b summed afresh, walking back over the bars that count;
// `held` tells how many it found (fewer than n when the bars run out) and `trail` is left one
// bar before the oldest.
template <class In, class Counts>
double sumSpan(const In& in, int32_t b, int32_t n, Counts counts, SignFilter filtered, int32_t& held,
               int32_t& trail) {
    double sum = 0;
    held = 0;
    int32_t j = b + 1;
    while (held < n && --j >= 0)
        if (counts(j)) {
            sum += filtered(in[j]);
            ++held;
        }
    trail = std::max(j, 0) - 1;
    return sum;
}

// The rolling sum of a constant length n > 0 from bar s: the first bar sums its span afresh,
// every later one adds its value and drops the oldest.
template <int Mode, class In, class Out>
void sumConstantLength(const In& in, int32_t s, int32_t end, double missing, int32_t n, Out& out) {
    constexpr SignFilter filtered{Mode};
    const auto counts = [&](int32_t j) { return in[j] != missing; };
    int32_t b = s;
    while (b < end && in[b] == missing) ++b;
    if (b >= end) return;
    int32_t held, trail;
    double sum = sumSpan(in, b, n, counts, filtered, held, trail);
    if (held >= n) out.set(b, sum);
    for (++b; b < end; ++b) {
        const double x = in[b];
        if (x == missing) continue;
        sum += filtered(x);
        if (held < n) {
            ++held;
        } else {
            do ++trail;
            while (in[trail] == missing);
            sum -= filtered(in[trail]);
        }
        if (held >= n) out.set(b, sum);
    }
}

template <class In, class Out>
void sumConstantLength(const In& in, int32_t s, int32_t end, double missing, int32_t n, int32_t mode, Out& out) {
    // one loop per filter, so that the steady loop tests no mode
    if (mode > 0) sumConstantLength<1>(in, s, end, missing, n, out);
    else if (mode < 0) sumConstantLength<-1>(in, s, end, missing, n, out);
    else sumConstantLength<0>(in, s, end, missing, n, out);
}

} // namespace

StatusCode movingSum(SeriesHandle& outH, const SeriesHandle& inH, const SeriesHandle& lengthH, double signMode,
                     int32_t s) {
    if (s == -2) return kOk;
    if (s < 10) s = 0;
    NumberOut out(&outH, series::count(inH));
    const NumberView in(&inH), len(&lengthH);
    const int32_t end = in.count();
    const double missing = in.fill(), lengthMissing = len.fill();
    const int32_t mode = truncToInt(signMode);
    const SignFilter filtered{mode};
    const bool constant = len.constant();
    int32_t n = constant ? roundLength(len.constantValue()) : 0;
    if (constant && n > 0) {
        withSparseOut(in, out, s, end,
                      [&](const auto& x, auto& o) { sumConstantLength(x, s, end, missing, n, mode, o); });
        return kOk;
    }
    // the bars a span holds: a value, and a length where the length varies by bar
    auto counts = [&](int32_t j) { return in[j] != missing && (constant || len[j] != lengthMissing); };

    double sum = 0;
    int32_t held = 0, trail = s - 1, previous = -999999;
    if (constant && s >= 1) {
        // a running total goes on from the total the output holds at the bar before
        const double total = out.get(s - 1);
        if (total != missing) {
            sum = total;
            held = n;
        }
    }
    for (int32_t b = s; b < end; ++b) {
        const double x = in[b];
        if (x == missing) continue;
        if (!constant) {
            const double l = len[b];
            if (l == lengthMissing) continue;
            n = roundLength(l);
        }
        if (n > 0) {
            // (in 64 bits: the length may be the largest 32-bit one)
            const int64_t grown = int64_t{previous} + 1;
            if (n < previous || n > grown) {
                // any change of length but a growth by one bar sums the span again
                sum = sumSpan(in, b, n, counts, filtered, held, trail);
            } else {
                sum += filtered(x);
                ++held;
                if (held > n && n != grown) {
                    do ++trail;
                    while (!counts(trail));
                    sum -= filtered(in[trail]);
                    --held;
                }
            }
            if (held >= n) out.set(b, sum);
        } else if (constant) {
            sum += filtered(x);
            out.set(b, sum);
        } else {
            // a length of 0 or below gives 0, and the next span starts afresh after this bar
            sum = 0;
            held = 0;
            trail = b;
            out.set(b, 0.0);
        }
        previous = n;
    }
    return kOk;
}

namespace {

// The deviations of two bars from their sums and sums of squares, sqrt((n squares - sum^2) / n^2)
// or 0 where that is not above 0, worked out side by side (the same values as one at a time).
#ifdef __SSE2__
void deviations2(double sum0, double squares0, double sum1, double squares1, double dn, double nn, double* d) {
    const __m128d sum = _mm_set_pd(sum1, sum0), squares = _mm_set_pd(squares1, squares0);
    const __m128d variance =
        _mm_div_pd(_mm_sub_pd(_mm_mul_pd(_mm_set1_pd(dn), squares), _mm_mul_pd(sum, sum)), _mm_set1_pd(nn));
    // sqrt(+0) is +0: the bars whose variance is not above 0 take the root of +0
    _mm_storeu_pd(d, _mm_sqrt_pd(_mm_and_pd(variance, _mm_cmpgt_pd(variance, _mm_setzero_pd()))));
}
#else
void deviations2(double sum0, double squares0, double sum1, double squares1, double dn, double nn, double* d) {
    const double v0 = (dn * squares0 - sum0 * sum0) / nn, v1 = (dn * squares1 - sum1 * sum1) / nn;
    d[0] = v0 > 0 ? std::sqrt(v0) : 0.0;
    d[1] = v1 > 0 ? std::sqrt(v1) : 0.0;
}
#endif

} // namespace

StatusCode movingStdDev(SeriesHandle& outH, const SeriesHandle& inH, double length) {
    const int32_t n = roundLength(length);
    NumberOut out(&outH, series::count(inH));
    const NumberView in(&inH);
    if (n < 2 || in.empty()) return kOk;
    const int32_t end = in.count();
    const double missing = in.fill(), dn = n, nn = dn * dn;
    withPlainBars(in, out, 0, end, [&](auto x, auto& o) {
        const double none = o.fill();
        double sum = 0, squares = 0, pendingSum = 0, pendingSquares = 0;
        int32_t held = 0, trail = -1, pending = -1;
        for (int32_t b = 0; b < end; ++b) {
            const double v = x[b];
            if (v == missing) {
                o.set(b, none);
                continue;
            }
            sum += v;
            squares += v * v;
            if (++held > n) {
                const double t = advanceTrail(x, trail, missing);
                sum -= t;
                squares -= t * t;
                --held;
            }
            if (held < n) {
                o.set(b, none);
                continue;
            }
            // bars are finished two at a time, so that their divisions and roots go side by side
            if (pending < 0) {
                pending = b;
                pendingSum = sum;
                pendingSquares = squares;
                continue;
            }
            double d[2];
            deviations2(pendingSum, pendingSquares, sum, squares, dn, nn, d);
            o.set(pending, d[0]);
            o.set(b, d[1]);
            pending = -1;
        }
        if (pending >= 0) {
            const double variance = (dn * pendingSquares - pendingSum * pendingSum) / nn;
            o.set(pending, variance > 0 ? std::sqrt(variance) : 0.0);
        }
    });
    return kOk;
}

namespace {

// An average of the last n bars weighted by weight(j), which tells whether bar j has a weight.
// A bar without a weight receives nothing; the sums are formed afresh on every bar.
template <class Weight>
void weightedAverage(NumberOut& out, const NumberView& x, int32_t n, Weight weight) {
    const int32_t end = x.count();
    int32_t counted = 0;
    double w;
    for (int32_t i = 0; i < end; ++i) {
        if (!weight(i, w)) continue;
        if (++counted < n) continue;
        if (n <= 0) {
            out.set(i, 0.0);
            continue;
        }
        double weights = 0, products = 0;
        for (int32_t j = i; j > i - n; --j)
            if (weight(j, w)) {
                weights += w;
                products += x[j] * w;
            }
        out.set(i, weights == 0 ? x[i] : products / weights);
    }
}

} // namespace

StatusCode changeWeightedAverage(SeriesHandle& outH, const SeriesHandle& inH, double length) {
    const int32_t n = toShort(length);
    NumberOut out(&outH, series::count(inH));
    const NumberView x(&inH);
    if (x.empty()) return kOk;
    const double missing = x.fill();
    weightedAverage(out, x, n, [&](int32_t j, double& w) {
        const double a = x[j], b = x[j - 1];
        if (a == missing || b == missing) return false;
        w = std::fabs(a - b);
        return true;
    });
    return kOk;
}

StatusCode seriesWeightedAverage(SeriesHandle& outH, const SeriesHandle& inH, double length,
                                 const SeriesHandle& weightsH) {
    const int32_t n = toShort(length);
    NumberOut out(&outH, series::count(inH));
    const NumberView x(&inH), weights(&weightsH);
    if (x.empty()) return kOk;
    const double missing = x.fill(), weightMissing = weights.fill();
    weightedAverage(out, x, n, [&](int32_t j, double& w) {
        w = weights[j];
        return x[j] != missing && w != weightMissing;
    });
    return kOk;
}

} // namespace fk::indicators
