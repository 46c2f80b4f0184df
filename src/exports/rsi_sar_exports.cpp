// Entry points of RSI and the stop-and-reverse family.
#include "exports/export_def.h"
#include "indicators/rsi_sar.h"

using namespace fk;
using namespace fk::indicators;

namespace {

StatusCode rsi(Args& a) { return relativeStrength(*a.out(), *a.series(2), a.number(3), a.has(4) ? a.number(4) : 0); }

} // namespace

FK_ENTRY(RSI) { return rsi(a); }

// the same function under the name the library exports only in its decorated form
FK_ENTRY(RSI2) { return rsi(a); }

FK_ENTRY(Parabolic) { return parabolicStop(*a.out(), *a.market(2), a.number(3), a.number(4), a.number(5)); }

FK_ENTRY(WVolatility) { return volatilityStop(*a.out(), *a.market(2), a.number(3), a.number(4), a.number(5)); }
