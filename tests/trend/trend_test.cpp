// Trend-state indicators: hand-worked sequences of each, the host's chunked calls against one
// call, and the status codes.
#include <gtest/gtest.h>

#include <random>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

constexpr double M = kMissing;

class TrendTest : public HeapChecked {};

TEST_F(TrendTest, SuperTrendSequences) {
    expectExamples({
        // no trend inside the bands; up above the upper line; the lower line holds while the band
        // falls; price touching the lower line flips down to the upper band; a touch of the
        // upper line flips back up
        {"touches flip", "SuperTrend_DLL",
         {Vec{10, 13, 14, 12, 13, 13.5}, Vec{12, 14, 15, 14, 13.5, 15}, Vec{8, 11, 10, 12, 11, 12}},
         {M, 11, 11, 14, 13.5, 12}},
        // bar 3 lacks its upper band: missing, and its lower band 11.6 does not ratchet the line
        {"a missing band keeps the lines", "SuperTrend_DLL",
         {Vec{10, 13, 14, 11.5, 11.8}, Vec{12, 14, 15, M, 14}, Vec{8, 11, 10, 11.6, 10}}, {M, 11, 11, M, 11}},
        {"resumes an up-trend below the previous price", "SuperTrend_DLL",
         {Vec{10, 10, 9.5}, Vec{12, 12, 12}, Vec{8, 8, 9.2}}, {M, 9, 9.2}, {M, 9}, 2},
        {"resumes a down-trend above it", "SuperTrend_DLL", {Vec{10, 10, 9.5}, Vec{12, 12, 12}, Vec{8, 8, 9.2}},
         {M, 11, 11}, {M, 11}, 2},
        {"nothing to resume from", "SuperTrend_DLL", {Vec{10, 10, 9.5}, Vec{12, 12, 12}, Vec{8, 8, 9.2}},
         {M, M, M}, {M, M}, 2},
    });
}

TEST_F(TrendTest, QqeTrailerAndTtmTrendSequences) {
    const Vec ttmA = {10, 9, 8, 7.5, 7.4, 12, 3, 3.5, M, 3.6}, ttmB = {5, 6, 7, 7.2, 7.3, 11, 4, 3.8, 3, 3.7};
    expectExamples({
        // crossing up starts below A, the trail only rises while A stays above, crossing down
        // starts above A; a missing A (and the bar after, whose A[i - 1] is missing) write
        // missing and the trail restarts at 50; a trail equal to A stays
        {"QQE trail", "QQE_Trailer", {Vec{40, 60, 65, 62, 48, M, 58, 47, 62}, 15.0},
         {M, 45, 50, 50, 63, M, M, 62, 62}},
        {"QQE resumes from the previous output", "QQE_Trailer", {Vec{40, 60, 65}, 10.0}, {M, 58, 58}, {M, 58}, 2},
        // A = high, B = low: -1; bars inside the oldest bar of the last 3 that holds them take
        // half its output, nested ones a quarter; a missing bar is skipped
        {"TTM nesting", "TTM_Trend", {ttmA, ttmB, 3.0}, {-1, -0.5, -0.5, -0.5, -0.25, -1, 1, 0.5, M, 0.5}},
        {"TTM lookback past the bars", "TTM_Trend", {ttmA, ttmB, 100.7},
         {-1, -0.5, -0.5, -0.5, -0.5, -1, 1, 0.5, M, 0.5}},
    });
}

TEST_F(TrendTest, GannTrendFollowsUpAndDownBars) {
    // up from the fill value before bar 0, up, inside, down, missing (not written), up from the
    // missing bar's fill values, equal high
    const Vec highs = {10, 11, 10.5, 10, M, 9.8, 9.8}, lows = {8, 9, 9.5, 9, M, 8.8, 8.5};
    EXPECT_EQ(valuesOf("GannTrend", {barsOf(highs, lows, highs)}, 3, Vec(7, 7.0)), (Vec{10, 11, 11, 9, 7, 9.8, 9.8}));
}

// A random walk (with holes where asked), bands around it and band widths. A call of the
// trailing stop resumes a trend only from a present output before its start bar; a bar without
// trend, or a missing bar, leaves nothing to resume from. So its price has no holes and is
// above the upper band at bar 0, where the up-trend starts.
struct Inputs {
    Vec price, upper, lower, width;
};
Inputs randomInputs(int n, bool holes) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    Inputs r;
    double p = 50;
    for (int i = 0; i < n; ++i) {
        p += (u(rng) - 0.5) * 4;
        const bool gap = holes && u(rng) < 0.05;
        r.price.push_back(gap ? M : p);
        r.upper.push_back(p + 0.2 + u(rng) * 3);
        r.lower.push_back(p - 0.2 - u(rng) * 3);
        r.width.push_back(0.5 + u(rng) * 3);
    }
    r.upper[0] = r.price[0] - 0.1;
    return r;
}

TEST_F(TrendTest, ChunkedHostCallsGiveTheSeriesOfOneCall) {
    const int n = 400;
    const Inputs r = randomInputs(n, false), holed = randomInputs(n, true);
    const std::pair<const char*, std::vector<Arg>> cases[] = {
        {"SuperTrend_DLL", {r.price, r.upper, r.lower}},
        {"QQE_Trailer", {holed.price, holed.width}},
        {"TTM_Trend", {holed.price, holed.lower, 6.0}},
    };
    for (const auto& [name, args] : cases) EXPECT_GT(presentCount(expectChunksMatchOneCall(name, args)), n / 2) << name;
}

TEST_F(TrendTest, StatusCodes) {
    const Vec x = {1, 2, 3};
    expectStatuses({
        {"SuperTrend_DLL", {'e', x, x}, kDomainError},
        {"SuperTrend_DLL", {x, x, 'e'}, kDomainError},
        {"QQE_Trailer", {'e', x}, kDomainError},
        {"TTM_Trend", {'e', x, 5.0}, kDomainError},
        {"TTM_Trend", {x, x, 0.9}, kDomainError}, // look-back 0.9
        {"TTM_Trend", {x, x, -5.0}, kDomainError},
        {"GannTrend", {'n'}, kDomainError},
    });
}

} // namespace
} // namespace fk
