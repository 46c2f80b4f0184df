// MovingSum, MovStdDev, MOMA and VOMA against recomputed windows, the per-bar lengths of
// MovingSum, its running total across continued calls, and the status codes of the family.
#include <gtest/gtest.h>

#include <cmath>

#include "support/heap_check.h"
#include "support/series_checks.h"

namespace fk {
namespace {

using namespace testing;

class RollingTest : public HeapChecked {};

Vec movingSum(const Vec& data, double length, double mode) { return valuesOf("MovingSum", {data, length, mode}); }

double filtered(double x, int mode) { return mode > 0 ? std::max(x, 0.0) : mode < 0 ? std::min(x, 0.0) : x; }

TEST_F(RollingTest, MovingSumOfConstantLengthSumsTheLastValidValuesThroughItsSignFilter) {
    const std::vector<double> data = randomSeries(500, 11, 6);
    std::vector<double> centred = data;
    for (double& x : centred)
        if (x != F) x -= 100;
    for (int mode : {0, 1, -1, 5})
        for (int n : {1, 4, 30}) {
            SCOPED_TRACE(::testing::Message() << "mode " << mode << " length " << n);
            std::vector<double> want(centred.size(), F);
            for (int b = 0; b < static_cast<int>(centred.size()); ++b) {
                const std::vector<double> w = lastValid(centred, b, n);
                if (centred[b] == F || static_cast<int>(w.size()) < n) continue;
                want[b] = 0;
                for (double x : w) want[b] += filtered(x, mode);
            }
            expectNear(movingSum(centred, double(n), mode), trimmed(want));
        }
}

TEST_F(RollingTest, MovingSumExamples) {
    const Vec data = {1, -2, F, 3, -4, 5}, ten = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    expectExamples({
        {"length 0 is a running total", "MovingSum", {data, 0.0, 0.0}, {1, -1, F, 2, -2, 3}},
        {"so is a length below 0", "MovingSum", {data, -3.0, 0.0}, {1, -1, F, 2, -2, 3}},
        {"a running total of the gains", "MovingSum", {data, 0.0, 1.0}, {1, 1, F, 4, 4, 9}},
        {"a running total of the losses", "MovingSum", {data, 0.0, -1.0}, {0, -2, F, -2, -6, -6}},
        // lengths per bar
        {"5, 6, 7 extends the span", "MovingSum", {ten, Vec{5, 5, 5, 5, 5, 5, 5, 6, 7, 7}, 0.0},
         {F, F, F, F, 15, 20, 25, 33, 42, 49}},
        {"5 then 7 sums seven values again", "MovingSum", {ten, Vec{5, 5, 5, 5, 5, 5, 5, 5, 7, 7}, 0.0},
         {F, F, F, F, 15, 20, 25, 30, 42, 49}},
        {"7 without seven values writes nothing", "MovingSum", {ten, Vec{5, 5, 5, 5, 5, 7, 7, 7, 7, 7}, 0.0},
         {F, F, F, F, 15, F, 28, 35, 42, 49}},
        {"shrinking", "MovingSum", {ten, Vec{5, 5, 5, 5, 5, 5, 2, 2, 3, 3}, 0.0}, {F, F, F, F, 15, 20, 13, 15, 24, 27}},
        {"missing values are not counted", "MovingSum", {Vec{1, 2, F, 4, 5, 6}, Vec{2, 2, 2, 2, 3, 3}, 0.0},
         {F, 3, F, 6, 11, 15}},
        {"a bar without a length is left out", "MovingSum", {Vec{1, 2, 3, 4, 5, 6}, Vec{3, 3, 3, F, 3, 3}, 0.0},
         {F, F, 6, F, 10, 14}},
        {"length 0 gives 0 and the span starts again", "MovingSum", {Vec{1, 2, 3, 4, 5}, Vec{2, 2, 0, 1, 2}, 0.0},
         {F, 3, 0, 4, 9}},
    });
}

TEST_F(RollingTest, MovingSumContinuedAsBarsArrive) {
    // each call sums its first window afresh: the same up to rounding
    const std::vector<double> data = randomSeries(300, 12, 6);
    for (int chunk : {1, 7, 100})
        expectNear(runChunked("MovingSum", {data, 6.0, 0.0}, chunk).values, movingSum(data, 6.0, 0), 1e-9,
                   "chunk " + std::to_string(chunk));
}

TEST_F(RollingTest, ARunningTotalGoesOnFromTheBarBeforeTheStartUnlessThatBarIsMissing) {
    Vec ones(28, 1.0);
    EXPECT_EQ(runChunked("MovingSum", {ones, 0.0, 0.0}, 7).values, movingSum(ones, 0.0, 0));
    ones[13] = F; // the bar before the call that starts at 14
    const Vec got = runChunked("MovingSum", {ones, 0.0, 0.0}, 7).values;
    EXPECT_EQ(got[12], 13);
    EXPECT_EQ(got[13], F);
    EXPECT_EQ(got[14], 1);  // the total starts again
    EXPECT_EQ(got[20], 7);
    EXPECT_EQ(got[27], 14); // and goes on from bar 20 in the call at 21
    EXPECT_EQ(movingSum(ones, 0.0, 0)[14], 14);
}

TEST_F(RollingTest, MovStdDevIsThePopulationDeviationOfTheLastValidValues) {
    const std::vector<double> data = randomSeries(500, 13, 7);
    for (double length : {2.0, 5.0, 19.6}) {
        SCOPED_TRACE(length);
        const int n = static_cast<int>(length + 0.5);
        std::vector<double> want(data.size(), F);
        for (int b = 0; b < static_cast<int>(data.size()); ++b) {
            const std::vector<double> w = lastValid(data, b, n);
            if (data[b] == F || static_cast<int>(w.size()) < n) continue;
            double mean = 0, var = 0;
            for (double x : w) mean += x / n;
            for (double x : w) var += (x - mean) * (x - mean) / n;
            want[b] = std::sqrt(var);
        }
        expectNear(valuesOf("MovStdDev", {data, length}), want, 1e-7);
    }
}

// An average of the bars i - n + 1 .. i weighted by weight(j); bars without a weight get nothing.
template <class Weight>
std::vector<double> windowWeighted(const std::vector<double>& x, int n, Weight weight) {
    std::vector<double> r(x.size(), F);
    int counted = 0;
    for (int i = 0; i < static_cast<int>(x.size()); ++i) {
        if (weight(i) < 0) continue;
        if (++counted < n) continue;
        double sw = 0, sxw = 0;
        for (int j = std::max(0, i - n + 1); j <= i; ++j)
            if (weight(j) >= 0) {
                sw += weight(j);
                sxw += x[j] * weight(j);
            }
        r[i] = sw == 0 ? x[i] : sxw / sw;
    }
    return r;
}

// MOMA weighs each bar by its absolute change, VOMA by its volume.
TEST_F(RollingTest, MomaAndVomaWeighEachBar) {
    const std::vector<double> data = randomSeries(300, 14, 9);
    std::vector<double> volume = randomSeries(300, 16, 11);
    for (int i = 0; i < 300; i += 13) volume[i] = 0;
    for (int i = 40; i < 50; ++i) volume[i] = 0; // a window without weight shows the value itself
    auto change = [&](int j) { return j < 1 || data[j] == F || data[j - 1] == F ? -1.0 : std::fabs(data[j] - data[j - 1]); };
    auto weight = [&](int j) { return data[j] == F || volume[j] == F ? -1.0 : volume[j]; };
    for (int n : {1, 3, 10}) {
        SCOPED_TRACE(n);
        expectNear(valuesOf("MOMA", {data, double(n)}), trimmed(windowWeighted(data, n, change)), 1e-9, "MOMA");
        expectNear(valuesOf("VOMA", {data, double(n), volume}), trimmed(windowWeighted(data, n, weight)), 1e-9, "VOMA");
    }
}

TEST_F(RollingTest, Edges) {
    expectExamples({
        {"constant series", "MovStdDev", {Vec(7, 3.7), 3.0}, {F, F, 0, 0, 0, 0, 0}, {9}},
        {"length 1 writes nothing", "MovStdDev", {Vec{1, 2, 3}, 1.0}, {9}, {9}},
        {"length 1.4 writes nothing", "MovStdDev", {Vec{1, 2, 3}, 1.4}, {9}, {9}},
        {"MOMA of a flat series is the series", "MOMA", {Vec(5, 5.0), 3.0}, {F, F, F, 5, 5}},
        {"MOMA of length 0 gives 0", "MOMA", {Vec{1, 2, 4}, 0.0}, {F, 0, 0}},
        {"MOMA of a length beyond 16 bits", "MOMA", {Vec{1, 2, 4}, 1e6}, {}},
        {"VOMA of length -2 gives 0", "VOMA", {Vec{1, 2, 4}, -2.0, Vec(3, 1.0)}, {0, 0, 0}},
    });
}

} // namespace
} // namespace fk
