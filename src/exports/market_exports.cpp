// Entry points of the market properties.
#include "calendar/date.h"
#include "containers/series.h"
#include "exports/export_def.h"
#include "market/bar_record.h"
#include "market/properties.h"

using namespace fk;

FK_ENTRY(BarsNumericProperty) {
    const double value = numericProperty(*a.market(2), calendar::truncToInt32(a.number(3)));
    series::setConstantNumber(*a.out(), value, 1);
    return kOk;
}

FK_ENTRY(BarsStringProperty) {
    stringProperty(*a.market(2), calendar::truncToInt32(a.number(3)), *a.out());
    return kOk;
}

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
