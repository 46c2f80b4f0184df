// The series engine and the element-wise exports: ArrayOperation, the one- and two-operand
// functions, Round, Square, Max and Min, and the tick conversions.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>

#include "containers/series.h"
#include "mathstat/element_ops.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk::mathstat {
namespace {

using namespace testing;
using V = std::vector<double>;

bool same(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
}

// Ordinary numbers mixed with the values the evaluator treats apart.
V sampleValues(std::mt19937& rng, int n, double fill) {
    const double special[] = {0.0, 1.0, -1.0, 0.5, -2.5, 10.0, fill, 700.0, 1e-13, -0.0};
    std::uniform_real_distribution<double> u(-50.0, 50.0);
    std::uniform_int_distribution<int> pick(0, 19);
    V v(static_cast<std::size_t>(n));
    for (double& x : v) {
        const int k = pick(rng);
        x = k < 10 ? special[k] : u(rng);
    }
    return v;
}

class MathTest : public HeapChecked {};

// Every code, through blocks, offsets, constants and unequal lengths, gives on every bar what the
// scalar evaluator gives for the two values read there.
TEST_F(MathTest, EngineGivesTheEvaluatorOfTheValuesReadOnEveryBar) {
    std::vector<OpCode> codes = {0, 77};
    for (OpCode c = op::kPlus; c <= op::kLog; ++c)
        if (c != op::kShift && c != op::kBack) codes.push_back(c);
    for (OpCode c = op::kIsTrue; c <= op::kSqrRoot; ++c) codes.push_back(c);
    const struct {
        const char* name;
        int lengthA, lengthB, offsetA, offsetB;
        bool constantA, constantB;
        double fillB;
        int firstBar;
    } layouts[] = {
        {"two series, B shorter", 700, 600, 0, 0, false, false, F, 0},
        {"B longer, offset on B", 530, 800, 0, 3, false, false, F, 0},
        {"offset on A, from bar 300", 700, 700, 5, 0, false, false, F, 300},
        {"constant B", 1000, 1, 0, 0, false, true, F, 0},
        {"constant A", 1, 600, 0, 0, true, false, F, 0},
        {"B with fill value 0", 513, 513, 0, 0, false, false, 0.0, 0},
    };
    std::mt19937 rng(7);
    for (const auto& l : layouts) {
        Series a = l.constantA ? Series::constant(2.5) : Series::of(sampleValues(rng, l.lengthA, F));
        Series b = l.constantB ? Series::constant(3.0) : Series::of(sampleValues(rng, l.lengthB, l.fillB), l.fillB);
        a.setOffset(l.offsetA);
        b.setOffset(l.offsetB);
        const int32_t n = std::max(a.count(), b.count());
        const series::NumberView va(&a.handle()), vb(&b.handle());
        for (OpCode code : codes) {
            SCOPED_TRACE(std::string(l.name) + ", code " + std::to_string(code));
            Series out = Series::of(V(static_cast<std::size_t>(n), 123.0), -5.0);
            ApplySeriesOp(out.handle(), a.handle(), code, b.handle(), l.firstBar, -1);
            ASSERT_EQ(out.count(), n);
            for (int32_t i = 0; i < n; ++i) {
                const double want =
                    i < l.firstBar ? 123.0 : EvaluateElement({va[i], vb[i], va.fill(), vb.fill(), -5.0, code, 12});
                ASSERT_TRUE(same(out.at(i), want)) << "bar " << i << ": " << out.at(i) << " vs " << want;
            }
        }
    }
}

TEST_F(MathTest, EngineOutputSharingAnInput) {
    Series a = Series::of({1, 2, 3});
    Series out = a;
    ApplySeriesOp(out.handle(), a.handle(), op::kPlus, a.handle(), 0, -1);
    EXPECT_EQ(out.values(), (V{2, 4, 6}));
    EXPECT_EQ(a.values(), (V{1, 2, 3})) << "written as a copy";
    ApplySeriesOp(a.handle(), a.handle(), op::kMultiply, a.handle(), 0, -1);
    EXPECT_EQ(a.values(), (V{1, 4, 9})) << "one handle as output and input";
}

V arrayOp(Series& a, const char* keyword, Series& b, const Out& out = {}, int32_t startBar = 0) {
    return valuesOf("ArrayOperation", {&a, std::string(keyword), &b}, startBar, out);
}

TEST_F(MathTest, ArrayOperationOffsetsConstantsAndLengths) {
    // the values on each bar are the engine's, checked above; here the output's length and start
    Series a = Series::of({1, 2, 3, 4}), ten = Series::constant(10), longer = Series::of({1, 1, 1, 1, 1, 1});
    Series out = Series::of({9, 9, 9, 9, 9, 9, 9});
    EXPECT_EQ(arrayOp(ten, "Minus", a), (V{9})) << "the output takes A's count";
    EXPECT_EQ(arrayOp(a, "*", longer), (V{1, 2, 3, 4}));
    EXPECT_EQ(arrayOp(a, "+", ten, out, 2), (V{9, 9, 13, 14})) << "from the start bar, cut to A";
    // a one-operand keyword still takes the second series; the signed root has no missing test
    Series roots = Series::of({-4, F, 9});
    EXPECT_EQ(arrayOp(roots, "SqrRoot", ten), (V{-2, -std::sqrt(-F), 3}));
}

TEST_F(MathTest, ArrayOperationOutputsFillOrAreLeftAlone) {
    Series a = Series::of({1, 2, 3}), one = Series::constant(1);
    for (const char* keyword : {"FOO", "", "\\", "INTDIVIDE"}) {
        Series out = Series::of({5, 5, 5}, -1.0);
        EXPECT_EQ(arrayOp(a, keyword, a, out), (V{-1, -1, -1})) << keyword;
    }
    Series readOnly = Series::of({9, 9});
    readOnly.setFlags(kFlagReadOnly);
    EXPECT_EQ(arrayOp(a, "+", one, readOnly), (V{9, 9}));
    Text letters("abcdef"), word("+");
    Call call("ArrayOperation");
    call.rawPointer(kParamNumberSeries, &letters.handle()).arg(a).arg(word).arg(one);
    EXPECT_EQ(call.run(0), 0);
    EXPECT_EQ(letters.str(), "abcdef") << "not a number series";
}

// The one- and two-operand exports give on every bar what the evaluator gives for their code.
TEST_F(MathTest, ElementExportsApplyTheirCode) {
    const std::pair<const char*, OpCode> exports[] = {
        {"IsNull", op::kIsNull},   {"AbsoluteValue", op::kAbs}, {"Sine", op::kSine}, {"Cosine", op::kCosine},
        {"Arctan", op::kArctan},   {"Fraction", op::kFraction}, {"Integer", op::kInt}, {"Floor", op::kFloor},
        {"Ceiling", op::kCeiling}, {"NaturalLog", op::kNatLog}, {"Sign", op::kSign}, {"SquareRoot", op::kSqrRoot},
        {"Mod", op::kMod},         {"Power", op::kPower},       {"XOR", op::kXor},
    };
    const V a = {-9, F, 0, 1, 2.5, -2.75, 100, 7.6, -8}, b = {3, 2, F, F, 0, 1, 0.5, 3, 0.5};
    for (const auto& [name, code] : exports) {
        const bool binary = code == op::kMod || code == op::kPower || code == op::kXor;
        const V got = binary ? valuesOf(name, {a, b}) : valuesOf(name, {a});
        ASSERT_EQ(got.size(), a.size()) << name;
        for (std::size_t i = 0; i < a.size(); ++i)
            EXPECT_TRUE(same(got[i], EvaluateElement({a[i], binary ? b[i] : 0, F, F, F, code, 12}))) << name << " bar " << i;
    }
    Series ones = Series::of({1, 2}, 1.0), zeros = Series::of({0, F}, 0.0);
    EXPECT_EQ(valuesOf("NaturalLog", {&ones}), (V{0, std::log(2.0)})) << "log of 1 is 0 though 1 is the fill value";
    EXPECT_EQ(valuesOf("IsNull", {&zeros}), (V{0, 0})) << "with a fill value of 0 nothing is missing";
}

TEST_F(MathTest, RoundAndSquare) {
    Series r = Series::of({2.345, -2.5, F, 1.5}), s = Series::of({2, -3, F, 0.5, 1e200});
    Series zeroFill = Series::of({0, 3}, 0.0), square;
    EXPECT_EQ(valuesOf("Round", {&r, 2.0}), (V{2.35, -2.5, F, 1.5})) << "the places reach the evaluator";
    EXPECT_EQ(valuesOf("Round", {&r, 0.0}), (V{2, -2, F, 2}));
    EXPECT_EQ(valuesOf("Square", {&s}), (V{4, 9, F, 0.25, INFINITY}));
    EXPECT_EQ(valuesOf("Square", {&zeroFill}), (V{0, 9}));
    EXPECT_EQ(valuesOf("Square", {3.0}, 0, square), (V{9}));
    EXPECT_FALSE(square.isConstant());
}

TEST_F(MathTest, MaxAndMin) {
    Series a = Series::of({1, 5, F}), two = Series::of({2, 7}), other = Series::of({2, -1});
    Series three = Series::of({1, 2, 3}), shortB = Series::of({5, 0}), four = Series::of({4, 1});
    Series out = Series::of({8, 8, 8, 8});
    EXPECT_EQ(valuesOf("Max", {&a, 3.0}), (V{3, 5, F}));
    EXPECT_EQ(valuesOf("Min", {&two, &other}), (V{2, -1}));
    EXPECT_EQ(valuesOf("Max", {&three, &shortB}), (V{5, 2, F}));
    EXPECT_EQ(valuesOf("Max", {&four, -9999999.0}), (V{4, 1})) << "the sentinel is dropped";
    EXPECT_EQ(valuesOf("Min", {&three, 2.5, 1.5, 9.0, 9.0, 9.0, 9.0, 9.0}), (V{1, 1.5, 1.5}));
    EXPECT_EQ(valuesOf("Max", {&three, &four}, 1, out), (V{8, 2, F})) << "from the start bar, cut to the first input";
    // of equal values the earliest input's is kept: visible in the sign of a zero
    Series plusZero = Series::of({0.0}), minusZero = Series::of({-0.0});
    EXPECT_FALSE(std::signbit(valuesOf("Max", {&plusZero, &minusZero})[0]));
    EXPECT_TRUE(std::signbit(valuesOf("Max", {&minusZero, &plusZero})[0]));
}

TEST_F(MathTest, TickConversions) {
    host::Market m;
    m.tick(0.25, 12.5);
    Series amounts = Series::of({100, F, 0, -25}), prices;
    EXPECT_EQ(valuesOf("DollarsToPrice", {&m, &amounts}, 3, prices), (V{2, F, 0, -0.5})) << "every bar";
    EXPECT_EQ(valuesOf("PriceToDollars", {&m, &prices}), (V{100, F, 0, -25}));
}

// An empty input, a Return Value without buffer, and operands that are both missing.
TEST_F(MathTest, StatusCodes) {
    const V x = {1, 2};
    expectStatuses({
        {"ArrayOperation", {'e', "+", x}, kTooFewBars},
        {"ArrayOperation", {x, "+", x}, kTooFewBars, 0, 'z'},
        {"Round", {'e', 2.0}, kTooFewBars},
        {"Square", {x}, kTooFewBars, 0, 'z'},
        {"Min", {-9999999.0, -9999999.0}, kTooFewBars},
    });
}

} // namespace
} // namespace fk::mathstat
