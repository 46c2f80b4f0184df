// The scalar evaluator, code by code, and the keyword table.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "mathstat/element_ops.h"

namespace fk::mathstat {
namespace {

constexpr double F = -999999.0; // the standard fill value
constexpr double R = -777.0;    // the output's fill value: the answer where none can be formed

struct Case {
    const char* name;
    OpCode op;
    double a, b;
    double expected;
    double nullA = F;
    double nullB = F;
    uint8_t digits = kCompareDigits;
};

TEST(EvaluateElement, EveryCodeWithPresentMissingAndGuardedOperands) {
    const double e = std::numbers::e;
    const Case cases[] = {
        {"plus", op::kPlus, 2, 3, 5}, {"plus, A missing", op::kPlus, F, 3, R},
        {"plus, B missing", op::kPlus, 2, F, R},
        {"plus, fill 0: the fill value is a number", op::kPlus, F, 0, F, 0, 0}, {"minus", op::kMinus, 5, 3, 2},
        {"minus, B missing", op::kMinus, 5, F, R}, {"0 times missing", op::kMultiply, 0, F, 0},
        {"missing times 0", op::kMultiply, F, 0, 0}, {"times", op::kMultiply, 2, -3, -6},
        {"times missing", op::kMultiply, 2, F, R}, {"0 / 0", op::kDivide, 0, 0, 0},
        {"0 / missing", op::kDivide, 0, F, 0}, {"5 / 0", op::kDivide, 5, 0, R}, {"6 / 3", op::kDivide, 6, 3, 2},
        {"missing / 3", op::kDivide, F, 3, R}, {"integer division never answers", op::kIntDivide, 6, 3, R},
        {"mod rounds both first", op::kMod, 7.6, 3, 2}, {"mod keeps the sign of a", op::kMod, -7, 3, -1},
        {"mod by 2.4 is by 2", op::kMod, 7, 2.4, 1}, {"0 mod missing", op::kMod, 0, F, 0},
        {"mod 0", op::kMod, 5, 0, R}, {"missing mod 3", op::kMod, F, 3, R}, {"power", op::kPower, 2, 10, 1024},
        {"negative base, whole exponent", op::kPower, -2, 3, -8}, {"0 to a missing power", op::kPower, 0, F, 0},
        {"missing to the power 0", op::kPower, F, 0, 1}, {"1 to a missing power", op::kPower, 1, F, 1},
        {"no real root of a negative", op::kPower, -8, 0.5, R}, {"2 to a missing power", op::kPower, 2, F, R},
        {"equal within 12 digits", op::kEq, 1, 1 + 1e-13, 1},
        {"not equal beyond 12 digits", op::kEq, 1, 1 + 1e-11, 0}, {"equal, negative", op::kEq, -1, -1 - 1e-13, 1},
        {"equal to 0 is exact", op::kEq, 1e-300, 0, 0}, {"exact with 0 digits", op::kEq, 1, 1 + 1e-13, 0, F, F, 0},
        {"exact with 16 digits", op::kEq, 1, 1 + 1e-13, 0, F, F, 16}, {"equal, missing", op::kEq, F, 1, R},
        {"not equal", op::kNe, 1, 2, 1}, {"not equal within the band", op::kNe, 1, 1 + 1e-13, 0},
        {"less within the band", op::kLt, 1, 1 + 1e-13, 0}, {"less beyond it", op::kLt, 1, 1 + 1e-11, 1},
        {"less, negative b", op::kLt, -1 - 1e-11, -1, 1}, {"less, negative b, within", op::kLt, -1 - 1e-13, -1, 0},
        {"less or equal, above within", op::kLe, 1 + 1e-13, 1, 1}, {"less or equal, above", op::kLe, 2, 1, 0},
        {"greater within the band", op::kGt, 1 + 1e-13, 1, 0}, {"greater", op::kGt, 1 + 1e-11, 1, 1},
        {"greater or equal, below within", op::kGe, 1 - 1e-13, 1, 1}, {"greater or equal, below", op::kGe, 0, 1, 0},
        {"less, B missing", op::kLt, 1, F, R}, {"and: a present 0 decides", op::kAnd, 0, F, 0},
        {"and: b present 0 decides", op::kAnd, F, 0, 0}, {"and", op::kAnd, 1, 2, 1},
        {"and, undecided", op::kAnd, 1, F, R}, {"nand: a present 0 decides", op::kNand, 0, F, 1},
        {"nand", op::kNand, 1, 2, 0}, {"nand, undecided", op::kNand, F, 3, R},
        {"or: a present non-zero decides", op::kOr, 1, F, 1}, {"or: b decides", op::kOr, F, -2, 1},
        {"or", op::kOr, 0, 0, 0}, {"or, undecided", op::kOr, 0, F, R}, {"nor: decided", op::kNor, F, 1, 0},
        {"nor", op::kNor, 0, 0, 1}, {"nor, undecided", op::kNor, 0, F, R}, {"xor", op::kXor, 1, 0, 1},
        {"xor, both true", op::kXor, 1, 2, 0}, {"xor, missing", op::kXor, 1, F, R}, {"max", op::kMax, 1, 2, 2},
        {"max, missing", op::kMax, F, 2, R}, {"min", op::kMin, 1, 2, 1}, {"min, missing", op::kMin, 1, F, R},
        {"round to 2 decimals", op::kRound, 2.345, 2, 2.35},
        {"round half of a negative upward", op::kRound, -2.5, 0, -2}, {"round half upward", op::kRound, 2.5, 0, 3},
        {"round a negative half upward", op::kRound, -1.25, 1, -1.2},
        {"round just below a negative half", op::kRound, -0.6, 0, -1},
        {"round just above it", op::kRound, -0.4, 0, 0}, {"round a number past 2^52", op::kRound, 1e300, 2, 1e300},
        {"round the largest whole 2^52 - 1", op::kRound, 4503599627370495.0, 0, 4503599627370495.0},
        {"round to 20 decimals uses 15", op::kRound, 0.1234567890123456, 20, 0.123456789012346},
        {"round to negative decimals", op::kRound, 2.5, -1, R}, {"round, missing", op::kRound, F, 2, R},
        {"log of 1 to a missing base", op::kLog, 1, F, 0}, {"log base 2", op::kLog, 8, 2, 3},
        {"log base 10", op::kLog, 1000, 10, 3}, {"log base 0", op::kLog, 8, 0, R}, {"log base 1", op::kLog, 8, 1, R},
        {"log of a negative", op::kLog, -8, 2, R}, {"log, missing", op::kLog, F, 2, R},
        {"shift is the engine's", op::kShift, 1, 1, R}, {"back is the engine's", op::kBack, 1, 1, R},
        {"unknown code", 99, 1, 1, R}, {"no code", op::kNone, 1, 1, R}, {"is true", op::kIsTrue, 3, 0, 1},
        {"is true of 0", op::kIsTrue, 0, 0, 0}, {"is true, missing", op::kIsTrue, F, 0, R},
        {"is false", op::kIsFalse, 0, 0, 1}, {"is false of 3", op::kIsFalse, 3, 0, 0},
        {"is false, missing", op::kIsFalse, F, 0, R}, {"abs", op::kAbs, -2, 0, 2},
        {"abs, missing", op::kAbs, F, 0, R}, {"sine", op::kSine, std::numbers::pi / 2, 0, 1},
        {"sine, missing", op::kSine, F, 0, R}, {"cosine", op::kCosine, 0, 0, 1},
        {"cosine, missing", op::kCosine, F, 0, R}, {"int of a negative", op::kInt, -2.7, 0, -2},
        {"int", op::kInt, 2.7, 0, 2}, {"fraction keeps the sign", op::kFraction, -2.75, 0, -0.75},
        {"fraction", op::kFraction, 2.75, 0, 0.75}, {"floor", op::kFloor, -2.5, 0, -3},
        {"floor, missing", op::kFloor, F, 0, R}, {"ceiling", op::kCeiling, -2.5, 0, -2},
        {"ceiling, missing", op::kCeiling, F, 0, R}, {"ln of 1 when 1 is the fill value", op::kNatLog, 1, 0, 0, 1},
        {"ln of e", op::kNatLog, e, 0, 1}, {"ln of 0", op::kNatLog, 0, 0, R},
        {"ln of a negative", op::kNatLog, -1, 0, R}, {"ln, missing", op::kNatLog, F, 0, R},
        {"log10", op::kLog10, 1000, 0, 3}, {"log10 of 1 when 1 is the fill value", op::kLog10, 1, 0, 0, 1},
        {"log10, missing", op::kLog10, F, 0, R}, {"sign of a negative", op::kSign, -3, 0, -1},
        {"sign of 0", op::kSign, 0, 0, 0}, {"sign", op::kSign, 5, 0, 1}, {"sign, missing", op::kSign, F, 0, R},
        {"is null", op::kIsNull, F, 0, 1}, {"is null of a value", op::kIsNull, 3, 0, 0},
        {"is null, fill 0: nothing is missing", op::kIsNull, 0, 0, 0, 0}, {"exp", op::kExp, 0, 0, 1},
        {"exp is capped", op::kExp, 700, 0, 1e304}, {"exp, missing", op::kExp, F, 0, R},
        {"arctan", op::kArctan, 1, 0, std::numbers::pi / 4}, {"arctan, missing", op::kArctan, F, 0, R},
        {"signed square root", op::kSqrRoot, -9, 0, -3}, {"square root", op::kSqrRoot, 16, 0, 4},
        {"square root of 0", op::kSqrRoot, 0, 0, 0},
    };
    for (const Case& c : cases) {
        const double got = EvaluateElement({c.a, c.b, c.nullA, c.nullB, R, c.op, c.digits});
        EXPECT_NEAR(got, c.expected, 1e-12 * std::max(1.0, std::fabs(c.expected))) << c.name;
    }
}

TEST(ParseOpKeyword, WordsSymbolsAndLetterCase) {
    const struct {
        const char* text;
        OpCode code;
    } cases[] = {
        {"PLUS", op::kPlus},      {"plus", op::kPlus},       {"pLuS", op::kPlus},       {"+", op::kPlus},
        {"+anything", op::kPlus}, {"-", op::kMinus},         {"*", op::kMultiply},      {"**", op::kPower},
        {"^", op::kPower},        {"/", op::kDivide},        {"\\", op::kIntDivide},    {"IntDivide", op::kIntDivide},
        {"%", op::kMod},          {"=", op::kEq},            {"<>", op::kNe},           {"!=", op::kNe},
        {"!x", op::kNe},          {"!", op::kIsFalse},       {"<", op::kLt},            {"<=", op::kLe},
        {">", op::kGt},           {">=", op::kGe},           {"&", op::kAnd},           {"|", op::kOr},
        {".", op::kBack},         {"NAND", op::kNand},       {"nor", op::kNor},         {"Xor", op::kXor},
        {"max", op::kMax},        {"MIN", op::kMin},         {"round", op::kRound},     {"shift", op::kShift},
        {"Back", op::kBack},      {"log", op::kLog},         {"LOG10", op::kLog10},     {"is", op::kIsTrue},
        {"IsTrue", op::kIsTrue},  {"isfalse", op::kIsFalse}, {"NOT", op::kIsFalse},     {"abs", op::kAbs},
        {"SINE", op::kSine},      {"cosine", op::kCosine},   {"INT", op::kInt},         {"FractPart", op::kFraction},
        {"floor", op::kFloor},    {"Ceiling", op::kCeiling}, {"NatLog", op::kNatLog},   {"ln", op::kNatLog},
        {"sign", op::kSign},      {"IsNull", op::kIsNull},   {"exp", op::kExp},         {"ArcTan", op::kArctan},
        {"SqrRoot", op::kSqrRoot}, {"EQ", op::kEq},          {"ne", op::kNe},           {"LT", op::kLt},
        {"le", op::kLe},          {"GT", op::kGt},           {"ge", op::kGe},           {"and", op::kAnd},
        {"or", op::kOr},          {"MOD", op::kMod},         {"Power", op::kPower},     {"minus", op::kMinus},
        {"MULTIPLY", op::kMultiply}, {"divide", op::kDivide},
        // whole words only, nothing outside "!".."|" first
        {"PLUSS", op::kNone},     {"PL", op::kNone},         {"PLUS ", op::kNone},      {" PLUS", op::kNone},
        {"", op::kNone},          {"~", op::kNone},          {"}", op::kNone},          {"1", op::kNone},
        {"SQRT", op::kNone},      {"\xE9", op::kNone},
    };
    for (const auto& c : cases) EXPECT_EQ(ParseOpKeyword(c.text), c.code) << c.text;
    EXPECT_EQ(ParseOpKeyword(nullptr), op::kNone);
}

} // namespace
} // namespace fk::mathstat
