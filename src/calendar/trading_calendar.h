// The exchange calendar of a market's bars: which weekdays are holidays (from the host's list
// or the built-in New York stock exchange calendar), the ordinal of a bar's trading day in its
// week, month and year, the trading days left to the month's end or to the next holiday, and
// the bars left in a bar's trading day.
#pragma once
#include <cstdint>

#include "containers/buffer.h"

namespace fk {
struct BarRecord;
}

namespace fk::calendar {

// Holidays of the built-in calendar in one year, as day numbers in ascending order.
inline constexpr int kMaxHolidaysPerYear = 16;
struct YearHolidays {
    int32_t days[kMaxHolidaysPerYear];
    int count = 0;
};
YearHolidays builtInHolidays(int32_t year);

// Monday-to-Friday days x with a <= x <= b (0 when b < a).
int64_t businessDays(int32_t a, int32_t b);

enum class TradingCount : uint8_t {
    DayOfWeek,      // 1 on the first trading day of the calendar week
    DayOfMonth,     // 1 on the first trading day of the month
    DayOfYear,      // 1 on the first trading day of the year
    LeftInMonth,    // trading days still to come in the month
    AfterHoliday,   // 1 on the first trading day after a holiday
    ToHoliday,      // 0 on the last trading day before a holiday
    WeekdayOfMonth, // ordinal among the month's Monday-to-Friday days, holidays counted
};

// Bars `start` .. last: the count for each bar's trading day. A bar without a time stamp gets
// the fill value; a weekend bar, a bar outside the sessions and a holiday get 0 (a holiday
// keeps its weekday ordinal in WeekdayOfMonth); AfterHoliday and ToHoliday give the fill value
// when the calendar has no holiday before (after) the day.
void writeTradingCount(const BarRecord& market, SeriesHandle& out, int32_t start, TradingCount what);

// Bars `start` .. last: how many bars of the same trading day come after each bar. Minute bars
// count from the session schedule, daily and longer bars give 0, and every other period counts
// the bars that follow (such a call first steps back to the first bar of the start bar's
// trading day, so that a day that gains bars is rewritten whole).
void writeRemainingBarsInDay(const BarRecord& market, SeriesHandle& out, int32_t start);

} // namespace fk::calendar
