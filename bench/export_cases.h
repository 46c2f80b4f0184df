// Benchmark cases of exports through the full exported call over the bars of a data set: all bars
// in one call (the per_bar counter reads as time per bar), and the call a host makes when one bar
// has been appended (start bar at the last bar of a computed series).
#pragma once
#include <benchmark/benchmark.h>

#include <functional>
#include <span>
#include <string>

#include "bench_data.h"

namespace fk::bench {

template <class Data>
struct ExportCase {
    const char* name;
    std::function<void(host::Call&, host::Series& out, Data&)> args;
};

// Registers BM_AllBars/NAME and BM_AppendedBar/NAME for every case; `data` makes the data set
// (of kBars bars) on first use.
template <class Data>
bool registerExportCases(std::span<const ExportCase<Data>> cases, Data& (*data)()) {
    for (const ExportCase<Data>& c : cases) {
        benchmark::RegisterBenchmark((std::string("BM_AllBars/") + c.name).c_str(), [&c, data](benchmark::State& state) {
            host::Series out;
            host::Call call(c.name);
            c.args(call, out, data());
            for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
            state.counters["per_bar"] = benchmark::Counter(
                static_cast<double>(kBars), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
        })->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("BM_AppendedBar/") + c.name).c_str(), [&c, data](benchmark::State& state) {
            host::Series out;
            host::Call call(c.name);
            c.args(call, out, data());
            call.run(0);
            for (auto _ : state) benchmark::DoNotOptimize(call.run(kBars - 1));
        });
    }
    return true;
}

} // namespace fk::bench
