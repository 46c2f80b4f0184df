// Operating-system heap behind the library's heap holders.
#pragma once
#include <atomic>
#include <cstddef>

namespace fk::platform {

// One heap holder per element family. Every holder is bound to the process heap;
// the counters let a test see a leaked or doubly freed block as a number.
class HeapHolder {
public:
    explicit HeapHolder(const char* name) : name_(name) {}
    HeapHolder(const HeapHolder&) = delete;
    HeapHolder& operator=(const HeapHolder&) = delete;

    // size > 0, no block: allocate zero-filled.
    // size > 0 and a block: reallocate, zero-filling the growth; on failure the old block is returned.
    // size 0 and a block: free it, return null.  size 0, no block: null.
    void* allocate(std::size_t size, void* previous = nullptr);
    // The real size of a block, which may exceed what was asked for.
    std::size_t blockSize(const void* block) const;

    const char* name() const { return name_; }
    long liveBlocks() const { return live_.load(std::memory_order_relaxed); }
    long totalAllocations() const { return total_.load(std::memory_order_relaxed); }

    // Test hooks, process-wide, for fault tests: let the next `after` requests for a block (new
    // or grown) pass and make the `n` after them fail (n = 0: none fails).
    static void failAllocations(int after, int n);
    static void failNextAllocations(int n) { failAllocations(0, n); }
    // The requests made so far, by any holder.
    static long requests();
    // The largest block asked for since the last reset, by any holder.
    static std::size_t largestRequest();
    static void resetLargestRequest();

private:
    const char* name_;
    std::atomic<long> live_{0};
    std::atomic<long> total_{0};
};

} // namespace fk::platform
