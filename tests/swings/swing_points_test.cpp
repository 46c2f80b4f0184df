// Swing points against a scan of both sides of every bar, on values with runs of ties, holes,
// NaN and infinities.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class SwingPointsTest : public HeapChecked {};

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

TEST_F(SwingPointsTest, MatchScansOfBothSides) {
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

} // namespace
} // namespace fk
