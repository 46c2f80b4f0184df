// What the family benchmarks share: the walk of kBars bars and its market, made once per program;
// the per_bar counter; and cases of exports through the full exported call over the bars of a
// data set: all bars in one call (the per_bar counter reads as time per bar), and the call a host
// makes when one bar has been appended (start bar at the last bar of a computed series).
#pragma once
#include <benchmark/benchmark.h>

#include <functional>
#include <span>
#include <string>

#include "bench_data.h"

namespace fk::bench {

// The host's names, for `using namespace fk::bench;`.
using host::Bar;
using host::Call;
using host::Market;
using host::Series;
using host::Text;

inline const Walk& sharedWalk() {
    static const Walk w = randomWalk(kBars);
    return w;
}

// The shared walk as a market of daily bars.
inline host::Market& sharedMarket() {
    static host::Market m(walkBars(sharedWalk()));
    return m;
}

// The walk as one-minute bars from 2 January 2014 09:30 on, every minute of the day and night,
// so that the stamps cross days, years and the changes of daylight saving.
inline std::vector<host::Bar> minuteBars() {
    std::vector<host::Bar> bars = walkBars(sharedWalk());
    for (std::size_t i = 0; i < bars.size(); ++i) bars[i].dateTime = 41641.0 + (570.0 + static_cast<double>(i)) / 1440.0;
    return bars;
}

// The counter "per_bar": the time per bar in seconds (shown as n for nanoseconds) of calls over
// `bars` bars.
inline void perBar(benchmark::State& state, double bars = kBars) {
    state.counters["per_bar"] =
        benchmark::Counter(bars, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

template <class Data>
struct ExportCase {
    const char* name;
    std::function<void(host::Call&, host::Series& out, Data&)> args;
    const char* label = nullptr; // the name after BM_AllBars/ where not the export's name
    bool appended = true;        // with BM_AppendedBar/LABEL
};

// Registers BM_AllBars/LABEL and BM_AppendedBar/LABEL for every case; `data` makes the data set
// (of kBars bars) on first use.
template <class Data>
bool registerExportCases(std::span<const ExportCase<Data>> cases, Data& (*data)()) {
    for (const ExportCase<Data>& c : cases) {
        const std::string label = c.label ? c.label : c.name;
        benchmark::RegisterBenchmark(("BM_AllBars/" + label).c_str(), [&c, data](benchmark::State& state) {
            host::Series out;
            host::Call call(c.name);
            c.args(call, out, data());
            for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
            perBar(state);
        })->Unit(benchmark::kMillisecond);
        if (!c.appended) continue;
        benchmark::RegisterBenchmark(("BM_AppendedBar/" + label).c_str(), [&c, data](benchmark::State& state) {
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
