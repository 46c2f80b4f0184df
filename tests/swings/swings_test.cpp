// Swing points against a scan of both sides of every bar (on values with runs of ties, holes,
// NaN and infinities), bars since confirmed swings against a walk back, and the two zigzags.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

const double NaN = std::nan("");

class SwingsTest : public HeapChecked {};

TEST_F(SwingsTest, Examples) {
    expectExamples({
        {"strength 2.9 acts as 2", "IsSwingHighPoint", {Vec{1, 2, 5, 3, 4, 2, 1}, 2.9}, {F, F, 1, 0, 0}},
        {"strength 0: every bar with a value", "IsSwingHighPoint", {Vec{1, F, 2}, 0.0}, {1, F, 1}},
        {"a strength the series cannot hold writes nothing", "IsSwingHighPoint", {Vec{1, 2, 1}, 2.0}, {7}, {7}},
        {"a negative strength writes nothing", "IsSwingLowPoint", {Vec{1, 2, 1}, -1.0}, {7}, {7}},
        {"occurrence 0 is found before any bar is walked", "SwingHighBarsAgo", {Vec{0, 0, 1, 0, 0, 2, 0}, 0.0, 0.0},
         Vec(7, -1)},
    });
}

// 1 when no value before bar i (of s) is above (high) or below (low) it, or missing, and every
// value after it is strictly below (above); the fill at holes; bars without s on each side keep what
// they held.
Vec byScanning(const Vec& x, int s, bool high, double untouched) {
    const int n = static_cast<int>(x.size());
    Vec out(n, untouched);
    for (int i = s; i < n - s; ++i) {
        if (x[i] == F) {
            out[i] = F;
            continue;
        }
        bool swing = true;
        for (int j = i - s; j <= i + s; ++j) {
            if (j == i) continue;
            const bool ok = j < i ? (high ? x[i] >= x[j] : x[i] <= x[j]) : (high ? x[i] > x[j] : x[i] < x[j]);
            swing = swing && x[j] != F && ok;
        }
        out[i] = swing ? 1 : 0;
    }
    return out;
}

TEST_F(SwingsTest, MatchScansOfBothSides) {
    std::mt19937 rng(5);
    const double odd[] = {F, std::nan(""), HUGE_VAL, -HUGE_VAL};
    for (int round = 0; round < 12; ++round) {
        Vec x(500);
        double level = 100;
        for (double& v : x) {
            level += static_cast<double>(static_cast<int>(rng() % 5) - 2); // whole steps: many ties
            v = rng() % 40 == 0 ? odd[rng() % std::size(odd)] : level;
        }
        for (int s : {1, 2, 3, 6, 40}) {
            for (bool high : {true, false}) {
                SCOPED_TRACE("round " + std::to_string(round) + " strength " + std::to_string(s) + (high ? " high" : " low"));
                const Vec got = runCall(high ? "IsSwingHighPoint" : "IsSwingLowPoint", {x, static_cast<double>(s)}, 0,
                                        Vec(x.size(), 7)).values;
                const Vec want = byScanning(x, s, high, 7);
                ASSERT_EQ(got.size(), want.size());
                for (std::size_t i = 0; i < want.size(); ++i) {
                    if (std::isnan(want[i])) EXPECT_TRUE(std::isnan(got[i])) << "bar " << i;
                    else EXPECT_EQ(got[i], want[i]) << "bar " << i;
                }
            }
        }
    }
}

// Walks back from every bar counting the swings already confirmed there.
Vec walkBack(const Vec& swings, int want) {
    Vec out(swings.size(), F);
    for (int c = 0; c < static_cast<int>(swings.size()); ++c) {
        int found = 0, j = c;
        for (; j >= 0 && found < want; --j)
            found += swings[j] != 0.0 && swings[j] != F && j + swings[j] <= c;
        if (found >= want) out[c] = c - j - 1;
    }
    return out;
}

TEST_F(SwingsTest, BarsAgoMatchesAWalkBackFromEveryBar) {
    std::mt19937 rng(11);
    const double strengths[] = {1, 2, 3, 5, 8, 0.5, 2.5, -1, NaN, F, 1e12};
    for (int round = 0; round < 30; ++round) {
        // from round 20 on every swing has one strength, so that swings count in the order of their bars
        const double one = strengths[rng() % 5];
        Vec swings(400, 0);
        for (double& x : swings)
            if (rng() % 4 == 0) x = round < 20 ? strengths[rng() % std::size(strengths)] : one;
        for (int want : {1, 2, 4, 30}) {
            SCOPED_TRACE("round " + std::to_string(round) + " occurrence " + std::to_string(want));
            EXPECT_EQ(runCall("SwingLowBarsAgo", {swings, 0.0, static_cast<double>(want)}).values,
                      walkBack(swings, want));
        }
    }
    EXPECT_EQ(findExport("SwingLowBarsAgo")->entry, findExport("SwingHighBarsAgo")->entry);
}

struct HighLow { double high, low; };

Vec runZigZag(const char* name, const std::vector<HighLow>& bars, double percent, const Vec& out0) {
    std::vector<Bar> b;
    for (std::size_t i = 0; i < bars.size(); ++i)
        b.push_back({36000.0 + static_cast<double>(i), bars[i].low, bars[i].high, bars[i].low, bars[i].high, 100});
    return valuesOf(name, {b, percent}, 0, out0);
}

TEST_F(SwingsTest, ZigZags) {
    const std::vector<HighLow> upDownUp = {{10, 9}, {12, 11}, {15, 14}, {13, 12}, {11, 10},
                                           {9, 8},   {11, 10}, {13, 12}, {12, 11}};
    std::vector<HighLow> withHole = upDownUp;
    withHole[4].high = F;
    // up 40 per cent once, then down less than 5 per cent
    const std::vector<HighLow> riseOnce = {{10, 9},  {11, 10},       {12, 11},       {13, 12},
                                           {14, 13}, {13.8, 12.8}, {13.6, 12.6}, {13.5, 12.5}};
    // bar 1 is an outside bar: a local high and a local low at once
    const std::vector<HighLow> outside = {{10, 9}, {12, 7}, {11, 8}, {13, 9}, {12, 8.5}};
    // the high at bar 6 stands on a low below the low pivot at bar 4
    const std::vector<HighLow> lowerHigh = {{10, 9}, {12, 11}, {15, 14}, {12, 11}, {9, 8},
                                            {10, 9}, {11, 7},   {10.5, 9}, {10, 9}};
    struct Case { const char* name; std::vector<HighLow> bars; double percent; Vec out0, plain, strict; };
    const Case cases[] = {
        {"up, down, up", upDownUp, 5, {}, {F, F, 15, F, F, 8}, {F, F, 15, F, F, 8, F, 13}},
        {"a missing high: the marker at the bars around it", withHole, 5, Vec(9, 7),
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

} // namespace
} // namespace fk
