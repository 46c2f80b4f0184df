// Range searches and occurrence counting: where in a rolling span the extreme stood, how often
// and for how long a condition held, bit tests and shifted views.
#pragma once
#include <algorithm>
#include <climits>
#include <cstdint>

#include "containers/scratch.h"
#include "containers/series.h"
#include "frame/status.h"

namespace fk::ranges {

// A Number made an integer by truncation toward zero; NaN and values outside the 32-bit range
// give the most negative integer, as the processor's own conversion does.
inline int32_t truncate(double v) {
    return v > -2147483649.0 && v < 2147483648.0 ? static_cast<int32_t>(v) : INT32_MIN;
}

// A condition bar is true when it is neither 0 nor its series' fill value.
inline bool isTrue(double v, double fill) { return v != 0.0 && v != fill; }

// A temporary array of 32-bit integers, all `value` to begin with; size() is 0 when the heap
// could not give them.
class IntScratch {
public:
    IntScratch(int32_t n, int32_t value) : values_(n) {
        if (values_.ok()) std::fill_n(values_.data(), values_.size(), value);
    }

    int32_t size() const { return values_.size(); }
    int32_t* data() { return values_.data(); }
    int32_t& operator[](int32_t i) { return values_[i]; }

private:
    Scratch<int32_t> values_;
};

// Where a search of one call stopped, so that the next call through the same parameter block can
// go on from there exactly as one call over all bars would.
struct ExtremeScan {
    double best = 0;
    int32_t bestBar = -1;
    int32_t lastEqual = -1; // the latest bar holding a value equal to the best
    int32_t prevLength = -1;
    int32_t counter = 0;    // bars since the first value
    int32_t nextBar = -1;   // the state covers every bar before this one; -1: no state
    bool recent = false;    // the tie mode it was made with
};

enum class Extreme { Highest, Lowest };

// Bars ago of the highest (lowest) value of the span ending at each bar. `resume` (may be null)
// keeps where this call stopped for the next call through the same parameter block.
StatusCode extremeIndex(Extreme kind, SeriesHandle& out, const SeriesHandle& values, const SeriesHandle& length,
                  double tieMode, int32_t startBar, ExtremeScan* resume);
// Number of true bars in the span ending at each bar.
void occurrences(SeriesHandle& out, const SeriesHandle& cond, const SeriesHandle& length, int32_t startBar);
// Number of true bars in a row up to each bar.
void consecutive(SeriesHandle& out, const SeriesHandle& cond, int32_t startBar);
// Bars since the n-th most recent true bar, within a look-back limit per bar.
StatusCode mostRecentOccurrence(SeriesHandle& out, const SeriesHandle& cond, double occurrence,
                          const SeriesHandle& limit, int32_t startBar);
// Number of the conditions that are true at each bar; the first condition gives the bar count.
void numberTrue(SeriesHandle& out, const SeriesHandle* const* conds, int condCount, int32_t startBar);
// 1 where the given bit (0 to 30) of the value's integer part is set, 0 where not; negative values
// leave the bar unwritten.
StatusCode isBitTrue(SeriesHandle& out, const SeriesHandle& values, double bitNumber, int32_t startBar);
// Makes `out` a view of `in` displaced by `shift` bars; nothing is copied.
void shiftBars(SeriesHandle& out, SeriesHandle& in, double shift);

} // namespace fk::ranges
