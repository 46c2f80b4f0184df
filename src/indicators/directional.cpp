#include "indicators/directional.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "indicators/averages.h"
#include "indicators/lengths.h"
#include "indicators/select.h"
#include "market/market_view.h"

namespace fk::indicators {

using series::NumberOut;

namespace {

// The running sums of one engine run and what they give on the current bar.
struct DirectionalState {
    DirectionalState(int32_t period, bool signedIndex) : n(period), dn(period), signedDx(signedIndex) {}
    int32_t n;
    double dn;
    bool signedDx;
    double plus = 0, minus = 0, range = 0; // S+, S- and T
    double pdi = 0, mdi = 0, adx = 0;
    int32_t c = 0;

    // Takes bar i; true once the sums hold n bars, when the DI lines and the ADX exist.
    template <class In>
    [[gnu::always_inline]] bool add(const In& high, const In& low, const In& close, int32_t i) {
        ++c;
        const double h = high[i], l = low[i], prevClose = close[i - 1];
        // Only a rise of the high (a fall of the low) is a move, only the larger move counts, and
        // equal moves count for neither. Both sides are chosen side by side by mask, without a
        // branch: the direction of a bar is a coin flip to a predictor.
        const Pair zero = {0.0, 0.0};
        Pair moves = {h - high[i - 1], low[i - 1] - l};
        moves = blend(moves > zero, moves, zero);
        moves = blend(moves > __builtin_shufflevector(moves, moves, 1, 0), moves, zero);
        const double plusMove = moves[0], minusMove = moves[1];
        double tr = h - l;
        tr = h - prevClose > tr ? h - prevClose : tr;
        tr = prevClose - l > tr ? prevClose - l : tr;
        if (c <= n) {
            plus += plusMove;
            minus += minusMove;
            range += tr;
            if (c < n) return false;
        } else {
            plus = plus - plus / dn + plusMove;
            minus = minus - minus / dn + minusMove;
            range = range - range / dn + tr;
        }
        pdi = range > 0 ? plus / range : plus;
        mdi = range > 0 ? minus / range : minus;
        double dx = 0;
        if (pdi != mdi) dx = signedDx ? 100 * (pdi - mdi) / (pdi + mdi) : 100 * std::fabs(pdi - mdi) / (pdi + mdi);
        if (c == n) {
            adx = dx;
        } else {
            // the running mean of the DX values, which turns into Wilder smoothing after n of them
            const double weight = std::min(c - n + 1, n);
            adx = ((weight - 1) * adx + dx) / weight;
        }
        return true;
    }
};

template <class Out>
struct Writers {
    Out* adx = nullptr;
    Out* minusDi = nullptr;
    Out* plusDi = nullptr;
};

// Every bar from `from` to the end of the run is written. A function of its own, so that the
// sums stay in registers.
template <class In, class Out>
[[gnu::noinline]] void directionalWrites(In high, In low, In close, int32_t from, int32_t end, DirectionalState s,
                                         const Writers<Out>& w) {
    for (int32_t i = from; i < end; ++i) {
        s.add(high, low, close, i);
        if (w.adx) w.adx->set(i, s.adx);
        if (w.minusDi) w.minusDi->set(i, 100 * s.mdi);
        if (w.plusDi) w.plusDi->set(i, 100 * s.pdi);
    }
}

template <class In>
void directionalRun(const In& high, const In& low, const In& close, int32_t bars, double missing,
                    DirectionalState s, double firstCount, const Writers<NumberOut>& outs) {
    // the run ends at the first bar without a close; the counter is the bar number
    int32_t end = 1;
    while (end < bars && close[end] != missing) ++end;
    const int32_t from = firstCount < end ? std::max(static_cast<int32_t>(firstCount), 1) : end;
    for (int32_t i = 1; i < from; ++i) s.add(high, low, close, i);
    if (from >= end) return;
    // plain arrays where every output asked for allows them
    PlainOut plain[3];
    Writers<PlainOut> direct;
    bool allPlain = true;
    auto plainFor = [&](NumberOut* out, int k, int32_t first) -> PlainOut* {
        if (!out || first >= end) return nullptr;
        double* q = out->storage(first, end);
        if (!q) {
            allPlain = false;
            return nullptr;
        }
        plain[k] = PlainOut{q, first, out->fill()};
        return &plain[k];
    };
    direct.adx = plainFor(outs.adx, 0, from);
    direct.minusDi = plainFor(outs.minusDi, 1, from);
    direct.plusDi = plainFor(outs.plusDi, 2, from);
    if (allPlain) directionalWrites(high, low, close, from, end, s, direct);
    else directionalWrites(high, low, close, from, end, s, outs);
}

} // namespace

StatusCode directionalMovement(const BarRecord& market, double period, double multiplier, DirectionalMode mode,
                               const DirectionalOutputs& outputs) {
    const int32_t n = toShort(period);
    if (market.barCount <= 0 || n < 1) return kTooFewBars;
    const int32_t bars = market.barCount;
    // the outputs are resolved before the market's series: an output may share their buffers
    std::optional<NumberOut> adx, minusDi, plusDi;
    Writers<NumberOut> w;
    auto resolve = [bars](SeriesHandle* h, std::optional<NumberOut>& out) -> NumberOut* {
        if (!h) return nullptr;
        out.emplace(h, bars);
        return &*out;
    };
    w.adx = resolve(outputs.adx, adx);
    w.minusDi = resolve(outputs.minusDi, minusDi);
    w.plusDi = resolve(outputs.plusDi, plusDi);
    const MarketView m(market);
    const DirectionalState s(n, mode == DirectionalMode::Signed);
    const double firstCount = warmupCount(n, multiplier);
    const double* high = m.high.storage(0, bars);
    const double* low = m.low.storage(0, bars);
    const double* close = m.close.storage(0, bars);
    if (high && low && close)
        directionalRun(PlainBars{high, 0}, PlainBars{low, 0}, PlainBars{close, 0}, bars, m.missing, s, firstCount, w);
    else
        directionalRun(m.high, m.low, m.close, bars, m.missing, s, firstCount, w);
    return kOk;
}

} // namespace fk::indicators
