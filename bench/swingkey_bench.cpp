// The swing engine's users and the market key through the full exported call: one call over
// 1,000,000 bars (ns/bar), and the call after one appended bar for the custom swings, which
// resume instead of starting over.
#include <benchmark/benchmark.h>

#include <functional>
#include <string>

#include "bench_data.h"

namespace {

using fk::host::Call;
using fk::host::Series;

struct Data {
    fk::bench::Walk w = fk::bench::randomWalk(fk::bench::kBars);
    Series close = Series::of(w.close), high = Series::of(w.high);
    fk::host::Market market{fk::bench::walkBars(w)};
    Data() { market.symbol("ESH14").tick(0.25, 12.5); }
};

Data& data() {
    static Data d;
    return d;
}

struct Case {
    const char* label;
    const char* name;
    std::function<void(Call&, Series& out, Data&)> args;
};

const Case kCases[] = {
    {"SwingCustomHigh/3", "SwingCustomHigh", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(3).arg(0); }},
    {"SwingCustomLow/1", "SwingCustomLow", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(1).arg(1); }},
    {"SwingSystemHigh/mode0", "SwingSystemHigh",
     [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(3).arg(0).arg(1); }},
    {"SwingSystemLow/mode1", "SwingSystemLow",
     [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(1).arg(1).arg(1); }},
    {"SwingSystemHigh/mode6", "SwingSystemHigh",
     [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(1).arg(6).arg(1); }},
    {"BearDivergence/3", "BearDivergence",
     [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(d.high).arg(3); }},
    {"LWIntSwing", "LWIntSwing", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close); }},
    {"JLUpTrend", "JLUpTrend", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(2); }},
    {"JLRallyCust/percent", "JLRallyCust",
     [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(2).arg(1).arg(1); }},
};

void allBars(benchmark::State& state, const Case& c) {
    Series out;
    Call call(c.name);
    c.args(call, out, data());
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    state.counters["per_bar"] = benchmark::Counter(static_cast<double>(fk::bench::kBars),
                                                   benchmark::Counter::kIsIterationInvariantRate |
                                                       benchmark::Counter::kInvert);
}

void appendedBar(benchmark::State& state, const Case& c) {
    Series out;
    Call call(c.name);
    c.args(call, out, data());
    call.run(0);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(fk::bench::kBars - 1));
}

const bool kRegistered = [] {
    for (const Case& c : kCases)
        benchmark::RegisterBenchmark((std::string("BM_AllBars/") + c.label).c_str(), allBars, c)
            ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("BM_AppendedBar/SwingCustomHigh/3", appendedBar, kCases[0]);
    return true;
}();

} // namespace
