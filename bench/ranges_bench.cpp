// Range searches, occurrence counts, shifted views and swings through the exported call on
// 1,000,000 bars. The "per_bar" counter is the time per bar.
#include "export_cases.h"

namespace {

using namespace fk::bench;

// 1 where the bar closed above its open.
Series upBars() {
    const auto& w = sharedWalk();
    std::vector<double> v(kBars);
    for (int32_t i = 0; i < kBars; ++i) v[i] = w.close[i] > w.open[i] ? 1.0 : 0.0;
    return Series::of(v);
}

void runWhole(benchmark::State& state, Call& call) {
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}

void BM_HighestIndex(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out;
    Call call("HighestIndex");
    call.out(out).arg(close).arg(static_cast<double>(state.range(0))).arg(0.0);
    runWhole(state, call);
}
BENCHMARK(BM_HighestIndex)->Arg(5)->Arg(20)->Arg(200);

void BM_LowestIndex(benchmark::State& state) {
    Series low = Series::of(sharedWalk().low), out;
    Call call("LowestIndex");
    call.out(out).arg(low).arg(static_cast<double>(state.range(0))).arg(static_cast<double>(state.range(1)));
    runWhole(state, call);
}
BENCHMARK(BM_LowestIndex)->Args({20, 0})->Args({20, 1}); // equal lows: the earliest, the most recent

// A length that changes every 50 bars between 15 and 25.
void BM_HighestIndexLengthSeries(benchmark::State& state) {
    std::vector<double> l(kBars);
    for (int32_t i = 0; i < kBars; ++i) l[i] = 15 + (i / 50) % 11;
    Series close = Series::of(sharedWalk().close), lengths = Series::of(l), out;
    Call call("HighestIndex");
    call.out(out).arg(close).arg(lengths).arg(0.0);
    runWhole(state, call);
}
BENCHMARK(BM_HighestIndexLengthSeries);

// The host's call as one bar arrives after 1,000,000: the search goes on from the last call.
void BM_HighestIndexAppendedBar(benchmark::State& state) {
    const auto& w = sharedWalk();
    Series close = Series::of(w.close), out;
    Call call("HighestIndex");
    call.out(out).arg(close).arg(20.0).arg(0.0);
    call.run(0);
    int32_t i = 0;
    for (auto _ : state) {
        close.push(w.close[i++ % kBars]);
        benchmark::DoNotOptimize(call.run(close.count() - 1));
    }
    perBar(state, 1);
}
BENCHMARK(BM_HighestIndexAppendedBar)->Iterations(200000);

void BM_Occurrences(benchmark::State& state) {
    Series cond = upBars(), out;
    Call call("Occurrences");
    call.out(out).arg(cond).arg(20.0);
    runWhole(state, call);
}
BENCHMARK(BM_Occurrences);

void BM_Consecutive(benchmark::State& state) {
    Series cond = upBars(), out;
    Call call("Consecutive");
    call.out(out).arg(cond);
    runWhole(state, call);
}
BENCHMARK(BM_Consecutive);

void BM_MostRecentOccurrence(benchmark::State& state) {
    Series cond = upBars(), out;
    Call call("MostRecentOccurrence");
    call.out(out).arg(cond).arg(3.0).arg(0.0);
    runWhole(state, call);
}
BENCHMARK(BM_MostRecentOccurrence);

// The cost of a shift does not depend on the number of bars or on the shift.
void BM_ShiftBars(benchmark::State& state) {
    Series close = Series::of(sharedWalk().close), out;
    Call call("ShiftBars");
    call.out(out).arg(close).arg(static_cast<double>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
}
BENCHMARK(BM_ShiftBars)->Arg(1)->Arg(100000);

void BM_IsSwingHighPoint(benchmark::State& state) {
    Series high = Series::of(sharedWalk().high), out;
    Call call("IsSwingHighPoint");
    call.out(out).arg(high).arg(3.0);
    runWhole(state, call);
}
BENCHMARK(BM_IsSwingHighPoint);

// Swing highs of strength 3 marked with 3, as a swing series.
void BM_SwingHighBarsAgo(benchmark::State& state) {
    Series high = Series::of(sharedWalk().high), marks;
    Call mark("IsSwingHighPoint");
    mark.out(marks).arg(high).arg(3.0);
    mark.run(0);
    std::vector<double> swings = marks.values();
    for (double& x : swings) x = x == 1.0 ? 3.0 : 0.0;
    Series swingSeries = Series::of(swings), out;
    Call call("SwingHighBarsAgo");
    call.out(out).arg(swingSeries).arg(0.0).arg(static_cast<double>(state.range(0)));
    runWhole(state, call);
}
BENCHMARK(BM_SwingHighBarsAgo)->Arg(1)->Arg(10);

void BM_ZigZag(benchmark::State& state) {
    Series out;
    Call call("ZigZag");
    call.out(out).arg(sharedMarket()).arg(5.0);
    runWhole(state, call);
}
BENCHMARK(BM_ZigZag);

} // namespace
