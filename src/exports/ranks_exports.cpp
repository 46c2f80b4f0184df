// Entry points of the sideways range, rank and percentile functions.
#include "exports/export_def.h"
#include "indicators/ranks.h"

using namespace fk;

FK_ENTRY(LateralMovement) {
    return ranks::lateralMovement(*a.out(), *a.series(2), a.number(3), a.number(4), a.number(5), a.startBar());
}

FK_ENTRY(LateralBox) {
    return ranks::lateralBox(*a.out(), *a.series(2), a.number(3), a.number(4), a.number(5), a.number(6),
                             a.startBar());
}

FK_ENTRY(EquityRankForBar) { return ranks::equityRank(*a.out(), *a.series(2), a.number(3), a.startBar()); }

FK_ENTRY(PercentileDLL) {
    return ranks::percentile(*a.out(), *a.series(2), a.number(3), a.number(4), a.startBar());
}
