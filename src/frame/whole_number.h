// Whole-number parameters read from a Number: `truncatedCount` truncates, `roundedCount` adds 0.5
// and truncates; both fail (false) for NaN and for results outside the 32-bit signed range.
#pragma once
#include <cmath>
#include <cstdint>

namespace fk {

inline bool truncatedCount(double v, int32_t& n) {
    const double t = std::trunc(v);
    if (!(t >= -2147483648.0 && t < 2147483648.0)) return false; // NaN fails both
    n = static_cast<int32_t>(t);
    return true;
}

inline bool roundedCount(double v, int32_t& n) { return truncatedCount(v + 0.5, n); }

} // namespace fk
