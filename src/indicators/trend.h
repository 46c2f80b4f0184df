// Trend-state indicators: lines that follow a trend, or a rating of it, and flip when price
// crosses them. A bar is missing when it holds the fill value of the first (price) input, and a
// missing bar gets that value as its output.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::trend {

// An input series without elements returns kDomainError and writes nothing. `start` is the start
// bar as the calling sequence leaves it (0 or more).

// A trailing stop line from the caller's upper and lower bands: the lower line in an up-trend,
// the upper line in a down-trend. A call resumes the trend from the output before its start bar.
StatusCode superTrend(SeriesHandle& out, const SeriesHandle& price, const SeriesHandle& upper,
                      const SeriesHandle& lower, int32_t start);
// The trailing level of a smoothed oscillator at a per-bar distance from it.
StatusCode qqeTrailer(SeriesHandle& out, const SeriesHandle& oscillator, const SeriesHandle& width, int32_t start);
// +1 or -1 by the order of A and B; a bar inside an earlier bar of the last `lookback` takes half
// of that bar's output. A lookback below 1 returns kDomainError.
StatusCode ttmTrend(SeriesHandle& out, const SeriesHandle& a, const SeriesHandle& b, double lookback, int32_t start);
// The swing line of the bar pattern, from bar 0 on every call. A market without bars returns
// kDomainError.
StatusCode gannTrend(SeriesHandle& out, const BarRecord& market);

} // namespace fk::trend
