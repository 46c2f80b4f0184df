// Entry points of directional movement: one engine, one output each.
#include "exports/export_def.h"
#include "indicators/directional.h"

using namespace fk;
using namespace fk::indicators;

namespace {

StatusCode directional(Args& a, DirectionalMode mode, SeriesHandle* DirectionalOutputs::*which) {
    DirectionalOutputs outputs;
    outputs.*which = a.out();
    return directionalMovement(*a.market(2), a.number(3), a.has(4) ? a.number(4) : 0, mode, outputs);
}

} // namespace

FK_ENTRY(ADX) { return directional(a, DirectionalMode::Unsigned, &DirectionalOutputs::adx); }

FK_ENTRY(ModADX) { return directional(a, DirectionalMode::Signed, &DirectionalOutputs::adx); }

FK_ENTRY(PDMI) { return directional(a, DirectionalMode::Unsigned, &DirectionalOutputs::plusDi); }

FK_ENTRY(NDMI) { return directional(a, DirectionalMode::Unsigned, &DirectionalOutputs::minusDi); }
