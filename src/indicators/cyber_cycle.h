// The Cyber Cycle (a two-pole high-pass of a four-bar smoothed price) and the oscillator
// predictors: the price at which an oscillator would reach a given level on the next bar.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"

namespace fk::cycles {

// alpha: NaN or 0 or less means 0.07; 1 or more is a period P, alpha 2 / (P + 1). smoothing: its
// truncation 0 smooths the price over four bars, anything else leaves it as it is. Reads its own
// past outputs back, so a call writes from the start bar on. No input elements: kDomainError.
StatusCode cyberCycle(SeriesHandle& out, const SeriesHandle& x, double alpha, double smoothing, int32_t start);

// The parameters of the predictors after the price and the level, as the caller gives them.
struct PredictorParams {
    double kind;       // 1 RSI, 2 MACD line, 3 MACD histogram
    double n1, n2, n3; // periods
    double step;       // price step the answer is rounded to; 0 or less: none
    double warmUp;     // bars needed before the first answer, as a multiple of the periods
    double mode;       // 0 price, 1 move from the price, 2 price only while the oscillator must still move
    double maxMove;    // largest move in percent of the price; 0 or less: no limit
};

// The price that takes the oscillator to `level` on the next bar, rounded up (`upper`) or down to
// the step. Recomputed from bar 0 on every call; bars from the start bar on are written.
// No price elements, a kind, period or mode out of range: kDomainError.
StatusCode oscPredictor(SeriesHandle& out, const SeriesHandle& price, const SeriesHandle& level,
                        const PredictorParams& p, bool upper, int32_t start);

} // namespace fk::cycles
