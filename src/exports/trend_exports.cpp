// Entry points of the trend-state indicators.
#include "exports/export_def.h"
#include "indicators/trend.h"

using namespace fk;

FK_ENTRY(SuperTrend_DLL) {
    return trend::superTrend(*a.out(), *a.series(2), *a.series(3), *a.series(4), a.startBar());
}

FK_ENTRY(TTM_Trend) { return trend::ttmTrend(*a.out(), *a.series(2), *a.series(3), a.number(4), a.startBar()); }

FK_ENTRY(QQE_Trailer) { return trend::qqeTrailer(*a.out(), *a.series(2), *a.series(3), a.startBar()); }

// Computes from bar 0 on every call; the start bar only answers the release call.
FK_ENTRY(GannTrend) { return trend::gannTrend(*a.out(), *a.market(2)); }
