#include "indicators/swing_engine.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <emmintrin.h>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "calendar/date.h"
#include "containers/plain_bars.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "containers/text.h"
#include "indicators/select.h"
#include "indicators/sliding_extreme.h"
#include "market/market_view.h"
#include "market/properties.h"

namespace fk::swingengine {
namespace {

using indicators::setIf;
using series::NumberOut;
using series::NumberView;

enum class Prices { HighLow, Close, Mid };

// What a mode and a strength make of the scan; `valid` false when the engine does nothing.
struct Setup {
    bool valid = false;
    int32_t strength = 0;
    Prices prices = Prices::HighLow;
    bool skip = false;         // inside bars (equal closes) are passed over
    bool intermediate = false; // swings of the short-term swing points
};

Setup setUp(double strength, int32_t mode) {
    Setup s;
    if (mode < 0 || mode > 6) return s;
    int32_t st = calendar::truncToInt32(strength);
    if (mode == 1 || mode == 3 || mode == 6) {
        st = 1;
    } else if (mode == 2 || mode == 4 || mode == 5) {
        if (st < 0) return s;
        if (st == 0) st = 4;
    } else if (st < 1) {
        return s;
    }
    s.valid = true;
    s.strength = st;
    s.prices = mode == 3 || mode == 4 ? Prices::Close : mode == 5 ? Prices::Mid : Prices::HighLow;
    s.skip = mode == 1 || mode == 2 || mode == 3 || mode == 6;
    s.intermediate = mode == 6;
    return s;
}

// The two prices of a bar that the mode compares. Closes are read through `a` alone.
struct Source {
    NumberView a, b;
    int32_t bars;
};

// A bar's two prices from the values read in the two series; `missing` when a series the mode
// reads holds its fill value there.
template <Prices P>
inline bool missingAt(const Source& s, double va, double vb) {
    if constexpr (P == Prices::Close) return va == s.a.fill();
    else return va == s.a.fill() || vb == s.b.fill();
}
template <Prices P>
inline double hiOf(double va, double vb) {
    if constexpr (P == Prices::Mid) return (va + vb) / 2;
    else return va;
}
template <Prices P>
inline double loOf(double va, double vb) {
    if constexpr (P == Prices::Mid) return (va + vb) / 2;
    else if constexpr (P == Prices::Close) return va;
    else return vb;
}

// A compared bar: its number, its place among the present bars, and its two prices.
struct Ref {
    int32_t bar, seq;
    double hi, lo;
};

// The tie rule: whether a candidate's price must pass its neighbours strictly on each side
// (mirrored for lows).
struct Tie {
    bool leftStrict, rightStrict;
    explicit Tie(int32_t q) : leftStrict(q == 1 || q == 2), rightStrict(q != 1) {}
};

// Whether the candidate stands above (below) every neighbour in [from, to). Every neighbour is
// compared: stopping at the first failure would branch on the prices, which a predicting processor
// cannot foresee.
template <bool Strict>
inline void standsOut(const Ref& cand, const Ref* from, const Ref* to, bool& isHigh, bool& isLow) {
    bool high = true, low = true;
    for (const Ref* r = from; r < to; ++r) {
        high &= Strict ? cand.hi > r->hi : cand.hi >= r->hi;
        low &= Strict ? cand.lo < r->lo : cand.lo <= r->lo;
    }
    isHigh &= high;
    isLow &= low;
}
inline void standsOut(const Ref& cand, const Ref* from, const Ref* to, bool strict, bool& isHigh, bool& isLow) {
    if (strict) standsOut<true>(cand, from, to, isHigh, isLow);
    else standsOut<false>(cand, from, to, isHigh, isLow);
}

struct Scan {
    Source src;
    int32_t strength;
    Tie tie;
    bool wantHigh, wantLow;
};

// Whether a reference lies inside the last one (its high at most the last's, its low at least
// the last's), the last being held as its high and its low negated in a register, so that the
// next bar's test waits on no store; it becomes `now` unless `now` is inside. NaN (with which
// nothing compares) while there is no last reference.
inline bool insideOf(indicators::Pair& last, const Ref& now) {
    const indicators::Pair x = {now.hi, -now.lo};
    const indicators::PairMask within = x <= last;
    const indicators::PairMask inside = within & __builtin_shufflevector(within, within, 1, 0);
    last = indicators::blend(inside, last, x);
    return inside[0] != 0;
}

// What both list scans do first on every bar: tell the sink, read the bar, and either forget the
// references at a missing bar (unless holes are passed over) or number the bar as the next one.
struct ScanState {
    int32_t seq = 0;
};

template <Prices P, bool PassHoles, class Sink, class Read, class Len>
[[gnu::always_inline]] inline bool referenceAt(const Scan& s, int32_t i, Sink& sink, Read& read, ScanState& state, Len& len, Ref& now) {
    sink.bar(i);
    double va, vb;
    read(i, va, vb);
    if (missingAt<P>(s.src, va, vb)) {
        if constexpr (!PassHoles) len = 0;
        return false;
    }
    now = Ref{i, state.seq++, hiOf<P>(va, vb), loOf<P>(va, vb)};
    return true;
}

// One pass from bar `from`, reading bar i's two values with read(i, va, vb). The reference list
// keeps its last 2 st + 1 entries, compacted into the front of its buffer (at least 256 entries)
// when it fills. `sink.bar(i)` comes first on every bar; `sink.swing(side, at, now, take)` follows
// for both sides of every reference judged, `take` telling whether `at` is a swing confirmed by
// the reference `now`: the sinks act on it without a branch, as a swing cannot be foreseen. A
// missing bar clears the lists, or is passed over when PassHoles.
template <Prices P, bool Skip, bool PassHoles, class Sink, class Read>
void scanWith(const Scan& s, int32_t from, Sink& sink, Read read) {
    const int32_t n = s.src.bars, st = s.strength;
    const int64_t window = 2 * static_cast<int64_t>(st) + 1;
    std::unique_ptr<Ref[]> list;
    const int64_t room = std::max<int64_t>(2 * window, 256);
    if (window <= n) list.reset(new (std::nothrow) Ref[room]());
    if (!list) { // too few bars for a single swing (or no memory for the list)
        for (int32_t i = from; i < n; ++i) sink.bar(i);
        return;
    }
    const int32_t cap = static_cast<int32_t>(window);
    Ref* refs = list.get();
    int32_t len = 0;
    ScanState state;
    indicators::Pair last = {NAN, NAN}; // as in scanOuter
    for (int32_t i = from; i < n; ++i) {
        Ref now;
        if (!referenceAt<P, PassHoles>(s, i, sink, read, state, len, now)) continue;
        // A bar inside the last one is passed over; it is written past the list all the same and
        // judges nothing, so that no branch depends on whether it is inside.
        bool inside = false;
        if constexpr (Skip) {
            if (len == 0) last = indicators::Pair{NAN, NAN};
            inside = insideOf(last, now);
        }
        if (len == room) {
            std::memmove(refs, refs + len - (cap - 1), sizeof(Ref) * (cap - 1));
            len = cap - 1;
        }
        refs[len] = now;
        len += inside ? 0 : 1;
        if (len < cap) continue;
        const int32_t k = len - 1 - st;
        const Ref& cand = refs[k];
        bool isHigh = s.wantHigh & !inside, isLow = s.wantLow & !inside;
        standsOut(cand, refs + k - st, refs + k, s.tie.leftStrict, isHigh, isLow);
        standsOut(cand, refs + k + 1, refs + len, s.tie.rightStrict, isHigh, isLow);
        sink.swing(Side::High, cand, now, isHigh);
        sink.swing(Side::Low, cand, now, isLow);
    }
}

// Pairs of doubles in the instruction set's own type, compared and chosen with its own
// operations: written on vector types, the compiler takes a mask made of several comparisons
// for truth values and makes each choice lane by lane in general registers.
using Lanes = __m128d;

// a where the mask is set, else b, lane by lane.
inline Lanes pick(Lanes take, Lanes a, Lanes b) { return _mm_or_pd(_mm_and_pd(take, a), _mm_andnot_pd(take, b)); }

// The scan of a mode that passes over inside bars at strength 1, and of the intermediate points
// built on it. A bar's prices are held as the pair {hi, -lo}, so that both sides take one
// comparison of pairs: a bar stands above a neighbour on the high side and below it on the low
// side where its pair is the greater, lane by lane. A new reference judges the last one against
// the one before it and itself, so that only the last two references are held, and with
// Intermediate a new short-term point judges the last one likewise; they live in registers and
// move on by mask, since no branch can foresee where a swing appears, and start as NaN, with which
// nothing compares, so that nothing is judged before enough of them are held. Bar numbers are
// held as doubles beside them. `sink.bar(i)` comes first on every bar, then `sink.swings(take, at,
// bars, i)` for the points of both sides judged there: the lanes of `take` tell whether the pair
// `at`, at the bars `bars`, is confirmed by bar i. A missing bar clears what is held, or is passed
// over when PassHoles. The same swings as scanWith.
template <Prices P, bool Intermediate, bool PassHoles, bool LeftEqual, bool RightEqual, class Sink, class Read>
void scanOuter(const Scan& s, int32_t from, Sink& sink, Read read) {
    const Lanes none = _mm_set1_pd(NAN), one = _mm_set1_pd(1.0);
    Lanes cand = none, right = none; // the last two references
    Lanes prev = none; // closes: the last bar read, equal to the last reference where it was not one
    Lanes middle = none, last = none; // the last two short-term points of each side
    Lanes now = _mm_set1_pd(from), rightBars = _mm_setzero_pd(), lastBars = _mm_setzero_pd();
    auto beyond = [](Lanes x, Lanes left, Lanes right) {
        return _mm_and_pd(LeftEqual ? _mm_cmpge_pd(x, left) : _mm_cmpgt_pd(x, left),
                          RightEqual ? _mm_cmpge_pd(x, right) : _mm_cmpgt_pd(x, right));
    };
    for (int32_t i = from; i < s.src.bars; ++i, now = _mm_add_pd(now, one)) {
        sink.bar(i);
        double va, vb;
        read(i, va, vb);
        if (missingAt<P>(s.src, va, vb)) [[unlikely]] {
            if constexpr (!PassHoles) prev = cand = right = middle = last = none;
            continue;
        }
        const Lanes x = _mm_set_pd(-loOf<P>(va, vb), hiOf<P>(va, vb));
        // A bar inside the last reference (within it on both lanes) is passed over. A close is
        // inside when it repeats the bar before, which leaves the references out of the test.
        Lanes taken;
        if constexpr (P == Prices::Close) {
            taken = _mm_cmpneq_pd(x, prev);
            prev = x;
        } else {
            const Lanes beyondLast = _mm_cmpnle_pd(x, right);
            taken = _mm_or_pd(beyondLast, _mm_shuffle_pd(beyondLast, beyondLast, 1));
        }
        // the last reference, between the one before it and this bar
        const Lanes point = _mm_and_pd(taken, beyond(right, cand, x));
        const Lanes pointBars = rightBars, pointAt = right;
        cand = pick(taken, right, cand);
        right = pick(taken, x, right);
        rightBars = pick(taken, now, rightBars);
        if constexpr (Intermediate) {
            // the last short-term point, between the one before it and this one
            const Lanes take = _mm_and_pd(point, beyond(last, middle, pointAt));
            const Lanes at = last, atBars = lastBars;
            middle = pick(point, last, middle);
            last = pick(point, pointAt, last);
            lastBars = pick(point, pointBars, lastBars);
            sink.swings(take, at, atBars, i);
        } else {
            sink.swings(point, pointAt, pointBars, i);
        }
    }
}

template <Prices P, bool Intermediate, bool PassHoles, class Sink, class Read>
void scanOuter(const Scan& s, int32_t from, Sink& sink, Read read) {
    if (s.tie.leftStrict && s.tie.rightStrict) scanOuter<P, Intermediate, PassHoles, false, false>(s, from, sink, read);
    else if (s.tie.leftStrict) scanOuter<P, Intermediate, PassHoles, false, true>(s, from, sink, read);
    else scanOuter<P, Intermediate, PassHoles, true, false>(s, from, sink, read);
}

// A pair held in memory that need not be aligned to its size.
inline Lanes loadLanes(const double* p) { return _mm_loadu_pd(p); }
inline void storeLanes(double* p, Lanes v) { _mm_storeu_pd(p, v); }

// The highest of the last n pairs pushed, lane by lane, as SlidingExtreme keeps it for single
// values: the pushes are cut into blocks of n, and a window spans the end of the block before
// (whose highest from each place to its end is formed once the block is full) and the start of
// the current one (whose highest runs along). A NaN pushed takes no part. `slots` holds 2n + 1
// pairs for the life of the window.
class LaneHighest {
public:
    LaneHighest(double* slots, int32_t n) : block_(slots), tail_(slots + 2 * n), n_(n) {
        for (int32_t j = 0; j <= n; ++j) storeLanes(tail_ + 2 * j, kNone);
    }
    void push(Lanes x) {
        if (pos_ == n_) {
            Lanes run = kNone;
            for (int32_t j = n_ - 1; j >= 0; --j) storeLanes(tail_ + 2 * j, run = better(run, loadLanes(block_ + 2 * j)));
            pos_ = 0;
            head_ = kNone;
        }
        storeLanes(block_ + 2 * pos_++, x);
        head_ = better(head_, x);
        extreme_ = better(loadLanes(tail_ + 2 * pos_), head_);
    }
    Lanes extreme() const { return extreme_; }

private:
    static constexpr Lanes kNone = {-HUGE_VAL, -HUGE_VAL};
    // b where it is above a, else a (a NaN b leaves a)
    static Lanes better(Lanes a, Lanes b) { return _mm_max_pd(b, a); }

    double* block_;
    double* tail_;
    int32_t n_;
    int32_t pos_ = 0;
    Lanes head_ = kNone, extreme_ = kNone;
};

// The scan of a mode that compares every bar for one side of two series at once, one on each
// lane (lows negated). `read(i, x, bad)` gives bar i's pair and the lanes
// where it cannot take part (missing, or a price that compares with nothing). Bar k is judged
// when bar k + st arrives, against the highest of the st pairs on each side, both taken from one
// sliding window of the last st pairs: the window as it stands is the right side, and the window
// as it stood st + 1 bars back (kept in a ring) the left side. A lane of bar k takes part only
// when no bar from k - st to k + st is bad there, which the last bad bar of each lane tells; bars
// before `from` count as bad. `sink.bar(i)` comes first on every bar, then `sink.swings(take,
// at, bars, i)` as in scanOuter. `slots` holds 6 st + 4 doubles.
template <bool LeftEqual, bool RightEqual, class Sink, class Read>
void scanLanes(int32_t from, int32_t n, int32_t st, Sink& sink, Read read, double* slots) {
    LaneHighest window(slots, st);
    double* back = slots + 4 * st + 2; // the ring of windows as they stood
    const Lanes one = _mm_set1_pd(1.0), reach = _mm_set1_pd(st), span = _mm_set1_pd(2.0 * st);
    Lanes now = _mm_set1_pd(from), lastBad = _mm_set1_pd(from - 1.0);
    int32_t at = 0; // the ring's place of the window st + 1 bars back
    auto step = [&](int32_t i, auto judge) {
        sink.bar(i);
        Lanes x, bad;
        read(i, x, bad);
        const Lanes left = loadLanes(back + 2 * at);
        lastBad = pick(bad, now, lastBad);
        window.push(x);
        const Lanes right = window.extreme();
        storeLanes(back + 2 * at, right);
        if constexpr (judge) {
            Lanes cand, unused;
            read(i - st, cand, unused);
            const Lanes beyond = _mm_and_pd(LeftEqual ? _mm_cmpge_pd(cand, left) : _mm_cmpgt_pd(cand, left),
                                            RightEqual ? _mm_cmpge_pd(cand, right) : _mm_cmpgt_pd(cand, right));
            sink.swings(_mm_and_pd(_mm_cmplt_pd(lastBad, _mm_sub_pd(now, span)), beyond), cand,
                        _mm_sub_pd(now, reach), i);
        }
        at = at == st ? 0 : at + 1;
        now = _mm_add_pd(now, one);
    };
    const int32_t first = from + 2 * st; // the first bar that can confirm a swing
    for (int32_t i = from; i < first; ++i) step(i, std::false_type{});
    for (int32_t i = first; i < n; ++i) step(i, std::true_type{});
}

// The slots of a scan that compares every bar (6 st + 4 doubles), where the bars hold a swing and
// the slots fit; null otherwise.
struct LaneSlots {
    Scratch<double> slots;
    LaneSlots(int32_t st, int32_t bars)
        : slots(2 * int64_t{st} + 1 <= bars && 6 * int64_t{st} + 4 <= INT32_MAX ? 6 * st + 4 : 0) {}
    double* get() { return slots.size() > 0 ? slots.data() : nullptr; }
};

// The scan of a mode that compares every bar, over the stored arrays (bar i at pa[i - from]):
// bar k is judged when bar k + st arrives, against the highest (lowest) of the st prices on each
// side, both taken from one sliding window of the last st prices: the window as it stands is the
// right side, and the window as it stood st + 1 bars back (kept in a ring) the left side. A bar
// takes part only when no bar from k - st to k + st is missing or has a price that compares with
// nothing, which the last such bar of each side tells; bars before `from` count as missing.
// `slots` holds 6 st + 4 doubles. Not inlined: in the large function of a caller the compiler
// keeps a sink's counter in memory, where each bar waits on the store of the bar before.
template <Prices P, bool WantHigh, bool WantLow, bool LeftEqual, bool RightEqual, class Sink>
[[gnu::noinline]] void scanEvery(const Scan& s, int32_t from, Sink& sink, const double* pa, const double* pb, double* slots) {
    const int32_t n = s.src.bars, st = s.strength;
    const double fillA = s.src.a.fill(), fillB = s.src.b.fill();
    SlidingExtreme<true> highs(slots, st);
    SlidingExtreme<false> lows(slots + 3 * st + 2, st);
    double* highsBack = slots + 2 * st + 1;
    double* lowsBack = slots + 5 * st + 3;
    int32_t badHigh = from - 1, badLow = from - 1, at = 0; // at: the ring's place of the bar st + 1 back
    // bar i, and the candidate st bars back when `judge`
    auto step = [&](int32_t i, auto judge) {
        sink.bar(i);
        const double va = pa[i - from], vb = pb[i - from];
        const bool missing = P == Prices::Close ? va == fillA : (va == fillA) | (vb == fillB);
        const Ref now{i, 0, hiOf<P>(va, vb), loOf<P>(va, vb)};
        const int32_t k = i - st;
        const Ref cand = judge ? Ref{k, 0, hiOf<P>(pa[k - from], pb[k - from]), loOf<P>(pa[k - from], pb[k - from])}
                               : now;
        if constexpr (WantHigh) {
            const double left = highsBack[at];
            badHigh = (missing | (now.hi != now.hi)) ? i : badHigh;
            highs.push(now.hi);
            const double right = highs.extreme();
            highsBack[at] = right;
            if constexpr (judge) {
                const bool take = (badHigh < k - st) & (LeftEqual ? cand.hi >= left : cand.hi > left) &
                                  (RightEqual ? cand.hi >= right : cand.hi > right);
                sink.swing(Side::High, cand, now, take);
            }
        }
        if constexpr (WantLow) {
            const double left = lowsBack[at];
            badLow = (missing | (now.lo != now.lo)) ? i : badLow;
            lows.push(now.lo);
            const double right = lows.extreme();
            lowsBack[at] = right;
            if constexpr (judge) {
                const bool take = (badLow < k - st) & (LeftEqual ? cand.lo <= left : cand.lo < left) &
                                  (RightEqual ? cand.lo <= right : cand.lo < right);
                sink.swing(Side::Low, cand, now, take);
            }
        }
        at = at == st ? 0 : at + 1;
    };
    const int32_t first = from + 2 * st; // the first bar that can confirm a swing
    for (int32_t i = from; i < first; ++i) step(i, std::false_type{});
    for (int32_t i = first; i < n; ++i) step(i, std::true_type{});
}

// scanEvery for the sides wanted and the tie rule; a market's highs and lows that are one series
// (a single series passed as both) are read as closes.
template <Prices P, class Sink>
void scanEvery(const Scan& s, int32_t from, Sink& sink, const double* pa, const double* pb, double* slots) {
    if constexpr (P == Prices::HighLow) {
        if (pa == pb && s.src.a.fill() == s.src.b.fill()) return scanEvery<Prices::Close>(s, from, sink, pa, pb, slots);
    }
    auto sides = [&]<bool LeftEqual, bool RightEqual>() {
        if (s.wantHigh && s.wantLow) scanEvery<P, true, true, LeftEqual, RightEqual>(s, from, sink, pa, pb, slots);
        else if (s.wantHigh) scanEvery<P, true, false, LeftEqual, RightEqual>(s, from, sink, pa, pb, slots);
        else if (s.wantLow) scanEvery<P, false, true, LeftEqual, RightEqual>(s, from, sink, pa, pb, slots);
        else for (int32_t i = from; i < s.src.bars; ++i) sink.bar(i);
    };
    if (s.tie.leftStrict && s.tie.rightStrict) sides.template operator()<false, false>();
    else if (s.tie.leftStrict) sides.template operator()<false, true>();
    else sides.template operator()<true, false>();
}

// The scan, straight from the stored arrays where every bar it reads is stored.
template <Prices P, bool Skip, bool Intermediate, bool PassHoles, class Sink>
void scanBars(const Scan& s, int32_t from, Sink& sink) {
    const double* pa = s.src.a.storage(from, s.src.bars);
    const double* pb = s.src.b.storage(from, s.src.bars);
    if constexpr (!Skip && !Intermediate && !PassHoles) {
        LaneSlots slots(s.strength, s.src.bars - from);
        if (pa && pb && slots.get()) return scanEvery<P>(s, from, sink, pa, pb, slots.get());
    }
    auto with = [&](auto read) {
        if constexpr (Intermediate) { // always of strength 1
            scanOuter<P, true, PassHoles>(s, from, sink, read);
        } else {
            if constexpr (Skip) {
                if (s.strength == 1) return scanOuter<P, false, PassHoles>(s, from, sink, read);
            }
            scanWith<P, Skip, PassHoles>(s, from, sink, read);
        }
    };
    if (pa && pb) {
        with([pa, pb, from](int32_t i, double& va, double& vb) {
            va = pa[i - from];
            vb = pb[i - from];
        });
    } else {
        with([&s](int32_t i, double& va, double& vb) {
            va = s.src.a[i];
            vb = s.src.b[i];
        });
    }
}

// The scan that a set-up asks for.
template <class Sink>
void scan(const Setup& su, const Scan& s, int32_t from, Sink& sink) {
    switch (su.prices) {
    case Prices::Close:
        if (su.skip) scanBars<Prices::Close, true, false, false>(s, from, sink);
        else scanBars<Prices::Close, false, false, false>(s, from, sink);
        break;
    case Prices::Mid: scanBars<Prices::Mid, false, false, false>(s, from, sink); break;
    case Prices::HighLow:
        if (su.intermediate) scanBars<Prices::HighLow, true, true, false>(s, from, sink);
        else if (su.skip) scanBars<Prices::HighLow, true, false, false>(s, from, sink);
        else scanBars<Prices::HighLow, false, false, false>(s, from, sink);
        break;
    }
}

// Resolves the prices a set-up reads.
Source sourceOf(const Setup& su, const SeriesHandle& high, const SeriesHandle& low, const SeriesHandle& close) {
    Source src;
    if (su.prices == Prices::Close) {
        src.a = NumberView(&close);
        src.b = src.a;
    } else {
        src.a = NumberView(&high);
        src.b = NumberView(&low);
    }
    src.bars = NumberView(&high).count();
    return src;
}

// Swing series: the confirmation distance at each swing after `keep` (the bars after it are set
// to 0 before the scan). Written straight into the arrays of outputs that can be written in place.
struct SeriesSink {
    NumberOut* high;
    NumberOut* low;
    double* highs = nullptr; // the outputs' arrays from bar 0, or null to write through set()
    double* lows = nullptr;
    int32_t keepHigh = -1, keepLow = -1;

    void bar(int32_t) {}
    void swing(Side side, const Ref& at, const Ref& now, bool take) {
        if (side == Side::High) mark(high, highs, keepHigh, take, at.bar, now.bar);
        else mark(low, lows, keepLow, take, at.bar, now.bar);
    }
    void swings(Lanes take, Lanes, Lanes bars, int32_t now) {
        const int taken = _mm_movemask_pd(take);
        if (high) mark(high, highs, keepHigh, taken & 1, static_cast<int32_t>(bars[0]), now);
        if (low) mark(low, lows, keepLow, taken >> 1, static_cast<int32_t>(bars[1]), now);
    }
    static void mark(NumberOut* out, double* p, int32_t keep, bool take, int32_t at, int32_t now) {
        take &= at > keep;
        const double v = now - at;
        if (p) setIf(p[at], take, v);
        else if (take) out->set(at, v);
    }
};

// 0 on bars from..n - 1.
void zeros(NumberOut& out, int32_t from, int32_t n) {
    if (from >= n) return;
    if (double* p = out.storage(from, n)) std::fill(p, p + (n - from), 0.0);
    else for (int32_t i = from; i < n; ++i) out.set(i, 0.0);
}

// The most recent bar before `before` holding a value above 0, or -1.
int32_t lastSwingBefore(const NumberOut& out, int32_t before) {
    for (int32_t j = before - 1; j >= 0; --j)
        if (out.get(j) > 0) return j;
    return -1;
}

// Where a continued call resumes for one output: -1 when it has to start over, else the bar
// after which it writes (its second most recent swing, b2), with `scanFrom` lowered to
// b2 - st - 2.
int32_t resumeAfter(const NumberOut& out, int32_t countBefore, int32_t start, int32_t st, int32_t& scanFrom) {
    const int32_t b1 = lastSwingBefore(out, std::min(start, countBefore));
    if (b1 < 0) return -1;
    const int32_t b2 = lastSwingBefore(out, b1);
    if (b2 < 0 || static_cast<int64_t>(b2) - st - 1 < 100) return -1;
    scanFrom = std::min(scanFrom, b2 - st - 2);
    return b2;
}

} // namespace

void run(const SeriesHandle& high, const SeriesHandle& low, const SeriesHandle& close, double strength,
         int32_t mode, int32_t tie, SeriesHandle* swingHighs, SeriesHandle* swingLows, int32_t start) {
    const Setup su = setUp(strength, mode);
    if (!su.valid) return;
    const int32_t n = NumberView(&high).count();
    const int32_t highsBefore = series::count(swingHighs), lowsBefore = series::count(swingLows);
    // outputs first: one of them may share an input's buffer
    std::optional<NumberOut> oh, ol;
    if (swingHighs) oh.emplace(swingHighs, n);
    if (swingLows) ol.emplace(swingLows, n);
    SeriesSink sink{oh ? &*oh : nullptr, ol ? &*ol : nullptr};
    int32_t from = 0;
    if (start >= 1 && mode != 2 && (oh || ol)) {
        from = INT32_MAX;
        const int32_t kh = oh ? resumeAfter(*oh, highsBefore, start, su.strength, from) : 0;
        const int32_t kl = ol ? resumeAfter(*ol, lowsBefore, start, su.strength, from) : 0;
        if (kh < 0 || kl < 0) {
            from = 0;
        } else {
            sink.keepHigh = oh ? kh : -1;
            sink.keepLow = ol ? kl : -1;
        }
    }
    if (oh) zeros(*oh, std::max(from, sink.keepHigh + 1), n);
    if (ol) zeros(*ol, std::max(from, sink.keepLow + 1), n);
    sink.highs = oh ? oh->reserve(0, n) : nullptr;
    sink.lows = ol ? ol->reserve(0, n) : nullptr;
    const Scan s{sourceOf(su, high, low, close), su.strength, Tie(tie), oh.has_value(), ol.has_value()};
    scan(su, s, from, sink);
}

namespace {

// Swings of a series with holes, found among its present values: written at their own bars with
// the confirmation counted in present values; nothing else is written.
struct PresentSink {
    NumberOut& out;
    double* p; // the output's array from bar 0, or null to write through set()
    int32_t last = -1; // the last bar written in p

    void bar(int32_t) {}
    void swing(Side, const Ref& at, const Ref& now, bool take) {
        const double v = now.seq - at.seq;
        if (p) {
            setIf(p[at.bar], take, v);
            last += take * (at.bar - last);
        } else if (take) {
            out.set(at.bar, v);
        }
    }
    ~PresentSink() { out.wrote(last); }
};

// A missing value between present ones.
template <class Read>
bool hasHole(int32_t n, double fill, Read at) {
    int32_t i = 0;
    while (i < n && at(i) == fill) ++i;
    while (i < n && at(i) != fill) ++i;
    while (i < n && at(i) == fill) ++i;
    return i < n;
}
bool hasHole(const NumberView& v) {
    if (const double* p = v.storage(0, v.count())) return hasHole(v.count(), v.fill(), [p](int32_t i) { return p[i]; });
    return hasHole(v.count(), v.fill(), [&v](int32_t i) { return v[i]; });
}

} // namespace

StatusCode swingCustom(Side side, SeriesHandle& out, const SeriesHandle& input, double strength, double tie,
                       int32_t start) {
    const int32_t q = calendar::truncToInt32(tie);
    SeriesHandle* highs = side == Side::High ? &out : nullptr;
    SeriesHandle* lows = side == Side::Low ? &out : nullptr;
    const int32_t n = NumberView(&input).count();
    {
        NumberOut w(&out, n);
        NumberView in(&input);
        if (hasHole(in)) {
            const Setup su = setUp(strength, 0);
            if (!su.valid) return kOk;
            PresentSink sink{w, w.reserve(0, n)};
            const Scan s{Source{in, in, n}, su.strength, Tie(q), side == Side::High, side == Side::Low};
            scanBars<Prices::HighLow, false, false, true>(s, 0, sink);
            return kOk;
        }
    }
    run(input, input, input, strength, 0, q, highs, lows, start);
    return kOk;
}

namespace {

// The tick of the swing-system levels: 1/32 for the bond contracts whose prices lie on that grid.
double levelTick(const BarRecord& market) {
    const std::string root = parseContractSymbol(text::view(market.symbol), 2000).root;
    static const char kBondRoots[] = ",TQ,ZB,ZB1,US,";
    if (!root.empty() && std::string_view(kBondRoots).find("," + root + ",") != std::string_view::npos)
        return 1.0 / 32;
    return market.tickSize;
}

// The grid point nearest to `level`. A decimal tick such as 0.01 has no exact binary value, so the
// whole number of ticks is divided by the ticks per point where that is a whole number: 11260
// ticks of 0.01 give 112.6 itself rather than 11260 times the nearest double of 0.01.
double onGrid(double level, double tick) {
    const double steps = std::floor(level / tick + 0.5);
    const double perPoint = 1.0 / tick;
    return perPoint == std::floor(perPoint) ? steps / perPoint : steps * tick;
}

// The line in two steps, so that no branch depends on where swings are confirmed: the scan marks
// every bar with the number of swings confirmed so far and lists their prices from place 1 on;
// each price then becomes its level once, and every bar reads the level of its mark (place 0:
// the fill value).
struct LevelSink {
    double* marks;
    double* prices;
    Side side;
    double shift;
    int32_t count = 0;

    void bar(int32_t i) { marks[i] = count; }
    void swing(Side s, const Ref& at, const Ref& now, bool take) {
        if (s != side) return;
        prices[count + 1] = side == Side::High ? at.hi + shift : at.lo - shift;
        count += take;
        marks[now.bar] = count;
    }
    // the pair's low lane holds the low negated
    void swings(Lanes take, Lanes at, Lanes, int32_t now) {
        const bool high = side == Side::High;
        prices[count + 1] = high ? at[0] + shift : -at[1] - shift;
        count += (_mm_movemask_pd(take) >> (high ? 0 : 1)) & 1;
        marks[now] = count;
    }
};

} // namespace

StatusCode swingSystem(Side side, SeriesHandle& out, const BarRecord& market, double strength, double mode,
                       double offsetTicks) {
    if (market.barCount <= 0) return kTooFewBars;
    const int32_t bars = market.barCount;
    NumberOut w(&out, bars);
    const Setup su = setUp(strength, calendar::truncToInt32(mode));
    // the marks go straight into the output where it can be written in place
    double* marks = su.valid ? w.storage(0, bars) : nullptr;
    std::unique_ptr<double[]> ownMarks;
    if (su.valid && !marks) marks = (ownMarks = std::unique_ptr<double[]>(new (std::nothrow) double[bars])).get();
    std::unique_ptr<double[]> levels(marks ? new (std::nothrow) double[static_cast<size_t>(bars) + 2] : nullptr);
    if (!levels) {
        for (int32_t i = 0; i < bars; ++i) w.set(i, w.fill());
        return kOk;
    }
    const double tick = levelTick(market);
    LevelSink sink{marks, levels.get(), side, tick > 0 ? offsetTicks * tick : 0.0};
    Scan s{sourceOf(su, market.high, market.low, market.close), su.strength, Tie(0), side == Side::High,
           side == Side::Low};
    s.src.bars = bars;
    scan(su, s, 0, sink);
    levels[0] = w.fill();
    if (tick > 0)
        for (int32_t k = 1; k <= sink.count; ++k) levels[k] = onGrid(levels[k], tick);
    if (ownMarks) {
        for (int32_t i = 0; i < bars; ++i) w.set(i, levels[static_cast<int32_t>(marks[i])]);
    } else {
        for (int32_t i = 0; i < bars; ++i) marks[i] = levels[static_cast<int32_t>(marks[i])];
    }
    return kOk;
}

namespace {

// The swings of one side in the order of the bars that confirm them (one bar confirms one swing
// of a side), in a list for each lane that has one (lanes 0 and 1 are the high and the low sides of
// one series, or one side of two series). Appended without a branch: every swing judged is
// written to the next place and kept by counting it.
struct Confirmation {
    int32_t by, at;
};
struct ConfirmSink {
    Confirmation* next[2];
    void bar(int32_t) {}
    void swing(Side side, const Ref& at, const Ref& now, bool take) { add(side == Side::High ? 0 : 1, take, at.bar, now.bar); }
    void swings(Lanes take, Lanes, Lanes bars, int32_t now) {
        const int taken = _mm_movemask_pd(take);
        add(0, taken & 1, static_cast<int32_t>(bars[0]), now);
        add(1, taken >> 1, static_cast<int32_t>(bars[1]), now);
    }
    void add(int lane, bool take, int32_t at, int32_t now) {
        if (Confirmation*& c = next[lane]) {
            *c = {now, at};
            c += take;
        }
    }
};

} // namespace

StatusCode divergence(Side side, SeriesHandle& out, const SeriesHandle& price, const SeriesHandle& indicator,
                      double strength) {
    if (series::count(price) == 0 || series::count(indicator) == 0) return kDomainError;
    const int32_t n = NumberView(&price).count();
    NumberOut w(&out, n);
    const NumberView a(&price), b(&indicator);
    const Setup su = setUp(strength, 0);
    // Each list: two places read as the swings before the first, room for a swing at every bar,
    // and a closing place that no bar confirms; only the part written is touched.
    const size_t room = static_cast<size_t>(n) + 3;
    std::unique_ptr<Confirmation[]> lists(su.valid ? new (std::nothrow) Confirmation[2 * room] : nullptr);
    if (!lists) {
        for (int32_t t = 0; t < n; ++t) w.set(t, 0.0);
        return kOk;
    }
    const bool high = side == Side::High;
    Confirmation* const la = lists.get() + 2;
    Confirmation* const lb = lists.get() + room + 2;
    Confirmation *endA, *endB;
    // a swing confirmed by bar n or later plays no part, and needs no bar from n on
    const double* pa = a.storage(0, n);
    const double* pb = b.count() >= n ? b.storage(0, n) : nullptr;
    LaneSlots slots(su.strength, n);
    if (pa && pb && slots.get()) {
        // both series on the two lanes of one scan, lows negated, under tie rule 0
        ConfirmSink sink{{la, lb}};
        const Lanes fills = _mm_set_pd(b.fill(), a.fill()), sign = _mm_set1_pd(high ? 0.0 : -0.0);
        scanLanes<true, false>(0, n, su.strength, sink,
                  [pa, pb, fills, sign](int32_t i, Lanes& x, Lanes& bad) {
                      const Lanes v = _mm_set_pd(pb[i], pa[i]);
                      x = _mm_xor_pd(v, sign);
                      bad = _mm_or_pd(_mm_cmpeq_pd(v, fills), _mm_cmpunord_pd(v, v));
                  },
                  slots.get());
        endA = sink.next[0];
        endB = sink.next[1];
    } else {
        ConfirmSink sa{{high ? la : nullptr, high ? nullptr : la}}, sb{{high ? lb : nullptr, high ? nullptr : lb}};
        scanBars<Prices::HighLow, false, false, false>(Scan{Source{a, a, n}, su.strength, Tie(0), high, !high}, 0, sa);
        scanBars<Prices::HighLow, false, false, false>(
            Scan{Source{b, b, std::min(b.count(), n)}, su.strength, Tie(0), high, !high}, 0, sb);
        endA = sa.next[high ? 0 : 1];
        endB = sb.next[high ? 0 : 1];
    }
    for (Confirmation* c : {la - 2, la - 1, lb - 2, lb - 1}) *c = {-1, -1};
    *endA = *endB = {INT32_MAX, -1};
    // Only the bars that confirm a swing in either list are judged, in order, without a branch: the
    // swings confirmed so far are counted, and the last two of each list read from behind the count.
    zeros(w, 0, n);
    double* p = w.reserve(0, n);
    const int64_t st = su.strength;
    int32_t ia = 0, ib = 0, usedA = -1, usedB = -1;
    for (int32_t t = std::min(la[0].by, lb[0].by); t != INT32_MAX; t = std::min(la[ia].by, lb[ib].by)) {
        ia += la[ia].by == t;
        ib += lb[ib].by == t;
        const Confirmation &a1 = la[ia - 2], &a2 = la[ia - 1], &b1 = lb[ib - 2], &b2 = lb[ib - 1];
        const bool nearLast = std::abs(int64_t{a2.at} - b2.at) <= st;
        const bool nearFirst = std::abs(int64_t{a1.at} - b1.at) <= st;
        const bool paired = (ia >= 2) & (ib >= 2) & nearLast & nearFirst & !((a2.at == usedA) & (b2.at == usedB));
        // the values read as the bars stand now: an output on its own input holds the signals
        // written so far at the bars before t
        const double va2 = a[a2.at], va1 = a[a1.at], vb2 = b[b2.at], vb1 = b[b1.at];
        const bool diverges = high ? (va2 > va1) & (vb2 < vb1) : (va2 < va1) & (vb2 > vb1);
        const bool signal = paired & diverges;
        usedA = signal ? a2.at : usedA;
        usedB = signal ? b2.at : usedB;
        if (p) p[t] = signal;
        else if (signal) w.set(t, 1.0);
    }
    return kOk;
}

namespace {

// +1 and -1 at intermediate points; every bar first 0, or the fill value where the input is missing.
// Over the input and the output as they are stored (plain arrays) or through the view and set().
template <class In, class Out>
struct MarkSink {
    const In& in;
    Out& out;
    double missing;

    void bar(int32_t i) { out.set(i, in[i] == missing ? out.fill() : 0.0); }
    void swings(Lanes take, Lanes, Lanes bars, int32_t now) {
        if constexpr (std::is_same_v<Out, PlainOut>) {
            // a mark not taken writes the 0 of bar `now` (a present bar) again
            const Lanes at = pick(take, bars, _mm_set1_pd(now));
            const Lanes v = _mm_and_pd(take, _mm_set_pd(-1.0, 1.0));
            out.q[static_cast<int32_t>(at[0]) - out.from] = v[0];
            out.q[static_cast<int32_t>(at[1]) - out.from] = v[1];
        } else {
            const int taken = _mm_movemask_pd(take);
            if (taken & 1) out.set(static_cast<int32_t>(bars[0]), 1.0);
            if (taken & 2) out.set(static_cast<int32_t>(bars[1]), -1.0);
        }
    }
};

} // namespace

StatusCode intermediateSwings(SeriesHandle& out, const SeriesHandle& input) {
    if (series::count(input) == 0) return kDomainError;
    const int32_t n = NumberView(&input).count();
    NumberOut w(&out, n);
    const NumberView in(&input);
    const Scan s{Source{in, in, n}, 1, Tie(0), true, true};
    withPlainArrays(
        0, n, w,
        [&](const auto& x, auto& o) {
            MarkSink<std::decay_t<decltype(x)>, std::decay_t<decltype(o)>> sink{x, o, in.fill()};
            // the bar is read after the sink wrote it, as an output on its own input then holds it
            scanOuter<Prices::Close, true, true, true, false>(s, 0, sink, [&x](int32_t i, double& va, double& vb) {
                va = vb = x[i];
            });
        },
        in);
    return kOk;
}

} // namespace fk::swingengine
