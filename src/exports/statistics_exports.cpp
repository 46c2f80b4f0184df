// Entry points of the statistics.
#include "exports/export_def.h"
#include "mathstat/statistics.h"

using namespace fk;
using namespace fk::mathstat;

FK_ENTRY(StdDevsAsPercentBelow) { return stdDevsAsPercentBelow(*a.out(), *a.series(2), a.startBar()); }
FK_ENTRY(StdDevsForPercent) { return stdDevsForPercent(*a.out(), *a.series(2), a.startBar()); }
FK_ENTRY(Correlation) { return correlation(*a.out(), *a.series(2), *a.series(3), a.number(4)); }
FK_ENTRY(MovingCorrelation) { return movingCorrelation(*a.out(), *a.series(2), a.number(3)); }

FK_ENTRY(RegressionValue) {
    return regressionValue(*a.out(), *a.series(2), a.number(3), a.number(4), a.startBar());
}

FK_ENTRY(SpearmanRCI) { return spearmanRci(*a.out(), *a.series(2), a.number(3), a.startBar()); }
