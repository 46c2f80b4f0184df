// Reference-counted, copy-on-write buffers shared with the host, and the handles that reach them.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/heap.h"

namespace fk {

// Flag bits of a buffer.
enum BufferFlag : uint8_t {
    kFlagConstant = 1,       // one value in element 0 stands for every element
    kFlagReadOnly = 2,       // never written
    kFlagOwnerOnly = 4,      // written only through a handle with the owner bit; never copied
    kFlagSharedWritable = 8, // written in place even while shared
};

// Element-family letters.
enum Kind : uint8_t {
    kKindUnset = '?',
    kKindNumber = 'D',
    kKindFloat = 'F',
    kKindLong = 'L',
    kKindBool = 'T',
    kKindText = '$',
    kKindShort = 'S',
};

struct SharedBuffer {
    void* elements;      // capacity + 1 elements; [capacity] is the default slot
    uint8_t kind;
    uint8_t flags;
    uint16_t references;
    int32_t count;       // logical number of elements
    int32_t capacity;    // usable slots, the default slot not counted

    bool isConstant() const { return (flags & kFlagConstant) != 0; }
};

// A handle: the buffer and a word holding the owner bit (0), a mark (1) and a signed
// bars-ago offset in bits 2-31.
struct SeriesHandle {
    SharedBuffer* buffer;
    int32_t word;

    int32_t offset() const { return word >> 2; }
    bool owner() const { return (word & 1) != 0; }
    void setOffset(int32_t k) { word = (word & 3) | static_cast<int32_t>(static_cast<uint32_t>(k) << 2); }
};

// A text is a byte buffer of kind '$' reached through the same kind of handle.
using TextHandle = SeriesHandle;

// The standard missing value, and the marker that asks for it at creation.
inline constexpr double kMissing = -999999.0;
inline constexpr double kMissingMarker = std::bit_cast<double>(0xA6705286E6508393ull);
inline bool isMissingMarker(double v) { return std::bit_cast<uint64_t>(v) == 0xA6705286E6508393ull; }

enum class Family : uint8_t { Number, Float, Long, Bool, Text, Short };
inline constexpr int kFamilyCount = 6;

struct FamilyInfo {
    Family family;
    uint8_t kind;
    uint8_t elementSize;
    platform::HeapHolder* heap;
};

const FamilyInfo& familyInfo(Family f);
// The family of a buffer kind; null for a kind the library does not know.
const FamilyInfo* familyOfKind(uint8_t kind);

// Live heap blocks of one family (headers and element arrays), and of all families and the
// scratch arrays.
long liveBlocks(Family f);
long liveBlocks();

namespace buffers {

// Make the handle refer to `b`. Refused (false) for a buffer of another kind or a null buffer;
// the old buffer loses a reference and is freed when it has none left.
bool attach(SeriesHandle& h, SharedBuffer* b);
// Detach; the last handle to detach frees the buffer.
void release(SeriesHandle& h);
// Share the source's buffer and take its offset.
void assign(SeriesHandle& dst, SeriesHandle& src);
// Give the handle a copy of its buffer of its own; sizeLimit >= 0 cuts the copy's count.
bool makePrivate(SeriesHandle& h, int32_t sizeLimit);
// The test that precedes every change: may the caller now write in place?
bool mayWrite(SeriesHandle& h, int32_t sizeLimit);
// Reallocate the element array to hold n elements (the heap may give more).
bool setCapacity(SeriesHandle& h, int32_t n, bool keep);
// Capacity asked for so that index i fits: 2^k - 1 for the smallest k >= 3 with 2^k - 1 > i.
int32_t growthCapacity(int32_t i);

inline uint8_t* slot(const SharedBuffer* b, int32_t i, int es) {
    return static_cast<uint8_t*>(b->elements) + static_cast<std::ptrdiff_t>(i) * es;
}
int elementSize(const SharedBuffer* b);
// Set slots from .. to - 1 to one element value of es bytes.
void fillSlots(SharedBuffer* b, int32_t from, int32_t to, const uint8_t* value, int es);

} // namespace buffers
} // namespace fk
