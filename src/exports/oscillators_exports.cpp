// Entry points of the oscillators and volume indicators.
#include "exports/export_def.h"
#include "indicators/oscillators.h"

using namespace fk;
using namespace fk::indicators;

FK_ENTRY(CCI) { return commodityChannelIndex(*a.out(), *a.series(2), a.number(3), a.startBar()); }

FK_ENTRY(PermStochK) { return permanentStochasticK(*a.out(), *a.market(2), *a.series(3)); }

FK_ENTRY(PermStochD) { return permanentStochasticD(*a.out(), *a.market(2), *a.series(3)); }

FK_ENTRY(VolAccumDist) { return volumeAccumulation(*a.out(), *a.market(2)); }

FK_ENTRY(CashFlow) { return cashFlow(*a.out(), *a.market(2), a.number(3)); }

FK_ENTRY(KSDIMaxUp) { return logRangeMaximum(*a.out(), *a.market(2), a.number(3), a.number(4), true); }

FK_ENTRY(KSDIMaxDn) { return logRangeMaximum(*a.out(), *a.market(2), a.number(3), a.number(4), false); }

FK_ENTRY(CalcZeroBal) { return zeroBalance(*a.out(), *a.market(2), *a.series(3)); }
