// Oscillators and volume indicators: CCI on the averaging engine, the permanent stochastic
// smoothing steps, volume accumulation, cash flow, the log-range maxima and the zero-balance
// projection of turning points.
#pragma once
#include <cstdint>

#include "containers/series.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::indicators {

// CCI: the distance of the input from its simple average, in units of 0.015 mean deviations.
// Computes from start bar s, going on from a warmed run where the average exists at s.
StatusCode commodityChannelIndex(SeriesHandle& out, const SeriesHandle& in, double length, int32_t s);

// PermStochK: K = (raw + K_prev) / 2 on every bar with a close.
StatusCode permanentStochasticK(SeriesHandle& out, const BarRecord& market, const SeriesHandle& raw);
// PermStochD: D = (4 * D_prev + K) / 2 on every bar with a close.
StatusCode permanentStochasticD(SeriesHandle& out, const BarRecord& market, const SeriesHandle& k);

// VolAccumDist: the running sum of volume weighted by where the close lies in the bar's range.
StatusCode volumeAccumulation(SeriesHandle& out, const BarRecord& market);

// CashFlow: the running sum of volume times the change of a chosen price, scaled down by a
// power of 1000 when it grows large.
StatusCode cashFlow(SeriesHandle& out, const BarRecord& market, double priceSelector);

// KSDIMaxUp / KSDIMaxDn: the largest ln(high / low) / sqrt(j) over look-backs j from shortest to
// longest, pairing today's high with the low j bars back (up) or the high j bars back with
// today's low (down).
StatusCode logRangeMaximum(SeriesHandle& out, const BarRecord& market, double shortest, double longest, bool up);

// CalcZeroBal: value(k) = x(k-3) + x(k-2) - x(k-5) over the turning values of a series, at each
// turning point from the sixth on and twice more past the market's last close.
StatusCode zeroBalance(SeriesHandle& out, const BarRecord& market, const SeriesHandle& turns);

} // namespace fk::indicators
