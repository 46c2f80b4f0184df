// How far FormulaKit's values and a peer's lie apart, bar by bar.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace fk::peers {

// A bar without a value, in the aligned outputs of either side.
inline constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

// Largest relative difference between ours and a peer's values from bar `from` on, over the
// bars where both give a value, and the share of those bars that differ by more than 1e-9.
struct Agreement {
    double maxRelative = 0.0;
    double differing = 0.0; // share of compared bars
    int64_t compared = 0;
};

inline Agreement compare(const std::vector<double>& ours, const std::vector<double>& peer, int32_t from) {
    // A value that crosses zero is compared with a thousandth of the series' largest magnitude.
    double scale = 0.0;
    for (std::size_t i = from; i < peer.size(); ++i)
        if (!std::isnan(peer[i])) scale = std::max(scale, std::fabs(peer[i]));
    const double floor = scale * 1e-3;
    Agreement a;
    int64_t differing = 0;
    for (std::size_t i = from; i < std::min(ours.size(), peer.size()); ++i) {
        if (std::isnan(ours[i]) || std::isnan(peer[i])) continue;
        const double d = std::fabs(ours[i] - peer[i]);
        const double rel = d == 0.0 ? 0.0 : d / std::max({std::fabs(ours[i]), std::fabs(peer[i]), floor});
        a.maxRelative = std::max(a.maxRelative, rel);
        if (rel > 1e-9) ++differing;
        ++a.compared;
    }
    a.differing = a.compared ? static_cast<double>(differing) / static_cast<double>(a.compared) : 0.0;
    return a;
}

} // namespace fk::peers
