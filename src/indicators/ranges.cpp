#include "indicators/ranges.h"

#include <algorithm>

namespace fk::ranges {

using series::NumberOut;
using series::NumberView;

IntScratch::IntScratch(int32_t n, int32_t value) {
    series::create(h_, Family::Long, n, static_cast<double>(value));
}

namespace {

// The rolling search of one call over bars [from, to), carrying the best bar from bar to bar.
template <Extreme kind>
class ExtremeSearch {
public:
    ExtremeSearch(const NumberView& in, bool recent, const ExtremeScan& s)
        : in_(in), missing_(in.fill()), recent_(recent), best_(s.best), bestBar_(s.bestBar),
          lastEqual_(s.lastEqual), prev_(s.prevLength), counter_(s.counter) {}

    template <class Length>
    void run(NumberOut& out, Length length, int32_t from, int32_t to) {
        const double none = out.fill();
        for (int32_t b = from; b < to; ++b) {
            const double x = in_[b];
            const bool present = x != missing_;
            if (present || bestBar_ >= 0) ++counter_;
            int32_t n = length(b);
            if (n == 0) { // all bars so far
                n = b + 1;
                counter_ = b + 1;
            }
            if (present) consider(b, x);
            // a span that grows by one bar keeps its best; a negative length keeps everything
            if (n >= 0 && static_cast<int64_t>(n) != static_cast<int64_t>(prev_) + 1) {
                if (n != prev_) {
                    lastEqual_ = -1;
                    prev_ = -1;
                }
                if (counter_ > n && (prev_ < 0 || b - n == bestBar_)) {
                    const int32_t first = std::max(b - n + 1, 0);
                    if (lastEqual_ <= bestBar_) {
                        searchSpan(first, b);
                    } else {
                        // the next bar holding the best value takes over
                        int32_t j = first;
                        while (in_[j] != best_) ++j;
                        bestBar_ = j;
                    }
                }
            }
            prev_ = n;
            out.set(b, bestBar_ >= 0 && counter_ >= n && n >= 1 ? static_cast<double>(b - bestBar_) : none);
        }
    }

    ExtremeScan state(bool recent, int32_t nextBar) const {
        return {best_, bestBar_, lastEqual_, prev_, counter_, nextBar, recent};
    }

private:
    static bool better(double x, double best) {
        if constexpr (kind == Extreme::Highest) return best < x;
        else return best > x;
    }

    void consider(int32_t b, double x) {
        if (bestBar_ < 0 || better(x, best_)) {
            best_ = x;
            bestBar_ = lastEqual_ = b;
        } else if (best_ == x) {
            lastEqual_ = b;
            if (recent_) bestBar_ = b;
        }
    }

    void searchSpan(int32_t first, int32_t last) {
        best_ = missing_;
        bestBar_ = lastEqual_ = -1;
        for (int32_t j = first; j <= last; ++j) {
            const double x = in_[j];
            if (x != missing_) consider(j, x);
        }
    }

    const NumberView& in_;
    const double missing_;
    const bool recent_;
    double best_;
    int32_t bestBar_, lastEqual_, prev_, counter_;
};

template <Extreme kind>
void searchExtreme(NumberOut& out, const NumberView& in, const NumberView& len, bool recent, int32_t from,
                   int32_t to, ExtremeScan& st) {
    ExtremeSearch<kind> search(in, recent, st);
    if (len.constant() && len[from] == len.constantValue()) {
        // a constant length (read as such from this bar on) is made an integer once
        const int32_t n = truncate(len.constantValue() + 0.5);
        search.run(out, [n](int32_t) { return n; }, from, to);
    } else {
        search.run(out, [&len](int32_t b) { return truncate(len[b] + 0.5); }, from, to);
    }
    st = search.state(recent, to);
}

} // namespace

StatusCode extremeIndex(Extreme kind, SeriesHandle& outHandle, const SeriesHandle& values, const SeriesHandle& length,
                        double tieMode, int32_t startBar, ExtremeScan* resume) {
    const int32_t count = series::count(values);
    if (count <= 0) return kTooFewBars;
    NumberOut out(&outHandle, count);
    const NumberView in(&values);
    const NumberView len(&length);
    const bool recent = tieMode != 0.0; // NaN counts as not 0

    // Bars after the last present one receive the fill value, whatever the search found there.
    int32_t last = count - 1;
    while (last >= 0 && in.missing(last)) --last;

    ExtremeScan st;
    st.best = in.fill();
    int32_t from = 0;
    bool resumed = false;
    if (startBar > 0) {
        if (resume && resume->nextBar >= 0 && resume->nextBar <= startBar && resume->recent == recent) {
            // the previous call stopped at its last present bar: go on from the bar after it
            st = *resume;
            from = st.nextBar;
            resumed = true;
        } else if (out.get(startBar) >= 0) {
            // an earlier result at the first bar: search the span anew there
            from = startBar;
            st.prevLength = -999;
            st.counter = count;
        }
    }
    if (last >= from) {
        if (kind == Extreme::Highest) searchExtreme<Extreme::Highest>(out, in, len, recent, from, last + 1, st);
        else searchExtreme<Extreme::Lowest>(out, in, len, recent, from, last + 1, st);
        if (resume) *resume = st;
    } else if (resume && !resumed) {
        resume->nextBar = -1;
    }
    for (int32_t b = last + 1; b < count; ++b) out.set(b, out.fill());
    return kOk;
}

void occurrences(SeriesHandle& outHandle, const SeriesHandle& cond, const SeriesHandle& length, int32_t startBar) {
    NumberOut out(&outHandle, series::count(cond));
    const NumberView c(&cond);
    const NumberView len(&length);
    const int32_t count = c.count();
    const double missing = c.fill();
    int32_t s = startBar;
    // A continued call inside the first span would lose the bars before it: start over.
    if (s > 0 && s < truncate(len[s])) s = 0;
    int64_t prev = truncate(len[s]) + (s >= 1 ? 9999 : 0);
    int32_t k = 0;
    for (int32_t b = s; b < count; ++b) {
        if (isTrue(c[b], missing)) ++k;
        const int32_t n = truncate(len[b]);
        if (b < n) {
            out.set(b, missing);
        } else {
            if (n == prev) {
                if (n > 0 && isTrue(c[b - n], missing)) --k;
            } else if (n != prev + 1) {
                // the span changed other than by growing one bar: count it again
                k = 0;
                for (int32_t j = n > 0 ? b - n + 1 : b + 1; j <= b; ++j) k += isTrue(c[j], missing);
            }
            out.set(b, k);
        }
        prev = n;
    }
}

void consecutive(SeriesHandle& outHandle, const SeriesHandle& cond, int32_t startBar) {
    NumberOut out(&outHandle, series::count(cond));
    const NumberView c(&cond);
    const double missing = c.fill();
    int64_t k = 0;
    // The run so far is the last result written for a bar with a value.
    for (int32_t j = startBar - 1; j >= 0; --j) {
        const double v = out.get(j);
        if (v != missing) {
            k = truncate(v);
            break;
        }
    }
    for (int32_t b = startBar; b < c.count(); ++b) {
        const double x = c[b];
        if (x == missing) {
            out.set(b, missing);
            continue;
        }
        k = x == 0.0 || x != x ? 0 : k + 1;
        out.set(b, static_cast<double>(k));
    }
}

StatusCode mostRecentOccurrence(SeriesHandle& outHandle, const SeriesHandle& cond, double occurrence,
                                const SeriesHandle& limit, int32_t startBar) {
    const int32_t count = series::count(cond);
    if (count <= 0) return kTooFewBars;
    series::setCount(outHandle, count, true);
    NumberOut out(&outHandle, count);
    const NumberView c(&cond);
    const NumberView len(&limit);
    const double missing = c.fill();
    // More slots than bars can never all fill; the ring needs no more than count + 1.
    const int32_t n = std::clamp(truncate(occurrence), 1, count + 1);
    auto lookBack = [count](double v) {
        const int32_t l = truncate(v);
        return l < 1 ? count : l;
    };
    const bool constantLimit = len.constant();
    const int32_t fixedLimit = constantLimit ? lookBack(len.constantValue()) : 0;

    IntScratch ring(n, INT32_MIN);
    if (ring.size() < n) return kOk;
    int32_t pos = 0;
    if (startBar > 0) {
        // The n most recent true bars before the first bar, oldest first. A true bar further back
        // than a constant limit can never be reported, so the walk stops there.
        const int32_t stop = constantLimit ? std::max(0, startBar - fixedLimit) : 0;
        int32_t found = 0;
        for (int32_t j = startBar - 1; j >= stop && found < n; --j)
            if (isTrue(c[j], missing)) ring[n - 1 - found++] = j;
    }
    const double none = out.fill();
    for (int32_t b = startBar; b < count; ++b) {
        if (isTrue(c[b], missing)) {
            ring[pos] = b;
            if (++pos == n) pos = 0;
        }
        const int32_t l = constantLimit ? fixedLimit : lookBack(len[b]);
        const int32_t t = ring[pos];
        out.set(b, t != INT32_MIN && b - t <= l ? static_cast<double>(b - t) : none);
    }
    return kOk;
}

void numberTrue(SeriesHandle& outHandle, const SeriesHandle* const* conds, int condCount, int32_t startBar) {
    NumberOut out(&outHandle, series::count(conds[0]));
    NumberView views[9];
    condCount = std::min(condCount, 9);
    for (int i = 0; i < condCount; ++i) views[i] = NumberView(conds[i]);
    for (int32_t b = startBar; b < views[0].count(); ++b) {
        int k = 0;
        for (int i = 0; i < condCount; ++i) k += isTrue(views[i][b], views[i].fill());
        out.set(b, k);
    }
}

StatusCode isBitTrue(SeriesHandle& outHandle, const SeriesHandle& values, double bitNumber, int32_t startBar) {
    const int32_t count = series::count(values);
    const uint32_t bit = static_cast<uint32_t>(truncate(bitNumber));
    if (count <= 0 || bit > 30) return kDomainError;
    NumberOut out(&outHandle, count);
    const NumberView in(&values);
    for (int32_t b = startBar; b < count; ++b) {
        const double x = in[b];
        if (!(x >= 0.0)) continue; // negative or NaN: unwritten
        const int32_t v = truncate(x);
        out.set(b, v >= 1 && ((v >> bit) & 1) ? 1.0 : 0.0);
    }
    return kOk;
}

void shiftBars(SeriesHandle& out, SeriesHandle& in, double shift) {
    buffers::assign(out, in);
    const int64_t old = out.offset();
    const int64_t next = old + truncate(shift);
    constexpr int64_t kLimit = int64_t{1} << 29;
    if (next != old && next > -kLimit && next < kLimit) out.setOffset(static_cast<int32_t>(next));
}

} // namespace fk::ranges
