// How the indicators turn the Numbers they receive into counts, lengths and small integers.
#pragma once
#include <cmath>
#include <cstdint>

namespace fk::indicators {

// Truncated toward zero and held inside the 32-bit range; NaN gives 0.
inline int32_t truncToInt(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return INT32_MAX;
    if (v <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(v);
}

// A length in bars: the number plus one half, truncated.
inline int32_t roundLength(double v) { return truncToInt(v + 0.5); }

// A number read as a signed 16-bit value (a kind, a mode, a short period): truncated and held
// inside the 16-bit range, so that 70000 stays out of range instead of wrapping to a small kind.
inline int16_t toShort(double v) {
    const int32_t i = truncToInt(v);
    return static_cast<int16_t>(i > INT16_MAX ? INT16_MAX : i < INT16_MIN ? INT16_MIN : i);
}

// The first bar of an indicator with a warm-up multiplier: where its counter reaches
// floor(period * k + 0.5); a multiplier below 1 (or none) is 10.
inline double warmupCount(int32_t period, double multiplier) {
    const double k = multiplier < 1.0 || multiplier != multiplier ? 10.0 : multiplier;
    return std::floor(period * k + 0.5);
}

} // namespace fk::indicators
