// Trade plans on the market's tick grid: a ladder of targets and stops around an entry, a
// pyramiding schedule, and the target and stop of reversal bars.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::plans {

// The nearest whole number of ticks to a price, held as a double so that sums of ticks cannot
// overflow.
double ticksNearest(double price, double tick);

// A market without bars returns kTooFewBars; a tick size that is not positive, or a parameter
// outside its domain, kDomainError. `start` is the start bar as the calling sequence leaves it.

// Bars in a position (entry and direction present and not 0) receive the price of rung `rung`
// of a ladder spaced `step` ticks from the entry: targets above 0, stops below; others the fill.
StatusCode profitTargetLadder(SeriesHandle& out, const BarRecord& market, const SeriesHandle& entry,
                              const SeriesHandle& direction, double step, double rung, int32_t start);

// One unit at the entry, one more each time price has gone `step` ticks further in the position's
// favour, up to `maxUnits`. Selector: 0 units, 1 price of the next add, 2 average entry price,
// 3 stop one step behind the latest add.
StatusCode pyramidSchedule(SeriesHandle& out, const BarRecord& market, const SeriesHandle& entry,
                           const SeriesHandle& direction, double step, double maxUnits, double selector,
                           int32_t start);

// The plan of the latest reversal bar (a new extreme of `lookBack` bars that closes back): target
// `multiple` ranges from its close, stop one tick beyond its extreme, in force until touched, for
// `expiry` bars (0: no expiry) or until the next reversal bar. Selector: 0 target, 1 stop,
// 2 direction, 3 age in bars.
StatusCode reversalBarPlan(SeriesHandle& out, const BarRecord& market, double lookBack, double multiple,
                           double expiry, double selector, int32_t start);

} // namespace fk::plans
