// The highest or lowest of the last n values pushed, in constant time per value and without
// branches on the values: the pushes are cut into blocks of n; a window then spans the end of
// the block before (whose extremes from each place to its end are formed once the block is
// full) and the start of the current block (whose extreme runs along).
#pragma once
#include <cmath>
#include <cstdint>

namespace fk {

template <bool Highest>
class SlidingExtreme {
public:
    // An empty window reads as this, and a value pushed as this takes no part.
    static constexpr double kNone = Highest ? -HUGE_VAL : HUGE_VAL;

    // `slots` holds 2n + 1 doubles for the life of the window.
    SlidingExtreme(double* slots, int32_t n) : block_(slots), tail_(slots + n), n_(n) {
        for (int32_t j = 0; j <= n; ++j) tail_[j] = kNone;
    }

    void push(double x) {
        if (pos_ == n_) {
            double run = kNone;
            for (int32_t j = n_ - 1; j >= 0; --j) tail_[j] = run = better(run, block_[j]);
            pos_ = 0;
            head_ = kNone;
        }
        block_[pos_++] = x;
        head_ = better(head_, x);
        extreme_ = better(tail_[pos_], head_);
    }

    // Of the last n values pushed.
    double extreme() const { return extreme_; }

private:
    static double better(double a, double b) { return Highest ? (b > a ? b : a) : (b < a ? b : a); }

    double* block_; // the current block's values
    double* tail_;  // the extremes of the block before from each place to its end, and kNone
    int32_t n_;
    int32_t pos_ = 0;
    double head_ = kNone;
    double extreme_ = kNone;
};

} // namespace fk
