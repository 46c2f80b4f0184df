// Swing points and zigzag: turning points of a series and the percentage zigzag through a
// market's highs and lows.
#pragma once
#include <cstdint>

#include "containers/series.h"
#include "market/bar_record.h"

namespace fk::swings {

enum class Side { High, Low };

// 1 or 0 for every bar that has `strength` bars on both sides; missing bars receive the input's
// fill value. A bar is a swing high (low) of the given strength when no higher (lower) value and
// no missing one stand among the `strength` bars before it, and only lower (higher) values among
// those after it: of a run of equal highs the last bar is the swing high.
void isSwingPoint(Side side, SeriesHandle& out, const SeriesHandle& input, double strength);
// Bars ago of the n-th most recent swing already confirmed at each bar. A swing series holds at a
// swing's bar the number of bars that confirm it, and 0 elsewhere.
void swingBarsAgo(SeriesHandle& out, const SeriesHandle& swings, double occurrence);

enum class ZigZagKind {
    Confirmed, // pivots written once the move away from them reaches the percentage
    Strict,    // pivots that stay beyond the last opposite pivot, and the last, unconfirmed one written too
};
// The zigzag through the market's highs and lows reversing at `percent` per cent.
void zigZag(ZigZagKind kind, SeriesHandle& out, const BarRecord& market, double percent);

} // namespace fk::swings
