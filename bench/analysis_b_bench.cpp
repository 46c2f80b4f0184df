// Rank, percentile, median, sideways box, slope significance, the random series, the Cyber
// Cycle and the oscillator predictor through the full exported call over 1,000,000 bars
// (ns/bar), beside the moving average over the same window as a yardstick.
#include <benchmark/benchmark.h>

#include <functional>
#include <string>

#include "bench_data.h"

namespace {

using fk::host::Call;
using fk::host::Series;

struct Data {
    fk::bench::Walk w = fk::bench::randomWalk(fk::bench::kBars);
    Series close = Series::of(w.close);
};

Data& data() {
    static Data d;
    return d;
}

struct Case {
    const char* name;
    std::function<void(Call&, Series& out, Data&)> args;
};

const Case kCases[] = {
    {"MovAvg", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20).arg(0); }},
    {"PercentileDLL", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20).arg(75); }},
    {"TSBarMedian", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20); }},
    {"EquityRankForBar", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20); }},
    {"LateralMovement", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(2).arg(1).arg(10); }},
    {"LateralBox", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(2).arg(1).arg(10).arg(3); }},
    {"TSLineSignificance", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20).arg(1); }},
    {"Random", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(42); }},
    {"EhlersCyberCycle", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(0.07).arg(0); }},
    {"UpperOscPredictorDLL", [](Call& c, Series& o, Data& d) {
         c.out(o).arg(d.close).arg(70).arg(1).arg(14).arg(0).arg(0).arg(0.01).arg(1).arg(0).arg(0);
     }},
};

// All bars in one call; the counter reads as time per bar.
void allBars(benchmark::State& state, const Case& c) {
    Series out;
    Call call(c.name);
    c.args(call, out, data());
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    state.counters["per_bar"] = benchmark::Counter(static_cast<double>(fk::bench::kBars),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

// The call after one bar has been appended: start bar at the last bar of a computed series.
void appendedBar(benchmark::State& state, const Case& c) {
    Series out;
    Call call(c.name);
    c.args(call, out, data());
    call.run(0);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(fk::bench::kBars - 1));
}

const bool kRegistered = [] {
    for (const Case& c : kCases) {
        benchmark::RegisterBenchmark((std::string("BM_AnalysisB_AllBars/") + c.name).c_str(), allBars, c)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((std::string("BM_AnalysisB_AppendedBar/") + c.name).c_str(), appendedBar, c);
    }
    return true;
}();

} // namespace
