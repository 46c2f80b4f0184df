// Trading calendar, stops, waves, trends, pivots and bands over 1,000,000 bars, through the full
// exported call.
#include "export_cases.h"

namespace {

using namespace fk::bench;

// Daily bars of the walk, one for every day of the week, from 2 January 1990 on.
Market& dailyMarket() {
    static Market m(walkBars(sharedWalk()));
    return m.period(0x11000001).session(570, 960, 960);
}

// The walk as one-minute bars from 2 January 2014 09:30 on, every minute of the day and night.
Market& minuteMarket() {
    static Market m(minuteBars());
    return m.session(570, 960, 1020);
}

// One call of the export over the entries given, timed per bar.
template <class... Entries>
void runWith(benchmark::State& state, const char* name, Entries&&... entries) {
    Series out;
    Call call(name);
    call.out(out);
    (call.arg(entries), ...);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
    perBar(state);
}

void runOnMarket(benchmark::State& state, const char* name, Market& m) { runWith(state, name, m); }

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


// The walk's High and Low as series of their own, for the exports that take levels.
struct WalkLevels {
    Series high, low, close;
    WalkLevels() {
        const Walk& w = sharedWalk();
        high = Series::of(w.high);
        low = Series::of(w.low);
        close = Series::of(w.close);
    }
};

WalkLevels& levels() {
    static WalkLevels l;
    return l;
}

double arg0(const benchmark::State& state) { return static_cast<double>(state.range(0)); }

void BM_StopAndReverse(benchmark::State& state) {
    WalkLevels& l = levels();
    runWith(state, "StopAndReverse", dailyMarket(), l.low, l.high, l.low, l.high, 0.0, 1.0);
}
BENCHMARK(BM_StopAndReverse)->Unit(benchmark::kMillisecond);

// Reversal amounts 0 (every fall and rise) and 0.5
void BM_WaveVolume(benchmark::State& state) { runWith(state, "WaveVolume_DLL", dailyMarket(), arg0(state) / 10); }
BENCHMARK(BM_WaveVolume)->Arg(0)->Arg(5)->Unit(benchmark::kMillisecond);

void BM_AgTrend(benchmark::State& state) { runWith(state, "AgTrend", dailyMarket(), 3.0); }
BENCHMARK(BM_AgTrend)->Unit(benchmark::kMillisecond);

void BM_WillStopCustom(benchmark::State& state) {
    runWith(state, "WillStopCustom", dailyMarket(), levels().high, levels().low, arg0(state));
}
BENCHMARK(BM_WillStopCustom)->Arg(3)->Arg(50)->Unit(benchmark::kMillisecond);

void BM_BullishPivot(benchmark::State& state) { runWith(state, "BullishPivot", dailyMarket(), arg0(state)); }
BENCHMARK(BM_BullishPivot)->Arg(3)->Arg(50)->Unit(benchmark::kMillisecond);

void BM_EaseOfMove(benchmark::State& state) { runWith(state, "EaseOfMove", dailyMarket(), 14.0); }
BENCHMARK(BM_EaseOfMove)->Unit(benchmark::kMillisecond);

void BM_BomarUpper(benchmark::State& state) {
    runWith(state, "BomarUpper", levels().close, 21.0, arg0(state), 85.0);
}
BENCHMARK(BM_BomarUpper)->Arg(250)->Arg(1000)->Unit(benchmark::kMillisecond);

} // namespace
