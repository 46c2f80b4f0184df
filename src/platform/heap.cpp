#include "platform/heap.h"

#include <cstring>

#ifdef _WIN32
#include <windows.h>
#else
#include <cstdlib>
#include <malloc.h>
#endif

namespace fk::platform {

namespace {
std::atomic<int> g_passCountdown{0}, g_failCountdown{0};
std::atomic<long> g_requests{0};
std::atomic<std::size_t> g_largest{0};

void noteRequest(std::size_t size) {
    g_requests.fetch_add(1, std::memory_order_relaxed);
    std::size_t seen = g_largest.load(std::memory_order_relaxed);
    while (size > seen && !g_largest.compare_exchange_weak(seen, size, std::memory_order_relaxed)) {
    }
}

// Takes one from the counter when it is above 0.
bool countDown(std::atomic<int>& counter) {
    int n = counter.load(std::memory_order_relaxed);
    while (n > 0) {
        if (counter.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) return true;
    }
    return false;
}

bool injectedFailure() { return !countDown(g_passCountdown) && countDown(g_failCountdown); }

#ifdef _WIN32
HANDLE processHeap() { return GetProcessHeap(); }
void* rawAlloc(std::size_t n) { return HeapAlloc(processHeap(), HEAP_ZERO_MEMORY, n); }
void* rawRealloc(void* p, std::size_t n) { return HeapReAlloc(processHeap(), HEAP_ZERO_MEMORY, p, n); }
void rawFree(void* p) { HeapFree(processHeap(), 0, p); }
std::size_t rawSize(const void* p) { return HeapSize(processHeap(), 0, p); }
#else
void* rawAlloc(std::size_t n) { return std::calloc(1, n); }
std::size_t rawSize(const void* p) { return malloc_usable_size(const_cast<void*>(p)); }
void* rawRealloc(void* p, std::size_t n) {
    std::size_t old = rawSize(p);
    void* q = std::realloc(p, n);
    if (!q) return nullptr;
    std::size_t now = rawSize(q);
    if (now > old) std::memset(static_cast<char*>(q) + old, 0, now - old);
    return q;
}
void rawFree(void* p) { std::free(p); }
#endif
} // namespace

void HeapHolder::failAllocations(int after, int n) {
    g_failCountdown.store(0, std::memory_order_relaxed);
    g_passCountdown.store(n > 0 ? after : 0, std::memory_order_relaxed);
    g_failCountdown.store(n, std::memory_order_relaxed);
}
long HeapHolder::requests() { return g_requests.load(std::memory_order_relaxed); }
std::size_t HeapHolder::largestRequest() { return g_largest.load(std::memory_order_relaxed); }
void HeapHolder::resetLargestRequest() { g_largest.store(0, std::memory_order_relaxed); }

void* HeapHolder::allocate(std::size_t size, void* previous) {
    if (size == 0) {
        if (previous) {
            rawFree(previous);
            live_.fetch_sub(1, std::memory_order_relaxed);
        }
        return nullptr;
    }
    noteRequest(size);
    if (injectedFailure()) return previous;
    if (!previous) {
        void* p = rawAlloc(size);
        if (p) {
            live_.fetch_add(1, std::memory_order_relaxed);
            total_.fetch_add(1, std::memory_order_relaxed);
        }
        return p;
    }
    void* p = rawRealloc(previous, size);
    return p ? p : previous;
}

std::size_t HeapHolder::blockSize(const void* block) const { return block ? rawSize(block) : 0; }

} // namespace fk::platform
