// RSI, the stops and directional movement through the full exported call on 1,000,000 bars.
// The counter "per_bar" is the time per bar in seconds (shown as n for nanoseconds).
#include "export_cases.h"

namespace {

using namespace fk::bench;

void BM_RSI(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out;
    Call call("RSI");
    call.out(out).arg(close).arg(14.0);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}
BENCHMARK(BM_RSI)->Unit(benchmark::kMillisecond);

void BM_RSI2(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out;
    Call call("RSI2");
    call.out(out).arg(close).arg(14.0).arg(1.0);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}
BENCHMARK(BM_RSI2)->Unit(benchmark::kMillisecond);

// An export over the market with numbers after it.
void runOnMarket(benchmark::State& state, const char* name, std::initializer_list<double> numbers) {
    Series out;
    Call call(name);
    call.out(out).arg(sharedMarket());
    for (double v : numbers) call.arg(v);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}

void BM_ADX(benchmark::State& state) { runOnMarket(state, "ADX", {14}); }
void BM_ModADX(benchmark::State& state) { runOnMarket(state, "ModADX", {14}); }
void BM_PDMI(benchmark::State& state) { runOnMarket(state, "PDMI", {14}); }
void BM_NDMI(benchmark::State& state) { runOnMarket(state, "NDMI", {14, 1}); }
void BM_Parabolic(benchmark::State& state) { runOnMarket(state, "Parabolic", {0, 0, 0}); }
void BM_WVolatility(benchmark::State& state) { runOnMarket(state, "WVolatility", {0, 0, 0}); }
BENCHMARK(BM_ADX)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ModADX)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PDMI)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NDMI)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Parabolic)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WVolatility)->Unit(benchmark::kMillisecond);

} // namespace
