// Entry points of the rolling statistics and utilities.
#include "exports/export_def.h"
#include "indicators/ranks.h"

using namespace fk;

FK_ENTRY(TSBarMedian) { return ranks::median(*a.out(), *a.series(2), a.number(3), a.startBar()); }
