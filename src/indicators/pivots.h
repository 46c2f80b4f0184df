// Bar patterns and bands that look back a fixed way: pivot reversal bars, Arms' ease of
// movement and Chaikin's Bomar bands. Each writes from the start bar on and gives the same
// values as a computation from bar 0, looking back only as far as it needs.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"

namespace fk {
struct BarRecord;
}

namespace fk::pivots {

// 1 on a bar that makes a new low below the `number` bars before it (below 1: 1) and closes above
// the close before (bullish), or a new high that closes below it (bearish); else 0. kTooFewBars
// when the market's last bar index is below the look-back.
StatusCode pivot(SeriesHandle& out, const BarRecord& market, double number, int32_t start, bool bullish);

// The average of the last n ease-of-movement values (n = number rounded, below 1: 1).
// kTooFewBars for a market without bars.
StatusCode easeOfMove(SeriesHandle& out, const BarRecord& market, double number, int32_t start);

struct BomarParams {
    double length;  // of the average, rounded (below 1: 21)
    double window;  // ratios in the window, rounded (below 1: 250)
    double percent; // of the ratios inside the bands (outside 0..100: 85)
};
// The upper or lower band: the average times the ratio of x to its average that leaves the given
// share of the window's ratios outside the band. kDomainError for an x without elements.
StatusCode bomarBand(SeriesHandle& out, const SeriesHandle& x, const BomarParams& p, int32_t start, bool upper);

} // namespace fk::pivots
