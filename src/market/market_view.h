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

} // namespace fk
