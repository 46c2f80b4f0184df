// Entry points of the Cyber Cycle and the oscillator predictors.
#include "exports/export_def.h"
#include "indicators/cyber_cycle.h"

using namespace fk;

namespace {

StatusCode predictor(Args& a, bool upper) {
    const cycles::PredictorParams p{a.number(4), a.number(5), a.number(6),  a.number(7),
                                    a.number(8), a.number(9), a.number(10), a.number(11)};
    return cycles::oscPredictor(*a.out(), *a.series(2), *a.series(3), p, upper, a.startBar());
}

} // namespace

FK_ENTRY(EhlersCyberCycle) {
    return cycles::cyberCycle(*a.out(), *a.series(2), a.number(3), a.number(4), a.startBar());
}

FK_ENTRY(UpperOscPredictorDLL) { return predictor(a, true); }

FK_ENTRY(LowerOscPredictorDLL) { return predictor(a, false); }
