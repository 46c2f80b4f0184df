// Occurrence counts, bit tests, shifted views and the status codes of the range family, and
// worked examples of the range searches.
#include <gtest/gtest.h>

#include <cmath>

#include "run_call.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Call;
using host::Series;
using testing::Arg;
using testing::F;
using testing::HeapChecked;
using testing::runOnce;

const double NaN = std::nan("");

class RangesTest : public HeapChecked {};

struct Example {
    const char* name;
    const char* function;
    std::vector<Arg> args;
    std::vector<double> expected;
};

void expectExamples(const std::vector<Example>& examples) {
    for (const Example& e : examples) {
        SCOPED_TRACE(e.name);
        const testing::Result r = runOnce(e.function, e.args);
        EXPECT_EQ(r.status, kOk);
        EXPECT_EQ(r.values, e.expected);
    }
}

TEST_F(RangesTest, RangeSearchExamples) {
    expectExamples({
        {"equal highs keep the earliest", "HighestIndex", {std::vector<double>{1, 3, 3, 2}, 3.0, 0.0}, {F, F, 1, 2}},
        {"equal highs take the most recent", "HighestIndex", {std::vector<double>{1, 3, 3, 2}, 3.0, 1.0}, {F, F, 0, 1}},
        {"a NaN tie mode is not 0", "HighestIndex", {std::vector<double>{1, 3, 3, 2}, 3.0, NaN}, {F, F, 0, 1}},
        {"a length of 2.5 is 3", "HighestIndex", {std::vector<double>{1, 3, 3, 2}, 2.5, 0.0}, {F, F, 1, 2}},
        {"a length of 2.4 is 2", "HighestIndex", {std::vector<double>{1, 3, 3, 2}, 2.4, 0.0}, {F, 0, 1, 1}},
        {"equal lows keep the earliest", "LowestIndex", {std::vector<double>{3, 1, 1, 2}, 3.0, 0.0}, {F, F, 1, 2}},
        {"equal lows take the most recent", "LowestIndex", {std::vector<double>{3, 1, 1, 2}, 3.0, 1.0}, {F, F, 0, 1}},
        {"length 0 spans all bars so far", "HighestIndex", {std::vector<double>{2, 5, 1, 5, 3}, 0.0, 0.0}, {0, 0, 1, 2, 3}},
        {"missing bars inside have results, trailing ones the fill value", "HighestIndex",
         {std::vector<double>{1, 2, F, 3, F, F}, 2.0, 0.0}, {F, 0, 1, 0, F, F}},
        {"lengths per bar", "HighestIndex",
         {std::vector<double>{1, 5, 2, 4, 3}, std::vector<double>{2, 2, 3, 3, 1}, 0.0}, {F, 0, 1, 2, 0}},
        {"a negative length gives no span", "LowestIndex", {std::vector<double>{1, 2, 3}, -2.0, 0.0}, {F, F, F}},
    });
}

// Bars (b - n, b] counted by brute force, where n <= b.
std::vector<double> spanCounts(const std::vector<double>& cond, const std::vector<double>& lengths) {
    std::vector<double> out(cond.size(), F);
    for (int b = 0; b < static_cast<int>(cond.size()); ++b) {
        const int n = static_cast<int>(lengths[b]);
        if (b < n) continue;
        int k = 0;
        for (int j = b - n + 1; j <= b; ++j) k += cond[j] != 0 && cond[j] != F;
        out[b] = k;
    }
    return out;
}

TEST_F(RangesTest, OccurrencesFollowTheSpanAsItsLengthChanges) {
    const std::vector<double> cond = {1, 0, 1, 1, F, 1, 0, 1, 1, 1, 0, 1, 1, 0, 1};
    auto lengths = [&](std::vector<std::pair<int, double>> steps) {
        std::vector<double> l(cond.size());
        for (std::size_t b = 0; b < l.size(); ++b)
            for (auto [from, n] : steps)
                if (static_cast<int>(b) >= from) l[b] = n;
        return l;
    };
    const std::vector<std::pair<const char*, std::vector<double>>> cases = {
        {"constant 5", lengths({{0, 5}})},
        {"5 to 6 extends the span", lengths({{0, 5}, {8, 6}})},
        {"5 to 8 counts again", lengths({{0, 5}, {9, 8}})},
        {"5 to 3 counts again", lengths({{0, 5}, {7, 3}})},
        {"growing by one bar each bar", lengths({{0, 3}, {5, 4}, {6, 5}, {7, 6}, {8, 7}})},
        {"a length past the bar", lengths({{0, 2}, {6, 9}, {8, 4}})},
    };
    for (const auto& [name, l] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(runOnce("Occurrences", {cond, l}).values, spanCounts(cond, l));
    }
    // a constant number is the length on every bar
    EXPECT_EQ(runOnce("Occurrences", {cond, 4.0}).values, spanCounts(cond, std::vector<double>(cond.size(), 4)));
}

TEST_F(RangesTest, ConsecutiveCountsRunsAndPassesMissingBarsOver) {
    expectExamples({
        {"runs", "Consecutive", {std::vector<double>{1, 1, 0, 1}}, {1, 2, 0, 1}},
        {"missing bars and NaN", "Consecutive", {std::vector<double>{1, F, 1, 0, NaN, 2, 7}}, {1, F, 2, 0, 0, 1, 2}},
    });
}

TEST_F(RangesTest, MostRecentOccurrenceFindsTheNthTrueBarWithinItsLimit) {
    std::vector<double> cond(11, 0);
    cond[3] = cond[7] = 1;
    std::vector<double> limits(11, 0);
    limits[9] = 6;
    limits[10] = 6;
    expectExamples({
        {"second most recent, all bars", "MostRecentOccurrence", {cond, 2.0, 0.0}, {F, F, F, F, F, F, F, 4, 5, 6, 7}},
        {"most recent", "MostRecentOccurrence", {cond, 1.0, 0.0}, {F, F, F, 0, 1, 2, 3, 0, 1, 2, 3}},
        {"an occurrence below 1 is 1", "MostRecentOccurrence", {cond, 0.5, 0.0}, {F, F, F, 0, 1, 2, 3, 0, 1, 2, 3}},
        {"limit of 5 bars", "MostRecentOccurrence", {cond, 2.0, 5.0}, {F, F, F, F, F, F, F, 4, 5, F, F}},
        {"limits per bar", "MostRecentOccurrence", {cond, 2.0, limits}, {F, F, F, F, F, F, F, 4, 5, 6, F}},
        {"more occurrences than bars", "MostRecentOccurrence", {cond, 1e9, 0.0}, std::vector<double>(11, F)},
    });
}

TEST_F(RangesTest, NumberTrueJudgesEachConditionByItsOwnFillValue) {
    std::vector<Series> conds;
    conds.push_back(Series::of({1, 0, F}));
    conds.push_back(Series::of({5, 5, 2}, 5.0)); // 5 is this series' fill value
    conds.push_back(Series::constant(1));
    conds.push_back(Series::of({NaN, 0, 0}));
    for (int i = 4; i < 9; ++i) conds.push_back(Series::of({0, 1}));
    Series out;
    Call call("NumberTrue");
    call.out(out);
    for (Series& c : conds) call.arg(c);
    ASSERT_EQ(call.run(0), kOk);
    EXPECT_EQ(out.values(), (std::vector<double>{3, 6, 2}));
}

TEST_F(RangesTest, IsBitTrueTestsTheIntegerPartAndSkipsNegativeValues) {
    const std::vector<double> values = {-1, 2, F, 3, 0.9, 5.7, NaN, 1073741824.0, 3e9};
    struct Case {
        double bit;
        std::vector<double> expected;
    };
    const Case cases[] = {
        {1, {7, 1, 7, 1, 0, 0, 7, 0, 0}},
        {0, {7, 0, 7, 1, 0, 1, 7, 0, 0}},
        {30.9, {7, 0, 7, 0, 0, 0, 7, 1, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bit);
        const testing::Result r = runOnce("IsBitTrueDLL", {values, c.bit}, 0, Series::of(std::vector<double>(9, 7)));
        EXPECT_EQ(r.status, kOk);
        EXPECT_EQ(r.values, c.expected);
    }
}

TEST_F(RangesTest, ShiftBarsSharesTheInputWithAnOffset) {
    struct Case {
        double shift;
        int inputOffset;
        std::vector<double> expected;
    };
    const Case cases[] = {
        {1, 0, {F, 1, 2, 3}},
        {-1, 0, {2, 3, 4, F}},
        {1.9, 1, {F, F, 1, 2}},
        {0, 0, {1, 2, 3, 4}},
        {536870912.0, 0, {1, 2, 3, 4}}, // an offset of 2^29 is not kept
        {NaN, 0, {1, 2, 3, 4}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.shift);
        Series in = Series::of({1, 2, 3, 4});
        in.setOffset(c.inputOffset);
        Series out = Series::of({9});
        Call call("ShiftBars");
        call.out(out).arg(in).arg(c.shift);
        ASSERT_EQ(call.run(-5), kOk);
        EXPECT_EQ(out.handle().buffer, in.handle().buffer);
        EXPECT_EQ(in.references(), 2);
        EXPECT_EQ(out.values(), c.expected);
    }
}

// A continued call: the first bar is where the previous call ended.
TEST_F(RangesTest, ContinuedCallsMatchOneCall) {
    const std::vector<double> cond = {1, 1, F, 0, 1, 1, 1, F, F, 1, 0, 0, 1, 1, 1, 0, 1, F, 1, 1, 1, 1, 0, 1};
    std::vector<double> lengths(cond.size(), 10);
    for (std::size_t b = 14; b < cond.size(); ++b) lengths[b] = 6;
    struct Case {
        const char* function;
        std::vector<Arg> extra;
    };
    const Case cases[] = {
        {"Occurrences", {lengths}},
        {"Occurrences", {3.0}},
        {"Consecutive", {}},
        {"MostRecentOccurrence", {3.0, 5.0}},
        {"MostRecentOccurrence", {2.0, lengths}},
    };
    for (const Case& c : cases) {
        std::vector<Arg> args = {cond};
        args.insert(args.end(), c.extra.begin(), c.extra.end());
        const std::vector<double> whole = runOnce(c.function, args).values;
        for (int chunk : {1, 4, 7}) {
            SCOPED_TRACE(std::string(c.function) + " in chunks of " + std::to_string(chunk));
            std::vector<Series> inputs;
            for (const Arg& a : args)
                if (std::holds_alternative<std::vector<double>>(a)) inputs.push_back(Series::of({}));
            Series out;
            Call call(c.function);
            call.out(out);
            std::size_t next = 0;
            for (const Arg& a : args) {
                if (std::holds_alternative<std::vector<double>>(a)) call.arg(inputs[next++]);
                else call.arg(std::get<double>(a));
            }
            auto grow = [&](int32_t n) {
                std::size_t i = 0;
                for (const Arg& a : args)
                    if (const auto* v = std::get_if<std::vector<double>>(&a))
                        for (Series& s = inputs[i++]; s.count() < n;) s.push((*v)[s.count()]);
            };
            ASSERT_EQ(host::playChunks(call, static_cast<int32_t>(cond.size()), chunk, grow), kOk);
            EXPECT_EQ(out.values(), whole);
        }
    }
}

TEST_F(RangesTest, OccurrencesOverAllBarsStartAgainOnAContinuedCall) {
    // a constant length 0 counts from the first bar computed
    Series cond = Series::of({1, 1, 1, 1, 1, 1});
    Series out;
    Call call("Occurrences");
    call.out(out).arg(cond).arg(0.0);
    ASSERT_EQ(call.run(0), kOk);
    EXPECT_EQ(out.values(), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    ASSERT_EQ(call.run(3), kOk);
    EXPECT_EQ(out.values(), (std::vector<double>{1, 2, 3, 0, 1, 2}));
}

TEST_F(RangesTest, StatusCodes) {
    struct Case {
        const char* name;
        const char* function;
        std::function<void(Call&, std::deque<Series>&, host::Text&)> build;
        int32_t startBar;
        StatusCode expected;
    };
    auto series = [](std::deque<Series>& keep, std::vector<double> v) -> Series& {
        return keep.emplace_back(Series::of(v));
    };
    const Case cases[] = {
        {"wrong count", "HighestIndex", [&](Call& c, auto& k, auto&) { c.out(series(k, {})).arg(series(k, {1})).arg(2); }, 0, 0x103},
        {"release before the count", "HighestIndex", [&](Call& c, auto& k, auto&) { c.out(series(k, {})); }, -2, kOk},
        {"text for the values", "LowestIndex", [&](Call& c, auto& k, auto& t) { c.out(series(k, {})).arg(t).arg(2).arg(0); }, 0, 514},
        {"text for the tie mode", "HighestIndex", [&](Call& c, auto& k, auto& t) { c.out(series(k, {})).arg(series(k, {1})).arg(2).arg(t); }, 0, 516},
        {"no values", "HighestIndex", [&](Call& c, auto& k, auto&) { c.out(series(k, {})).arg(series(k, {})).arg(2).arg(0); }, 0, kTooFewBars},
        {"values without buffer", "LowestIndex", [&](Call& c, auto& k, auto&) { c.out(series(k, {})).arg(k.emplace_back(Series::null())).arg(2).arg(0); }, 0, kTooFewBars},
        {"text for the length", "Occurrences", [&](Call& c, auto& k, auto& t) { c.out(series(k, {})).arg(series(k, {1})).arg(t); }, 0, 515},
        {"text for the Return Value", "Consecutive", [&](Call& c, auto& k, auto& t) { c.out(t).arg(series(k, {1})); }, 0, 513},
        {"no condition bars", "MostRecentOccurrence", [&](Call& c, auto& k, auto&) { c.out(series(k, {})).arg(series(k, {})).arg(1).arg(0); }, 0, kTooFewBars},
        {"nine conditions and no more", "NumberTrue", [&](Call& c, auto& k, auto&) { c.out(series(k, {})); for (int i = 0; i < 10; ++i) c.arg(series(k, {1})); }, 0, 0x10B},
        {"text for the ninth condition", "NumberTrue", [&](Call& c, auto& k, auto& t) { c.out(series(k, {})); for (int i = 0; i < 8; ++i) c.arg(series(k, {1})); c.arg(t); }, 0, 522},
        {"bit 31", "IsBitTrueDLL", [&](Call& c, auto& k, auto&) { c.out(series(k, {})).arg(series(k, {1})).arg(31); }, 0, kDomainError},
        {"bit -1", "IsBitTrueDLL", [&](Call& c, auto& k, auto&) { c.out(series(k, {})).arg(series(k, {1})).arg(-1); }, 0, kDomainError},
        {"no values to test", "IsBitTrueDLL", [&](Call& c, auto& k, auto&) { c.out(series(k, {})).arg(series(k, {})).arg(3); }, 0, kDomainError},
        {"a shift does not read the start bar", "ShiftBars", [&](Call& c, auto& k, auto&) { c.out(series(k, {})).arg(series(k, {1})); }, -2, 0x102},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::deque<Series> keep;
        host::Text text("x");
        Call call(c.function);
        c.build(call, keep, text);
        EXPECT_EQ(call.run(c.startBar), c.expected);
    }
}

} // namespace
} // namespace fk
