// Moving averages and sums: the averaging engine behind MovAvg (and the oscillators that smooth
// with it), MovingSum, MovStdDev, MOMA and VOMA.
#pragma once
#include <cstdint>

#include "containers/plain_bars.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "frame/status.h"

namespace fk::indicators {

enum AverageKind : int {
    kSimple = 1,
    kExponential = 2,
    kWeighted = 3,
    kWilder = 4,
    kAdaptive = 5,
    kTriangular = 6,
};

// Bars beyond which a length is not told apart: longer than any series can be.
inline constexpr int32_t kLongestLength = 1 << 29;

// A length between 0 and 1 is a smoothing factor and stands for the length 2/L - 1.
double lengthFromFactor(double length);

// The adaptive kind packs slow * 10^9 + fast * 10^6 + period into its length; every step of the
// unpacking rounds half up. A fast or slow length that comes out at 0 or below takes its default.
struct AdaptiveLengths {
    double period, fast, slow;
};
AdaptiveLengths unpackAdaptive(double length);

// The settings of one engine run, made from the length and the kind.
struct AverageParams {
    int kind = kSimple;      // 1 to 5
    double length = 0;       // after conversion (the period for the adaptive kind)
    int32_t n = 0;           // the length as a count of bars
    int32_t warmup = 0;      // valid bars before the first average: 3n for the exponential kind
    bool passThrough = false;// a length of exactly 1 returns the input
    double alpha = 0;        // exponential and Wilder factors
    double divisor = 0;      // 1 + 2 + ... + n of the weighted kind
    double fastSC = 0, slowSC = 0;
};
// False when the engine computes nothing for these (a length of 0 or below, a kind above 5).
bool averageParams(double length, int kind, bool shortWarmup, AverageParams& p);

// Bars first .. first + size - 1 held in memory that someone else owns; the bars outside read as
// the fill value. Reads and writes by bar number, as a series would, and cheap to copy so that a
// loop keeps it in registers.
struct BarWindow {
    double* data = nullptr;
    int32_t first = 0;
    uint32_t size = 0;
    double fillValue = kMissing;

    double operator[](int32_t i) const {
        const uint32_t k = static_cast<uint32_t>(i - first);
        return k < size ? data[k] : fillValue;
    }
    double get(int32_t i) const { return (*this)[i]; }
    void set(int32_t i, double v) const {
        const uint32_t k = static_cast<uint32_t>(i - first);
        if (k < size) data[k] = v;
    }
    double fill() const { return fillValue; }
    // bars from .. to - 1 as one array, when the window holds all of them
    double* storage(int32_t from, int32_t to) const {
        return from >= first && to >= from && static_cast<uint32_t>(to - first) <= size ? data + (from - first) : nullptr;
    }
};

// A temporary series on the library's heap covering bars first .. end - 1.
class TempSeries {
public:
    TempSeries() = default;
    TempSeries(const TempSeries&) = delete;
    TempSeries& operator=(const TempSeries&) = delete;

    // Every bar starts at the fill value; false when the heap has no room.
    bool allocate(int32_t first, int32_t end, double fill);
    const BarWindow& bars() const { return bars_; }

private:
    Scratch<double> values_;
    BarWindow bars_;
};

// Calls body(in, out) over plain arrays for bars from .. end - 1 where both the input and the
// output are stored that way, otherwise over the input and output themselves. Only for loops
// that write every one of those bars (the output's count then reaches `end`).
template <class In, class Out, class Body>
void withPlainBars(const In& in, Out& out, int32_t from, int32_t end, Body&& body) {
    if (const double* src = in.storage(from, end))
        if (double* dst = out.storage(from, end)) {
            PlainOut plain{dst, from, out.fill()};
            body(PlainBars{src, from}, plain);
            return;
        }
    body(in, out);
}

// Calls body(out) with a plain array for bars from .. to - 1 where the output allows it,
// otherwise with the output itself. The body writes bar to - 1 (the count then reaches `to`
// either way) and may leave bars before it as they were.
template <class Body>
void withPlainOut(series::NumberOut& out, int32_t from, int32_t to, Body&& body) {
    if (double* q = out.storage(from, to)) {
        PlainOut plain{q, from, out.fill()};
        body(plain);
        return;
    }
    body(out);
}

// The averaging engine into a temporary series: the average of `in` from bar s, computed from
// wherever the engine restarts (so the temporary covers that bar onward). False when the
// temporary cannot be made.
bool averageToTemp(const series::NumberView& in, const AverageParams& p, int32_t s, TempSeries& out);

// The averaging engine from `in` into `out` for a kind of 1 to 5, from first bar s.
StatusCode averageSeries(SeriesHandle& out, const SeriesHandle& in, double length, int kind,
                         bool shortWarmup, int32_t s);

// MovAvg: kinds 1 to 6 (negative: the short warm-up; 0: simple); 6 is the triangular average.
StatusCode movingAverage(SeriesHandle& out, const SeriesHandle& in, double length, double kind, int32_t s);

// MovingSum: a rolling sum whose length may change from bar to bar; signMode > 0 sums only
// positive values, < 0 only negative ones.
StatusCode movingSum(SeriesHandle& out, const SeriesHandle& in, const SeriesHandle& length,
                     double signMode, int32_t s);

// MovStdDev: rolling population standard deviation.
StatusCode movingStdDev(SeriesHandle& out, const SeriesHandle& in, double length);

// MOMA: an average weighted by each bar's absolute change.
StatusCode changeWeightedAverage(SeriesHandle& out, const SeriesHandle& in, double length);

// VOMA: an average weighted by a second series (typically volume).
StatusCode seriesWeightedAverage(SeriesHandle& out, const SeriesHandle& in, double length,
                                 const SeriesHandle& weights);

} // namespace fk::indicators
