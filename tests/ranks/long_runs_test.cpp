// Sideways boxes hundreds of bars long (longer than the run's first store of extremes), with
// holes, against the longest run found by brute force, from bar 0 and from later start bars.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Call;
using host::Series;
using Vec = std::vector<double>;
constexpr double M = kMissing;

class LongRunsTest : public testing::HeapChecked {};

TEST_F(LongRunsTest, TopBottomAndLengthMatchTheLongestRun) {
    // quiet stretches of 100 to 400 bars between jumps, a hole now and then
    std::mt19937 rng(21);
    std::uniform_real_distribution<double> wiggle(-0.4, 0.4);
    std::uniform_int_distribution<int> stretch(100, 400), hole(0, 29);
    Vec x;
    double level = 50;
    while (x.size() < 2000) {
        for (int k = stretch(rng); k > 0; --k) x.push_back(hole(rng) == 0 ? M : std::round((level + wiggle(rng)) * 8) / 8);
        level += 5 * wiggle(rng) + 2;
    }
    const int n = static_cast<int>(x.size());
    const double h = 1;
    for (int start : {0, 1, 777, n - 3}) {
        SCOPED_TRACE(start);
        Vec got[4];
        for (int sel = 0; sel < 4; ++sel) {
            Series in = Series::of(x), out = Series::of(Vec(x.size(), 123.0));
            Call call(sel == 0 ? "LateralMovement" : "LateralBox");
            call.out(out).arg(in).arg(h).arg(0).arg(5);
            if (sel > 0) call.arg(sel);
            ASSERT_EQ(call.run(start), 0);
            got[sel] = out.values();
        }
        for (int i = start; i < n; ++i) {
            if (x[i] == M) continue;
            double hi = x[i], lo = x[i], bestHi = hi, bestLo = lo;
            int l = 1;
            for (int j = i - 1; j >= 0; --j) {
                if (x[j] == M) continue;
                hi = std::max(hi, x[j]);
                lo = std::min(lo, x[j]);
                if (hi - lo > h) break;
                ++l;
                bestHi = hi;
                bestLo = lo;
            }
            const bool box = l >= 5;
            ASSERT_EQ(got[0][i], box ? l : 0) << i;
            ASSERT_EQ(got[1][i], box ? bestHi : M) << i;
            ASSERT_EQ(got[2][i], box ? bestLo : M) << i;
            ASSERT_EQ(got[3][i], box ? (bestHi + bestLo) / 2 : M) << i;
        }
    }
}

} // namespace
} // namespace fk
