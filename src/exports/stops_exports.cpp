// Entry points of the stops, waves and the n-bar trend.
#include "exports/export_def.h"
#include "indicators/stops.h"

using namespace fk;

FK_ENTRY(StopAndReverse) {
    const stops::StopLevels levels{*a.series(3), *a.series(4), *a.series(5), *a.series(6)};
    stops::stopAndReverse(*a.out(), *a.market(2), levels, a.number(7), a.number(8), a.has(9) ? a.number(9) : 0.0);
    return kOk;
}

FK_ENTRY(WaveVolume_DLL) { return stops::waveVolume(*a.out(), *a.market(2), a.number(3)); }

FK_ENTRY(AgTrend) { return stops::agTrend(*a.out(), *a.market(2), a.number(3)); }

FK_ENTRY(WillStopCustom) {
    return stops::willStop(*a.out(), *a.market(2), *a.series(3), *a.series(4), a.number(5));
}
