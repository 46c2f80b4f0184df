// Moving averages and sums through the full exported call on 1,000,000 bars. The counter
// "per_bar" is the time per bar in seconds (shown as n for nanoseconds).
#include "export_cases.h"

namespace {

using namespace fk::bench;

// Every bar again on each call.
void BM_MovAvg(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out;
    Call call("MovAvg");
    call.out(out).arg(close).arg(static_cast<double>(state.range(1))).arg(static_cast<double>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}
BENCHMARK(BM_MovAvg)
    ->ArgNames({"kind", "length"})
    ->Args({1, 20})
    ->Args({2, 20})
    ->Args({3, 20})
    ->Args({4, 20})
    ->Args({5, 10})
    ->Args({6, 20})
    ->Unit(benchmark::kMillisecond);

// The host's call for one new bar: the start bar at the last bar of the series.
void BM_MovAvgLastBar(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out;
    Call call("MovAvg");
    call.out(out).arg(close).arg(20.0).arg(static_cast<double>(state.range(0)));
    call.run(0);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(kBars - 1));
}
BENCHMARK(BM_MovAvgLastBar)->ArgName("kind")->DenseRange(1, 6)->Unit(benchmark::kMicrosecond);

void BM_MovingSum(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out, length = Series::constant(static_cast<double>(state.range(0)));
    Call call("MovingSum");
    call.out(out).arg(close).arg(length).arg(0.0);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}
BENCHMARK(BM_MovingSum)->ArgName("length")->Arg(20)->Arg(0)->Unit(benchmark::kMillisecond);

void BM_MovingSumLastBar(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out, length = Series::constant(20);
    Call call("MovingSum");
    call.out(out).arg(close).arg(length).arg(0.0);
    call.run(0);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(kBars - 1));
}
BENCHMARK(BM_MovingSumLastBar)->Unit(benchmark::kMicrosecond);

template <int Length>
void runOneLength(benchmark::State& state, const char* name) {
    Series close = Series::of(sharedWalk().close), out;
    Call call(name);
    call.out(out).arg(close).arg(static_cast<double>(Length));
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}

void BM_MovStdDev(benchmark::State& state) { runOneLength<20>(state, "MovStdDev"); }
BENCHMARK(BM_MovStdDev)->Unit(benchmark::kMillisecond);

void BM_MOMA(benchmark::State& state) { runOneLength<20>(state, "MOMA"); }
BENCHMARK(BM_MOMA)->Unit(benchmark::kMillisecond);

void BM_VOMA(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), volume = Series::of(sharedWalk().volume), out;
    Call call("VOMA");
    call.out(out).arg(close).arg(20.0).arg(volume);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}
BENCHMARK(BM_VOMA)->Unit(benchmark::kMillisecond);

} // namespace

namespace {
// The first call of a call site: a new Return Value grows to the input's length.
void BM_MovAvgFirstCall(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close);
    for (auto _ : state) {
        Series out;
        Call call("MovAvg");
        call.out(out).arg(close).arg(20.0).arg(1.0);
        benchmark::DoNotOptimize(call.run(0));
    }
    perBar(state);
}
BENCHMARK(BM_MovAvgFirstCall)->Unit(benchmark::kMillisecond);
} // namespace
