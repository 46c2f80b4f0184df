// Swing points, bars since confirmed swings, and the two zigzags.
#include <gtest/gtest.h>

#include <cmath>
#include <deque>
#include <functional>
#include <random>

#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Call;
using host::Market;
using host::Series;

constexpr double F = kMissing;
const double NaN = std::nan("");

class SwingsTest : public testing::HeapChecked {};

// Runs an export over one series and numbers; `out` starts with the given elements.
std::vector<double> runSeries(const char* name, const std::vector<double>& input, std::vector<double> numbers,
                              const std::vector<double>& out0 = {}) {
    Series in = Series::of(input), out = Series::of(out0);
    Call call(name);
    call.out(out).arg(in);
    for (double n : numbers) call.arg(n);
    EXPECT_EQ(call.run(0), kOk);
    return out.values();
}

TEST_F(SwingsTest, SwingPoints) {
    struct Case {
        const char* name;
        const char* function;
        std::vector<double> input;
        double strength;
        std::vector<double> out0, expected;
    };
    const Case cases[] = {
        {"equal highs side by side mark the second", "IsSwingHighPoint", {1, 3, 3, 1}, 1, {}, {F, 0, 1}},
        {"equal lows side by side mark the second", "IsSwingLowPoint", {3, 1, 1, 3}, 1, {}, {F, 0, 1}},
        {"strength 2.9 acts as 2", "IsSwingHighPoint", {1, 2, 5, 3, 4, 2, 1}, 2.9, {}, {F, F, 1, 0, 0}},
        {"strength 3", "IsSwingHighPoint", {1, 2, 5, 3, 4, 2, 1}, 3, {}, {F, F, F, 0}},
        {"the first and last bars are left as they were", "IsSwingLowPoint", {3, 1, 3, 1, 3}, 1, {7, 7, 7, 7, 7}, {7, 1, 0, 1, 7}},
        {"missing bars: the fill value, and no swing beside them", "IsSwingHighPoint", {1, 3, F, 1, 2, 1}, 1, {}, {F, 0, F, 0, 1}},
        {"strength 0: every bar with a value", "IsSwingHighPoint", {1, F, 2}, 0, {}, {1, F, 1}},
        {"a strength the series cannot hold writes nothing", "IsSwingHighPoint", {1, 2, 1}, 2, {7}, {7}},
        {"a negative strength writes nothing", "IsSwingLowPoint", {1, 2, 1}, -1, {7}, {7}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(runSeries(c.function, c.input, {c.strength}, c.out0), c.expected);
    }
}

// Walks back from every bar counting the swings already confirmed there.
std::vector<double> walkBack(const std::vector<double>& swings, int want) {
    const int n = static_cast<int>(swings.size());
    std::vector<double> out(n, F);
    for (int c = 0; c < n; ++c) {
        int found = 0, walked = 0;
        for (int j = c; j >= 0 && found < want; --j) {
            ++walked;
            const double x = swings[j];
            if (x != 0.0 && x != F && j + x <= c) ++found;
        }
        if (found >= want) out[c] = walked - 1;
    }
    return out;
}

TEST_F(SwingsTest, BarsAgoOfConfirmedSwings) {
    const std::vector<double> swings = {0, 0, 1, 0, 0, 2, 0, 0, 0};
    struct Case {
        const char* name;
        std::vector<double> swings;
        double occurrence;
        std::vector<double> expected;
    };
    const Case cases[] = {
        {"most recent", swings, 1, {F, F, F, 1, 2, 3, 4, 2, 3}},
        {"second most recent", swings, 2, {F, F, F, F, F, F, F, 5, 6}},
        {"occurrence 0 is found before any bar is walked", swings, 0, std::vector<double>(9, -1)},
        {"a negative occurrence too", swings, -2, std::vector<double>(9, -1)},
        {"a swing confirmed on its own bar", {0, -1, 0}, 1, {F, 0, 1}},
        {"a swing that needs half a bar", {0, 0.5, 0, 0}, 1.7, {F, F, 1, 2}},
        {"missing bars are no swings", {F, 1, F, F}, 1, {F, F, 1, 2}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(runSeries("SwingHighBarsAgo", c.swings, {0, c.occurrence}), c.expected);
    }
}

TEST_F(SwingsTest, BarsAgoMatchesAWalkBackFromEveryBar) {
    std::mt19937 rng(11);
    const double kinds[] = {1, 2, 3, 5, 8, 0.5, 2.5, -1, NaN, F, 1e12};
    for (int round = 0; round < 20; ++round) {
        std::vector<double> swings(400, 0);
        for (double& x : swings)
            if (rng() % 4 == 0) x = kinds[rng() % std::size(kinds)];
        for (int want : {1, 2, 4, 30}) {
            SCOPED_TRACE("round " + std::to_string(round) + " occurrence " + std::to_string(want));
            EXPECT_EQ(runSeries("SwingLowBarsAgo", swings, {0, static_cast<double>(want)}), walkBack(swings, want));
        }
    }
}

TEST_F(SwingsTest, SwingLowBarsAgoRunsTheSameEntryPoint) {
    const ExportEntry* low = findExport("SwingLowBarsAgo");
    const ExportEntry* high = findExport("SwingHighBarsAgo");
    ASSERT_TRUE(low && high);
    EXPECT_EQ(low->entry, high->entry);
}

struct HighLow {
    double high, low;
};

std::vector<double> runZigZag(const char* name, const std::vector<HighLow>& bars, double percent,
                              const std::vector<double>& out0 = {}, StatusCode* status = nullptr) {
    std::vector<host::Bar> b;
    for (std::size_t i = 0; i < bars.size(); ++i)
        b.push_back({36000.0 + static_cast<double>(i), bars[i].low, bars[i].high, bars[i].low, bars[i].high, 100});
    Market m(b);
    Series out = Series::of(out0);
    Call call(name);
    call.out(out).arg(m).arg(percent);
    const StatusCode st = call.run(0);
    if (status) *status = st;
    else EXPECT_EQ(st, kOk);
    return out.values();
}

TEST_F(SwingsTest, ZigZags) {
    const std::vector<HighLow> upDownUp = {{10, 9}, {12, 11}, {15, 14}, {13, 12}, {11, 10},
                                           {9, 8},   {11, 10}, {13, 12}, {12, 11}};
    std::vector<HighLow> withHole = upDownUp;
    withHole[4].high = F;
    // up 40 per cent once, then a fall of less than 5 per cent
    const std::vector<HighLow> riseOnce = {{10, 9},  {11, 10},       {12, 11},       {13, 12},
                                           {14, 13}, {13.8, 12.8}, {13.6, 12.6}, {13.5, 12.5}};
    // bar 1 is an outside bar: a local high and a local low at once
    const std::vector<HighLow> outside = {{10, 9}, {12, 7}, {11, 8}, {13, 9}, {12, 8.5}};
    // the high at bar 6 stands on a low below the low pivot at bar 4
    const std::vector<HighLow> lowerHigh = {{10, 9}, {12, 11}, {15, 14}, {12, 11}, {9, 8},
                                            {10, 9}, {11, 7},   {10.5, 9}, {10, 9}};
    struct Case {
        const char* name;
        std::vector<HighLow> bars;
        double percent;
        std::vector<double> out0, plain, strict;
    };
    const std::vector<double> sevens(9, 7);
    const Case cases[] = {
        {"up, down, up", upDownUp, 5, {}, {F, F, 15, F, F, 8}, {F, F, 15, F, F, 8, F, 13}},
        {"a missing high: the marker at the bars around it", withHole, 5, sevens,
         {7, 7, 7, F, F, F, 7, 7, 7}, {7, 7, 15, F, F, F, 7, 7, 7}},
        {"a single rise", riseOnce, 5, {}, {}, {F, F, F, F, 14}},
        {"an outside bar at 0 per cent", outside, 0, {}, {F, 7}, {F, F, F, 13}},
        {"a high on a low below the low pivot", lowerHigh, 5, {}, {F, F, 15, F, 8, F, 11}, {F, F, 15, F, F, F, 7}},
        {"fewer than three bars", {{10, 9}, {12, 11}}, 5, {7, 7}, {7, 7}, {7, 7}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(runZigZag("ZigZag", c.bars, c.percent, c.out0), c.plain);
        EXPECT_EQ(runZigZag("LWZigZag", c.bars, c.percent, c.out0), c.strict);
    }
}

TEST_F(SwingsTest, StatusCodes) {
    struct Case {
        const char* function;
        std::function<void(Call&, std::deque<Series>&, host::Text&, Market&)> build;
        int32_t startBar;
        StatusCode expected;
    };
    auto series = [](std::deque<Series>& keep) -> Series& { return keep.emplace_back(Series::of({1, 2, 1})); };
    const Case cases[] = {
        {"ZigZag", [&](Call& c, auto& k, auto&, auto& m) { c.out(series(k)).arg(m); }, 0, 0x102},
        {"ZigZag", [&](Call& c, auto& k, auto& t, auto&) { c.out(series(k)).arg(t).arg(5); }, 0, 514},
        {"LWZigZag", [&](Call& c, auto& k, auto&, auto& m) { c.out(series(k)).arg(m).arg(5); }, -2, kOk},
        {"LWZigZag", [&](Call& c, auto&, auto& t, auto& m) { c.out(t).arg(m).arg(5); }, 0, 513},
        {"IsSwingHighPoint", [&](Call& c, auto& k, auto& t, auto&) { c.out(series(k)).arg(series(k)).arg(t); }, 0, 515},
        {"IsSwingLowPoint", [&](Call& c, auto& k, auto&, auto&) { c.out(series(k)).arg(series(k)).arg(1).arg(1); }, 0, 0x104},
        {"SwingHighBarsAgo", [&](Call& c, auto& k, auto& t, auto&) { c.out(series(k)).arg(series(k)).arg(t).arg(1); }, 0, 515},
        {"SwingLowBarsAgo", [&](Call& c, auto& k, auto&, auto&) { c.out(series(k)).arg(series(k)).arg(1); }, 0, 0x103},
        {"SwingLowBarsAgo", [&](Call& c, auto& k, auto&, auto&) { c.out(series(k)); }, -2, kOk},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.function);
        std::deque<Series> keep;
        host::Text text("x");
        Market market({{36000, 1, 2, 1, 1, 1}, {36001, 1, 3, 2, 2, 1}, {36002, 1, 2, 1, 1, 1}});
        Call call(c.function);
        c.build(call, keep, text, market);
        EXPECT_EQ(call.run(c.startBar), c.expected);
    }
}

} // namespace
} // namespace fk
