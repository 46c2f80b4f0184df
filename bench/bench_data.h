// Deterministic market data for the benchmarks: a random walk with realistic bars.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "host/hostkit.h"

namespace fk::bench {

inline constexpr int32_t kBars = 1000000;

struct Walk {
    std::vector<double> open, high, low, close, volume;
};

// The same walk for a given size and seed on every run. The log price is pulled gently back
// towards 100 (its spread settles near 13%), so that a long walk stays at prices a market shows
// instead of drifting to a thousandth of a cent or to millions over a million bars.
inline Walk randomWalk(int32_t n, uint64_t seed = 42) {
    Walk w;
    w.open.resize(n);
    w.high.resize(n);
    w.low.resize(n);
    w.close.resize(n);
    w.volume.resize(n);
    uint64_t s = seed;
    auto next = [&s] { // SplitMix64, as a uniform in [0, 1)
        uint64_t z = (s += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return static_cast<double>((z ^ (z >> 31)) >> 11) * 0x1.0p-53;
    };
    double price = 100.0;
    for (int32_t i = 0; i < n; ++i) {
        const double open = price;
        price *= std::exp((next() - 0.5) * 0.02 - 0.001 * std::log(price / 100.0));
        const double close = price;
        const double hi = std::max(open, close) * (1.0 + next() * 0.005);
        const double lo = std::min(open, close) * (1.0 - next() * 0.005);
        w.open[i] = open;
        w.high[i] = hi;
        w.low[i] = lo;
        w.close[i] = close;
        w.volume[i] = std::floor(1000.0 + next() * 9000.0);
    }
    return w;
}

// The walk as a host market of daily bars from 2 January 1990 on.
inline std::vector<host::Bar> walkBars(const Walk& w) {
    std::vector<host::Bar> bars(w.close.size());
    for (std::size_t i = 0; i < bars.size(); ++i)
        bars[i] = {32875.0 + static_cast<double>(i), w.open[i], w.high[i], w.low[i], w.close[i], w.volume[i]};
    return bars;
}

// A position that always follows the crossings of a fast (5) and a slow (20) exponential average
// of the close: its direction, +1 or -1, and its entry price, the close of the bar it turned on.
struct Crossings {
    std::vector<double> entry, direction;
    explicit Crossings(const Walk& w) : entry(w.close.size()), direction(w.close.size()) {
        double fast = w.close[0], slow = w.close[0], price = w.close[0], dir = 0;
        for (std::size_t i = 0; i < w.close.size(); ++i) {
            fast += (w.close[i] - fast) / 5.0;
            slow += (w.close[i] - slow) / 20.0;
            const double now = fast > slow ? 1 : -1;
            if (now != dir) price = w.close[i];
            dir = now;
            entry[i] = price;
            direction[i] = dir;
        }
    }
};

} // namespace fk::bench
