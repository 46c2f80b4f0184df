// Stops and swings that carry a position or a direction from bar to bar: a stop-and-reverse on
// levels the caller supplies, the Weis wave of volume, the n-bar swing line of Gann's swing
// charts and Williams' trailing-stop reversal. Each recomputes every bar of the market on each
// call and keeps nothing between calls.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"

namespace fk {
struct BarRecord;
}

namespace fk::stops {

// Position levels: a long position trails its stop on longStop and is stopped out when
// longExit reaches it; a short one trails shortStop and is stopped by shortExit.
struct StopLevels {
    const SeriesHandle& longStop;
    const SeriesHandle& shortStop;
    const SeriesHandle& longExit;
    const SeriesHandle& shortExit;
};

// filter: 0 both sides, above 0 long only, below 0 short only; ratchet: a stop moves only with
// the position; initialSide: above 0 long from the first bar, below 0 short, 0 the first level
// that is reached. Bars without a position (or outside the filter) get the Close fill value.
void stopAndReverse(SeriesHandle& out, const BarRecord& market, const StopLevels& levels, double filter,
                    double ratchet, double initialSide);

// The volume of each wave of closes, signed with its direction; a wave turns when the close
// goes back by the reversal amount. kTooFewBars for a market without bars.
StatusCode waveVolume(SeriesHandle& out, const BarRecord& market, double reversal);

// The swing line that turns after `number` higher highs (lower lows) in a row, inside bars passed
// over (number below 1: 3). kTooFewBars when the market's last bar index is below `number`.
StatusCode agTrend(SeriesHandle& out, const BarRecord& market, double number);

// A position that reverses when the market touches its stop, the stop trailing at the lowest
// stopLow (long) or highest stopHigh (short) of the last n bars (n below 1: 3). kDomainError for a
// level series without elements, kTooFewBars when the market's last bar index is below n.
StatusCode willStop(SeriesHandle& out, const BarRecord& market, const SeriesHandle& stopHigh,
                    const SeriesHandle& stopLow, double n);

} // namespace fk::stops
