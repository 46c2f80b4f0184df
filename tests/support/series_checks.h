// Data shared by the indicator tests: random series with holes and reference windows over the
// valid bars.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "host/hostkit.h"
#include "support/call_builder.h"

namespace fk::testing {

// A random walk around 100 with about one bar in `holeEvery` missing (0: none).
inline std::vector<double> randomSeries(int n, uint64_t seed, int holeEvery = 0) {
    std::vector<double> v(n);
    uint64_t s = seed * 0x9E3779B97F4A7C15ull + 1;
    auto next = [&s] {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return static_cast<double>(s >> 11) * 0x1.0p-53;
    };
    double x = 100;
    for (int i = 0; i < n; ++i) {
        x += next() - 0.5;
        v[i] = holeEvery > 0 && next() * holeEvery < 1.0 ? F : x;
    }
    return v;
}

// The last n valid values up to bar b, oldest first; fewer when the series runs out.
inline std::vector<double> lastValid(const std::vector<double>& v, int b, int n) {
    std::vector<double> w;
    for (int j = b; j >= 0 && static_cast<int>(w.size()) < n; --j)
        if (v[j] != F) w.insert(w.begin(), v[j]);
    return w;
}

// A series as element writes leave it: bars after the last one written are not part of it.
inline std::vector<double> trimmed(std::vector<double> v) {
    while (!v.empty() && v.back() == F) v.pop_back();
    return v;
}

} // namespace fk::testing
