#include "containers/scratch.h"

#include "platform/heap.h"

namespace fk::scratch {

namespace {
platform::HeapHolder g_scratchHeap("scratch");
} // namespace

void* allocate(std::size_t bytes) { return g_scratchHeap.allocate(bytes); }

void release(void* block) {
    if (block) g_scratchHeap.allocate(0, block);
}

long liveBlocks() { return g_scratchHeap.liveBlocks(); }

} // namespace fk::scratch
