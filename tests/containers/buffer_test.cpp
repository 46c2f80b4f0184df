// Sharing, copy-on-write, write permissions and growth of the shared buffers.
#include <gtest/gtest.h>

#include "containers/scratch.h"
#include "containers/series.h"
#include "containers/text.h"
#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Series;
using testing::HeapChecked;

class BufferTest : public HeapChecked {};

TEST_F(BufferTest, CopyOnWriteAndWritePermissionFlags) {
    const struct {
        const char* name;
        uint8_t flags;
        bool owner;
        bool shared;
        bool written;
        bool copied;
    } cases[] = {
        {"read-only", kFlagReadOnly, true, false, false, false},  {"plain shared", 0, false, true, true, true},
        {"owner-only through owner", kFlagOwnerOnly, true, true, true, false},
        {"owner-only through other", kFlagOwnerOnly, false, true, false, false},
        {"writable while shared", kFlagSharedWritable, false, true, true, false},
        {"plain private", 0, false, false, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Series a = Series::of({1, 2});
        Series b = c.shared ? a : Series::of({1, 2});
        b.setFlags(c.flags);
        b.setOwner(c.owner);
        SharedBuffer* before = b.handle().buffer;
        EXPECT_EQ(series::setNumber(b.handle(), 0, 9), c.written);
        EXPECT_EQ(b.at(0), c.written ? 9 : 1);
        EXPECT_EQ(b.handle().buffer != before, c.copied);
        if (c.shared) {
            EXPECT_EQ(a.at(0), c.written && !c.copied ? 9 : 1);
            // a copy takes one reference from the shared buffer
            EXPECT_EQ(a.references(), c.copied ? 1 : 2);
            EXPECT_EQ(b.references(), c.copied ? 1 : 2);
        }
    }
}

TEST_F(BufferTest, AttachToAnotherKindIsRefused) {
    Series a = Series::of({1});
    host::Text t("x");
    SharedBuffer* old = a.handle().buffer;
    EXPECT_FALSE(buffers::attach(a.handle(), t.handle().buffer));
    EXPECT_EQ(a.handle().buffer, old);
    EXPECT_EQ(t.handle().buffer->references, 1);
}

// A buffer holds at most 65534 references: assigning from it copies the source first, and an
// attach that would reach 65535 gives that handle a private copy.
TEST_F(BufferTest, ReferenceLimit) {
    Series src = Series::of({5, 6});
    SharedBuffer* shared = src.handle().buffer;
    shared->references = 65534;
    Series dst;
    buffers::assign(dst.handle(), src.handle());
    EXPECT_NE(src.handle().buffer, shared);
    EXPECT_EQ(shared->references, 65533);
    EXPECT_EQ(dst.handle().buffer, src.handle().buffer);
    EXPECT_EQ(dst.references(), 2);
    EXPECT_EQ(dst.values(), (std::vector<double>{5, 6}));
    shared->references = 65534;
    SeriesHandle h{nullptr, 0};
    EXPECT_TRUE(buffers::attach(h, shared));
    EXPECT_NE(h.buffer, shared);
    EXPECT_EQ(shared->references, 65534);
    buffers::release(h);
    shared->references = 1;
    SeriesHandle last{shared, 0};
    buffers::release(last);
}

TEST_F(BufferTest, AssignTakesTheOffsetAndKeepsTheMarkBits) {
    Series src = Series::of({1, 2, 3});
    src.setOffset(-3);
    Series dst;
    dst.handle().word = 3;
    buffers::assign(dst.handle(), src.handle());
    EXPECT_EQ(dst.handle().offset(), -3);
    EXPECT_EQ(dst.handle().word & 3, 2) << "attaching clears the owner bit, the mark stays";
}

TEST_F(BufferTest, GrowthToPowersOfTwoAndTheDefaultSlotMoves) {
    Series s;
    ASSERT_TRUE(series::setNumber(s.handle(), 100, 7));
    EXPECT_EQ(s.count(), 101);
    EXPECT_EQ(s.at(100), 7);
    const SharedBuffer* b = s.handle().buffer;
    const double* e = static_cast<const double*>(b->elements);
    EXPECT_GE(b->capacity, 127);
    for (int i = 0; i <= b->capacity; ++i) ASSERT_EQ(e[i], i == 100 ? 7 : kMissing) << i;
    for (auto [n, want] : {std::pair{0, 7}, {7, 15}, {100, 127}}) EXPECT_EQ(buffers::growthCapacity(n), want);
}

TEST_F(BufferTest, SizeLimitedCopiesAndShrinkingToNothing) {
    Series a = Series::of({1, 2, 3, 4});
    Series b = a;
    EXPECT_TRUE(buffers::makePrivate(b.handle(), 2));
    EXPECT_EQ(b.count(), 2);
    EXPECT_EQ(b.handle().buffer->capacity, 2);
    EXPECT_EQ(b.at(2), kMissing);
    EXPECT_EQ(a.count(), 4);
    Series c = Series::constant(4.0, 3);
    EXPECT_TRUE(buffers::setCapacity(c.handle(), 0, true));
    EXPECT_FALSE(c.isConstant());
    EXPECT_EQ(c.count(), 0);
}

TEST_F(BufferTest, AllocationFailureLeavesTheBufferAsItWas) {
    Series a = Series::of({1, 2});
    Series b = a;
    platform::HeapHolder::failNextAllocations(1);
    EXPECT_FALSE(series::setNumber(b.handle(), 0, 5));
    platform::HeapHolder::failNextAllocations(0);
    EXPECT_EQ(a.handle().buffer, b.handle().buffer);
    EXPECT_EQ(b.values(), (std::vector<double>{1, 2}));
}

// A short scratch array lives in the array itself and a long one on the heap; moving either
// (as swapping two of them does) keeps its values and leaves no block behind.
TEST_F(BufferTest, ScratchArraysKeepTheirValuesWhenMoved) {
    for (const int32_t n : {1, 64, 65, 1000}) {
        Scratch<double> a(n), b(3);
        ASSERT_TRUE(a.ok() && b.ok());
        for (int32_t i = 0; i < n; ++i) EXPECT_EQ(a[i], 0.0);
        for (int32_t i = 0; i < n; ++i) a[i] = i + 0.5;
        b[2] = -1;
        std::swap(a, b);
        ASSERT_TRUE(b.size() == n && a.size() == 3);
        EXPECT_EQ(a[2], -1);
        for (int32_t i = 0; i < n; ++i) ASSERT_EQ(b[i], i + 0.5) << n;
        Scratch<double> c(std::move(b));
        EXPECT_EQ(c[n - 1], n - 0.5);
        EXPECT_TRUE(b.ok());
        EXPECT_EQ(b.size(), 0);
        EXPECT_TRUE(c.renew(2 * n));
        EXPECT_EQ(c[2 * n - 1], 0.0);
    }
}

} // namespace
} // namespace fk
