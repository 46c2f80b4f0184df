#include "indicators/ranges.h"

#include <algorithm>

namespace fk::ranges {

using series::NumberOut;
using series::NumberView;

namespace {

// Reads the bars of a series without offset straight from its elements; the searches read only
// bars 0 to count - 1.
struct DirectReader {
    const double* p;
    double operator[](int32_t i) const { return p[i]; }
};

// Writes the bars of a Return Value claimed for the whole run straight into its elements.
struct DirectWriter {
    double* p;
    double none;
    void set(int32_t i, double v) const { p[i] = v; }
    double fill() const { return none; }
};

// Runs loop(reader, writer) for a loop that reads `in` only at bars 0 to count - 1 and writes
// every bar of [from, to): straight through the elements where the input has no offset and the
// Return Value can be written in place, through the view and the NumberOut otherwise.
template <class Loop>
void withDirectAccess(NumberOut& out, const SeriesHandle& in, const NumberView& view, int32_t from, int32_t to,
                      Loop loop) {
    const SharedBuffer* b = in.buffer;
    const bool plain = b && in.offset() == 0 && !b->isConstant() && b->kind == kKindNumber;
    if (double* run = plain ? out.storage(from, to) : nullptr) {
        DirectWriter w{run - from, out.fill()};
        loop(DirectReader{static_cast<const double*>(b->elements)}, w);
    } else {
        loop(view, out);
    }
}

// The rolling search of one call over bars [from, to), carrying the best bar from bar to bar.
// With `recent`, the most recent of equal values is the best. `Reader` is a NumberView, or a
// DirectReader where the input allows one; the output is a NumberOut or a DirectWriter.
template <Extreme kind, bool recent, class Reader>
class ExtremeSearch {
public:
    ExtremeSearch(Reader in, double missing, const ExtremeScan& s)
        : in_(in), missing_(missing), best_(s.best), bestBar_(s.bestBar), lastEqual_(s.lastEqual),
          prev_(s.prevLength), counter_(s.counter) {}

    // `steady` is a constant length of 1 or more, or 0 when the length may change from bar to bar.
    template <class Out, class Length>
    void run(Out& out, Length length, int32_t steady, int32_t from, int32_t to) {
        const double none = out.fill();
        lastMissing_ = from - 1; // what lies before the first bar is not known
        int32_t b = from;
        while (b < to) {
            if (steady >= 1 && prev_ == steady && counter_ > steady && bestBar_ >= 0) {
                b = runSteady(out, steady, b, to);
                continue;
            }
            const double x = in_[b];
            const bool present = x != missing_;
            if (present || bestBar_ >= 0) ++counter_;
            int32_t n = length(b);
            if (n == 0) { // all bars so far
                n = b + 1;
                counter_ = b + 1;
            }
            if (!present) {
                lastMissing_ = b;
            } else {
                if (bestBar_ < 0) {
                    best_ = x;
                    bestBar_ = lastEqual_ = b;
                } else {
                    consider(b, x, best_, bestBar_, lastEqual_);
                }
            }
            // a span that grows by one bar keeps its best; a negative length keeps everything
            if (n >= 0 && static_cast<int64_t>(n) != static_cast<int64_t>(prev_) + 1) {
                if (n != prev_) {
                    lastEqual_ = -1;
                    prev_ = -1;
                }
                if (counter_ > n && (prev_ < 0 || b - n == bestBar_)) renew(b, n);
            }
            prev_ = n;
            out.set(b, bestBar_ >= 0 && counter_ >= n && n >= 1 ? static_cast<double>(b - bestBar_) : none);
            ++b;
        }
    }

    ExtremeScan state(int32_t nextBar) const {
        return {best_, bestBar_, lastEqual_, prev_, counter_, nextBar, recent};
    }

private:
    // The same steps once the length has stayed n for longer than n bars and a best bar exists:
    // every bar then counts, and the span is searched again only when its best bar leaves it.
    // Equal values are not noted here (a noted one stays valid), so a best bar that leaves may
    // cost a search where following an equal value would do. Returns the bar after the last one
    // done; it stops after a bar whose span holds no value.
    template <class Out>
    int32_t runSteady(Out& out, int32_t n, int32_t b, int32_t to) {
        const int32_t start = b;
        double best = best_;
        int32_t bestBar = bestBar_, lastEqual = lastEqual_;
        for (; b < to; ++b) {
            const double x = in_[b];
            if (x != missing_) {
                step(b, x, best, bestBar);
            } else {
                lastMissing_ = b;
            }
            if (b - n == bestBar) {
                best_ = best;
                bestBar_ = bestBar;
                lastEqual_ = lastEqual;
                renew(b, n);
                best = best_;
                bestBar = bestBar_;
                lastEqual = lastEqual_;
                if (bestBar < 0) {
                    out.set(b++, out.fill());
                    break;
                }
            }
            out.set(b, static_cast<double>(b - bestBar));
        }
        counter_ += b - start;
        best_ = best;
        bestBar_ = bestBar;
        lastEqual_ = lastEqual;
        return b;
    }

    // The best bar of the span (b - n, b] when the one carried so far may no longer be in it.
    void renew(int32_t b, int32_t n) {
        const int32_t first = std::max(b - n + 1, 0);
        if (lastEqual_ <= bestBar_) {
            searchSpan(first, b);
        } else {
            // the next bar holding the best value takes over; where none does (a bar changed
            // between two calls after its value was noted), the span is searched
            int32_t j = first;
            while (j <= b && in_[j] != best_) ++j;
            if (j <= b) bestBar_ = j;
            else searchSpan(first, b);
        }
    }

    static bool better(double x, double best) {
        if constexpr (kind == Extreme::Highest) return x > best;
        else return x < best;
    }
    // x replaces the best bar: a better value, or with `recent` an equal one
    static bool takes(double x, double best) {
        if constexpr (kind == Extreme::Highest) return recent ? x >= best : x > best;
        else return recent ? x <= best : x < best;
    }

    // Bar b with the value x joins the best bar found so far, without branches on the values,
    // whose order the processor cannot foresee.
    static void step(int32_t b, double x, double& best, int32_t& bestBar) {
        if constexpr (recent) {
            // the compiler would branch on "not worse": a mask takes its place
            const int32_t take = takes(x, best);
            bestBar ^= (bestBar ^ b) & -take;
            best = better(x, best) ? x : best;
        } else if (better(x, best)) { // made a conditional move
            best = x;
            bestBar = b;
        }
    }

    // The same, noting the latest bar holding a value equal to the best.
    static void consider(int32_t b, double x, double& best, int32_t& bestBar, int32_t& lastEqual) {
        const bool take = takes(x, best);
        lastEqual = (take | (x == best)) ? b : lastEqual;
        bestBar = take ? b : bestBar;
        best = better(x, best) ? x : best;
    }

    // The span searched anew. Equal values after the best bar are not noted here: when the best
    // bar leaves, the span is searched again, which finds the same bar as following them would.
    void searchSpan(int32_t first, int32_t last) {
        if (lastMissing_ < first) {
            // every bar of the span has a value
            double best = in_[first];
            int32_t bestBar = first;
            for (int32_t j = first + 1; j <= last; ++j) step(j, in_[j], best, bestBar);
            best_ = best;
            bestBar_ = lastEqual_ = bestBar;
            return;
        }
        int32_t j = first;
        while (j <= last && in_[j] == missing_) ++j;
        if (j > last) {
            best_ = missing_;
            bestBar_ = lastEqual_ = -1;
            return;
        }
        double best = in_[j];
        int32_t bestBar = j;
        for (++j; j <= last; ++j) {
            const double x = in_[j];
            if (x != missing_ && takes(x, best)) {
                best = x;
                bestBar = j;
            }
        }
        best_ = best;
        bestBar_ = lastEqual_ = bestBar;
    }

    const Reader in_;
    const double missing_;
    double best_;
    int32_t bestBar_, lastEqual_, prev_, counter_;
    int32_t lastMissing_ = -1; // the latest bar seen without a value
};

template <Extreme kind, bool recent, class Reader, class Out>
void searchExtreme(Out& out, Reader in, double missing, const NumberView& len, int32_t from, int32_t to,
                   ExtremeScan& st) {
    ExtremeSearch<kind, recent, Reader> search(in, missing, st);
    if (len.constant() && len[from] == len.constantValue()) {
        // a constant length (read as such from this bar on) is made an integer once
        const int32_t n = truncate(len.constantValue() + 0.5);
        search.run(out, [n](int32_t) { return n; }, std::max(n, 0), from, to);
    } else {
        search.run(out, [&len](int32_t b) { return truncate(len[b] + 0.5); }, 0, from, to);
    }
    st = search.state(to);
}

template <Extreme kind, bool recent>
void searchExtreme(NumberOut& out, const SeriesHandle& values, const NumberView& in, const NumberView& len,
                   int32_t from, int32_t to, ExtremeScan& st) {
    withDirectAccess(out, values, in, from, to, [&](auto reader, auto& writer) {
        searchExtreme<kind, recent>(writer, reader, in.fill(), len, from, to, st);
    });
}

template <Extreme kind>
void searchExtreme(NumberOut& out, const SeriesHandle& values, const NumberView& in, const NumberView& len,
                   bool recent, int32_t from, int32_t to, ExtremeScan& st) {
    if (recent) searchExtreme<kind, true>(out, values, in, len, from, to, st);
    else searchExtreme<kind, false>(out, values, in, len, from, to, st);
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
        if (kind == Extreme::Highest) searchExtreme<Extreme::Highest>(out, values, in, len, recent, from, last + 1, st);
        else searchExtreme<Extreme::Lowest>(out, values, in, len, recent, from, last + 1, st);
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
    if (s >= count) return;
    const bool constant = len.constant() && len[s] == len.constantValue();
    const int32_t fixed = constant ? truncate(len.constantValue()) : 0;
    withDirectAccess(out, cond, c, s, count, [&](auto in, auto& w) {
        auto at = [&](int32_t i) { return static_cast<int32_t>(isTrue(in[i], missing)); };
        int64_t prev = static_cast<int64_t>(truncate(len[s])) + (s >= 1 ? 9999 : 0);
        int32_t k = 0;
        for (int32_t b = s; b < count; ++b) {
            if (constant && fixed > 0 && prev == fixed && b >= fixed) {
                // the span keeps its length: one bar joins it, one leaves
                for (; b < count; ++b) {
                    k += at(b) - at(b - fixed);
                    w.set(b, k);
                }
                return;
            }
            k += at(b);
            const int32_t n = constant ? fixed : truncate(len[b]);
            if (b < n) {
                w.set(b, missing);
            } else {
                if (n == prev) {
                    if (n > 0) k -= at(b - n);
                } else if (n != prev + 1) {
                    // the span changed other than by growing one bar: count it again
                    k = 0;
                    for (int32_t j = n > 0 ? b - n + 1 : b + 1; j <= b; ++j) k += at(j);
                }
                w.set(b, k);
            }
            prev = n;
        }
    });
}

void consecutive(SeriesHandle& outHandle, const SeriesHandle& cond, int32_t startBar) {
    NumberOut out(&outHandle, series::count(cond));
    const NumberView c(&cond);
    const double missing = c.fill();
    int64_t k = 0;
    // The run so far is the last result written for a bar with a value (none is written when
    // the start bar is past the last bar, so the walk begins there at the latest).
    for (int32_t j = std::min(startBar, c.count()) - 1; j >= 0; --j) {
        const double v = out.get(j);
        if (v != missing) {
            k = truncate(v);
            break;
        }
    }
    withDirectAccess(out, cond, c, startBar, c.count(), [&](auto in, auto& w) {
        for (int32_t b = startBar; b < c.count(); ++b) {
            const double x = in[b];
            if (x == missing) {
                w.set(b, missing);
                continue;
            }
            // 0 and NaN end the run (as a mask: the values come in no order a branch could learn)
            const int64_t goesOn = (x != 0.0) & (x == x);
            k = (k + 1) & -goesOn;
            w.set(b, static_cast<double>(k));
        }
    });
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
    const bool constantLimit = len.constant() && len[startBar] == len.constantValue();
    const int32_t fixedLimit = constantLimit ? lookBack(len.constantValue()) : 0;

    IntScratch ring(n, INT32_MIN);
    if (ring.size() < n) return kOk;
    int32_t pos = 0;
    if (startBar > 0) {
        // The n most recent true bars before the first bar, oldest first. A true bar further back
        // than a constant limit can never be reported, so the walk stops there.
        const int32_t stop = constantLimit ? std::max(0, startBar - fixedLimit) : 0;
        int32_t found = 0;
        for (int32_t j = std::min(startBar, count) - 1; j >= stop && found < n; --j)
            if (isTrue(c[j], missing)) ring[n - 1 - found++] = j;
    }
    const double none = out.fill();
    withDirectAccess(out, cond, c, startBar, count, [&](auto in, auto& w) {
        int32_t* slots = ring.data();
        for (int32_t b = startBar; b < count; ++b) {
            // a true bar takes the slot of the oldest one, chosen by mask: a compiler makes a
            // branch of `t ? b : slot`, and whether a bar is true is a coin flip to a predictor
            const int32_t t = isTrue(in[b], missing);
            slots[pos] = (b & -t) | (slots[pos] & (t - 1));
            pos += t;
            pos &= -static_cast<int32_t>(pos != n);
            const int64_t l = constantLimit ? fixedLimit : lookBack(len[b]);
            const int64_t ago = static_cast<int64_t>(b) - slots[pos]; // huge for an empty slot
            w.set(b, ago <= l ? static_cast<double>(ago) : none);
        }
    });
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
