// Entry points of the range searches and occurrence counts.
#include "exports/export_def.h"
#include "indicators/ranges.h"

using namespace fk;

namespace {

// Where a range search stopped, kept between the calls of one call site.
struct ExtremeCallState : HeapCallState {
    ranges::ExtremeScan scan;
};

StatusCode extremeEntry(ranges::Extreme kind, Args& a) {
    auto* st = a.state<ExtremeCallState>();
    return ranges::extremeIndex(kind, *a.out(), *a.series(2), *a.series(3), a.number(4), a.startBar(),
                                st ? &st->scan : nullptr);
}

} // namespace

FK_ENTRY(HighestIndex) { return extremeEntry(ranges::Extreme::Highest, a); }

FK_ENTRY(LowestIndex) { return extremeEntry(ranges::Extreme::Lowest, a); }

FK_ENTRY(Occurrences) {
    ranges::occurrences(*a.out(), *a.series(2), *a.series(3), a.startBar());
    return kOk;
}

FK_ENTRY(Consecutive) {
    ranges::consecutive(*a.out(), *a.series(2), a.startBar());
    return kOk;
}

FK_ENTRY(MostRecentOccurrence) {
    return ranges::mostRecentOccurrence(*a.out(), *a.series(2), a.number(3), *a.series(4), a.startBar());
}

FK_ENTRY(NumberTrue) {
    const SeriesHandle* conds[9];
    for (int i = 0; i < 9; ++i) conds[i] = a.series(i + 2);
    ranges::numberTrue(*a.out(), conds, 9, a.startBar());
    return kOk;
}

FK_ENTRY(IsBitTrueDLL) { return ranges::isBitTrue(*a.out(), *a.series(2), a.number(3), a.startBar()); }

FK_ENTRY(ShiftBars) {
    ranges::shiftBars(*a.out(), *a.series(2), a.number(3));
    return kOk;
}
