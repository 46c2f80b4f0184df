// The element-wise engine and the rolling statistics over 1,000,000 bars, through the exported call.
#include "export_cases.h"

namespace {

using namespace fk::bench;

// Whole-series calls from bar 0, timed per bar.
void timeCalls(benchmark::State& state, Call& call) {
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}

void BM_ArrayOperationSeries(benchmark::State& state, const char* keyword) {
    Series a = Series::of(sharedWalk().close), b = Series::of(sharedWalk().open), out;
    Text word(keyword);
    Call call("ArrayOperation");
    call.out(out).arg(a).arg(word).arg(b);
    timeCalls(state, call);
}
BENCHMARK_CAPTURE(BM_ArrayOperationSeries, plus, "+")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ArrayOperationSeries, multiply, "*")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_ArrayOperationSeries, less, "<")->Unit(benchmark::kMillisecond);

void BM_ArrayOperationRound(benchmark::State& state) {
    Series a = Series::of(sharedWalk().close), out;
    Text word("ROUND");
    Call call("ArrayOperation");
    call.out(out).arg(a).arg(word).arg(2.0);
    timeCalls(state, call);
}
BENCHMARK(BM_ArrayOperationRound)->Unit(benchmark::kMillisecond);

void BM_RegressionValue(benchmark::State& state) {
    Series in = Series::of(sharedWalk().close), out;
    Call call("RegressionValue");
    call.out(out).arg(in).arg(20.0).arg(0.0);
    timeCalls(state, call);
}
BENCHMARK(BM_RegressionValue)->Unit(benchmark::kMillisecond);

void BM_Correlation(benchmark::State& state) {
    Series y = Series::of(sharedWalk().close), x = Series::of(sharedWalk().open), out;
    Call call("Correlation");
    call.out(out).arg(y).arg(x).arg(20.0);
    timeCalls(state, call);
}
BENCHMARK(BM_Correlation)->Unit(benchmark::kMillisecond);

void BM_SpearmanRCI(benchmark::State& state) {
    Series in = Series::of(sharedWalk().close), out;
    Call call("SpearmanRCI");
    call.out(out).arg(in).arg(static_cast<double>(state.range(0)));
    timeCalls(state, call);
}
BENCHMARK(BM_SpearmanRCI)->Arg(20)->Arg(200)->Unit(benchmark::kMillisecond);

} // namespace
