#include "indicators/directional.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "indicators/averages.h"
#include "indicators/lengths.h"
#include "market/market_view.h"

namespace fk::indicators {

using series::NumberOut;

namespace {

struct Writers {
    NumberOut* adx = nullptr;
    NumberOut* rating = nullptr;
    NumberOut* minusDi = nullptr;
    NumberOut* plusDi = nullptr;
    NumberOut* atr = nullptr;
    double* pastAdx = nullptr; // the last n ADX values by counter, for the rating
};

template <class In>
void directionalLoop(const In& high, const In& low, const In& close, int32_t bars, double missing, int32_t n,
                     double firstCount, bool signedDx, const Writers& w) {
    const double dn = n;
    double plus = 0, minus = 0, range = 0, adx = 0;
    int32_t c = 0;
    for (int32_t i = 1; i < bars; ++i) {
        const double cl = close[i];
        if (cl == missing) break;
        ++c;
        const double h = high[i], l = low[i], prevClose = close[i - 1];
        double up = h - high[i - 1], down = low[i - 1] - l;
        if (up < 0) up = 0;
        if (down < 0) down = 0;
        // only the larger move counts, and equal moves count for neither
        if (up == down) up = down = 0;
        else if (up < down) up = 0;
        else down = 0;
        double tr = h - l;
        if (h - prevClose > tr) tr = h - prevClose;
        if (prevClose - l > tr) tr = prevClose - l;
        if (c <= n) {
            plus += up;
            minus += down;
            range += tr;
            if (c < n) continue;
        } else {
            plus = plus - plus / dn + up;
            minus = minus - minus / dn + down;
            range = range - range / dn + tr;
        }
        const double pdi = range > 0 ? plus / range : plus, mdi = range > 0 ? minus / range : minus;
        double dx = 0;
        if (pdi != mdi) dx = signedDx ? 100 * (pdi - mdi) / (pdi + mdi) : 100 * std::fabs(pdi - mdi) / (pdi + mdi);
        if (c == n) {
            adx = dx;
        } else {
            // the running mean of the DX values, which turns into Wilder smoothing after n of them
            const double weight = std::min(c - n + 1, n);
            adx = ((weight - 1) * adx + dx) / weight;
        }
        double earlierAdx = 0;
        if (w.pastAdx) {
            double& slot = w.pastAdx[c % n];
            earlierAdx = slot;
            slot = adx;
        }
        if (c < firstCount) continue;
        if (w.adx) w.adx->set(i, adx);
        if (w.rating && c - n >= n) w.rating->set(i, (adx + earlierAdx) / 2);
        if (w.minusDi) w.minusDi->set(i, 100 * mdi);
        if (w.plusDi) w.plusDi->set(i, 100 * pdi);
        if (w.atr) w.atr->set(i, range / dn);
    }
}

} // namespace

StatusCode directionalMovement(const BarRecord& market, double period, double multiplier, DirectionalMode mode,
                               const DirectionalOutputs& outputs) {
    const int32_t n = toShort(period);
    if (market.barCount <= 0 || n < 1) return kTooFewBars;
    const int32_t bars = market.barCount;
    // the outputs are resolved before the market's series: an output may share their buffers
    std::optional<NumberOut> adx, rating, minusDi, plusDi, atr;
    Writers w;
    auto resolve = [bars](SeriesHandle* h, std::optional<NumberOut>& out) -> NumberOut* {
        if (!h) return nullptr;
        out.emplace(h, bars);
        return &*out;
    };
    w.adx = resolve(outputs.adx, adx);
    w.rating = resolve(outputs.rating, rating);
    w.minusDi = resolve(outputs.minusDi, minusDi);
    w.plusDi = resolve(outputs.plusDi, plusDi);
    w.atr = resolve(outputs.atr, atr);
    TempSeries past;
    if (w.rating) {
        if (!past.allocate(0, n, 0)) return kOk;
        w.pastAdx = past.bars().data;
    }
    const MarketView m(market);
    const double firstCount = warmupCount(n, multiplier);
    const bool signedDx = mode == DirectionalMode::Signed;
    const double* high = m.high.storage(0, bars);
    const double* low = m.low.storage(0, bars);
    const double* close = m.close.storage(0, bars);
    if (high && low && close)
        directionalLoop(PlainBars{high, 0}, PlainBars{low, 0}, PlainBars{close, 0}, bars, m.missing, n, firstCount,
                        signedDx, w);
    else
        directionalLoop(m.high, m.low, m.close, bars, m.missing, n, firstCount, signedDx, w);
    return kOk;
}

} // namespace fk::indicators
