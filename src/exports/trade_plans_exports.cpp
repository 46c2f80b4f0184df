// Entry points of the trade plans.
#include "exports/export_def.h"
#include "indicators/trade_plans.h"

using namespace fk;

FK_ENTRY(PTF_DLL) {
    return plans::profitTargetLadder(*a.out(), *a.market(2), *a.series(3), *a.series(4), a.number(5), a.number(6),
                                     a.startBar());
}

FK_ENTRY(PyramidTP) {
    return plans::pyramidSchedule(*a.out(), *a.market(2), *a.series(3), *a.series(4), a.number(5), a.number(6),
                                  a.number(7), a.startBar());
}

FK_ENTRY(ReverseBarTP) {
    return plans::reversalBarPlan(*a.out(), *a.market(2), a.number(3), a.number(4), a.number(5), a.number(6),
                                  a.startBar());
}
