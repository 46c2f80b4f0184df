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

// The host reads a buffer's slots past its count as the fill value. Shrinking a shared single
// constant to nothing copies it first (count cut to 0 by the copy) and then left the constant's
// value in slot 0 (AbsoluteValue of an empty series into a shared constant Return Value).
TEST_F(ContainerRobustness, ShrinkingASharedSingleConstantLeavesTheFillValueInItsSlot) {
    for (bool keep : {true, false}) {
        SCOPED_TRACE(keep ? "keeping" : "not keeping");
        Series c = Series::constant(2.5, 236);
        Series other = c;
        EXPECT_TRUE(series::setCount(c.handle(), 0, keep));
        const SharedBuffer* b = c.handle().buffer;
        EXPECT_EQ(b->count, 0);
        EXPECT_FALSE(c.isConstant());
        for (int32_t i = 0; i <= b->capacity; ++i) EXPECT_EQ(static_cast<const double*>(b->elements)[i], kMissing) << i;
        EXPECT_EQ(other.values(), std::vector<double>(236, 2.5));
    }
}

// A Return Value that shares its input's buffer, writable while shared, and is written through
// an offset goes element by element; growing it then moved the buffer under the input's view
// (DayOf with its Return Value on its own input read freed memory).
TEST_F(ContainerRobustness, AnOutputWrittenInPlaceThroughAnOffsetDoesNotMoveItsInput) {
    std::vector<double> values(200);
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = static_cast<double>(i);
    Series in = Series::of(values);
    in.setFlags(kFlagSharedWritable);
    Series out = in;
    out.setOffset(-3);
    {
        series::NumberOut o(&out.handle(), 200);
        const series::NumberView v(&in.handle());
        for (int32_t i = 0; i < 200; ++i) o.set(i, v[i] + 1000);
    }
    // bar i writes element i + 3 after element i was read, so element j >= 3 holds what bar j - 3
    // read plus 1000: element j mod 3 plus 1000 for every step of 3
    ASSERT_EQ(in.count(), 203);
    for (int32_t j = 0; j < 203; ++j) EXPECT_EQ(in.at(j), j % 3 + 1000.0 * (j / 3)) << j;
}

// A view answers any bar index, the extremes of 32 bits included: a filter reads two bars
// before a start bar of 2147483647 (the index arithmetic overflowed on a constant with a negative
// offset, and on bars far below zero through a positive offset).
TEST_F(ContainerRobustness, AViewReadsAtEveryIndexOf32Bits) {
    struct Case {
        const char* what;
        Series series;
        int32_t offset;
        int32_t index;
        double want;
    };
    Case cases[] = {
        {"constant, offset -5000, far right", Series::constant(2.5, 37), -5000, INT32_MAX - 2, 2.5},
        {"constant, offset -5000, next to last index", Series::constant(2.5, 37), -5000, INT32_MAX - 1, 2.5},
        {"constant, offset 5, far left", Series::constant(2.5, 37), 5, INT32_MIN, kMissing},
        {"series, offset 5, far left", Series::of({1, 2, 3}), 5, INT32_MIN + 1, kMissing},
        {"series, offset -5000, far right", Series::of({1, 2, 3}), -5000, INT32_MAX, kMissing},
    };
    for (Case& c : cases) {
        SCOPED_TRACE(c.what);
        c.series.setOffset(c.offset);
        const series::NumberView v(&c.series.handle());
        EXPECT_EQ(v[c.index], c.want);
    }
}

} // namespace
} // namespace fk
