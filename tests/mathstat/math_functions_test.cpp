// The series engine and the element-wise exports: ArrayOperation, the one- and two-operand
// functions, Round, Square, Max and Min, and the tick conversions.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <random>

#include "containers/series.h"
#include "host/hostkit.h"
#include "mathstat/element_ops.h"
#include "status_rows.h"
#include "support/heap_check.h"

namespace fk::mathstat {
namespace {

using host::Call;
using host::Series;
using host::Text;
using testing::HeapChecked;

constexpr double F = -999999.0;

bool same(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b);
}

std::vector<double> sampleValues(std::mt19937& rng, int n, double fill) {
    // ordinary numbers mixed with the values the evaluator treats apart
    const double special[] = {0.0, 1.0, -1.0, 0.5, -2.5, 10.0, fill, 700.0, 1e-13, -0.0};
    std::uniform_real_distribution<double> u(-50.0, 50.0);
    std::uniform_int_distribution<int> pick(0, 19);
    std::vector<double> v(static_cast<std::size_t>(n));
    for (double& x : v) {
        const int k = pick(rng);
        x = k < 10 ? special[k] : u(rng);
    }
    return v;
}

class EngineTest : public HeapChecked {};

// Every code, through blocks, offsets, constants and unequal lengths, gives on every bar what the
// scalar evaluator gives for the two values read there.
TEST_F(EngineTest, EveryBarIsTheEvaluatorOfTheValuesReadThere) {
    const OpCode codes[] = {op::kPlus,  op::kMinus, op::kMultiply, op::kDivide, op::kIntDivide, op::kMod,
                            op::kPower, op::kEq,    op::kNe,       op::kLt,     op::kLe,        op::kGt,
                            op::kGe,    op::kAnd,   op::kNand,     op::kOr,     op::kNor,       op::kXor,
                            op::kMax,   op::kMin,   op::kRound,    op::kLog,    op::kIsTrue,    op::kIsFalse,
                            op::kAbs,   op::kSine,  op::kCosine,   op::kInt,    op::kFraction,  op::kFloor,
                            op::kCeiling, op::kNatLog, op::kLog10, op::kSign,   op::kIsNull,    op::kExp,
                            op::kArctan, op::kSqrRoot, 0,          77};
    struct Layout {
        const char* name;
        int lengthA, lengthB;
        int offsetA, offsetB;
        bool constantA, constantB;
        double fillB;
        int firstBar;
    };
    const Layout layouts[] = {
        {"two series, B shorter", 700, 600, 0, 0, false, false, F, 0},
        {"B longer, offset on B", 530, 800, 0, 3, false, false, F, 0},
        {"offset on A, from bar 300", 700, 700, 5, 0, false, false, F, 300},
        {"constant B", 1000, 1, 0, 0, false, true, F, 0},
        {"constant A", 1, 600, 0, 0, true, false, F, 0},
        {"B with fill value 0", 513, 513, 0, 0, false, false, 0.0, 0},
    };
    std::mt19937 rng(7);
    for (const Layout& l : layouts) {
        Series a = l.constantA ? Series::constant(2.5) : Series::of(sampleValues(rng, l.lengthA, F));
        Series b = l.constantB ? Series::constant(3.0) : Series::of(sampleValues(rng, l.lengthB, l.fillB), l.fillB);
        a.setOffset(l.offsetA);
        b.setOffset(l.offsetB);
        const int32_t n = std::max(a.count(), b.count());
        for (OpCode code : codes) {
            SCOPED_TRACE(std::string(l.name) + ", code " + std::to_string(code));
            Series out = Series::of(std::vector<double>(static_cast<std::size_t>(n), 123.0), -5.0);
            ApplySeriesOp(out.handle(), a.handle(), code, b.handle(), l.firstBar, -1);
            ASSERT_EQ(out.count(), n);
            const series::NumberView va(&a.handle()), vb(&b.handle());
            for (int32_t i = 0; i < n; ++i) {
                const double want = i < l.firstBar
                                        ? 123.0
                                        : EvaluateElement({va[i], vb[i], va.fill(), vb.fill(), -5.0, code, 12});
                ASSERT_TRUE(same(out.at(i), want)) << "bar " << i << ": " << out.at(i) << " vs " << want;
            }
        }
    }
}

TEST_F(EngineTest, AnOutputSharingItsInputIsWrittenAsACopy) {
    Series a = Series::of({1, 2, 3});
    Series out = a;
    ApplySeriesOp(out.handle(), a.handle(), op::kPlus, a.handle(), 0, -1);
    EXPECT_EQ(out.values(), (std::vector<double>{2, 4, 6}));
    EXPECT_EQ(a.values(), (std::vector<double>{1, 2, 3}));
    // the same handle as output and input: each bar reads before it is written
    ApplySeriesOp(a.handle(), a.handle(), op::kMultiply, a.handle(), 0, -1);
    EXPECT_EQ(a.values(), (std::vector<double>{1, 4, 9}));
}

class ArrayOperationTest : public HeapChecked {
protected:
    std::vector<double> run(Series& out, Series& a, const char* keyword, Series& b, int32_t startBar = 0) {
        Text word(keyword);
        Call call("ArrayOperation");
        call.out(out).arg(a).arg(word).arg(b);
        EXPECT_EQ(call.run(startBar), 0);
        return out.values();
    }
    std::vector<double> run(Series& a, const char* keyword, Series& b) {
        Series out;
        return run(out, a, keyword, b);
    }
};

TEST_F(ArrayOperationTest, OffsetsConstantsAndLengths) {
    Series a = Series::of({1, 2, 3, 4}), ten = Series::constant(10);
    EXPECT_EQ(run(a, "plus", ten), (std::vector<double>{11, 12, 13, 14}));
    EXPECT_EQ(run(ten, "Minus", a), (std::vector<double>{9})) << "the output takes A's count";

    Series late = Series::of({1, 2, 3, 4});
    late.setOffset(1);
    EXPECT_EQ(run(late, "+", ten), (std::vector<double>{F, 11, 12, 13}));

    Series longer = Series::of({1, 1, 1, 1, 1, 1});
    EXPECT_EQ(run(a, "*", longer), (std::vector<double>{1, 2, 3, 4}));
    EXPECT_EQ(run(longer, "-", a), (std::vector<double>{0, -1, -2, -3, F, F}));

    Series out = Series::of({9, 9, 9, 9, 9, 9, 9});
    EXPECT_EQ(run(out, a, "+", ten, 2), (std::vector<double>{9, 9, 13, 14})) << "from the start bar, cut to A";
}

TEST_F(ArrayOperationTest, ShiftBothWaysAndBack) {
    Series a = Series::of({10, 20, 30, 40, 50});
    Series two = Series::constant(2), minusOne = Series::constant(-1);
    EXPECT_EQ(run(a, "SHIFT", two), (std::vector<double>{F, F, 10, 20, 30}));
    EXPECT_EQ(run(a, "shift", minusOne), (std::vector<double>{20, 30, 40, 50, F}));
    EXPECT_EQ(run(a, "BACK", two), (std::vector<double>{F, F, 10, 20, 30}));
    EXPECT_EQ(run(a, ".", minusOne), (std::vector<double>{F, F, F, F, F})) << "back takes no negative count";

    // counts per bar: missing, halves away from zero, a missing source
    Series counts = Series::of({0, 1.5, F, -0.5, 0.4});
    Series out = Series::of({7, 7, 7, 7, 7});
    EXPECT_EQ(run(out, a, "SHIFT", counts), (std::vector<double>{10, 7, 7, 50, 50}));
    Series gap = Series::of({10, F, 30});
    Series one = Series::constant(1);
    Series kept = Series::of({7, 7, 7});
    EXPECT_EQ(run(kept, gap, "BACK", one), (std::vector<double>{7, 10, 7}));
}

TEST_F(ArrayOperationTest, UnknownKeywordFillsWithTheOutputsFillValue) {
    Series a = Series::of({1, 2, 3}), b = Series::of({1, 2, 3});
    for (const char* keyword : {"FOO", "", "\\", "INTDIVIDE"}) {
        Series out = Series::of({5, 5, 5}, -1.0);
        EXPECT_EQ(run(out, a, keyword, b), (std::vector<double>{-1, -1, -1})) << keyword;
    }
}

TEST_F(ArrayOperationTest, OutputsThatMayNotBeWrittenAreLeftAlone) {
    Series a = Series::of({1, 2, 3}), one = Series::constant(1);
    Series readOnly = Series::of({9, 9});
    readOnly.setFlags(kFlagReadOnly);
    EXPECT_EQ(run(readOnly, a, "+", one), (std::vector<double>{9, 9}));
    Text letters("abcdef"), word("+");
    Call call("ArrayOperation");
    call.rawPointer(kParamNumberSeries, &letters.handle()).arg(a).arg(word).arg(one);
    EXPECT_EQ(call.run(0), 0);
    EXPECT_EQ(letters.str(), "abcdef");
}

TEST_F(ArrayOperationTest, OneOperandKeywordStillNeedsItsSecondSeries) {
    Series a = Series::of({-4, F, 9});
    Series ignored = Series::constant(0);
    // the signed root has no missing test: the fill value is a number to it
    EXPECT_EQ(run(a, "SqrRoot", ignored), (std::vector<double>{-2, -std::sqrt(-F), 3}));
    EXPECT_EQ(run(a, "IsNull", ignored), (std::vector<double>{0, 1, 0}));
}

class MathExportTest : public HeapChecked {};

TEST_F(MathExportTest, OneOperandExportsApplyTheirCode) {
    const struct {
        const char* name;
        OpCode code;
    } exports[] = {
        {"IsNull", op::kIsNull},   {"AbsoluteValue", op::kAbs}, {"Sine", op::kSine},       {"Cosine", op::kCosine},
        {"Arctan", op::kArctan},   {"Fraction", op::kFraction}, {"Integer", op::kInt},     {"Floor", op::kFloor},
        {"Ceiling", op::kCeiling}, {"NaturalLog", op::kNatLog}, {"Sign", op::kSign},       {"SquareRoot", op::kSqrRoot},
    };
    const std::vector<double> values = {-9, F, 0, 1, 2.5, -2.75, 100};
    for (const auto& e : exports) {
        Series in = Series::of(values), out;
        Call call(e.name);
        call.out(out).arg(in);
        ASSERT_EQ(call.run(0), 0) << e.name;
        ASSERT_EQ(out.count(), static_cast<int32_t>(values.size())) << e.name;
        for (std::size_t i = 0; i < values.size(); ++i)
            EXPECT_TRUE(same(out.at(static_cast<int32_t>(i)), EvaluateElement({values[i], 0, F, F, F, e.code, 12})))
                << e.name << " bar " << i;
    }
    // log of 1 is 0 even when 1 is the fill value; with a fill value of 0 nothing is missing
    Series ones = Series::of({1, 2}, 1.0), logs;
    Call ln("NaturalLog");
    ln.out(logs).arg(ones);
    ASSERT_EQ(ln.run(0), 0);
    EXPECT_EQ(logs.values(), (std::vector<double>{0, std::log(2.0)}));
    Series zeros = Series::of({0, F}, 0.0), nulls;
    Call isNull("IsNull");
    isNull.out(nulls).arg(zeros);
    ASSERT_EQ(isNull.run(0), 0);
    EXPECT_EQ(nulls.values(), (std::vector<double>{0, 0}));
}

TEST_F(MathExportTest, TwoOperandExportsRoundAndSquare) {
    auto run = [](const char* name, std::function<void(Call&)> args) {
        Series out;
        Call call(name);
        call.out(out);
        args(call);
        EXPECT_EQ(call.run(0), 0) << name;
        return out.values();
    };
    Series a = Series::of({7.6, -7, 0, F}), three = Series::constant(3);
    EXPECT_EQ(run("Mod", [&](Call& c) { c.arg(a).arg(three); }), (std::vector<double>{2, -1, 0, F}));
    Series base = Series::of({2, -8, 0, 1});
    Series exponent = Series::of({10, 0.5, F, F});
    EXPECT_EQ(run("Power", [&](Call& c) { c.arg(base).arg(exponent); }), (std::vector<double>{1024, F, 0, 1}));
    Series p = Series::of({1, 1, 0, F}), q = Series::of({0, 2, 0, 1});
    EXPECT_EQ(run("XOR", [&](Call& c) { c.arg(p).arg(q); }), (std::vector<double>{1, 0, 0, F}));
    Series r = Series::of({2.345, -2.5, F, 1.5});
    EXPECT_EQ(run("Round", [&](Call& c) { c.arg(r).arg(2.0); }), (std::vector<double>{2.35, -2.5, F, 1.5}));
    EXPECT_EQ(run("Round", [&](Call& c) { c.arg(r).arg(0.0); }), (std::vector<double>{2, -2, F, 2}));
    Series s = Series::of({2, -3, F, 0.5, 1e200});
    EXPECT_EQ(run("Square", [&](Call& c) { c.arg(s); }), (std::vector<double>{4, 9, F, 0.25, INFINITY}));
    Series zeroFill = Series::of({0, 3}, 0.0);
    EXPECT_EQ(run("Square", [&](Call& c) { c.arg(zeroFill); }), (std::vector<double>{0, 9}));
    Series sq;
    Call square("Square");
    square.out(sq).arg(3.0);
    ASSERT_EQ(square.run(0), 0);
    EXPECT_EQ(sq.values(), (std::vector<double>{9}));
    EXPECT_FALSE(sq.isConstant());
}

TEST_F(MathExportTest, MaxAndMin) {
    auto run = [](const char* name, std::vector<Series*> inputs, std::vector<double> numbers = {},
                  int32_t startBar = 0, Series out = Series()) {
        Call call(name);
        call.out(out);
        for (Series* s : inputs) call.arg(*s);
        for (double v : numbers) call.arg(v);
        EXPECT_EQ(call.run(startBar), 0);
        return out.values();
    };
    Series a = Series::of({1, 5, F}), two = Series::of({2, 7}), other = Series::of({2, -1});
    Series three = Series::of({1, 2, 3}), shortB = Series::of({5, 0});
    Series four = Series::of({4, 1});
    EXPECT_EQ(run("Max", {&a}, {3}), (std::vector<double>{3, 5, F}));
    EXPECT_EQ(run("Min", {&two, &other}), (std::vector<double>{2, -1}));
    EXPECT_EQ(run("Max", {&three, &shortB}), (std::vector<double>{5, 2, F}));
    EXPECT_EQ(run("Max", {&four}, {-9999999}), (std::vector<double>{4, 1})) << "the sentinel is dropped";
    EXPECT_EQ(run("Min", {&three}, {2.5, 1.5, 9, 9, 9, 9, 9}), (std::vector<double>{1, 1.5, 1.5}));
    EXPECT_EQ(run("Max", {&three, &four}, {}, 1, Series::of({8, 8, 8, 8})), (std::vector<double>{8, 2, F}))
        << "from the start bar, cut to the first input";

    // of equal values the earliest input's is kept: visible in the sign of a zero
    Series plusZero = Series::of({0.0}), minusZero = Series::of({-0.0});
    EXPECT_FALSE(std::signbit(run("Max", {&plusZero, &minusZero})[0]));
    EXPECT_TRUE(std::signbit(run("Max", {&minusZero, &plusZero})[0]));
}

TEST_F(MathExportTest, TickConversions) {
    host::Market m;
    m.tick(0.25, 12.5);
    Series amounts = Series::of({100, F, 0, -25}), prices;
    Call toPrice("DollarsToPrice");
    toPrice.out(prices).arg(m).arg(amounts);
    ASSERT_EQ(toPrice.run(3), 0);
    EXPECT_EQ(prices.values(), (std::vector<double>{2, F, 0, -0.5})) << "every bar, whatever the start bar";
    Series dollars;
    Call toDollars("PriceToDollars");
    toDollars.out(dollars).arg(m).arg(prices);
    ASSERT_EQ(toDollars.run(0), 0);
    EXPECT_EQ(dollars.values(), (std::vector<double>{100, F, 0, -25}));
}

// Status codes of the element-wise family: each row builds a call and names the status.
TEST_F(MathExportTest, StatusCodes) {
    Series in = Series::of({1, 2}), empty, out;
    Series noBuffer = Series::null();
    Text plus("+");
    host::Market m;
    expectStatuses({
        {"ArrayOperation", [&](Call& c) { c.out(out).arg(in).arg(plus); }, 0x103},
        {"ArrayOperation", [&](Call& c) { c.out(out).arg(in).arg(plus).arg(in).tag(1, 7); }, 513},
        {"ArrayOperation", [&](Call& c) { c.out(out).arg(in).arg(plus).arg(in).tag(2, 2); }, 514},
        {"ArrayOperation", [&](Call& c) { c.out(out).arg(in).arg(in).arg(in); }, 515},
        {"ArrayOperation", [&](Call& c) { c.out(out).arg(in).arg(plus).rawPointer(1, &in.handle()); }, 516},
        {"ArrayOperation", [&](Call& c) { c.out(out).arg(empty).arg(plus).arg(in); }, 0xFF00},
        {"ArrayOperation", [&](Call& c) { c.out(noBuffer).arg(in).arg(plus).arg(in); }, 0xFF00},
        {"ArrayOperation", [&](Call& c) { c.out(out).arg(in).arg(plus).arg(empty); }, 0},
        {"Round", [&](Call& c) { c.out(out).arg(in); }, 0x102},
        {"Round", [&](Call& c) { c.out(out).arg(in).arg(in); }, 515},
        {"Round", [&](Call& c) { c.out(out).arg(empty).arg(2.0); }, 0xFF00},
        {"Round", [&](Call& c) { c.out(noBuffer).arg(in).arg(2.0); }, 0xFF00},
        {"Square", [&](Call& c) { c.out(out).arg(empty); }, 0xFF00},
        {"Square", [&](Call& c) { c.out(out).arg(in).arg(in); }, 0x103},
        {"IsNull", [&](Call& c) { c.out(out).arg(in).tag(2, 5); }, 514},
        {"IsNull", [&](Call& c) { c.out(out).arg(empty); }, 0},
        {"SquareRoot", [&](Call& c) { c.out(out); }, 0x101},
        {"Mod", [&](Call& c) { c.out(out).arg(in).arg(in).tag(3, 2); }, 515},
        {"Max", [&](Call& c) { c.out(out).arg(in); }, 0x102},
        {"Max", [&](Call& c) { c.out(out); for (int i = 0; i < 10; ++i) c.arg(in); }, 0x10B},
        {"Max", [&](Call& c) { c.out(out).arg(in).arg(in).arg(in).tag(4, 7); }, 516},
        {"Min", [&](Call& c) { c.out(out).arg(empty).arg(in); }, 0xFF00},
        {"Min", [&](Call& c) { c.out(noBuffer).arg(in).arg(in); }, 0xFF00},
        {"Min", [&](Call& c) { c.out(out).arg(-9999999.0).arg(-9999999.0); }, 0xFF00},
        {"DollarsToPrice", [&](Call& c) { c.out(out).arg(m); }, 0x102},
        {"DollarsToPrice", [&](Call& c) { c.out(out).arg(in).arg(in); }, 514},
        {"PriceToDollars", [&](Call& c) { c.out(out).arg(m).arg(plus); }, 515},
    });
}

} // namespace
} // namespace fk::mathstat
