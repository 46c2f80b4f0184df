// Oscillators and volume indicators through the full exported call on 1,000,000 bars. The
// counter "per_bar" is the time per bar in seconds (shown as n for nanoseconds).
#include "export_cases.h"

namespace {

using namespace fk::bench;

void BM_CCI(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out;
    Call call("CCI");
    call.out(out).arg(close).arg(static_cast<double>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}
BENCHMARK(BM_CCI)->ArgName("length")->Arg(14)->Arg(20)->Unit(benchmark::kMillisecond);

// The host's call for one new bar: the start bar at the last bar of the series.
void BM_CCILastBar(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out;
    Call call("CCI");
    call.out(out).arg(close).arg(20.0);
    call.run(0);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(kBars - 1));
}
BENCHMARK(BM_CCILastBar)->Unit(benchmark::kMicrosecond);

// An export over the market with a series and numbers after it.
void runOnMarket(benchmark::State& state, const char* name, bool withSeries, std::initializer_list<double> numbers) {
    Series k = Series::of(sharedWalk().close), out;
    Call call(name);
    call.out(out).arg(sharedMarket());
    if (withSeries) call.arg(k);
    for (double v : numbers) call.arg(v);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}

void BM_PermStochK(benchmark::State& state) { runOnMarket(state, "PermStochK", true, {}); }
void BM_PermStochD(benchmark::State& state) { runOnMarket(state, "PermStochD", true, {}); }
void BM_VolAccumDist(benchmark::State& state) { runOnMarket(state, "VolAccumDist", false, {}); }
void BM_CashFlow(benchmark::State& state) { runOnMarket(state, "CashFlow", false, {6}); }
void BM_KSDIMaxUp(benchmark::State& state) { runOnMarket(state, "KSDIMaxUp", false, {1, 10}); }
void BM_KSDIMaxDn(benchmark::State& state) { runOnMarket(state, "KSDIMaxDn", false, {1, 10}); }
void BM_CalcZeroBal(benchmark::State& state) { runOnMarket(state, "CalcZeroBal", true, {}); }
BENCHMARK(BM_PermStochK)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PermStochD)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VolAccumDist)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CashFlow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KSDIMaxUp)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KSDIMaxDn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CalcZeroBal)->Unit(benchmark::kMillisecond);

} // namespace
