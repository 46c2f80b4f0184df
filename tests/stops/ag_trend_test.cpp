// The n-bar swing line against its rules read one bar at a time, on walks with ties, inside and
// outside bars, holes and NaN prices.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "market_data.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

// The rules as written: the reference bar, the counts in a row, the turn, the line following.
std::vector<double> agTrendByRules(const std::vector<host::Bar>& bars, int n) {
    std::vector<double> out(bars.size(), kMissing);
    bool haveRef = false;
    double refHigh = 0, refLow = 0, line = 0;
    int ups = 0, downs = 0, trend = 0;
    for (std::size_t i = 0; i < bars.size(); ++i) {
        const double h = bars[i].high, l = bars[i].low;
        if (h == kMissing || l == kMissing) continue;
        if (!haveRef) {
            haveRef = true;
            refHigh = h;
            refLow = l;
            continue;
        }
        // a NaN price makes no inside bar, and a NaN reference none either
        const bool inside = h <= refHigh && l >= refLow;
        if (!inside) {
            ups = h > refHigh ? ups + 1 : 0;
            downs = l < refLow ? downs + 1 : 0;
            refHigh = h;
            refLow = l;
            if (trend != 1 && ups >= n) {
                trend = 1;
                line = h;
            } else if (trend != -1 && downs >= n) {
                trend = -1;
                line = l;
            } else if (trend == 1 && h > line) {
                line = h;
            } else if (trend == -1 && l < line) {
                line = l;
            }
        }
        if (trend != 0) out[i] = line;
    }
    return out;
}

class AgTrendTest : public HeapChecked {};

TEST_F(AgTrendTest, FollowsItsRulesOnRandomBars) {
    for (uint64_t seed : {1, 2, 3}) {
        std::vector<host::Bar> bars = gappyWalk(3000, seed);
        for (std::size_t i = 0; i < bars.size(); ++i) {
            host::Bar& b = bars[i];
            if (b.high == kMissing) continue;
            // quarter ticks make ties and inside bars common
            b.high = std::round(b.high * 4) / 4;
            b.low = std::round(b.low * 4) / 4;
            if (i % 97 == 50) b.high = NAN;
            if (i % 89 == 30) b.low = NAN;
        }
        Market m(bars);
        for (double n : {1.0, 2.0, 3.0, 5.0}) {
            SCOPED_TRACE(::testing::Message() << "seed " << seed << " n " << n);
            expectNear(valuesOf("AgTrend", {&m, n}), agTrendByRules(bars, static_cast<int>(n)), 0.0);
        }
    }
}

} // namespace
} // namespace fk
