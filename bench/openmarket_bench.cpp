// Trading calendar, stops, waves, trends, pivots and bands over 1,000,000 bars, through the full
// exported call.
#include <benchmark/benchmark.h>

#include "bench_data.h"

namespace {

using fk::bench::kBars;
using fk::host::Call;
using fk::host::Market;
using fk::host::Series;

// Daily bars of the walk, one for every day of the week, from 2 January 1990 on.
Market& dailyMarket() {
    static Market m(fk::bench::walkBars(fk::bench::randomWalk(kBars)));
    return m.period(0x11000001).session(570, 960, 960);
}

// The walk as one-minute bars from 2 January 2014 09:30 on, every minute of the day and night.
Market& minuteMarket() {
    static Market m([] {
        std::vector<fk::host::Bar> bars = fk::bench::walkBars(fk::bench::randomWalk(kBars));
        for (std::size_t i = 0; i < bars.size(); ++i)
            bars[i].dateTime = 41641.0 + (570.0 + static_cast<double>(i)) / 1440.0;
        return bars;
    }());
    return m.session(570, 960, 1020);
}

void perBar(benchmark::State& state) {
    state.counters["ns/bar"] = benchmark::Counter(static_cast<double>(kBars),
                                                  benchmark::Counter::kIsIterationInvariantRate |
                                                      benchmark::Counter::kInvert);
}

void runOnMarket(benchmark::State& state, const char* name, Market& m) {
    Series out;
    Call call(name);
    call.out(out).arg(m);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}

void BM_TradingDayOfYearDaily(benchmark::State& state) { runOnMarket(state, "TradingDayOfYear", dailyMarket()); }
BENCHMARK(BM_TradingDayOfYearDaily)->Unit(benchmark::kMillisecond);

void BM_TradingDayOfWeekDaily(benchmark::State& state) { runOnMarket(state, "TradingDayOfWeek", dailyMarket()); }
BENCHMARK(BM_TradingDayOfWeekDaily)->Unit(benchmark::kMillisecond);

void BM_RemainTDaysToHolidayDaily(benchmark::State& state) {
    runOnMarket(state, "RemainTDaysToHoliday", dailyMarket());
}
BENCHMARK(BM_RemainTDaysToHolidayDaily)->Unit(benchmark::kMillisecond);

void BM_WeekDayOfMonthDaily(benchmark::State& state) { runOnMarket(state, "WeekDayOfMonth", dailyMarket()); }
BENCHMARK(BM_WeekDayOfMonthDaily)->Unit(benchmark::kMillisecond);

void BM_TradingDayOfMonthMinutes(benchmark::State& state) {
    runOnMarket(state, "TradingDayOfMonth", minuteMarket().period(0x03000001));
}
BENCHMARK(BM_TradingDayOfMonthMinutes)->Unit(benchmark::kMillisecond);

void BM_RemainingBarsInDayMinutes(benchmark::State& state) {
    runOnMarket(state, "RemainingBarsInDay", minuteMarket().period(0x03000001));
}
BENCHMARK(BM_RemainingBarsInDayMinutes)->Unit(benchmark::kMillisecond);

void BM_RemainingBarsInDayTicks(benchmark::State& state) {
    runOnMarket(state, "RemainingBarsInDay", minuteMarket().period(0x01000001));
}
BENCHMARK(BM_RemainingBarsInDayTicks)->Unit(benchmark::kMillisecond);

} // namespace
