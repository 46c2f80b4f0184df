// Seasonal and cycle functions: the worked examples, the host's chunked calls against one call,
// and the status codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "calendar/date.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class SeasonalTest : public HeapChecked {};

// 30 Dec 2011, 3 Jan 2012, 15 Mar 2012, 31 Dec 2012, 2 Jan 2013, 14 Mar 2013, 31 Dec 2013,
// 2 Jan 2014, 14 Mar 2014, 17 Mar 2014
const Vec kSeasonDays = {40907, 40911, 40983, 41274, 41276, 41347, 41639, 41641, 41712, 41715};
const Vec kSeasonPrices = {100, 102, 110, 120, 121, 126, 130, 131, 140, 139};

TEST_F(SeasonalTest, SeasonalPathAndBands) {
    // the market's days and prices, the numbers from the years on, and the values of the bars
    struct Case { const char* what; const char* name; Vec days, prices, numbers, want; };
    const Vec &d = kSeasonDays, &p = kSeasonPrices;
    const double p7 = 100.0 / 120.0 / 2.0; // 2013's 0.8333 per cent and 2012's 0 per cent
    const Case cases[] = {
        {"points", "Seasonal", d, p, {2}, {F, F, F, F, 0, 2, 20, 0.5, 4, 8}},
        {"percent", "SeasonalPct", d, p, {2}, {F, F, F, F, 0, 2, 20, p7, 3.5, 7.5}},
        {"upper band in points", "SeasonalDevUp", d, p, {2, 1, 0}, {F, F, F, F, 0, 2, 20, 1, 6, 10}},
        {"lower band in points", "SeasonalDevDown", d, p, {2, 1, 0}, {F, F, F, F, 0, 2, 20, 0, 2, 6}},
        {"upper band in percent", "SeasonalDevUp", d, p, {2, 2, 1}, {F, F, F, F, 0, 2, 20, 3 * p7, 6.5, 12.5}},
        {"lower band in percent", "SeasonalDevDown", d, p, {2, 2, -3}, {F, F, F, F, 0, 2, 20, -p7, 0.5, 2.5}},
        {"negative width swaps the bands", "SeasonalDevUp", d, p, {2, -1, 0}, {F, F, F, F, 0, 2, 20, 0, 2, 6}},
        // years that cannot be used (missing prices, passed over, are in the comparison with the
        // definition below): 2012's base lies in 2010, across a gap, not in the year before;
        // 2013's is in 2012
        {"base across a gap", "Seasonal", {40500, 40983, 41348, 41715}, {100, 110, 120, 130}, {1}, {F, F, F, 10}},
        // 2011 has a base but no price of its own: 2012 is the next price after the base
        {"no price in the year", "Seasonal", {40907, 41276}, {100, 120}, {1}, {F, F}},
        // 29 February 2012 looks up 28 February 2011, not 1 March
        {"29 February", "Seasonal", {40543, 40602, 40603, 40908, 40968, 40969, 41274, 41333},
         {100, 105, 107, 110, 116, 117, 120, 125}, {1}, {F, F, F, F, 5, 7, 10, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<Arg> args = {barsAt(c.days, c.prices), c.prices};
        args.insert(args.end(), c.numbers.begin(), c.numbers.end());
        expectNear(valuesOf(c.name, args), c.want);
    }
}

TEST_F(SeasonalTest, CycleWindows) {
    // a window of eight, the shortest period, then the period, amplitude and phase the analysis
    // finds, and the projections (horizon, value) of the cycle and the line
    struct Case {
        Vec window;
        double shortest, period, amplitude, phase;
        std::vector<std::pair<double, double>> projections;
    };
    const Vec onLine = {11, 9.5, 10, 12.5, 13, 11.5, 12, 14.5};
    const Case cases[] = {
        {{11, 9, 9, 11, 11, 9, 9, 11}, 2, 4, std::sqrt(2.0), 315, {{0, 11}, {1, 11}, {2, 9}}},
        {onLine, 2, 4, std::sqrt(2.0), 315, {{0, 14.5}, {1, 15}, {3, 14}}},
        {onLine, 5, 5, 0.904508, 252, {{0, 13.220492}}},
        {{11, 9, 11, 9, 11, 9, 11, 9}, 2, 2, 20.0 / 21.0, 180, {{1, 10.523810}}},
        {Vec(8, 0.1), 2, F, F, F, {{1, 0.1}}},      // flat: no cycle, the line
        {{1, 2, 3, 4, 5, 6, 7, 8}, 2, F, F, F, {{1, 9}}}, // straight: no cycle, the line
    };
    const auto last = [](const Case& c, const char* name, double number) {
        return valuesOf(name, {c.window, 8.0, c.shortest, 8.0, number}).back();
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.window[1]);
        expectNear({last(c, "CycleAnalysis", 0), last(c, "CycleAnalysis", 1), last(c, "CycleAnalysis", 2)},
                   {c.period, c.amplitude, c.phase}, 1e-6);
        for (const auto& [horizon, want] : c.projections) expectNear({last(c, "CycleCalc", horizon)}, {want}, 1e-6);
    }
    // the bars before the window is full
    EXPECT_EQ(valuesOf("CycleCalc", {cases[0].window, 8.0, 2.0, 8.0, 0.0}), (Vec{F, F, F, F, F, F, F, 11}));
}

// Monday 10 March 2014 and the following days, at 09:30 and 10:00.
double at(int day, double hours) { return 41708 + day + hours / 24.0; }

TEST_F(SeasonalTest, AverageOfSameBarTime) {
    struct Case { const char* what; Vec stamps, x; double sessions; Vec want; };
    const Vec week = {at(0, 9.5), at(0, 10), at(1, 9.5), at(1, 10), at(2, 9.5), at(2, 10), at(3, 9.5), at(3, 10), at(4, 9.5)};
    const Vec volume = {100, 50, 200, 70, 300, 90, 120, F, 60};
    const Case cases[] = {
        {"two sessions", week, volume, 2, {F, F, F, F, 150, 60, 250, 80, 210}},
        {"one session", week, volume, 1, {F, F, 100, 50, 200, 70, 300, 90, 120}},
        // a second bar at the same time of one session replaces that session's value
        {"same time twice in a session", {at(0, 9.5), at(1, 9.5), at(1, 9.5), at(2, 9.5)}, {100, 200, 250, 300}, 1,
         {F, 100, 100, 250}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        expectNear(valuesOf("AvgOfSameBarTime", {barsAt(c.stamps, Vec(c.stamps.size(), 10)), c.x, c.sessions}), c.want);
    }
}

TEST_F(SeasonalTest, PartialDayData) {
    // the previous day's last bar, one day of three bars, the next day's first bar
    const std::vector<Bar> bars = {
        {at(-1, 15), 99, 99.5, 98.5, 99, 1},   {at(0, 10), 100, 101, 99.5, 100.5, 10},
        {at(0, 11), 100.5, 102, 100, 101.75, 20}, {at(0, 12), 101.75, 101.9, 98, 98.5, 5},
        {at(1, 10), 98, 98.5, 97.75, 98.25, 7},
    };
    // by selector, then calls from a start bar
    const Vec want[] = {{F, 1.5, 2.75, -0.5, -0.25},         {99, 100, 100, 100, 98},
                        {99.5, 101, 102, 102, 98.5},         {98.5, 99.5, 99.5, 98, 97.75},
                        {99, 100.5, 101.75, 98.5, 98.25},    {1, 10, 30, 35, 7},
                        {1, 1, 2, 3, 1},                     {99, 301.0 / 3, 303.25 / 3, 99.5, 294.5 / 3}};
    for (int q = 0; q < 8; ++q) expectNear(valuesOf("PartialDayData", {bars, double(q)}), want[q], 1e-9, std::to_string(q));
    expectNear(valuesOf("PartialDayData", {bars, 0.0}, 3, {7, 7, 7}), {7, 7, 7, -0.5, -0.25});
    expectNear(valuesOf("PartialDayData", {bars, 7.0}, 3, {7, 7, 7}), {7, 7, 7, 99.5, 294.5 / 3});
    expectNear(valuesOf("PartialDayData", {bars, 5.0}, 4, {7, 7, 7, 7}), {7, 7, 7, 7, 7});
}

// Random market data over six years: weekdays with one to three bars a day at fixed times, a
// few prices and whole bars missing.
struct RandomMarket { std::vector<Bar> bars; Vec price; };
RandomMarket randomMarket() {
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    RandomMarket r;
    double p = 100;
    for (int day = 39814; day < 39814 + 6 * 365; ++day) { // from 1 January 2009
        if ((day + 2415021) % 7 < 2) continue;            // weekends
        const int perDay = 1 + static_cast<int>(u(rng) * 3);
        for (int k = 0; k < perDay; ++k) {
            p += (u(rng) - 0.5) * 2;
            const bool gap = u(rng) < 0.02;
            const double c = gap ? F : p;
            r.bars.push_back({day + (9.5 + k) / 24.0, c, gap ? F : p + u(rng), gap ? F : p - u(rng), c, u(rng) * 100});
            r.price.push_back(u(rng) < 0.03 ? F : p);
        }
    }
    return r;
}

// The seasonal mean of bar i by the definition, scanning every bar for each year.
double seasonalByDefinition(const std::vector<Bar>& bars, const Vec& price, int i, int years, bool percent) {
    using namespace calendar;
    auto day = [&](int j) { return static_cast<int32_t>(std::floor(bars[j].dateTime)); }; // all before the day end
    auto present = [&](int j) { return price[j] != F; };
    const Date date = DateFromDayNumber(day(i));
    double sum = 0;
    int used = 0;
    for (int k = 1; k <= years && date.year - k >= 101; ++k) {
        const int32_t y = date.year - k;
        const int32_t target = DayNumberFromDate(y, date.month, std::min(date.day, DaysInMonth(y, date.month)));
        const int32_t base = DayNumberFromDate(y, 1, 1) - 1;
        int jB = -1, jT = -1, after = -1;
        for (int j = 0; j < static_cast<int>(bars.size()); ++j) {
            if (!present(j)) continue;
            if (day(j) <= base) jB = j;
            if (day(j) <= target) jT = j;
        }
        for (int j = jB + 1; j < static_cast<int>(bars.size()) && after < 0; ++j)
            if (present(j)) after = j;
        if (jB < 0 || day(jB) < DayNumberFromDate(y - 1, 1, 1) || after < 0 || day(after) > DayNumberFromDate(y, 12, 31))
            continue;
        if (percent && !(price[jB] > 0)) continue;
        sum += percent ? 100 * (price[jT] - price[jB]) / price[jB] : price[jT] - price[jB];
        ++used;
    }
    return used ? sum / used : F;
}

// The seasonal path by its definition on every 7th bar; a look-back of a million years gives what
// a look-back over the data's whole span gives (it once walked every year back to year 101 on
// every bar, tens of seconds on a few thousand bars with dates out of order).
TEST_F(SeasonalTest, SeasonalFollowsItsDefinition) {
    const RandomMarket r = randomMarket();
    const int n = static_cast<int>(r.bars.size());
    for (bool percent : {false, true}) {
        const char* name = percent ? "SeasonalPct" : "Seasonal";
        const Vec got = valuesOf(name, {r.bars, r.price, 4.0});
        ASSERT_EQ(static_cast<int>(got.size()), n);
        for (int i = 0; i < n; i += 7) EXPECT_NEAR(got[i], seasonalByDefinition(r.bars, r.price, i, 4, percent), 1e-9) << i;
        EXPECT_EQ(valuesOf(name, {r.bars, r.price, 60.0}), valuesOf(name, {r.bars, r.price, 1e6})) << name;
    }
}

TEST_F(SeasonalTest, ChunkedHostCallsGiveTheSeriesOfOneCall) {
    const RandomMarket r = randomMarket();
    const std::pair<const char*, std::vector<Arg>> cases[] = {
        {"Seasonal", {r.bars, r.price, 3.0}},
        {"SeasonalDevDown", {r.bars, r.price, 2.0, 1.5, 1.0}},
        {"CycleAnalysis", {r.price, 20.0, 5.0, 15.0, 2.0}},
        {"CycleCalc", {r.price, 12.0, 2.0, 12.0, 3.0}},
        {"AvgOfSameBarTime", {r.bars, r.price, 3.0}},
        {"PartialDayData", {r.bars, 0.0}},
        {"PartialDayData", {r.bars, 7.0}},
    };
    for (const auto& [name, args] : cases)
        EXPECT_GT(presentCount(expectChunksMatchOneCall(name, args)), static_cast<long>(r.bars.size() / 2)) << name;
}

TEST_F(SeasonalTest, StatusCodes) {
    const Vec x = {1, 2, 3};
    expectStatuses({
        {"Seasonal", {'n', x, 1.0}, kTooFewBars},             {"SeasonalDevUp", {'n', x, 1.0, 1.0, 0.0}, kTooFewBars},
        {"AvgOfSameBarTime", {'n', x, 1.0}, kTooFewBars},     {"PartialDayData", {'n', 0.0}, kTooFewBars},
        {"CycleAnalysis", {'e', 8.0, 2.0, 8.0, 0.0}, kTooFewBars},
        {"SeasonalPct", {'m', x, 0.4}, kDomainError},         // years 0.4
        {"SeasonalDevUp", {'m', x, NAN, 1.0, 0.0}, kDomainError}, // years NaN
        {"CycleAnalysis", {x, 3.0, 2.0, 3.0, 0.0}, kDomainError}, // window 3
        {"CycleCalc", {x, 8.0, 1.0, 8.0, 0.0}, kDomainError},     // shortest 1
        {"CycleAnalysis", {x, 8.0, 5.0, 4.0, 0.0}, kDomainError}, // longest below shortest
        {"CycleCalc", {x, 8.0, 2.0, 9.0, 0.0}, kDomainError},     // longest past the window
        {"CycleAnalysis", {x, 8.0, 2.0, 8.0, 3.0}, kDomainError}, // selector 3
        {"CycleCalc", {x, 8.0, 2.0, 8.0, -1.6}, kDomainError},    // horizon -1.6
        {"AvgOfSameBarTime", {'m', x, 0.4}, kDomainError},        // sessions 0.4
        {"PartialDayData", {'m', 8.0}, kDomainError},             // selector 8
        {"PartialDayData", {'m', -1.0}, kDomainError},            // selector -1
    });
}

} // namespace
} // namespace fk
