// Entry points of the conversions between money amounts and price distances.
#include "exports/export_def.h"
#include "mathstat/math_functions.h"

using namespace fk;

FK_ENTRY(DollarsToPrice) { return mathstat::tickConvert(*a.out(), *a.market(2), *a.series(3), true); }
FK_ENTRY(PriceToDollars) { return mathstat::tickConvert(*a.out(), *a.market(2), *a.series(3), false); }
