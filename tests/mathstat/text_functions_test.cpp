// Conversions and text functions, results byte for byte.
#include <gtest/gtest.h>

#include "mathstat/text_functions.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk::mathstat {
namespace {

using namespace testing;
using V = std::vector<double>;

class TextFunctionsTest : public HeapChecked {};

TEST_F(TextFunctionsTest, ConvertToString) {
    const struct {
        double value;
        const char* format;
        const char* expected;
    } cases[] = {
        {2.50, "", "2.5"}, {-999999.0, "", ""}, {-999999.0, "%.2f", ""}, {3.0, "", "3"}, {-1.25, "", "-1.25"},
        {100, "", "100"}, {1.0 / 3, "", "0.333333333"}, {1.5, "%.2f", "1.50"}, {2, "%e", "2.000000e+00"},
        {1.5, "Value: %8F!", "Value:      1.5!"}, {2, "100%% of %g", "100% of 2"},
        // a format can print one number: other conversions are printed as written
        {2, "%d", "%d"}, {2, "%s and %g", "%s and 2"}, {2, "%g, %g", "2, %g"}, {2, "%*f", "%*f"},
        {2, "%Lf", "2.000000"}, {2, "%n%g", "%n2"}, {2, "50%", "50%"},
    };
    for (const auto& c : cases) {
        Text out("old text"), format(c.format);
        Call call("ConvertToString");
        call.out(out).arg(c.value).arg(format);
        ASSERT_EQ(call.run(0), 0) << c.format;
        EXPECT_EQ(out.str(), c.expected) << c.value << " with \"" << c.format << "\"";
    }
}

TEST_F(TextFunctionsTest, StrCmpAndInStr) {
    const struct {
        const char* a;
        const char* b;
        double cmp;
        double pos;
    } cases[] = {
        {"", "", 0, 1},          {"", "a", -1, 0},       {"a", "", 1, 1},       {"abc", "ABC", 0, 0},
        {"abc", "abd", -1, 0},   {"ABD", "abc", 1, 0},   {"ab", "abc", -1, 0},  {"abc", "ab", 1, 1},
        {"a", "B", -1, 0},       {"[", "a", -1, 0},      {"abcabc", "ca", -1, 3}, {"ABC", "b", -1, 0},
        {"abc", "abc", 0, 1},    {"xabc", "abc", 1, 2},
    };
    for (const auto& c : cases) {
        Text a(c.a), b(c.b);
        Series cmp = Series::of({0, 0, 0});
        EXPECT_EQ(valuesOf("StrCmp", {&a, &b}, 0, cmp), V(3, c.cmp)) << '"' << c.a << "\" vs \"" << c.b << '"';
        EXPECT_TRUE(cmp.isConstant()) << "over the Return Value's bars";
        EXPECT_EQ(valuesOf("InStr", {&a, &b}), V{c.pos}) << '"' << c.b << "\" in \"" << c.a << '"';
    }
}

TEST_F(TextFunctionsTest, ConvertToBooleanSharesAndConvertToConstantTakesElementZero) {
    Series in = Series::of({5, 6, 7}), plain = Series::of({5, 6, 7}), shared, constant;
    in.setOffset(1);
    EXPECT_EQ(valuesOf("ConvertToBoolean", {&in}, 0, shared), (V{F, 5, 6})) << "with the input's offset";
    EXPECT_EQ(shared.handle().buffer, in.handle().buffer);
    EXPECT_EQ(valuesOf("ConvertToConstant", {&in}, 0, constant), (V{F})) << "element 0 read through the offset";
    EXPECT_TRUE(constant.isConstant());
    EXPECT_EQ(valuesOf("ConvertToConstant", {&plain}), (V{5}));
}

TEST_F(TextFunctionsTest, IfElse) {
    Series yes = Series::of({10, 11, 12, 13}), no = Series::of({20, 21, 22, 23}), seven = Series::constant(7);
    Series cond = Series::of({1, 0, F, 2}), ownFill = Series::of({1, -1, 0}, -1.0), flags = Series::of({1, 0});
    Series written = Series::of({7, 7, 7, 7});
    EXPECT_EQ(valuesOf("IfElse", {&cond, &yes, &no}), (V{10, 21, F, 13}));
    EXPECT_EQ(valuesOf("IfElse", {&ownFill, &yes, &no}, 1, written), (V{7, -1, 22, 7}))
        << "the condition's own fill value on its missing bars, from the start bar";
    EXPECT_EQ(valuesOf("IfElse", {&flags, &seven, &no}), (V{7, 21})) << "a constant branch on every bar";
    for (double c : {1.0, 0.0}) {
        Series constantCond = Series::constant(c), chosen;
        valuesOf("IfElse", {&constantCond, &yes, &no}, 0, chosen);
        EXPECT_EQ(chosen.handle().buffer, (c != 0 ? yes : no).handle().buffer) << "shared, not copied";
    }
}

// An empty input, and a Return Value without buffer or without a handle.
TEST_F(TextFunctionsTest, StatusCodes) {
    const V x = {1, 2};
    expectStatuses({
        {"ConvertToBoolean", {'e'}, kTooFewBars},
        {"ConvertToBoolean", {x}, kTooFewBars, 0, '0'},
        {"ConvertToBoolean", {x}, kOk, 0, 'z'},
        {"ConvertToConstant", {'e'}, kTooFewBars},
        {"ConvertToConstant", {x}, kTooFewBars, 0, '0'},
        {"ConvertToString", {1.0, "abc"}, kTooFewBars, 0, 'z'},
    });
}

} // namespace
} // namespace fk::mathstat
