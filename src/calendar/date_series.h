// Date and time series of bars and of date-time values: the day, month, year, weekday,
// day of the year and clock fields, and the length of each bar in seconds.
#pragma once
#include <cstdint>

#include "containers/buffer.h"

namespace fk {
struct BarRecord;
}

namespace fk::calendar {

enum class DatePart : uint8_t {
    Stamp,     // the date-time as stored
    Day,       // 1..31
    Month,     // 1..12
    Year,      // four digits
    Weekday,   // 0 Sunday .. 6 Saturday
    DayInYear, // 1..366
    Hour,      // 0..23
    Minute,    // minute of the hour
    Second,    // second of the minute
};

// Bars `start` .. last of the market: the date parts of each bar's trading day (session rules
// applied), the clock parts of its own time stamp. A bar without a time stamp gets the fill value.
void writeBarDates(const BarRecord& market, SeriesHandle& out, int32_t start, DatePart part);

// Every element of a series of date-time values: the date parts of its whole day number, the
// clock parts of its time of day. A single constant gives a single constant of the same length.
void writeDatesOf(const SeriesHandle& values, SeriesHandle& out, DatePart part);

// Bars `start` .. last: the bar's length in seconds, from its period and, where the period does
// not fix it, from the time since the bar before (or since the session start).
void writeSecondsInBar(const BarRecord& market, SeriesHandle& out, int32_t start);

} // namespace fk::calendar
