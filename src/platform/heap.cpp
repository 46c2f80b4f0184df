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
std::atomic<int> g_failCountdown{0};

bool injectedFailure() {
    int n = g_failCountdown.load(std::memory_order_relaxed);
    while (n > 0) {
        if (g_failCountdown.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) return true;
    }
    return false;
}

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

void HeapHolder::failNextAllocations(int n) { g_failCountdown.store(n, std::memory_order_relaxed); }

void* HeapHolder::allocate(std::size_t size, void* previous) {
    if (size == 0) {
        if (previous) {
            rawFree(previous);
            live_.fetch_sub(1, std::memory_order_relaxed);
        }
        return nullptr;
    }
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
