// The highest or lowest of a sliding window of values: a queue of the values that can still
// become the window's extreme, held in a ring that the caller provides.
#pragma once
#include <cstdint>

namespace fk {

template <bool Highest>
class RunningExtreme {
public:
    // The window is the values of the last n ordinals; both arrays hold n + 1 slots.
    RunningExtreme(double* values, int32_t* ordinals, int32_t n)
        : value_(values), ordinal_(ordinals), slots_(n + 1), n_(n) {}

    bool empty() const { return size_ == 0; }
    // The extreme of the window (not empty).
    double extreme() const { return value_[head_]; }

    // Adds value x of ordinal k (ordinals rise from push to push) and leaves out the values of
    // ordinals k - n and before.
    void push(double x, int32_t k) {
        while (size_ > 0 && !outranks(value_[at(size_ - 1)], x)) --size_;
        const int32_t tail = at(size_);
        value_[tail] = x;
        ordinal_[tail] = k;
        ++size_;
        while (ordinal_[head_] <= k - n_) {
            head_ = head_ + 1 == slots_ ? 0 : head_ + 1;
            --size_;
        }
    }

private:
    // A later value equal to an earlier one replaces it: it stays in the window longer.
    static bool outranks(double earlier, double later) { return Highest ? earlier > later : earlier < later; }
    int32_t at(int32_t offset) const {
        const int32_t p = head_ + offset;
        return p >= slots_ ? p - slots_ : p;
    }

    double* value_;
    int32_t* ordinal_;
    int32_t slots_, n_;
    int32_t head_ = 0, size_ = 0;
};

} // namespace fk
