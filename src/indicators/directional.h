// Wilder's directional movement: one engine computes every quantity on each bar and writes the
// outputs its caller asks for (ADX, ModADX, PDMI and NDMI are wrappers over it).
#pragma once
#include "containers/series.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::indicators {

// The series the engine may write; null ones are not computed into.
struct DirectionalOutputs {
    SeriesHandle* adx = nullptr;     // the average directional index (signed in the signed mode)
    SeriesHandle* minusDi = nullptr; // 100 x minus DI
    SeriesHandle* plusDi = nullptr;  // 100 x plus DI
};

enum class DirectionalMode { Unsigned, Signed };

// The first bar written is where the bar counter reaches floor(period * multiplier + 0.5); a
// multiplier below 1 is 10. Returns kTooFewBars for a market without bars or a period below 1.
StatusCode directionalMovement(const BarRecord& market, double period, double multiplier, DirectionalMode mode,
                               const DirectionalOutputs& outputs);

} // namespace fk::indicators
