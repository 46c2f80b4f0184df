// The element-wise evaluator behind the formula language's arithmetic, comparisons, logic and
// elementary functions, and the series engine that applies it bar by bar.
#pragma once
#include <cstdint>

#include "containers/buffer.h"

namespace fk::mathstat {

// Operation codes: 1..24 take two operands, 1000..1015 one (the second is ignored).
using OpCode = int32_t;

namespace op {
enum : OpCode {
    kNone = 0,
    kPlus = 1,
    kMinus = 2,
    kMultiply = 3,
    kDivide = 4,
    kIntDivide = 5,
    kMod = 6,
    kPower = 7,
    kEq = 8,
    kNe = 9,
    kLt = 10,
    kLe = 11,
    kGt = 12,
    kGe = 13,
    kAnd = 14,
    kNand = 15,
    kOr = 16,
    kNor = 17,
    kXor = 18,
    kMax = 19,
    kMin = 20,
    kRound = 21,
    kShift = 22,
    kBack = 23,
    kLog = 24,
    kIsTrue = 1000,
    kIsFalse = 1001,
    kAbs = 1002,
    kSine = 1003,
    kCosine = 1004,
    kInt = 1005,
    kFraction = 1006,
    kFloor = 1007,
    kCeiling = 1008,
    kNatLog = 1009,
    kLog10 = 1010,
    kSign = 1011,
    kIsNull = 1012,
    kExp = 1013,
    kArctan = 1014,
    kSqrRoot = 1015,
};
} // namespace op

// The operands of one evaluation. An operand is missing when it equals its fill value and that
// fill value is not 0.
struct ElementOp {
    double a;
    double b;          // 0 for one-operand codes
    double nullA;
    double nullB;
    double resultNull; // the answer wherever no result can be formed
    OpCode op;
    uint8_t digits;    // significant digits of comparisons; 0 (or 16 and more) compares exactly
};

// Significant digits the series engine compares with.
inline constexpr uint8_t kCompareDigits = 12;

// The code of a keyword ("PLUS", "+", "<=", "IsNull", ...); 0 for an unknown, empty or absent one.
OpCode ParseOpKeyword(const char* keyword);

double EvaluateElement(const ElementOp& e);

// Brings a number series to n elements, keeping what it holds; a buffer of another kind is left
// alone, as element writes leave it.
void resizeNumbers(SeriesHandle& h, int32_t n);

// Applies an operation to bars firstBar..lastBar (lastBar < 0, or past the end: the last bar).
// The output is first brought to the longer input's length, keeping what it holds.
void ApplySeriesOp(SeriesHandle& out, const SeriesHandle& a, OpCode code, const SeriesHandle& b, int32_t firstBar,
                   int32_t lastBar);
void ApplySeriesOp(SeriesHandle& out, const SeriesHandle& a, const char* keyword, const SeriesHandle& b,
                   int32_t firstBar, int32_t lastBar);

} // namespace fk::mathstat
