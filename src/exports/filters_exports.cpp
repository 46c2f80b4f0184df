// Entry points of the digital filters.
#include "exports/export_def.h"
#include "indicators/filters.h"

using namespace fk;

FK_ENTRY(Laguerre_Func) {
    return filters::laguerre(*a.out(), *a.series(2), a.number(3), a.number(4), a.startBar());
}

FK_ENTRY(Ehlers_Decycler) { return filters::decycler(*a.out(), *a.series(2), a.number(3), a.startBar()); }

FK_ENTRY(Ehlers_Fisher1) {
    return filters::fisher1(*a.out(), *a.series(2), *a.series(3), *a.series(4), a.startBar());
}

FK_ENTRY(Ehlers_Fisher2) { return filters::fisher2(*a.out(), *a.series(2), a.startBar()); }

FK_ENTRY(Ehlers_SuperSmoother) {
    return filters::superSmoother(*a.out(), *a.series(2), a.number(3), a.startBar());
}

FK_ENTRY(Ehlers_RoofingBase) { return filters::roofingBase(*a.out(), *a.series(2), a.number(3), a.startBar()); }

FK_ENTRY(Ehlers_SinewaveBase) {
    return filters::sinewaveBase(*a.out(), *a.series(2), a.number(3), a.startBar());
}

// Recomputes from its first full span on every call; the start bar only answers the release call.
FK_ENTRY(CGOscillator) { return filters::cgOscillator(*a.out(), *a.series(2), a.number(3)); }
