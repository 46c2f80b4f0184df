// The swing engine: confirmed swing highs and lows of a market's highs and lows (or of its closes,
// or of their midpoints) under seven ways of choosing the bars that are compared, and the
// functions built on it: custom swings, swing-system stop lines, divergences between a price and
// an indicator, and the intermediate-term swings of a single series.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::swingengine {

// Marks each confirmed swing at its own bar with the number of bars it took to confirm it, and
// every other bar written with 0, in `swingHighs` and `swingLows` (either may be null).
// Modes: 0 every bar compared, strength as given (below 1: nothing is done); 1 inside bars passed
// over, strength 1 (short-term swing points); 2 inside bars passed over, strength as given (0
// means 4, negative: nothing); 3 closes, a repeated close passed over, strength 1; 4 closes
// (0 means 4); 5 midpoints of high and low (0 means 4); 6 intermediate-term points: short-term
// points standing beyond the short-term points on both sides. Any other mode does nothing.
// Tie rule: 1 marks the first bar of a flat top (bottom), 2 marks no flat top, any other value its
// last bar. The bar count is the element count of `high`. A start bar of 1 or more resumes a
// little before the second most recent swing of each output when that lies at least 100 bars
// in (mode 2 always starts over); otherwise every bar from 0 is written.
void run(const SeriesHandle& high, const SeriesHandle& low, const SeriesHandle& close, double strength,
         int32_t mode, int32_t tie, SeriesHandle* swingHighs, SeriesHandle* swingLows, int32_t start);

enum class Side { High, Low };

// The engine in mode 0 on one input. An input with holes (a missing value between present ones)
// is searched as if its present values stood side by side, from bar 0; then only the swings
// found are written, each at its own bar, and every other bar keeps what the output held.
StatusCode swingCustom(Side side, SeriesHandle& out, const SeriesHandle& input, double strength, double tie,
                       int32_t start);

// A stop line that steps to each newly confirmed swing's price, shifted by `offsetTicks` ticks
// away from the market (up for highs, down for lows) and rounded to the tick. The bond contracts
// that trade in 32nds use a tick of 1/32 whatever the record says. The fill value until the
// first confirmation, and on every bar when the mode or strength makes the engine do nothing.
// A market without bars returns kTooFewBars.
StatusCode swingSystem(Side side, SeriesHandle& out, const BarRecord& market, double strength, double mode,
                       double offsetTicks);

// 1 on the bar that confirms the later of two matching swing pairs where price and indicator
// disagree: a higher price high against a lower indicator high (Side::High, bearish), or a lower
// price low against a higher indicator low (Side::Low, bullish); 0 on every other bar. An input
// without elements returns kDomainError.
StatusCode divergence(Side side, SeriesHandle& out, const SeriesHandle& price, const SeriesHandle& indicator,
                      double strength);

// +1 at intermediate-term highs, -1 at intermediate-term lows, 0 elsewhere and the fill value at
// missing bars, which are passed over. An input without elements returns kDomainError.
StatusCode intermediateSwings(SeriesHandle& out, const SeriesHandle& input);

} // namespace fk::swingengine
