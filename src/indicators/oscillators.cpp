#include "indicators/oscillators.h"

#include <algorithm>
#include <cmath>

#include "indicators/averages.h"
#include "indicators/lengths.h"
#include "market/market_view.h"
#include "platform/cpu.h"

namespace fk::indicators {

using series::NumberOut;
using series::NumberView;

namespace {

// Sum of |x[j] - centre| over bars from .. to, in four running parts so that the additions do
// not wait on one another.
template <class In>
inline double absoluteDeviations(const In& x, int32_t from, int32_t to, double centre) {
    double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
    int32_t j = from;
    for (; j + 3 <= to; j += 4) {
        s0 += std::fabs(x[j] - centre);
        s1 += std::fabs(x[j + 1] - centre);
        s2 += std::fabs(x[j + 2] - centre);
        s3 += std::fabs(x[j + 3] - centre);
    }
    for (; j <= to; ++j) s0 += std::fabs(x[j] - centre);
    return (s0 + s1) + (s2 + s3);
}

template <class In>
void channelIndexLoop(const In& x, const BarWindow& avg, NumberOut& out, int32_t from, int32_t end, int32_t k,
                      double n, int32_t span, double missing) {
    for (int32_t i = from; i < end; ++i) {
        const double v = x[i], a = avg[i];
        if (v == missing || a == missing) continue;
        if (++k <= n) {
            out.set(i, missing);
            continue;
        }
        // every bar of the span counts, missing ones included
        const double d = absoluteDeviations(x, i - span + 1, i, a);
        out.set(i, d > 0 ? (v - a) / ((d / n) * 0.015) : 0.0);
    }
}

} // namespace

StatusCode commodityChannelIndex(SeriesHandle& outH, const SeriesHandle& inH, double length, int32_t s) {
    if (s == -2) return kOk;
    if (s < 0) s = 0;
    NumberOut out(&outH, series::count(inH));
    const NumberView in(&inH);
    AverageParams p;
    if (!averageParams(length, kSimple, false, p) || !inH.buffer) return kOk;
    const double n = length;
    const int32_t span = truncToInt(n), end = in.count();
    const double missing = in.fill();
    if (s <= n + 1) s = 0;

    TempSeries avg;
    if (!averageToTemp(in, p, s, avg)) return kOk;
    // A call from a bar whose average exists goes on from a warmed run; the test is made at the
    // first bar with a value, since bars without one are passed over anyway.
    int32_t from = s, k = 0;
    if (s > 0) {
        while (from < end && in[from] == missing) ++from;
        if (from >= end) return kOk;
        if (avg.bars()[from] != missing) k = span;
        else from = 0;
    }
    if (from == 0 && avg.bars().first > 0 && !averageToTemp(in, p, 0, avg)) return kOk;
    if (const double* plain = in.storage(0, end))
        channelIndexLoop(PlainBars{plain, 0}, avg.bars(), out, from, end, k, n, span, missing);
    else
        channelIndexLoop(in, avg.bars(), out, from, end, k, n, span, missing);
    return kOk;
}

namespace {

// One smoothing step per bar with a close; a bar without one gets the missing value.
template <class Step>
StatusCode smoothOverBars(SeriesHandle& outH, const BarRecord& market, const SeriesHandle& inH, Step step) {
    NumberOut out(&outH, market.barCount);
    const MarketView m(market);
    const NumberView in(&inH);
    double prev = 0;
    for (int32_t i = 0; i < m.bars; ++i) {
        if (!m.present(i)) {
            out.set(i, m.missing);
            continue;
        }
        prev = step(in[i], prev);
        out.set(i, prev);
    }
    return kOk;
}

} // namespace

StatusCode permanentStochasticK(SeriesHandle& out, const BarRecord& market, const SeriesHandle& raw) {
    return smoothOverBars(out, market, raw, [](double x, double prev) { return (x + prev) / 2; });
}

StatusCode permanentStochasticD(SeriesHandle& out, const BarRecord& market, const SeriesHandle& k) {
    // the weight 4 and the divisor 2 are the function's own, not a normalised average
    return smoothOverBars(out, market, k, [](double x, double prev) { return (4 * prev + x) / 2; });
}

namespace {

// The accumulation over bars 0 .. bars - 1 of any form of bars; a bar missing any of its four
// values writes the missing value and leaves the sum as it was.
template <class Bars, class Out>
void accumulate(const Bars& c, const Bars& h, const Bars& l, const Bars& v, int32_t bars, double missing,
                double highFill, double lowFill, double volumeFill, Out& out) {
    double ad = 0;
    for (int32_t i = 0; i < bars; ++i) {
        const double ci = c[i], hi = h[i], li = l[i], vi = v[i];
        // (one test of the four, not four branches)
        if ((ci == missing) | (hi == highFill) | (li == lowFill) | (vi == volumeFill)) {
            out.set(i, missing);
            continue;
        }
        // a bar without range divides by zero as IEEE arithmetic says, and carries the result on
        ad = vi * ((ci - li) - (hi - ci)) / (hi - li) + ad;
        out.set(i, ad);
    }
}

// One block of bars over plain arrays: each bar's term, 0 for a bar that misses a value, and 1 in
// `gone` for that bar. Written so that the compiler computes several bars abreast: comparisons
// that may not trap let it select instead of branch (the values are the same).
#if defined(__GNUC__) && !defined(__clang__)
#define FK_SELECTS_MAY_NOT_TRAP [[gnu::optimize("no-trapping-math")]]
#else
#define FK_SELECTS_MAY_NOT_TRAP
#endif
FK_SELECTS_MAY_NOT_TRAP [[gnu::always_inline]] inline void termsOf(const double* __restrict c, const double* __restrict h,
                                                                   const double* __restrict l, const double* __restrict v,
                                                                   int32_t len, double missing, double highFill,
                                                                   double lowFill, double volumeFill,
                                                                   double* __restrict term, double* __restrict gone) {
    for (int32_t j = 0; j < len; ++j) {
        const double ci = c[j], hi = h[j], li = l[j], vi = v[j];
        const double t = vi * ((ci - li) - (hi - ci)) / (hi - li);
        const bool out = (ci == missing) | (hi == highFill) | (li == lowFill) | (vi == volumeFill);
        term[j] = out ? 0.0 : t;
        gone[j] = out ? 1.0 : 0.0;
    }
}
// The same loop for processors with 256-bit vectors: four divisions an instruction, not two (the
// divisions set the pace).
#define FK_TERMS_ARGS                                                                                                  \
    const double *__restrict c, const double *__restrict h, const double *__restrict l, const double *__restrict v,   \
        int32_t len, double missing, double highFill, double lowFill, double volumeFill, double *__restrict term,      \
        double *__restrict gone
FK_SELECTS_MAY_NOT_TRAP void accumulationTerms(FK_TERMS_ARGS) {
    termsOf(c, h, l, v, len, missing, highFill, lowFill, volumeFill, term, gone);
}
FK_SELECTS_MAY_NOT_TRAP [[gnu::target("avx2")]] void accumulationTermsWide(FK_TERMS_ARGS) {
    termsOf(c, h, l, v, len, missing, highFill, lowFill, volumeFill, term, gone);
}
#undef FK_TERMS_ARGS

// The accumulation over plain arrays, a block of terms at a time, then their running sum in bar
// order. Adding the 0 of a bar that misses a value leaves the sum as it was: it starts at +0 and
// so is never -0.
void accumulatePlain(const double* c, const double* h, const double* l, const double* v, int32_t bars,
                     double missing, double highFill, double lowFill, double volumeFill, double* q) {
    constexpr int32_t kBlock = 256;
    double term[kBlock], gone[kBlock];
    double ad = 0;
    const bool wide = platform::wideVectors();
    for (int32_t from = 0; from < bars; from += kBlock) {
        const int32_t len = std::min(kBlock, bars - from);
        (wide ? accumulationTermsWide : accumulationTerms)(c + from, h + from, l + from, v + from, len, missing,
                                                           highFill, lowFill, volumeFill, term, gone);
        double* qb = q + from;
        for (int32_t j = 0; j < len; ++j) {
            ad = term[j] + ad;
            qb[j] = gone[j] != 0 ? missing : ad;
        }
    }
}

} // namespace

StatusCode volumeAccumulation(SeriesHandle& outH, const BarRecord& market) {
    NumberOut out(&outH, market.barCount);
    const MarketView m(market);
    const int32_t n = m.bars;
    const double hf = m.high.fill(), lf = m.low.fill(), vf = m.volume.fill();
    const double *c = m.close.storage(0, n), *h = m.high.storage(0, n), *l = m.low.storage(0, n),
                 *v = m.volume.storage(0, n);
    if (c && h && l && v) {
        // every bar is written, so the output may be written as one array
        if (double* q = out.storage(0, n)) {
            accumulatePlain(c, h, l, v, n, m.missing, hf, lf, vf, q);
            return kOk;
        }
    }
    accumulate(m.close, m.high, m.low, m.volume, n, m.missing, hf, lf, vf, out);
    return kOk;
}

StatusCode cashFlow(SeriesHandle& outH, const BarRecord& market, double priceSelector) {
    NumberOut out(&outH, market.barCount);
    const MarketView m(market);
    const int selector = toShort(priceSelector);
    auto price = [&](int32_t i) {
        switch (selector) {
        case 0: return m.open[i];
        case 1: return m.high[i];
        case 2: return m.low[i];
        case 3: return m.close[i];
        case 4: return (m.low[i] + m.high[i]) / 2;
        case 5: return (m.close[i] + m.open[i]) / 2;
        case 6: return (m.low[i] + m.high[i] + m.close[i]) / 3;
        case 7: return (m.low[i] + m.high[i] + m.open[i] + m.close[i]) / 4;
        default: return 0.0;
        }
    };
    double flow = 0, largest = 0;
    int32_t counted = 0;
    for (int32_t i = 0; i < m.bars; ++i) {
        if (truncToInt(m.dateTime[i]) == 0 || !m.present(i)) break;
        ++counted;
        if (i > 0) flow += m.volume[i] * (price(i) - price(i - 1));
        out.set(i, flow);
        largest = std::fmax(largest, std::fabs(flow));
    }
    // an infinite flow has no scale that brings it down (the loop would never end)
    if (largest < 10000 || std::isinf(largest)) return kOk;
    double scale = 1;
    while (scale * 10000 <= largest) scale *= 1000;
    for (int32_t i = 0; i < counted; ++i) out.set(i, out.get(i) / scale);
    return kOk;
}

StatusCode logRangeMaximum(SeriesHandle& outH, const BarRecord& market, double shortest, double longest, bool up) {
    NumberOut out(&outH, market.barCount);
    const MarketView m(market);
    // a negative look-back never counts (its square root is not a number), so none is tried
    const int32_t a = std::max(truncToInt(shortest), 0), b = truncToInt(longest);
    for (int32_t i = 0; i < m.bars; ++i) {
        if (i < longest || !m.present(i)) {
            out.set(i, m.missing);
            continue;
        }
        double best = 0;
        for (int32_t j = a; j <= b; ++j) {
            const double hi = up ? m.high[i] : m.high[i - j], lo = up ? m.low[i - j] : m.low[i];
            if (!(lo > 0)) continue;
            const double ratio = hi / lo;
            if (!(ratio >= 0)) continue;
            const double v = std::log(ratio) / std::sqrt(static_cast<double>(j));
            if (v > best) best = v;
        }
        out.set(i, best);
    }
    return kOk;
}

StatusCode zeroBalance(SeriesHandle& outH, const BarRecord& market, const SeriesHandle& turnsH) {
    if (market.barCount <= 0) return kOk;
    const int32_t bars = market.barCount;
    NumberOut out(&outH, std::max(bars, series::count(turnsH)));
    const MarketView m(market);
    const NumberView turns(&turnsH);
    const double none = turns.fill();
    // the six latest turning values, newest first; places not reached yet hold 0
    double x[6] = {0, 0, 0, 0, 0, 0};
    int32_t seen = 0;
    for (int32_t t = 0; t < turns.count(); ++t) {
        const double v = turns[t];
        if (v == none || v == 0) continue;
        for (int k = 5; k > 0; --k) x[k] = x[k - 1];
        x[0] = v;
        if (++seen > 5) out.set(t, x[3] + x[2] - x[5]);
    }
    // past the last close: halfway through the bars without one, and at the last bar
    int32_t c = bars - 1;
    while (c > 0 && m.close[c] == none) --c;
    const int32_t gap = bars - c;
    if (gap > 1) out.set(c + gap / 2, x[1] + x[2] - x[4]);
    if (gap >= 3) out.set(bars - 1, x[1] + x[0] - x[3]);
    return kOk;
}

} // namespace fk::indicators
