// A temporary array for the length of one call, on the library's heap (so that the heap checks
// of the tests see it) and released when it goes out of scope.
#pragma once
#include <cstdint>
#include <type_traits>

#include "containers/series.h"

namespace fk {

template <class T>
class Scratch {
    static_assert(std::is_same_v<T, double> || std::is_same_v<T, int32_t>, "doubles or 32-bit integers");

public:
    // n elements, all 0; none when the heap has no room (the array is then not `ok()`).
    explicit Scratch(int32_t n) { make(n); }
    ~Scratch() { buffers::release(h_); }
    // n elements instead, all 0, whatever was held before; false when the heap has no room.
    bool renew(int32_t n) {
        buffers::release(h_);
        h_ = SeriesHandle{nullptr, 0};
        data_ = nullptr;
        size_ = 0;
        make(n);
        return ok();
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    bool ok() const { return size_ == wanted_; }
    T* data() { return data_; }
    const T* data() const { return data_; }
    int32_t size() const { return size_; }
    T& operator[](int32_t i) { return data_[i]; }
    const T& operator[](int32_t i) const { return data_[i]; }

private:
    void make(int32_t n) {
        wanted_ = n > 0 ? n : 0;
        if (n <= 0) return;
        const Family f = std::is_same_v<T, double> ? Family::Number : Family::Long;
        if (series::create(h_, f, n, 0.0) && series::count(h_) == n) {
            data_ = static_cast<T*>(h_.buffer->elements);
            size_ = n;
        }
    }

    SeriesHandle h_{nullptr, 0};
    T* data_ = nullptr;
    int32_t wanted_ = 0;
    int32_t size_ = 0;
};

} // namespace fk
