// Markets for the tests of the stops, trends, pivots and bands.
#pragma once
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "bench/bench_data.h"
#include "host/hostkit.h"

namespace fk::testing {

inline constexpr double F = kMissing;

// Daily bars from the given columns (an empty column is all 1s).
inline std::vector<host::Bar> barsOf(const std::vector<double>& high, const std::vector<double>& low,
                                     const std::vector<double>& close, const std::vector<double>& volume = {}) {
    std::vector<host::Bar> bars;
    for (std::size_t i = 0; i < high.size(); ++i) {
        const double c = close.empty() ? 1.0 : close[i];
        bars.push_back({41640.0 + static_cast<double>(i), c, high[i], low[i], c, volume.empty() ? 1.0 : volume[i]});
    }
    return bars;
}

// A random walk of n bars in which every 29th bar has no data, every 41st no volume and every
// 53rd a volume of 0, so that the passes over missing bars are taken.
inline std::vector<host::Bar> gappyWalk(int32_t n, uint64_t seed = 7) {
    std::vector<host::Bar> bars = bench::walkBars(bench::randomWalk(n, seed));
    for (int32_t i = 0; i < n; ++i) {
        host::Bar& b = bars[static_cast<std::size_t>(i)];
        if (i % 29 == 28) b.open = b.high = b.low = b.close = kMissing;
        if (i % 41 == 40) b.volume = kMissing;
        if (i % 53 == 52) b.volume = 0;
    }
    return bars;
}

// The values an export writes in one call from bar `start` over the given entries.
template <class... Entries>
std::vector<double> valuesOf(const char* name, int32_t start, Entries&&... entries) {
    host::Series out;
    host::Call call(name);
    call.out(out);
    (call.arg(entries), ...);
    EXPECT_EQ(call.run(start), 0) << name;
    return out.values();
}

// Equal element by element, missing values in the same places, numbers within a relative 1e-9
// (running sums and sums formed afresh round differently).
inline void expectClose(const std::vector<double>& got, const std::vector<double>& want, const std::string& what) {
    ASSERT_EQ(got.size(), want.size()) << what;
    for (std::size_t i = 0; i < got.size(); ++i) {
        if (want[i] == kMissing || got[i] == kMissing) {
            ASSERT_EQ(got[i], want[i]) << what << " at bar " << i;
            continue;
        }
        ASSERT_NEAR(got[i], want[i], 1e-9 * std::max(1.0, std::fabs(want[i]))) << what << " at bar " << i;
    }
}

} // namespace fk::testing
