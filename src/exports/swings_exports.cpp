// Entry points of the swing points and zigzags.
#include "exports/export_def.h"
#include "indicators/swings.h"

using namespace fk;

FK_ENTRY(ZigZag) {
    swings::zigZag(swings::ZigZagKind::Confirmed, *a.out(), *a.market(2), a.number(3));
    return kOk;
}

FK_ENTRY(LWZigZag) {
    swings::zigZag(swings::ZigZagKind::Strict, *a.out(), *a.market(2), a.number(3));
    return kOk;
}

FK_ENTRY(IsSwingHighPoint) {
    swings::isSwingPoint(swings::Side::High, *a.out(), *a.series(2), a.number(3));
    return kOk;
}

FK_ENTRY(IsSwingLowPoint) {
    swings::isSwingPoint(swings::Side::Low, *a.out(), *a.series(2), a.number(3));
    return kOk;
}

// SwingLowBarsAgo runs this entry point too: the swing series passed decides highs or lows.
FK_ENTRY(SwingHighBarsAgo) {
    swings::swingBarsAgo(*a.out(), *a.series(2), a.number(4));
    return kOk;
}
