// Markets for the tests of the stops, trends, pivots and bands.
#pragma once
#include <gtest/gtest.h>

#include <vector>

#include "bench/bench_data.h"
#include "support/call_builder.h"
#include "support/series_checks.h"

namespace fk::testing {

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

} // namespace fk::testing
