// The Cyber Cycle and the oscillator predictors: the worked examples, the predicted price fed
// back as the next bar reaching the level, restarts against one call, and the status codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/call_builder.h"
#include "support/series_checks.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

constexpr double M = kMissing;

class PredictorsTest : public HeapChecked {};

Vec cycle(const Vec& x, double alpha, double m, int32_t start = 0, const Vec& before = {}) {
    return valuesOf("EhlersCyberCycle", {x, alpha, m}, start, before);
}

TEST_F(PredictorsTest, CyberCycleExamples) {
    const Vec x{10, 11, 13, 12, 14, 15, 13, 12, 14, 16};
    const Vec want{M, M, 0.25, -0.75, 0.75, -0.25, -1.4240833, -3.0533867, -4.7580179, -5.4330183};
    expectNear(cycle(x, 0.07, 0), want, 1e-7);
    expectNear(cycle(x, 0, 0), want, 1e-7);
    expectNear(cycle(x, -3, 0), want, 1e-7);
    const Vec raw = cycle(x, 0.07, 1);
    EXPECT_NEAR(raw[6], -3.90735, 1e-6);
    EXPECT_NEAR(raw[7], -6.120221, 1e-6);
    EXPECT_NEAR(cycle(x, 27, 0)[6], -1.4209184, 1e-7);

    // flat and straight inputs have no cycle
    Vec line(12), flat(12, 5.0);
    for (int i = 0; i < 12; ++i) line[i] = i;
    for (const Vec& v : {line, flat}) {
        const Vec y = cycle(v, 0.07, 0);
        for (int i = 2; i < 12; ++i) EXPECT_NEAR(y[i], 0, 1e-12) << i;
    }

    // a restart reads bars 6 and 7 back from the Return Value
    const Vec whole = cycle(x, 0.07, 0);
    EXPECT_EQ(cycle(x, 0.07, 0, 8, whole), whole);

    // the count starts at the first present bar; a hole makes the bars that need it missing
    const Vec late = cycle(Vec{M, M, 10, 11, 13, 12}, 0.07, 0);
    expectNear(late, Vec{M, M, M, M, 0.25, -0.75}, 1e-12);
    const Vec holed = cycle(Vec{10, 11, 13, M, 14, 15, 13, 12, 14, 16}, 0.07, 0);
    // bar 9 is the first whose six inputs are present again; its missing past outputs count as 0
    expectNear(holed, Vec{M, M, 0.25, M, M, M, M, M, M, 0.965 * 0.965 * 5 / 6}, 1e-12);
}

struct Predict {
    const char* name = "UpperOscPredictorDLL";
    Vec price;
    double level = 70, kind = 1, n1 = 2, n2 = 0, n3 = 0, step = 0, warmUp = 1, mode = 0, maxMove = 0;
    Vec operator()(int32_t start = 0) const {
        return valuesOf(name, {price, level, kind, n1, n2, n3, step, warmUp, mode, maxMove}, start);
    }
};

TEST_F(PredictorsTest, RsiAndMacdExamples) {
    const char* lower = "LowerOscPredictorDLL";
    const Vec rsi = {10, 11, 10.5, 11.5, 12}, macd = {10, 11, 12, 11.5};
    struct Row { Predict call; Vec want; double tolerance; };
    const Row rows[] = {
        {{.price = rsi}, {M, M, 10.583333, 11.303571, 11.794643}, 1e-6},
        {{.price = rsi, .step = 0.25}, {M, M, 10.75, 11.5, 12.0}, 1e-9},
        {{.name = lower, .price = rsi, .level = 30}, {M, M, 9.583333, 9.875, 10.604167}, 1e-6},
        {{.name = lower, .price = rsi, .level = 30, .step = 0.25}, {M, M, 9.5, 9.75, 10.5}, 1e-9},
        {{.price = rsi, .mode = 2}, {M, M, 10.583333, M, M}, 1e-6},
        {{.price = rsi, .mode = 1}, {M, M, 0.083333, -0.196429, 11.794643 - 12}, 1e-6},
        {{.name = lower, .price = rsi, .level = 30, .maxMove = 10}, {M, M, 9.583333, M, M}, 1e-6},
        // a longer warm-up, and a level the RSI cannot reach
        {{.price = rsi, .warmUp = 2}, {M, M, M, M, 11.794643}, 1e-6},
        {{.price = rsi, .level = 100}, Vec(5, M), 0},
        {{.price = macd, .level = 0, .kind = 2, .n2 = 4, .warmUp = 0}, {10, 10.066667, 10.395556, 10.855852}, 1e-6},
        {{.price = macd, .level = 0, .kind = 2, .n2 = 4, .warmUp = 1}, {M, M, M, 10.855852}, 1e-6},
        {{.price = macd, .level = 0, .kind = 3, .n2 = 4, .n3 = 3, .warmUp = 0},
         {10.0, 10.566667, 11.612222, 12.016407}, 1e-6},
    };
    for (const Row& r : rows) expectNear(r.call(), r.want, r.tolerance, r.call.name + std::to_string(&r - rows));
    Predict stepped{.price = macd, .level = 0, .kind = 2, .n2 = 4, .step = 0.01, .warmUp = 0};
    EXPECT_NEAR(stepped()[1], 10.07, 1e-9);
    stepped.name = lower;
    EXPECT_NEAR(stepped()[1], 10.06, 1e-9);
}

// The oscillator after the present prices of p, straight from its definition: Wilder's RSI of
// period n1, or the MACD line (n1, n2) or its histogram (signal n3).
double oscillator(const Vec& p, int kind, int n1, int n2, int n3) {
    Vec x;
    for (double v : p)
        if (v != M) x.push_back(v);
    if (kind == 1) {
        double g = 0, l = 0;
        for (int j = 1; j < static_cast<int>(x.size()); ++j) {
            const double d = x[j] - x[j - 1], gain = std::max(d, 0.0), loss = std::max(-d, 0.0);
            if (j <= n1) {
                g += gain / n1;
                l += loss / n1;
            } else {
                g = ((n1 - 1) * g + gain) / n1;
                l = ((n1 - 1) * l + loss) / n1;
            }
        }
        return 100 * g / (g + l);
    }
    double e1 = x[0], e2 = x[0], sg = 0;
    for (size_t j = 1; j < x.size(); ++j) {
        e1 += 2.0 / (n1 + 1) * (x[j] - e1);
        e2 += 2.0 / (n2 + 1) * (x[j] - e2);
        sg += 2.0 / (n3 + 1) * ((e1 - e2) - sg);
    }
    return kind == 2 ? e1 - e2 : (e1 - e2) - sg;
}

// The answer, appended as the next price, brings the oscillator to the level, on a random walk
// with holes, for each kind; calls as bars arrive write what one call writes.
TEST_F(PredictorsTest, PredictedPriceReachesTheLevel) {
    const Vec p = randomSeries(80, 5, 9);
    expectChunksMatchOneCall("EhlersCyberCycle", {p, 0.07, 0.0});
    for (int kind : {1, 2, 3}) {
        Predict pr;
        pr.price = p, pr.kind = kind, pr.n1 = 5, pr.n2 = 9, pr.n3 = 4, pr.level = kind == 1 ? 63 : 0.3;
        const Vec at = pr();
        expectChunksMatchOneCall(pr.name, {p, pr.level, pr.kind, pr.n1, pr.n2, pr.n3, 0.0, 1.0, 0.0, 0.0});
        for (int i = 20; i < 80; ++i) {
            if (p[i] == M) continue;
            Vec next(p.begin(), p.begin() + i + 1);
            next.push_back(at[i]);
            EXPECT_NEAR(oscillator(next, kind, 5, 9, 4), pr.level, 1e-9) << kind << " " << i;
        }
    }
}

TEST_F(PredictorsTest, StatusCodes) {
    const Vec x = {1, 2, 3};
    auto pred = [&](const char* name, double kind, double n1, double n2, double n3, double mode) {
        return StatusCase{name, {x, 70.0, kind, n1, n2, n3, 0.0, 1.0, mode, 0.0}, kDomainError};
    };
    expectStatuses({
        {"EhlersCyberCycle", {'e', 0.07, 0.0}, kDomainError},
        {"UpperOscPredictorDLL", {'e', 70.0, 1.0, 2.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0}, kDomainError},
        pred("UpperOscPredictorDLL", 4, 2, 0, 0, 0),   pred("LowerOscPredictorDLL", 0.9, 2, 0, 0, 0), // kind
        pred("UpperOscPredictorDLL", 1, 1.9, 0, 0, 0), // RSI period 1
        pred("UpperOscPredictorDLL", 2, 0, 4, 0, 0),   pred("UpperOscPredictorDLL", 2, 4, 4, 0, 0), // MACD n1
        pred("LowerOscPredictorDLL", 3, 2, 4, 1, 0),   // histogram n3 1
        pred("UpperOscPredictorDLL", 1, 2, 0, 0, 3),   pred("UpperOscPredictorDLL", 1, 2, 0, 0, std::nan("")), // mode
    });
}

} // namespace
} // namespace fk
