// Element reads and writes, filling, resizing and constants of number series, and the
// resolved views that loops use.
#include <gtest/gtest.h>

#include "containers/series.h"
#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Series;

class SeriesTest : public testing::HeapChecked {};

TEST_F(SeriesTest, ElementReadWithOffsetsAndOutOfRangeGivesTheDefault) {
    Series s = Series::of({10, 11, 12, 13});
    const struct {
        int32_t offset, index;
        double want;
    } cases[] = {
        {0, -1, kMissing}, {0, 4, kMissing}, {0, 2, 12},
        {1, 0, kMissing},  {1, 1, 10},       {1, 3, 12}, {1, 4, kMissing},
        {2, 1, kMissing},  {2, 2, 10},       {-1, 0, 11}, {-1, 2, 13}, {-1, 3, kMissing},
    };
    for (const auto& c : cases) {
        s.setOffset(c.offset);
        EXPECT_EQ(series::number(s.handle(), c.index), c.want) << "offset " << c.offset << " index " << c.index;
        // the view used in loops agrees with the element read
        series::NumberView v(&s.handle());
        EXPECT_EQ(v[c.index], c.want) << "view, offset " << c.offset << " index " << c.index;
    }
}

TEST_F(SeriesTest, SingleConstantReadsAndWrites) {
    Series c = Series::constant(4.0, 3);
    EXPECT_EQ(c.values(), (std::vector<double>{4, 4, 4}));
    EXPECT_EQ(c.at(3), kMissing);
    // writing past the end overwrites the constant and lengthens it
    EXPECT_TRUE(series::setNumber(c.handle(), 5, 9.0));
    EXPECT_EQ(c.count(), 6);
    EXPECT_EQ(c.handle().buffer->capacity, 1);
    EXPECT_EQ(c.values(), std::vector<double>(6, 9.0));
    // on a plain series it keeps one slot
    Series s = Series::of({1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_TRUE(series::setConstantNumber(s.handle(), 2.5, 4));
    EXPECT_TRUE(s.isConstant());
    EXPECT_EQ(s.handle().buffer->capacity, 1);
    EXPECT_EQ(s.values(), std::vector<double>(4, 2.5));
    EXPECT_EQ(s.at(4), kMissing);
}

TEST_F(SeriesTest, FillWithZeroAndWithTheMissingValueMatchesElementStores) {
    for (double def : {0.0, kMissingMarker}) {
        Series a = Series::of({1, 2, 3, 4, 5, 6}, def);
        Series b = Series::of({1, 2, 3, 4, 5, 6}, def);
        EXPECT_TRUE(series::fill(a.handle(), 1, 3));
        for (int i = 1; i <= 3; ++i) series::setNumber(b.handle(), i, b.fill());
        EXPECT_EQ(a.values(), b.values());
        EXPECT_TRUE(series::fill(a.handle(), 4, -1)); // to the last element
        EXPECT_EQ(a.at(5), a.fill());
        EXPECT_EQ(a.at(0), 1);
    }
}

TEST_F(SeriesTest, SetCountShrinksAndGrowsWithTheDefault) {
    Series s = Series::of({1, 2, 3, 4});
    EXPECT_TRUE(series::setCount(s.handle(), 2, true));
    EXPECT_EQ(s.values(), (std::vector<double>{1, 2}));
    EXPECT_TRUE(series::setCount(s.handle(), 4, true));
    EXPECT_EQ(s.values(), (std::vector<double>{1, 2, kMissing, kMissing}));
    EXPECT_TRUE(series::setCount(s.handle(), 300, true));
    EXPECT_EQ(s.count(), 300);
    EXPECT_EQ(s.at(1), 2);
    EXPECT_EQ(s.at(299), kMissing);
    EXPECT_TRUE(series::setCount(s.handle(), 3, false));
    EXPECT_EQ(s.values(), std::vector<double>(3, kMissing));
}

TEST_F(SeriesTest, OtherFamiliesTakeTheirOwnMissingValues) {
    const struct {
        Family family;
        double def;
        int64_t want;
    } cases[] = {
        {Family::Long, kMissingMarker, INT32_MIN}, {Family::Long, 7.9, 7},
        {Family::Bool, kMissingMarker, 128},       {Family::Bool, 1.0, 1},
        {Family::Short, kMissingMarker, -32768},   {Family::Short, 3.9, 3},
        {Family::Short, -3.9, -3},                 {Family::Short, 40000, 32767},
        {Family::Short, -40000, -32768},           {Family::Text, kMissingMarker, 0},
    };
    for (const auto& c : cases) {
        SeriesHandle h{nullptr, 0};
        ASSERT_TRUE(series::create(h, c.family, 2, c.def));
        EXPECT_EQ(h.buffer->kind, familyInfo(c.family).kind);
        const void* e = series::element(h, 5);
        int64_t got = 0;
        switch (c.family) {
        case Family::Long: got = *static_cast<const int32_t*>(e); break;
        case Family::Short: got = *static_cast<const int16_t*>(e); break;
        default: got = *static_cast<const uint8_t*>(e); break;
        }
        EXPECT_EQ(got, c.want) << "family " << static_cast<int>(c.family) << " default " << c.def;
        buffers::release(h);
    }
}

TEST_F(SeriesTest, OutputWriterLeavesWhatElementWritesWouldLeave) {
    // the same writes through the writer and through element writes, also through an offset handle
    const std::vector<std::pair<int, double>> writes = {{3, 1.0}, {1, 2.0}, {9, 3.0}, {40, 4.0}, {5, 5.0}, {0, 6.0}};
    for (int32_t offset : {0, 2}) {
        for (int expected : {0, 10, 100}) {
            Series viaWriter, viaElements;
            viaWriter.setOffset(offset);
            viaElements.setOffset(offset);
            {
                series::NumberOut out(&viaWriter.handle(), expected);
                for (auto [i, v] : writes) out.set(i, v);
                EXPECT_EQ(out.get(9), 3.0);
                EXPECT_EQ(out.get(41), kMissing);
            }
            for (auto [i, v] : writes) series::setNumber(viaElements.handle(), i, v);
            viaWriter.setOffset(0);
            viaElements.setOffset(0);
            EXPECT_EQ(viaWriter.values(), viaElements.values()) << "offset " << offset << ", expected count " << expected;
            EXPECT_EQ(viaWriter.at(9 - offset), 3.0) << "bar 9 is element 9 less the offset";
        }
    }
}

TEST_F(SeriesTest, OutputWriterCopiesASharedReturnValueAndRespectsReadOnly) {
    Series host = Series::of({1, 2, 3});
    Series out = host;
    Series locked = Series::of({1, 2});
    locked.setFlags(kFlagReadOnly);
    for (Series* s : {&out, &locked}) {
        series::NumberOut w(&s->handle(), 5);
        w.set(0, 9);
        w.set(4, 9);
    }
    EXPECT_EQ(host.values(), (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(out.values(), (std::vector<double>{9, 2, 3, kMissing, 9}));
    EXPECT_EQ(locked.values(), (std::vector<double>{1, 2}));
}

} // namespace
} // namespace fk
