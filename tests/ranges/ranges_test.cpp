// Worked examples, span counts, shifted views, continued calls and status codes of the range family.
#include <gtest/gtest.h>

#include <cmath>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

const double NaN = std::nan("");

class RangesTest : public HeapChecked {};

TEST_F(RangesTest, Examples) {
    Vec cond(11, 0);
    cond[3] = cond[7] = 1;
    Vec limits(11, 0);
    limits[9] = limits[10] = 6;
    const Vec bits = {-1, 2, F, 3, 0.9, 5.7, NaN, 1073741824.0, 3e9};
    expectExamples({
        // ties in each mode are compared with a search of every span; a NaN mode is not 0
        {"a NaN tie mode is not 0", "HighestIndex", {Vec{1, 3, 3, 2}, 3.0, NaN}, {F, F, 0, 1}},
        {"runs", "Consecutive", {Vec{1, 1, 0, 1}}, {1, 2, 0, 1}},
        {"runs pass holes over; NaN ends them", "Consecutive", {Vec{1, F, 1, 0, NaN, 2, 7}}, {1, F, 2, 0, 0, 1, 2}},
        {"second most recent", "MostRecentOccurrence", {cond, 2.0, 0.0}, {F, F, F, F, F, F, F, 4, 5, 6, 7}},
        {"an occurrence below 1 is 1", "MostRecentOccurrence", {cond, 0.5, 0.0}, {F, F, F, 0, 1, 2, 3, 0, 1, 2, 3}},
        {"a limit of 5 bars", "MostRecentOccurrence", {cond, 2.0, 5.0}, {F, F, F, F, F, F, F, 4, 5, F, F}},
        {"limits per bar", "MostRecentOccurrence", {cond, 2.0, limits}, {F, F, F, F, F, F, F, 4, 5, 6, F}},
        {"more occurrences than bars", "MostRecentOccurrence", {cond, 1e9, 0.0}, Vec(11, F)},
        {"bit 1; negative values left as they were", "IsBitTrueDLL", {bits, 1.0}, {7, 1, 7, 1, 0, 0, 7, 0, 0}, Vec(9, 7)},
        {"bit 30.9 is bit 30", "IsBitTrueDLL", {bits, 30.9}, {7, 0, 7, 0, 0, 0, 7, 1, 0}, Vec(9, 7)},
    });
}

TEST_F(RangesTest, OccurrencesCountTheSpanAsItsLengthChanges) {
    const Vec cond = {1, 0, 1, 1, F, 1, 0, 1, 1, 1, 0, 1, 1, 0, 1};
    auto lengths = [&](std::vector<std::pair<int, double>> steps) {
        Vec l(cond.size());
        for (auto [from, n] : steps) std::fill(l.begin() + from, l.end(), n);
        return l;
    };
    const std::pair<const char*, Vec> cases[] = {
        {"constant 5", lengths({{0, 5}})},
        {"5 to 6 extends the span", lengths({{0, 5}, {8, 6}})},
        {"5 to 8 counts again", lengths({{0, 5}, {9, 8}})},
        {"5 to 3 counts again", lengths({{0, 5}, {7, 3}})},
        {"growing by one bar each bar", lengths({{0, 3}, {5, 4}, {6, 5}, {7, 6}, {8, 7}})},
        {"a length past the bar", lengths({{0, 2}, {6, 9}, {8, 4}})},
    };
    for (const auto& [name, l] : cases) {
        SCOPED_TRACE(name);
        Vec expected(cond.size(), F); // bars (b - n, b] by brute force; a hole is never true
        for (int b = 0; b < static_cast<int>(cond.size()); ++b)
            if (b >= l[b])
                expected[b] = std::count(cond.begin() + b - static_cast<int>(l[b]) + 1, cond.begin() + b + 1, 1.0);
        EXPECT_EQ(runCall("Occurrences", {cond, l}).values, expected);
    }
}

TEST_F(RangesTest, NumberTrueJudgesEachConditionByItsOwnFillValue) {
    std::vector<Series> conds = {Series::of({1, 0, F}), Series::of({5, 5, 2}, 5.0), Series::constant(1),
                                 Series::of({NaN, 0, 0})};
    conds.resize(9, Series::of({0, 1}));
    Series out;
    Call call("NumberTrue");
    call.out(out);
    for (Series& c : conds) call.arg(c);
    ASSERT_EQ(call.run(0), kOk);
    EXPECT_EQ(out.values(), (Vec{3, 6, 2}));
}

TEST_F(RangesTest, ShiftBarsSharesTheInputWithAnOffset) {
    // shift, offset the input had, result; an offset of 2^29 is not kept
    const std::tuple<double, int, Vec> cases[] = {
        {-1, 0, {2, 3, 4, F}}, {1.9, 1, {F, F, 1, 2}}, {536870912.0, 0, {1, 2, 3, 4}}};
    for (const auto& [shift, inputOffset, expected] : cases) {
        SCOPED_TRACE(shift);
        Series in = Series::of({1, 2, 3, 4}), out = Series::of({9});
        in.setOffset(inputOffset);
        Call call("ShiftBars");
        call.out(out).arg(in).arg(shift);
        ASSERT_EQ(call.run(0), kOk);
        EXPECT_EQ(out.handle().buffer, in.handle().buffer);
        EXPECT_EQ(out.values(), expected);
    }
}

TEST_F(RangesTest, ChunkedCallsMatchOneCall) {
    const Vec cond = {1, 1, F, 0, 1, 1, 1, F, F, 1, 0, 0, 1, 1, 1, 0, 1, F, 1, 1, 1, 1, 0, 1};
    Vec lengths(cond.size(), 10);
    std::fill(lengths.begin() + 14, lengths.end(), 6);
    const std::pair<const char*, std::vector<Arg>> cases[] = {
        {"Occurrences", {cond, lengths}}, {"Occurrences", {cond, 3.0}}, {"Consecutive", {cond}},
        {"MostRecentOccurrence", {cond, 3.0, 5.0}}, {"MostRecentOccurrence", {cond, 2.0, lengths}},
    };
    for (const auto& [function, args] : cases) expectChunksMatchOneCall(function, args);
}

TEST_F(RangesTest, OccurrencesOverAllBarsStartAgainOnAContinuedCall) {
    Series cond = Series::of({1, 1, 1, 1, 1, 1}), out;
    Call call("Occurrences");
    call.out(out).arg(cond).arg(0.0);
    ASSERT_EQ(call.run(0), kOk);
    EXPECT_EQ(out.values(), (Vec{1, 2, 3, 4, 5, 6}));
    ASSERT_EQ(call.run(3), kOk);
    EXPECT_EQ(out.values(), (Vec{1, 2, 3, 0, 1, 2}));
}

TEST_F(RangesTest, StatusCodes) {
    const Vec s = {1, 2, 1};
    expectStatuses({
        {"HighestIndex", {'e', 2.0, 0.0}, kTooFewBars},
        {"MostRecentOccurrence", {'e', 1.0, 0.0}, kTooFewBars},
        {"IsBitTrueDLL", {s, 31.0}, kDomainError},
        {"IsBitTrueDLL", {s, -1.0}, kDomainError},
        {"IsBitTrueDLL", {'e', 3.0}, kDomainError},
    });
}

} // namespace
} // namespace fk
