// Faults that the sanitizers or the fuzzer found in the containers, each kept as the smallest
// sequence of calls that showed it.
#include <gtest/gtest.h>

#include "containers/series.h"
#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Series;

class ContainerRobustness : public testing::HeapChecked {};

// A single constant stands for `count` elements but owns one slot: emptying it must not fill
// `count` slots.
TEST_F(ContainerRobustness, EmptyingALongSingleConstantTouchesOnlyItsOneSlot) {
    struct Case {
        const char* what;
        bool (*empty)(SeriesHandle&);
    };
    const Case cases[] = {
        {"set constant with n = 0", [](SeriesHandle& h) { return series::setConstantNumber(h, 1.0, 0); }},
        {"set count 0", [](SeriesHandle& h) { return series::setCount(h, 0, false); }},
        {"set count 0 keeping", [](SeriesHandle& h) { return series::setCount(h, 0, true); }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Series s = Series::constant(4.0, 1 << 20);
        ASSERT_EQ(s.handle().buffer->capacity, 1);
        EXPECT_TRUE(c.empty(s.handle()));
        EXPECT_EQ(s.count(), 0);
        EXPECT_FALSE(s.isConstant());
        EXPECT_EQ(s.at(0), kMissing);
        EXPECT_TRUE(series::setNumber(s.handle(), 2, 7.0));
        EXPECT_EQ(s.values(), (std::vector<double>{kMissing, kMissing, 7.0}));
    }
}

} // namespace
} // namespace fk
