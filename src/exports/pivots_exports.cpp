// Entry points of the pivot reversal bars, ease of movement and Bomar bands.
#include "exports/export_def.h"
#include "indicators/pivots.h"

using namespace fk;

FK_ENTRY(BullishPivot) { return pivots::pivot(*a.out(), *a.market(2), a.number(3), a.startBar(), true); }

FK_ENTRY(BearishPivot) { return pivots::pivot(*a.out(), *a.market(2), a.number(3), a.startBar(), false); }

FK_ENTRY(EaseOfMove) { return pivots::easeOfMove(*a.out(), *a.market(2), a.number(3), a.startBar()); }

FK_ENTRY(BomarUpper) {
    return pivots::bomarBand(*a.out(), *a.series(2), {a.number(3), a.number(4), a.number(5)}, a.startBar(), true);
}

FK_ENTRY(BomarLower) {
    return pivots::bomarBand(*a.out(), *a.series(2), {a.number(3), a.number(4), a.number(5)}, a.startBar(), false);
}
