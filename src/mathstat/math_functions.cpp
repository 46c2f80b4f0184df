#include "mathstat/math_functions.h"

#include "containers/series.h"
#include "market/bar_record.h"

namespace fk::mathstat {

namespace {

// A read-only single constant holding one value on `length` bars, with the standard fill value.
// It lives for the length of one call and only as long as the object: no heap block is made.
class ConstantSeries {
public:
    ConstantSeries(double value, int32_t length)
        : slots_{value, kMissing},
          buffer_{slots_, kKindNumber, kConstantFlags, 1, length > 0 ? length : 0, 1},
          h_{&buffer_, 0} {}
    ConstantSeries(const ConstantSeries&) = delete;
    ConstantSeries& operator=(const ConstantSeries&) = delete;
    const SeriesHandle& handle() const { return h_; }

private:
    static constexpr uint8_t kConstantFlags = kFlagConstant | kFlagReadOnly;
    double slots_[2]; // the constant, then the fill value
    SharedBuffer buffer_;
    SeriesHandle h_;
};

// An input passed as a Number of this value is left out of Max and Min, as if not given.
constexpr double kDroppedInput = -9999999.0;

constexpr int kMaxInputs = 9;

} // namespace

StatusCode arrayOperation(SeriesHandle& out, const SeriesHandle& a, const char* keyword, const SeriesHandle& b,
                          int32_t startBar) {
    const int32_t n = series::count(a);
    if (!out.buffer || n == 0) return kTooFewBars;
    ApplySeriesOp(out, a, keyword, b, startBar, -1);
    resizeNumbers(out, n);
    return kOk;
}

StatusCode applyUnary(SeriesHandle& out, const SeriesHandle& in, OpCode code, int32_t startBar) {
    const ConstantSeries zero(0.0, series::count(in));
    ApplySeriesOp(out, in, code, zero.handle(), startBar, -1);
    return kOk;
}

StatusCode applyBinary(SeriesHandle& out, const SeriesHandle& a, OpCode code, const SeriesHandle& b,
                       int32_t startBar) {
    ApplySeriesOp(out, a, code, b, startBar, -1);
    return kOk;
}

StatusCode roundSeries(SeriesHandle& out, const SeriesHandle& in, double decimals, int32_t startBar) {
    const int32_t n = series::count(in);
    if (!out.buffer || n == 0) return kTooFewBars;
    const ConstantSeries places(decimals, n);
    ApplySeriesOp(out, in, op::kRound, places.handle(), startBar, -1);
    return kOk;
}

StatusCode squareSeries(SeriesHandle& out, const SeriesHandle& in, int32_t startBar) {
    const int32_t n = series::count(in);
    if (!out.buffer || n == 0) return kTooFewBars;
    ApplySeriesOp(out, in, op::kMultiply, in, startBar, -1);
    resizeNumbers(out, n);
    return kOk;
}

StatusCode extremeOf(SeriesHandle& out, std::span<const SeriesHandle* const> inputs, bool largest, int32_t startBar) {
    const SeriesHandle* kept[kMaxInputs];
    int k = 0;
    for (const SeriesHandle* h : inputs) {
        const series::NumberView v(h);
        if (v.constant() && v.constantValue() == kDroppedInput) continue;
        if (k < kMaxInputs) kept[k++] = h;
    }
    const int32_t n = k > 0 ? series::count(*kept[0]) : 0;
    if (!out.buffer || n == 0) return kTooFewBars;
    const double m = series::fillValue(*kept[0]);
    resizeNumbers(out, n);

    series::NumberOut o(&out, n);
    series::NumberView views[kMaxInputs];
    double fills[kMaxInputs];
    bool constant[kMaxInputs];
    double constants[kMaxInputs];
    for (int j = 0; j < k; ++j) {
        views[j] = series::NumberView(kept[j]);
        fills[j] = views[j].fill();
        constant[j] = views[j].constant();
        constants[j] = views[j].constantValue();
    }
    for (int32_t i = startBar; i < n; ++i) {
        double r = m;
        for (int j = 0; j < k; ++j) {
            const double v = constant[j] ? constants[j] : views[j][i];
            if (v == m || v == fills[j]) {
                r = m;
                break;
            }
            // of equal values the earliest input's stays
            if (j == 0 || (largest ? v > r : v < r)) r = v;
        }
        o.set(i, r == m ? o.fill() : r);
    }
    return kOk;
}

StatusCode tickConvert(SeriesHandle& out, const BarRecord& market, const SeriesHandle& in, bool toPrice) {
    const ConstantSeries ratio(market.tickValue / market.tickSize, series::count(in));
    ApplySeriesOp(out, in, toPrice ? op::kDivide : op::kMultiply, ratio.handle(), 0, -1);
    return kOk;
}

} // namespace fk::mathstat
