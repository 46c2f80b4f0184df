// The built-in exchange calendar against the holidays worked out here from the exchange's
// published rules, and every count of the trading calendar against a count made day by day.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "calendar/trading_calendar.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace std::chrono;

constexpr int32_t kUnixDay = 25569; // 1 January 1970

int32_t dayNumber(sys_days d) { return static_cast<int32_t>(d.time_since_epoch().count()) + kUnixDay; }
sys_days sysDay(int32_t n) { return sys_days{days{n - kUnixDay}}; }
int32_t dayNumber(int y, unsigned m, unsigned d) { return dayNumber(sys_days{year{y} / month{m} / day{d}}); }

// Easter Sunday by the anonymous Gregorian algorithm, so that the list owes nothing to the
// library's own computation.
sys_days easterSunday(int y) {
    const int a = y % 19, b = y / 100, c = y % 100, d = b / 4, e = b % 4;
    const int f = (b + 8) / 25, g = (b - f + 1) / 3, h = (19 * a + b - d - g + 15) % 30;
    const int i = c / 4, k = c % 4, l = (32 + 2 * e + 2 * i - h - k) % 7;
    const int m = (a + 11 * h + 22 * l) / 451;
    const int n = h + l - 7 * m + 114;
    return sys_days{year{y} / month{static_cast<unsigned>(n / 31)} / day{static_cast<unsigned>(n % 31 + 1)}};
}

// Saturday holidays are kept on the Friday before, Sunday holidays on the Monday after.
sys_days observedOn(sys_days d) {
    const weekday w{d};
    return w == Saturday ? d - days{1} : w == Sunday ? d + days{1} : d;
}

// Closings for national mourning and emergencies since 1998.
const int32_t kSpecialClosings[][3] = {
    {2001, 9, 11}, {2001, 9, 12}, {2001, 9, 13}, {2001, 9, 14}, {2004, 6, 11},
    {2007, 1, 2}, {2012, 10, 29}, {2012, 10, 30}, {2018, 12, 5}, {2025, 1, 9},
};

// The exchange's full-day holidays of a year under its rules since 1998 (for 1996 and 1997
// the same, without Martin Luther King Jr. Day).
std::set<int32_t> exchangeHolidays(int y) {
    std::set<int32_t> h;
    const sys_days newYear = year{y} / January / 1;
    if (weekday{newYear} == Sunday) h.insert(dayNumber(newYear + days{1}));
    else if (weekday{newYear} != Saturday) h.insert(dayNumber(newYear));
    if (y >= 1998) h.insert(dayNumber(year{y} / January / Monday[3]));
    h.insert(dayNumber(year{y} / February / Monday[3]));
    h.insert(dayNumber(easterSunday(y) - days{2})); // Good Friday
    h.insert(dayNumber(year{y} / May / Monday[last]));
    if (y >= 2022) h.insert(dayNumber(observedOn(year{y} / June / 19)));
    h.insert(dayNumber(observedOn(year{y} / July / 4)));
    h.insert(dayNumber(year{y} / September / Monday[1]));
    h.insert(dayNumber(year{y} / November / Thursday[4]));
    h.insert(dayNumber(observedOn(year{y} / December / 25)));
    for (const auto& c : kSpecialClosings)
        if (c[0] == y) h.insert(dayNumber(c[0], c[1], c[2]));
    return h;
}

std::vector<int32_t> builtIn(int y) {
    const calendar::YearHolidays h = calendar::builtInHolidays(y);
    return std::vector<int32_t>(h.days, h.days + h.count);
}

TEST(BuiltInCalendar, FollowsThePublishedRules) {
    for (int y = 1996; y <= 2040; ++y) {
        const std::set<int32_t> expected = exchangeHolidays(y);
        EXPECT_EQ(builtIn(y), std::vector<int32_t>(expected.begin(), expected.end())) << y;
    }
}

// Rules of the years before the list above reaches.
TEST(BuiltInCalendar, RulesOfEarlierYears) {
    const auto isHoliday = [](int32_t date) {
        const std::vector<int32_t> days = builtIn(date / 10000);
        return std::count(days.begin(), days.end(), dayNumber(date / 10000, date / 100 % 100, date % 100)) == 1;
    };
    // Washington's Birthday on 22 February (here a Sunday) and 30 May (a Saturday) to 1970,
    // Election Day to 1968 and then in presidential years to 1980, one-off closings
    for (int32_t date : {19700223, 19700529, 19681105, 19721107, 19801104, 19721228, 19850927})
        EXPECT_TRUE(isHoliday(date)) << date;
    for (int32_t date : {19700216, 19711115, 19701103, 19841106}) EXPECT_FALSE(isHoliday(date)) << date;
    // Easter is reckoned from 1583 on: before, March and April have no holiday
    const auto springHolidays = [](int y) {
        const std::vector<int32_t> days = builtIn(y);
        return std::count_if(days.begin(), days.end(), [y](int32_t d) {
            return d >= dayNumber(y, 3, 1) && d <= dayNumber(y, 4, 30);
        });
    };
    EXPECT_EQ(springHolidays(1582), 0);
    EXPECT_EQ(springHolidays(1583), 1);
}

// One bar a day at midnight, Saturdays and Sundays included, from `first` to `last`.
std::vector<host::Bar> everyDay(int32_t first, int32_t last) {
    std::vector<host::Bar> bars;
    for (int32_t d = first; d <= last; ++d) bars.push_back({static_cast<double>(d), 1, 1, 1, 1, 1});
    return bars;
}

class TradingCountsTest : public testing::HeapChecked {};

// Every count of every day from December 1997 to January 2036, made here day by day from the
// holidays above.
TEST_F(TradingCountsTest, EveryDayOfThirtyEightYears) {
    const int32_t first = dayNumber(1997, 12, 1), last = dayNumber(2036, 1, 31);
    std::set<int32_t> holidays;
    for (int y = 1996; y <= 2037; ++y) holidays.merge(exchangeHolidays(y));
    const auto isWeekday = [](int32_t d) { return weekday{sysDay(d)}.iso_encoding() <= 5; };
    const auto trades = [&](int32_t d) { return isWeekday(d) && !holidays.count(d); };
    const auto tradingDays = [&](int32_t a, int32_t b) {
        double n = 0;
        for (int32_t d = a; d <= b; ++d) n += trades(d);
        return n;
    };

    std::vector<double> week, month, inYear, left, after, before, weekdays;
    for (int32_t d = first; d <= last; ++d) {
        const year_month_day ymd{sysDay(d)};
        const int32_t monthFirst = dayNumber(sys_days{ymd.year() / ymd.month() / 1});
        const int32_t monthLast = dayNumber(sys_days{ymd.year() / ymd.month() / last_spec{}});
        double w = 0;
        for (int32_t x = monthFirst; x <= d; ++x) w += isWeekday(x);
        weekdays.push_back(isWeekday(d) ? w : 0);
        if (!trades(d)) {
            for (auto* v : {&week, &month, &inYear, &left, &after, &before}) v->push_back(0);
            continue;
        }
        const int32_t monday = d - static_cast<int32_t>(weekday{sysDay(d)}.iso_encoding()) + 1;
        week.push_back(tradingDays(monday, d));
        month.push_back(tradingDays(monthFirst, d));
        inYear.push_back(tradingDays(dayNumber(sys_days{ymd.year() / January / 1}), d));
        left.push_back(tradingDays(d + 1, monthLast));
        const auto next = holidays.upper_bound(d);
        after.push_back(tradingDays(*std::prev(next) + 1, d));
        before.push_back(tradingDays(d + 1, *next - 1));
    }

    host::Market m(everyDay(first, last));
    m.session(570, 960, 960);
    const std::pair<const char*, const std::vector<double>*> counts[] = {
        {"TradingDayOfWeek", &week},       {"TradingDayOfMonth", &month},     {"TradingDayOfYear", &inYear},
        {"RemainTDaysOfMonth", &left},     {"TDaysAfterHoliday", &after},     {"RemainTDaysToHoliday", &before},
        {"WeekDayOfMonth", &weekdays}};
    for (const auto& [name, want] : counts) EXPECT_EQ(testing::valuesOf(name, {&m}), *want) << name;
}

} // namespace
} // namespace fk
