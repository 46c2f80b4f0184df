// Entry points of the element-wise math.
#include <array>

#include "containers/text.h"
#include "exports/export_def.h"
#include "mathstat/math_functions.h"

using namespace fk;
using namespace fk::mathstat;

FK_ENTRY(ArrayOperation) {
    return arrayOperation(*a.out(), *a.series(2), text::chars(*a.text(3)), *a.series(4), a.startBar());
}

#define FK_UNARY(name, code)                                                                       \
    FK_ENTRY(name) { return applyUnary(*a.out(), *a.series(2), code, a.startBar()); }
FK_UNARY(IsNull, op::kIsNull)
FK_UNARY(AbsoluteValue, op::kAbs)
FK_UNARY(Sine, op::kSine)
FK_UNARY(Cosine, op::kCosine)
FK_UNARY(Arctan, op::kArctan)
FK_UNARY(Fraction, op::kFraction)
FK_UNARY(Integer, op::kInt)
FK_UNARY(Floor, op::kFloor)
FK_UNARY(Ceiling, op::kCeiling)
FK_UNARY(NaturalLog, op::kNatLog)
FK_UNARY(Sign, op::kSign)
FK_UNARY(SquareRoot, op::kSqrRoot)
#undef FK_UNARY

#define FK_BINARY(name, code)                                                                      \
    FK_ENTRY(name) { return applyBinary(*a.out(), *a.series(2), code, *a.series(3), a.startBar()); }
FK_BINARY(Mod, op::kMod)
FK_BINARY(Power, op::kPower)
FK_BINARY(XOR, op::kXor)
#undef FK_BINARY

FK_ENTRY(Square) { return squareSeries(*a.out(), *a.series(2), a.startBar()); }

FK_ENTRY(Round) { return roundSeries(*a.out(), *a.series(2), a.number(3), a.startBar()); }

namespace {
StatusCode extremeEntry(Args& a, bool largest) {
    std::array<const SeriesHandle*, 9> inputs{};
    for (int e = 2; e <= a.count(); ++e) inputs[e - 2] = a.series(e);
    return extremeOf(*a.out(), std::span(inputs.data(), a.count() - 1), largest, a.startBar());
}
} // namespace

FK_ENTRY(Max) { return extremeEntry(a, true); }
FK_ENTRY(Min) { return extremeEntry(a, false); }
