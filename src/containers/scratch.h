// A temporary array for the length of one call, on the library's heap (so that the heap checks
// of the tests see it) and released when it goes out of scope.
#pragma once
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace fk {

namespace scratch {
// A zero-filled block of the scratch heap; null when the heap has no room.
void* allocate(std::size_t bytes);
void release(void* block);
// The blocks held now.
long liveBlocks();
} // namespace scratch

// n plain values (numbers, integers, or structs of them), all bytes 0 to begin with.
template <class T>
class Scratch {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_default_constructible_v<T>,
                  "plain values that zero bytes make");

public:
    // n elements; none when the heap has no room (the array is then not `ok()`).
    explicit Scratch(int32_t n = 0) { make(n); }
    ~Scratch() { scratch::release(data_); }
    Scratch(Scratch&& other) noexcept { swap(other); }
    Scratch& operator=(Scratch&& other) noexcept {
        swap(other);
        return *this;
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    // n elements instead, all 0, whatever was held before; false when the heap has no room.
    bool renew(int32_t n) {
        scratch::release(data_);
        data_ = nullptr;
        size_ = 0;
        make(n);
        return ok();
    }

    bool ok() const { return size_ == wanted_; }
    T* data() { return data_; }
    const T* data() const { return data_; }
    int32_t size() const { return size_; }
    T& operator[](int32_t i) { return data_[i]; }
    const T& operator[](int32_t i) const { return data_[i]; }

private:
    // blocks stay within what a 32-bit process can address
    static constexpr int32_t kMostElements = static_cast<int32_t>(INT32_MAX / sizeof(T));

    void make(int32_t n) {
        wanted_ = n > 0 ? n : 0;
        if (n <= 0 || n > kMostElements) return;
        data_ = static_cast<T*>(scratch::allocate(static_cast<std::size_t>(n) * sizeof(T)));
        if (data_) size_ = n;
    }
    void swap(Scratch& other) {
        std::swap(data_, other.data_);
        std::swap(wanted_, other.wanted_);
        std::swap(size_, other.size_);
    }

    T* data_ = nullptr;
    int32_t wanted_ = 0;
    int32_t size_ = 0;
};

} // namespace fk
