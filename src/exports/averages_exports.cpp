// Entry points of the moving averages and sums.
#include "exports/export_def.h"
#include "indicators/averages.h"

using namespace fk;

FK_ENTRY(MovAvg) { return indicators::movingAverage(*a.out(), *a.series(2), a.number(3), a.number(4), a.startBar()); }

FK_ENTRY(MovingSum) {
    return indicators::movingSum(*a.out(), *a.series(2), *a.series(3), a.number(4), a.startBar());
}

FK_ENTRY(MovStdDev) { return indicators::movingStdDev(*a.out(), *a.series(2), a.number(3)); }

FK_ENTRY(MOMA) { return indicators::changeWeightedAverage(*a.out(), *a.series(2), a.number(3)); }

FK_ENTRY(VOMA) { return indicators::seriesWeightedAverage(*a.out(), *a.series(2), a.number(3), *a.series(4)); }
