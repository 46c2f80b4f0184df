// Entry points of the swing engine's users.
#include "exports/export_def.h"
#include "indicators/swing_engine.h"

using namespace fk;
using swingengine::Side;

FK_ENTRY(SwingCustomHigh) {
    return swingengine::swingCustom(Side::High, *a.out(), *a.series(2), a.number(3), a.number(4), a.startBar());
}
FK_ENTRY(SwingCustomLow) {
    return swingengine::swingCustom(Side::Low, *a.out(), *a.series(2), a.number(3), a.number(4), a.startBar());
}

// The swing-system lines, divergences and intermediate swings compute from bar 0 on every call.
FK_ENTRY(SwingSystemHigh) {
    return swingengine::swingSystem(Side::High, *a.out(), *a.market(2), a.number(3), a.number(4), a.number(5));
}
FK_ENTRY(SwingSystemLow) {
    return swingengine::swingSystem(Side::Low, *a.out(), *a.market(2), a.number(3), a.number(4), a.number(5));
}
FK_ENTRY(BullDivergence) {
    return swingengine::divergence(Side::Low, *a.out(), *a.series(2), *a.series(3), a.number(4));
}
FK_ENTRY(BearDivergence) {
    return swingengine::divergence(Side::High, *a.out(), *a.series(2), *a.series(3), a.number(4));
}
FK_ENTRY(LWIntSwing) { return swingengine::intermediateSwings(*a.out(), *a.series(2)); }
