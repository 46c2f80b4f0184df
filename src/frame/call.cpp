#include "frame/call.h"

#include <bit>

#include "containers/buffer.h"
#include "market/bar_record.h"
#include "platform/heap.h"

namespace fk {

namespace {
platform::HeapHolder g_stateHeap("state");
} // namespace

void* allocateState(std::size_t size) { return g_stateHeap.allocate(size); }
void freeState(void* p) {
    if (p) g_stateHeap.allocate(0, p);
}
long liveStateBlocks() { return g_stateHeap.liveBlocks(); }

void releaseState(CParmBlock& pb) {
    if (pb.state) {
        delete pb.state;
        pb.state = nullptr;
    }
}

namespace {
// An empty market for a null record pointer: no bars, no series.
BarRecord g_emptyMarket{};
} // namespace

Args::~Args() {
    for (uint32_t m = spares_; m; m &= m - 1) buffers::release(spare_[std::countr_zero(m)]);
}

bool Args::fetchThroughAccessor(int entry, char type) {
    bool ok = false;
    switch (type) {
    case kArgSeries: ok = pb_->getSeries(entry, &slots_[entry].handle) != 0; break;
    case kArgNumber: return pb_->getNumber(entry, &slots_[entry].number) != 0;
    case kArgText: ok = pb_->getText(entry, &slots_[entry].handle) != 0; break;
    case kArgMarket:
        ok = pb_->getMarket(entry, &slots_[entry].market) != 0;
        if (ok && !slots_[entry].market) slots_[entry].market = &g_emptyMarket;
        return ok;
    case kArgTextSeries: ok = pb_->getTextSeries(entry, &slots_[entry].handle) != 0; break;
    default: return false;
    }
    if (ok && !slots_[entry].handle) {
        spare_[entry] = SeriesHandle{nullptr, 0};
        spares_ |= 1u << entry;
        slots_[entry].handle = &spare_[entry];
    }
    return ok;
}

} // namespace fk
