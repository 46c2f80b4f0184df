// Seasonal and cycle functions: the average path of past years to the same calendar date, the
// dominant cycle of a window, the average of the same clock time over past sessions, and the
// values of the trading day built so far.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::seasonal {

// A market without bars (or an input without elements) returns kTooFewBars; a parameter outside
// its domain, or a working table that cannot be allocated, kDomainError. `start` is the start bar
// as the calling sequence leaves it.

// The mean move of `price` from the last price of the year before to the same calendar date, over
// the `years` years before each bar's year, in points or in percent of the base price, plus
// `width` standard deviations of the moves (0 for the mean alone; negative for the lower band).
// A bar without a usable year receives the fill.
StatusCode seasonalPath(SeriesHandle& out, const BarRecord& market, const SeriesHandle& price, double years,
                        bool percent, double width, int32_t start);

// The dominant cycle of the last `window` values, detrended by a least-squares line, among the
// whole periods from `shortest` to `longest`. The selector gives 0 its period, 1 its amplitude,
// 2 the phase of the current bar in degrees (0 the crest).
StatusCode cycleAnalysis(SeriesHandle& out, const SeriesHandle& x, double window, double shortest, double longest,
                         double selector, int32_t start);
// The window's line plus its dominant cycle, projected `horizon` bars past the bar.
StatusCode cycleProjection(SeriesHandle& out, const SeriesHandle& x, double window, double shortest,
                           double longest, double horizon, int32_t start);

// The mean of `x` at the bar's clock time over the `sessions` trading days before the bar's day
// that have a value there.
StatusCode averageOfSameBarTime(SeriesHandle& out, const BarRecord& market, const SeriesHandle& x,
                                double sessions, int32_t start);

// The trading day so far, by selector: 0 change from the previous day's last close, 1 open,
// 2 high, 3 low, 4 close, 5 volume, 6 bars, 7 pivot (high + low + close) / 3.
StatusCode partialDayData(SeriesHandle& out, const BarRecord& market, double selector, int32_t start);

} // namespace fk::seasonal
