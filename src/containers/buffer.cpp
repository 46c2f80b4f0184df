#include "containers/buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "containers/scratch.h"

namespace fk {

namespace {
platform::HeapHolder g_numberHeap("number");
platform::HeapHolder g_floatHeap("float");
platform::HeapHolder g_longHeap("long");
platform::HeapHolder g_boolHeap("bool");
platform::HeapHolder g_textHeap("text");
platform::HeapHolder g_shortHeap("short");

const FamilyInfo g_families[kFamilyCount] = {
    {Family::Number, kKindNumber, 8, &g_numberHeap},
    {Family::Float, kKindFloat, 4, &g_floatHeap},
    {Family::Long, kKindLong, 4, &g_longHeap},
    {Family::Bool, kKindBool, 1, &g_boolHeap},
    {Family::Text, kKindText, 1, &g_textHeap},
    {Family::Short, kKindShort, 2, &g_shortHeap},
};
} // namespace

const FamilyInfo& familyInfo(Family f) { return g_families[static_cast<int>(f)]; }

const FamilyInfo* familyOfKind(uint8_t kind) {
    for (const auto& f : g_families)
        if (f.kind == kind) return &f;
    return nullptr;
}

long liveBlocks(Family f) { return familyInfo(f).heap->liveBlocks(); }

long liveBlocks() {
    long n = scratch::liveBlocks();
    for (const auto& f : g_families) n += f.heap->liveBlocks();
    return n;
}

namespace buffers {

namespace {

const FamilyInfo& familyOf(const SharedBuffer* b) {
    const FamilyInfo* f = familyOfKind(b->kind);
    return f ? *f : g_families[0];
}

void destroy(SharedBuffer* b) {
    platform::HeapHolder* heap = familyOf(b).heap;
    // shrink to nothing, then free the elements and the header
    b->count = 0;
    b->flags &= static_cast<uint8_t>(~kFlagConstant);
    if (b->elements) heap->allocate(0, b->elements);
    b->elements = nullptr;
    heap->allocate(0, b);
}

template <class T>
void fillWith(uint8_t* p, std::size_t n, const uint8_t* value) {
    T v;
    std::memcpy(&v, value, sizeof v);
    for (std::size_t i = 0; i < n; ++i) std::memcpy(p + i * sizeof v, &v, sizeof v);
}

} // namespace

void fillSlots(SharedBuffer* b, int32_t from, int32_t to, const uint8_t* value, int es) {
    if (to <= from) return;
    uint8_t* p = slot(b, from, es);
    const auto n = static_cast<std::size_t>(to - from);
    // a fixed element size makes every copy one store
    switch (es) {
    case 8: fillWith<uint64_t>(p, n, value); break;
    case 4: fillWith<uint32_t>(p, n, value); break;
    case 2: fillWith<uint16_t>(p, n, value); break;
    case 1: std::memset(p, value[0], n); break;
    default:
        for (std::size_t i = 0; i < n; ++i) std::memcpy(p + i * es, value, es);
    }
}

int elementSize(const SharedBuffer* b) { return familyOf(b).elementSize; }

bool attach(SeriesHandle& h, SharedBuffer* b) {
    if (h.buffer == b) return b != nullptr;
    h.word &= ~1;
    if (SharedBuffer* old = h.buffer) {
        if (b && b->kind != old->kind) return false;
        if (old->references > 0) --old->references;
        if (old->references == 0) destroy(old);
        h.buffer = nullptr;
    }
    if (!b) return false;
    h.buffer = b;
    ++b->references;
    if (b->references >= 65535) makePrivate(h, -1);
    return true;
}

void release(SeriesHandle& h) { attach(h, nullptr); }

void assign(SeriesHandle& dst, SeriesHandle& src) {
    if (src.buffer && src.buffer->references == 65534) makePrivate(src, -1);
    if (src.buffer) attach(dst, src.buffer);
    else release(dst);
    dst.word = (dst.word & 3) | (src.word & ~3);
}

bool makePrivate(SeriesHandle& h, int32_t sizeLimit) {
    SharedBuffer* old = h.buffer;
    if (!old) return false;
    const FamilyInfo& fam = familyOf(old);
    const int es = fam.elementSize;
    auto* copy = static_cast<SharedBuffer*>(fam.heap->allocate(sizeof(SharedBuffer)));
    if (!copy) return false;
    *copy = *old;
    copy->references = 0;
    if (sizeLimit >= 0 && copy->count > sizeLimit) copy->count = sizeLimit;
    if (!copy->isConstant()) copy->capacity = copy->count;
    void* elems = fam.heap->allocate(static_cast<std::size_t>(copy->capacity + 1) * es);
    if (!elems) {
        fam.heap->allocate(0, copy);
        return false;
    }
    copy->elements = elems;
    // the old array holds at least capacity + 1 elements of the copy
    std::memcpy(elems, old->elements, static_cast<std::size_t>(copy->capacity + 1) * es);
    std::memcpy(slot(copy, copy->capacity, es), slot(old, old->capacity, es), es);
    return attach(h, copy);
}

bool mayWrite(SeriesHandle& h, int32_t sizeLimit) {
    SharedBuffer* b = h.buffer;
    if (!b) return false;
    if (b->flags & kFlagReadOnly) return false;
    if (b->flags & kFlagOwnerOnly) return h.owner();
    if (b->flags & kFlagSharedWritable) return true;
    if (b->references >= 2) return makePrivate(h, sizeLimit);
    return true;
}

bool setCapacity(SeriesHandle& h, int32_t n, bool keep) {
    SharedBuffer* b = h.buffer;
    if (!b) return false;
    if (b->isConstant()) n = n > 0 ? 1 : 0;
    else if (n < 0) n = 0;
    if (n == b->capacity && keep) return true;
    if (!mayWrite(h, n)) return false;
    b = h.buffer;
    const FamilyInfo& fam = familyOf(b);
    const int es = fam.elementSize;
    const int32_t surviving = keep ? std::min(b->count, n) : 0;
    b->count = surviving;
    if (surviving == 0) b->flags &= static_cast<uint8_t>(~kFlagConstant);
    uint8_t def[8];
    std::memcpy(def, slot(b, b->capacity, es), es);
    if (n != b->capacity) {
        // a size the address space cannot hold is refused like a failed allocation
        void* elems = static_cast<uint64_t>(n + 1) * es > SIZE_MAX / 2
                          ? b->elements
                          : fam.heap->allocate(static_cast<std::size_t>(n + 1) * es, b->elements);
        b->elements = elems;
        b->capacity = static_cast<int32_t>(fam.heap->blockSize(elems) / es) - 1;
        std::memcpy(slot(b, b->capacity, es), def, es);
    }
    fillSlots(b, surviving, b->capacity, def, es);
    return true;
}

int32_t growthCapacity(int32_t i) {
    int64_t cap = 7;
    while (cap <= i) cap = cap * 2 + 1;
    return cap > INT32_MAX - 1 ? INT32_MAX - 1 : static_cast<int32_t>(cap);
}

} // namespace buffers
} // namespace fk
