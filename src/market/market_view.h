// A market record resolved once per call for reading its bars in a loop.
#pragma once
#include <cstdint>

#include "containers/series.h"
#include "market/bar_record.h"

namespace fk {

struct MarketView {
    explicit MarketView(const BarRecord& r)
        : record(&r), bars(r.barCount > 0 ? r.barCount : 0), dateTime(&r.dateTime), open(&r.open),
          high(&r.high), low(&r.low), close(&r.close), volume(&r.volume), missing(close.fill()) {}

    const BarRecord* record;
    int32_t bars;                // the record's bar count (never negative)
    series::NumberView dateTime, open, high, low, close, volume;
    double missing;              // the Close series' fill value marks a bar without data

    bool present(int32_t i) const { return close[i] != missing; }
};

// Whether the market has enough bars for a look-back of n bars (its last bar index reaches n);
// an export that needs them returns kTooFewBars otherwise.
inline bool enoughBars(const BarRecord& market, int64_t lookBack) {
    return static_cast<int64_t>(market.barCount) - 1 >= lookBack;
}

} // namespace fk
