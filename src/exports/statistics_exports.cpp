// Entry points of the statistics.
#include "exports/export_def.h"
#include "mathstat/statistics.h"

using namespace fk;
using namespace fk::mathstat;

FK_ENTRY(StdDevsAsPercentBelow) { return stdDevsAsPercentBelow(*a.out(), *a.series(2), a.startBar()); }
FK_ENTRY(StdDevsForPercent) { return stdDevsForPercent(*a.out(), *a.series(2), a.startBar()); }
FK_ENTRY(Correlation) { return correlation(*a.out(), *a.series(2), *a.series(3), a.number(4)); }
FK_ENTRY(MovingCorrelation) { return movingCorrelation(*a.out(), *a.series(2), a.number(3)); }

namespace {

// Where the running sums of a call stopped, kept between the calls of one call site.
struct RegressionCallState : HeapCallState {
    RegressionResume resume;
};

} // namespace

FK_ENTRY(RegressionValue) {
    auto* st = a.state<RegressionCallState>();
    return regressionValue(*a.out(), *a.series(2), a.number(3), a.number(4), a.startBar(), st ? &st->resume : nullptr);
}

FK_ENTRY(SpearmanRCI) { return spearmanRci(*a.out(), *a.series(2), a.number(3), a.startBar()); }
