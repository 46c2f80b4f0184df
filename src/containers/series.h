// Per-bar series on shared buffers: creation, element reads and writes, resizing, and the
// resolved views that hot loops read and write through.
#pragma once
#include <climits>
#include <cstdint>
#include <cstring>

#include "containers/buffer.h"

namespace fk::series {

// A new buffer of n elements, all equal to the default (the family's missing value for the
// marker), attached to `h` as its only handle. On an allocation failure the series has 0 elements.
bool create(SeriesHandle& h, Family f, int32_t n, double defaultValue = kMissingMarker);
inline bool createNumbers(SeriesHandle& h, int32_t n, double defaultValue = kMissingMarker) {
    return create(h, Family::Number, n, defaultValue);
}

// Address of element i as seen through the handle: reads outside [0, count), and the first k
// bars of a handle with offset k, give the default slot. Null only for a handle without buffer.
const void* element(const SeriesHandle& h, int32_t i);
// Element i of a number series; the standard missing value for a handle without a number buffer.
double number(const SeriesHandle& h, int32_t i);
// The fill value (default slot) of a number series.
double fillValue(const SeriesHandle& h);
inline int32_t count(const SeriesHandle& h) { return h.buffer ? h.buffer->count : 0; }
inline int32_t count(const SeriesHandle* h) { return h && h->buffer ? h->buffer->count : 0; }

// Store a value at i, growing the series when i is past its end.
bool setElementRaw(SeriesHandle& h, int32_t i, const void* value);
bool setNumber(SeriesHandle& h, int32_t i, double v);
// Set elements from..to (to = -1: the last) to the default value.
bool fill(SeriesHandle& h, int32_t from, int32_t to);
// Resize to n elements.
bool setCount(SeriesHandle& h, int32_t n, bool keep);
// Make the series a single constant of logical length n (n <= 0 empties it).
bool setConstantRaw(SeriesHandle& h, const void* value, int32_t n);
bool setConstantNumber(SeriesHandle& h, double v, int32_t n);

// A number series resolved once for reading in a loop. A single constant reads as its constant
// on every bar from its offset on, which is how a Number passed for a series is meant.
class NumberView {
public:
    NumberView() { resolve(nullptr); }
    explicit NumberView(const SeriesHandle* h) { resolve(h); }

    // (index arithmetic in 32 unsigned bits: any bar index is valid, and one far outside reads
    // the fill value, or a constant's value, without overflowing)
    double operator[](int32_t i) const {
        const uint32_t u = static_cast<uint32_t>(i);
        return u - static_cast<uint32_t>(lo_) < span_
                   ? data_[static_cast<int32_t>(u - static_cast<uint32_t>(shift_)) & mask_]
                   : fill_;
    }
    bool missing(int32_t i) const { return (*this)[i] == fill_; }
    double fill() const { return fill_; }
    int32_t count() const { return count_; }
    bool constant() const { return mask_ == 0 && count_ > 0; }
    bool empty() const { return count_ == 0; }
    // element 0 of a constant (or the fill value)
    double constantValue() const { return count_ > 0 ? data_[0] : fill_; }
    // Whether bars from .. to - 1 all read one value (a constant, or the fill value outside the
    // stored range), and which.
    bool uniform(int32_t from, int32_t to, double& v) const {
        if (to <= lo_ || static_cast<int64_t>(from) - lo_ >= static_cast<int64_t>(span_)) {
            v = fill_;
            return true;
        }
        if (mask_ == 0 && from >= lo_) {
            v = data_[0];
            return true;
        }
        return false;
    }
    // Bars from .. to - 1 as one array (q[k] reads bar from + k) when every one of them is a
    // stored element of a series (not a single constant, not outside its range); null otherwise.
    const double* storage(int32_t from, int32_t to) const {
        if (mask_ == 0 || from < lo_ || to < from || static_cast<uint32_t>(to - lo_) > span_) return nullptr;
        return data_ + (from - shift_);
    }

private:
    void resolve(const SeriesHandle* h);
    const double* data_;
    int32_t lo_, shift_, mask_, count_;
    uint32_t span_;
    double fill_;
};

// The Return Value resolved once for writing a run of bars: made private (copy-on-write) and grown
// before the loop, written in place, its count set at the end as element writes would have left it.
// Handles that cannot be written in place (offset, single constant) fall back to element writes;
// a refused write (read-only, owner-only, no buffer) writes nothing, as an element write would.
class NumberOut {
public:
    NumberOut(SeriesHandle* h, int32_t expectedCount);
    ~NumberOut() { finish(); }
    NumberOut(const NumberOut&) = delete;
    NumberOut& operator=(const NumberOut&) = delete;

    void set(int32_t i, double v) {
        if (static_cast<uint32_t>(i) < static_cast<uint32_t>(cap_)) {
            data_[i] = v;
            if (i > hi_) hi_ = i;
        } else {
            setSlow(i, v);
        }
    }
    // What the series holds at i now (its own earlier outputs), by the element-read rule.
    double get(int32_t i) const {
        if (fast_) {
            const int32_t n = hi_ + 1 > count0_ ? hi_ + 1 : count0_;
            return static_cast<uint32_t>(i) < static_cast<uint32_t>(n) ? data_[i] : fill_;
        }
        return getSlow(i);
    }
    double fill() const { return fill_; }
    bool writable() const { return h_ != nullptr && h_->buffer != nullptr; }
    // Bars from .. to - 1 as one array written in place (q[k] is bar from + k; reading it gives
    // what get() gives) when all of them can be written in place; the count then settles as if
    // bar to - 1 had been set. Null otherwise: write through set().
    double* storage(int32_t from, int32_t to) {
        double* q = reserve(from, to);
        if (q) wrote(to - 1);
        return q;
    }
    // The same array for a loop that may leave bars unwritten: the count settles only as far as
    // wrote(i) reports, i being the last bar the loop wrote (below `from`: none).
    double* reserve(int32_t from, int32_t to) const {
        return !fast_ || from < 0 || to < from || to > cap_ ? nullptr : data_ + from;
    }
    void wrote(int32_t i) {
        if (i > hi_) hi_ = i;
    }
    // Write the count now; later writes go on working.
    void finish();

private:
    void setSlow(int32_t i, double v);
    double getSlow(int32_t i) const;
    SeriesHandle* h_;
    double* data_ = nullptr;
    int32_t cap_ = 0;   // in-place writes below this index
    int32_t hi_ = -1;   // highest index written in place
    int32_t count0_ = 0;
    bool fast_ = false;
    double fill_ = kMissing;
};

} // namespace fk::series
