// A temporary array for the length of one call, released when it goes out of scope: a short one
// (up to 512 bytes: a window of a few dozen values, as a call that adds a bar needs) held in the
// array itself, a longer one on the library's heap (so that the heap checks of the tests see it).
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

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
    ~Scratch() { drop(); }
    Scratch(Scratch&& other) noexcept { take(other); }
    Scratch& operator=(Scratch&& other) noexcept {
        if (this != &other) {
            drop();
            take(other);
        }
        return *this;
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    // n elements instead, all 0, whatever was held before; false when the heap has no room.
    bool renew(int32_t n) {
        drop();
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

    static constexpr std::size_t kHeldBytes = 512;

    void make(int32_t n) {
        wanted_ = n > 0 ? n : 0;
        if (n <= 0 || n > kMostElements) return;
        const std::size_t bytes = static_cast<std::size_t>(n) * sizeof(T);
        if (bytes <= kHeldBytes) {
            std::memset(held_, 0, bytes);
            data_ = held();
        } else {
            data_ = static_cast<T*>(scratch::allocate(bytes));
        }
        if (data_) size_ = n;
    }
    T* held() { return reinterpret_cast<T*>(held_); }
    void drop() {
        if (data_ != held()) scratch::release(data_);
        data_ = nullptr;
        size_ = 0;
    }
    // Takes what `other` holds (values held in its array are copied), leaving it empty.
    void take(Scratch& other) {
        wanted_ = other.wanted_;
        size_ = other.size_;
        data_ = other.data_;
        if (data_ == other.held()) {
            std::memcpy(held_, other.held_, static_cast<std::size_t>(size_) * sizeof(T));
            data_ = held();
        }
        other.data_ = nullptr;
        other.wanted_ = other.size_ = 0;
    }

    T* data_ = nullptr;
    int32_t wanted_ = 0;
    int32_t size_ = 0;
    alignas(T) alignas(8) unsigned char held_[kHeldBytes];
};

} // namespace fk
