// Date, clock and time-zone exports over 1,000,000 bars, through the full exported call.
#include "export_cases.h"

namespace {

using namespace fk::bench;

Market& dailyMarket() {
    static Market m(walkBars(sharedWalk()));
    return m;
}

Market& minuteMarket() {
    static Market m(minuteBars());
    return m;
}

void runOnMarket(benchmark::State& state, const char* name, Market& m) {
    Series out;
    Call call(name);
    call.out(out).arg(m);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}

void BM_DayDaily(benchmark::State& state) { runOnMarket(state, "Day", dailyMarket()); }
BENCHMARK(BM_DayDaily)->Unit(benchmark::kMillisecond);

void BM_DayOfYearMinutes(benchmark::State& state) {
    minuteMarket().period(0x03000001).session(570, 960, 1020);
    runOnMarket(state, "DayOfYear", minuteMarket());
}
BENCHMARK(BM_DayOfYearMinutes)->Unit(benchmark::kMillisecond);

void BM_HourMinutes(benchmark::State& state) { runOnMarket(state, "Hour", minuteMarket()); }
BENCHMARK(BM_HourMinutes)->Unit(benchmark::kMillisecond);

void BM_SecondsInBarMinutes(benchmark::State& state) {
    minuteMarket().period(0x03000001).session(570, 960, 1020);
    runOnMarket(state, "SecondsInBar", minuteMarket());
}
BENCHMARK(BM_SecondsInBarMinutes)->Unit(benchmark::kMillisecond);

void BM_DayOf(benchmark::State& state) {
    std::vector<double> stamps(static_cast<std::size_t>(kBars));
    for (std::size_t i = 0; i < stamps.size(); ++i) stamps[i] = 32875.0 + static_cast<double>(i) * 0.37;
    Series in = Series::of(stamps);
    Series out;
    Call call("DayOf");
    call.out(out).arg(in);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}
BENCHMARK(BM_DayOf)->Unit(benchmark::kMillisecond);

void BM_TimeConvert(benchmark::State& state) {
    Market& m = minuteMarket();
    m.period(0x03000001).zone("CHI");
    Text target("GMT");
    Series out;
    Call call("TimeConvert");
    call.out(out).arg(m).arg(target);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}
BENCHMARK(BM_TimeConvert)->Unit(benchmark::kMillisecond);

} // namespace
