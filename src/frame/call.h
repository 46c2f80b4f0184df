// The calling sequence every export follows, written once: the release call, the count check
// and the typed fetch of every entry in order, driven by the export's signature.
#pragma once
#include <cstdint>

#include "frame/param_block.h"
#include "frame/status.h"

namespace fk {

// Entry types of a signature, one letter per entry, the Return Value first.
enum ArgType : char {
    kArgSeries = 'S',     // Number Series or True/False Series (a single constant Number too)
    kArgNumber = 'N',
    kArgText = 'T',
    kArgMarket = 'M',
    kArgTextSeries = 'X', // a text series (a text result), or a constant Text
};

inline constexpr int kMaxEntries = 15;

struct ExportSig {
    uint8_t minCount;
    uint8_t maxCount;
    const char* types;    // maxCount letters
    bool readsStartBar;   // -2 releases and returns 0; other negatives are stored back as 0
};

// Per-call state lives on a heap of its own so that a test can count it.
void* allocateState(std::size_t size);
void freeState(void* p);
long liveStateBlocks();

// Base of the objects that exports keep between calls through one parameter block.
struct HeapCallState : CallState {
    // null when the heap is exhausted: the new-expression then yields null
    static void* operator new(std::size_t size) noexcept { return allocateState(size); }
    static void operator delete(void* p) { freeState(p); }
};

// The fetched entries of one call.
class Args {
public:
    Args(CParmBlock* pb, uint32_t count) : pb_(pb), count_(static_cast<int>(count)) {}
    ~Args();
    Args(const Args&) = delete;
    Args& operator=(const Args&) = delete;

    int count() const { return count_; }
    bool has(int entry) const { return entry <= count_; }
    SeriesHandle* out() const { return slots_[1].handle; }
    SeriesHandle* series(int entry) const { return slots_[entry].handle; }
    TextHandle* text(int entry) const { return slots_[entry].handle; }
    double number(int entry) const { return slots_[entry].number; }
    BarRecord* market(int entry) const { return slots_[entry].market; }
    int32_t startBar() const { return pb_->startBar; }
    CParmBlock& block() const { return *pb_; }
    TextHandle& errorText() const { return pb_->errorText; }

    // The state this call site keeps, created on the first call; null if it cannot be made.
    template <class T>
    T* state() {
        if (!pb_->state) pb_->state = new T();
        return static_cast<T*>(pb_->state);
    }

    // The typed fetch of one entry. A series handle where a series is wanted and a number where
    // a number is wanted, the common cases, are taken here; everything else goes through the
    // block's accessor, which also writes the message of a refused entry.
    bool fetch(int entry, char type) {
        const ParamEntry& e = pb_->params[entry];
        if (type == kArgSeries && (e.type == kParamNumberSeries || e.type == kParamBoolSeries) && e.pointer) {
            slots_[entry].handle = static_cast<SeriesHandle*>(e.pointer);
            return true;
        }
        if (type == kArgNumber && (e.type == kParamNumber || e.type == kParamNumber2)) {
            slots_[entry].number = e.number;
            return true;
        }
        return fetchThroughAccessor(entry, type);
    }

private:
    bool fetchThroughAccessor(int entry, char type);

    union Slot {
        double number;
        SeriesHandle* handle;
        BarRecord* market;
    };
    CParmBlock* pb_;
    int count_;
    Slot slots_[kMaxEntries + 1] = {};
    // stands in for a null handle pointer, so that no export has to test for one; an entry's
    // spare is set up only when its pointer is null, and `spares_` marks those to release
    SeriesHandle spare_[kMaxEntries + 1];
    uint32_t spares_ = 0;
};

void releaseState(CParmBlock& pb);

template <class Body>
StatusCode runExport(CParmBlock* pb, const ExportSig& sig, Body&& body) {
    if (sig.readsStartBar) {
        if (pb->startBar == -2) {
            releaseState(*pb);
            return kOk;
        }
        if (pb->startBar < 0) pb->startBar = 0;
    }
    const uint32_t n = pb->count();
    if (n < sig.minCount || n > sig.maxCount) return wrongCount(n);
    Args args(pb, n);
    for (int i = 1; i <= static_cast<int>(n); ++i)
        if (!args.fetch(i, sig.types[i - 1])) return badEntry(i);
    return body(args);
}

} // namespace fk
