// The agreement column of the peer comparison: which bars count and how a difference is scaled.
#include <gtest/gtest.h>

#include "bench/peers/agreement.h"

namespace fk::peers {
namespace {

TEST(AgreementTest, ComparesBarsWhereBothGiveAValueAndCountsThoseBeyondOnePartInABillion) {
    const double none = kNone;
    struct Case { const char* what; std::vector<double> ours, peer; int32_t from;
                  double maxRelative, differing; int64_t compared; };
    const Case cases[] = {
        {"equal", {1, 2, 3}, {1, 2, 3}, 0, 0, 0, 3},
        {"relative to the larger magnitude", {100, 200}, {100, 202}, 0, 2.0 / 202, 0.5, 2},
        {"bars before the warm-up are left out", {5, 2, 3}, {1, 2, 3}, 1, 0, 0, 2},
        {"a bar without a value on either side is left out", {none, 2, 9, 4}, {1, 2, none, 4}, 0, 0, 0, 2},
        {"near zero, a thousandth of the largest magnitude", {5e-10, 1000}, {0, 1000}, 0, 5e-10, 0, 2},
        {"differences at rounding level do not count as differing", {1.0 + 1e-12, 1}, {1, 1}, 0, 1e-12, 0, 2},
        {"one part in 50,000 counts", {50.001, 50}, {50, 50}, 0, 0.001 / 50.001, 0.5, 2},
        {"ours longer than the peer's", {1, 2, 3, 4}, {1, 2}, 0, 0, 0, 2},
        {"nothing to compare", {none}, {1}, 0, 0, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const Agreement a = compare(c.ours, c.peer, c.from);
        EXPECT_NEAR(a.maxRelative, c.maxRelative, 1e-15);
        EXPECT_DOUBLE_EQ(a.differing, c.differing);
        EXPECT_EQ(a.compared, c.compared);
    }
}

} // namespace
} // namespace fk::peers
