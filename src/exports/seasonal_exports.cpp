// Entry points of the seasonal and cycle functions.
#include "exports/export_def.h"
#include "indicators/seasonal.h"

using namespace fk;

FK_ENTRY(Seasonal) {
    return seasonal::seasonalPath(*a.out(), *a.market(2), *a.series(3), a.number(4), false, 0.0, a.startBar());
}

FK_ENTRY(SeasonalPct) {
    return seasonal::seasonalPath(*a.out(), *a.market(2), *a.series(3), a.number(4), true, 0.0, a.startBar());
}

// Units 0 are points, any other value percent.
FK_ENTRY(SeasonalDevUp) {
    return seasonal::seasonalPath(*a.out(), *a.market(2), *a.series(3), a.number(4), a.number(6) != 0.0, a.number(5),
                                  a.startBar());
}

FK_ENTRY(SeasonalDevDown) {
    return seasonal::seasonalPath(*a.out(), *a.market(2), *a.series(3), a.number(4), a.number(6) != 0.0, -a.number(5),
                                  a.startBar());
}

FK_ENTRY(CycleAnalysis) {
    return seasonal::cycleAnalysis(*a.out(), *a.series(2), a.number(3), a.number(4), a.number(5), a.number(6),
                                   a.startBar());
}

FK_ENTRY(CycleCalc) {
    return seasonal::cycleProjection(*a.out(), *a.series(2), a.number(3), a.number(4), a.number(5), a.number(6),
                                     a.startBar());
}

FK_ENTRY(AvgOfSameBarTime) {
    return seasonal::averageOfSameBarTime(*a.out(), *a.market(2), *a.series(3), a.number(4), a.startBar());
}

FK_ENTRY(PartialDayData) { return seasonal::partialDayData(*a.out(), *a.market(2), a.number(3), a.startBar()); }
