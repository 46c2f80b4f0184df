// Entry points of the conversions and text functions.
#include "exports/export_def.h"
#include "mathstat/text_functions.h"

using namespace fk;
using namespace fk::mathstat;

namespace {
// The Return Value handle as the host gave it: null when it gave none.
SeriesHandle* givenOut(Args& a) { return a.block().params[1].pointer ? a.out() : nullptr; }
} // namespace

FK_ENTRY(ConvertToBoolean) { return convertToBoolean(givenOut(a), *a.series(2)); }
FK_ENTRY(ConvertToConstant) { return convertToConstant(givenOut(a), *a.series(2)); }
FK_ENTRY(ConvertToString) { return convertToString(*a.out(), a.number(2), *a.text(3)); }
FK_ENTRY(StrCmp) { return strCmp(*a.out(), *a.text(2), *a.text(3)); }
FK_ENTRY(InStr) { return inStr(*a.out(), *a.text(2), *a.text(3)); }

FK_ENTRY(IfElse) {
    return ifElse(*a.out(), *a.series(2), *a.series(3), *a.series(4), a.startBar());
}
