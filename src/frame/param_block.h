// The parameter block the host fills for one call, its entries and the typed accessors.
#pragma once
#include <cstddef>
#include <cstdint>

#include "containers/buffer.h"

namespace fk {

struct BarRecord;

enum ParamType : uint32_t {
    kParamNumber = 1,
    kParamText = 2,
    kParamBoolSeries = 3,
    kParamNumberSeries = 4,
    kParamMarket = 5,
    kParamNumber2 = 6,
    kParamTextSeries = 8,
};

// One 16-byte entry. Entry 0's type word is the parameter count.
struct ParamEntry {
    uint32_t type;
    uint32_t reserved;
    union {
        double number;
        void* pointer;
    };
};

// Object an export may hang from the block between calls; freed on the release call.
struct CallState {
    virtual ~CallState() = default;
};

// The entry index that asks for the next entry at the cursor.
inline constexpr int kNextEntry = 32767;

struct CParmBlock {
    TextHandle errorText;   // accessors write their messages here
    ParamEntry* params;     // entry 0 holds the count, entry 1 the Return Value
    int32_t cursor;         // next entry, for index 32767
    CallState* state;       // per-call state, owned by the library
    int32_t startBar;       // first bar to compute; -2 asks for the release of the state

    uint32_t count() const { return params[0].type; }
    // Each returns 1 when the entry has an accepted type and 0 (after writing one message into
    // the error text) when it has not.
    int getNumber(int index, double* out);
    int getText(int index, TextHandle** out);
    int getMarket(int index, BarRecord** out);
    int getSeries(int index, SeriesHandle** out);
    int getTextSeries(int index, SeriesHandle** out);

private:
    ParamEntry& resolve(int& index);
};

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(ParamEntry) == 16 && offsetof(ParamEntry, type) == 0 &&
              offsetof(ParamEntry, reserved) == 4 && offsetof(ParamEntry, number) == 8 &&
              offsetof(ParamEntry, pointer) == 8);
static_assert(offsetof(CParmBlock, errorText) == 0 && offsetof(CParmBlock, params) == 8 &&
              offsetof(CParmBlock, cursor) == 12 && offsetof(CParmBlock, state) == 16 &&
              offsetof(CParmBlock, startBar) == 20 && sizeof(CParmBlock) == 24);
#else
static_assert(sizeof(ParamEntry) == 16 && offsetof(ParamEntry, number) == 8);
#endif

// The name a message gives a type tag; null for tags without one.
const char* paramTypeName(uint32_t tag);

} // namespace fk
