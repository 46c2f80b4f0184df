// Wilder's relative strength index and the stops that trail a market's bars: the parabolic
// stop and the volatility stop.
#pragma once
#include "containers/series.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::indicators {

// The factors the parabolic stop uses for a step or a maximum of 0: 0.02 and 0.2 as single
// precision numbers, widened.
inline constexpr double kParabolicStep = static_cast<double>(0.02f);
inline constexpr double kParabolicMaximum = static_cast<double>(0.2f);

// RSI: 100 - 100 / (1 + average gain / average loss) over the differences between present
// values. The first bar written is where the count of differences reaches
// floor(period * multiplier + 0.5); a multiplier below 1 is 10. kTooFewBars for an empty input
// or a period below 1.
StatusCode relativeStrength(SeriesHandle& out, const SeriesHandle& in, double period, double multiplier);

// Parabolic: a stop that accelerates toward the extreme of the position by a factor growing by
// `step` up to `maximum` with each new extreme. direction > 0 shows only long stops, < 0 only
// short ones, 0 both. kTooFewBars for a market without bars.
StatusCode parabolicStop(SeriesHandle& out, const BarRecord& market, double direction, double step, double maximum);

// WVolatility: a stop at `multiplier` average ranges from the extreme close of the position.
// A period of 0 is 7 and a multiplier of 0 is 3. kTooFewBars for a market without bars.
StatusCode volatilityStop(SeriesHandle& out, const BarRecord& market, double direction, double period,
                          double multiplier);

} // namespace fk::indicators
