// Bars of a resolved series as one plain array, where the series allows it.
#include <gtest/gtest.h>

#include "containers/series.h"
#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Series;
using testing::HeapChecked;

class SeriesStorageTest : public HeapChecked {};

TEST_F(SeriesStorageTest, ViewStorageReadsAsTheViewWhereItIsGiven) {
    struct Case {
        const char* name;
        Series series;
        int32_t offset, from, to;
        bool given;
    };
    Case cases[] = {
        {"whole series", Series::of({1, 2, 3, 4}), 0, 0, 4, true},
        {"inner bars", Series::of({1, 2, 3, 4}), 0, 1, 3, true},
        {"past the end", Series::of({1, 2, 3, 4}), 0, 2, 5, false},
        {"bars ago", Series::of({1, 2, 3, 4}), 1, 1, 4, true},
        {"bars ago, first bar unstored", Series::of({1, 2, 3, 4}), 1, 0, 4, false},
        {"single constant", Series::constant(7), 0, 0, 1, false},
        {"no bars", Series::of({1, 2}), 0, 1, 1, true},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.name);
        c.series.setOffset(c.offset);
        const series::NumberView v(&c.series.handle());
        const double* q = v.storage(c.from, c.to);
        ASSERT_EQ(q != nullptr, c.given);
        for (int32_t i = c.from; q && i < c.to; ++i) EXPECT_EQ(q[i - c.from], v[i]);
    }
}

TEST_F(SeriesStorageTest, OutputStorageSettlesTheCountAsASetOfItsLastBar) {
    Series out = Series::of({1, 2});
    {
        series::NumberOut o(&out.handle(), 6);
        double* q = o.storage(1, 6);
        ASSERT_NE(q, nullptr);
        EXPECT_EQ(q[0], 2);
        q[4] = 9;
        EXPECT_EQ(o.get(5), 9);
    }
    EXPECT_EQ(out.values(), (std::vector<double>{1, 2, kMissing, kMissing, kMissing, 9}));

    Series shifted = Series::of({1, 2});
    shifted.setOffset(1);
    series::NumberOut o(&shifted.handle(), 4);
    EXPECT_EQ(o.storage(0, 2), nullptr);
}

} // namespace
} // namespace fk
