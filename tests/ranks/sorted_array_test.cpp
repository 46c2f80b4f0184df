// The sorted array behind the order statistics, in each of its ways of updating (written afresh
// with 256-bit vectors, counted, searched by halvings), against a plain model: insertion after the
// equal values, removal of the first equal one. Values are compared bit for bit, so that -0 and
// +0 and the infinities keep their places.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "indicators/ranks.h"

namespace fk::ranks {
namespace {

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// The ways this machine offers: always the narrow one, the wide one where the vectors exist.
std::vector<bool> ways() { return platform::wideVectors() ? std::vector<bool>{false, true} : std::vector<bool>{false}; }

TEST(SortedArray, EveryWayMatchesTheModel) {
    const double pool[] = {-HUGE_VAL, -2, -0.0, 0.0, 0.5, 1, 1, 3, HUGE_VAL};
    for (bool wide : ways())
        for (int32_t n : {1, 2, 3, 4, 5, 7, 8, 20, 63, 64, 65, 250, 256, 300}) {
            SCOPED_TRACE(testing::Message() << "n " << n << (wide ? " wide" : " narrow"));
            std::vector<double> slots(static_cast<size_t>(SortedArray::slotsFor(n)));
            SortedArray a(slots.data(), n, wide);
            std::vector<double> model, ring;
            std::mt19937 rng(static_cast<unsigned>(n));
            std::uniform_int_distribution<int> pick(0, 8);
            for (int step = 0; step < 6 * n + 40; ++step) {
                const double v = pool[pick(rng)];
                if (static_cast<int32_t>(ring.size()) < n) {
                    a.insert(v);
                } else {
                    const double old = ring.front();
                    ring.erase(ring.begin());
                    a.replace(old, v);
                    model.erase(std::lower_bound(model.begin(), model.end(), old));
                }
                ring.push_back(v);
                model.insert(std::upper_bound(model.begin(), model.end(), v), v);
                ASSERT_EQ(a.size(), static_cast<int32_t>(model.size()));
                for (int32_t k = 0; k < a.size(); ++k)
                    ASSERT_TRUE(sameBits(a.at(k), model[static_cast<size_t>(k)])) << "step " << step << " place " << k;
            }
        }
}

TEST(OrderedWindow, LatestRankCountsBelowAndEqual) {
    for (bool wide : ways())
        for (int32_t n : {1, 3, 4, 9, 20}) {
            OrderedWindow w(n, Keep::LatestRank, wide);
            std::vector<double> last;
            std::mt19937 rng(static_cast<unsigned>(n) + 7);
            std::uniform_int_distribution<int> pick(0, 5);
            for (int step = 0; step < 200; ++step) {
                const double v = pick(rng) == 0 ? -0.0 : pick(rng);
                w.push(v);
                last.push_back(v);
                if (static_cast<int32_t>(last.size()) > n) last.erase(last.begin());
                int32_t below, equal;
                w.latestRank(below, equal);
                EXPECT_EQ(below, std::count_if(last.begin(), last.end(), [v](double e) { return e < v; }));
                EXPECT_EQ(equal, std::count(last.begin(), last.end(), v));
            }
        }
}

} // namespace
} // namespace fk::ranks
