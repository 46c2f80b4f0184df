// Entry points of the market properties.
#include "containers/series.h"
#include "exports/export_def.h"
#include "market/bar_record.h"

using namespace fk;

FK_ENTRY(TickMove) {
    series::setConstantNumber(*a.out(), a.market(2)->tickSize, 1);
    return kOk;
}

FK_ENTRY(TickValue) {
    series::setConstantNumber(*a.out(), a.market(2)->tickValue, 1);
    return kOk;
}

FK_ENTRY(MinMove) {
    const BarRecord& m = *a.market(2);
    series::setConstantNumber(*a.out(), m.minMoveFactor * m.tickSize, 1);
    return kOk;
}
