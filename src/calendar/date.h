// Calendar arithmetic of bar date-times: day numbers, calendar dates, clock times, Easter and
// the trading day a bar belongs to. The trading calendar, the seasonal functions and the time
// zones are built on these.
//
// A day number counts whole days from 30 December 1899 (day 0; day 25569 is 1 January 1970);
// a BarDateTime adds the time of day as a fraction (0.5 is noon).
#pragma once
#include <cmath>
#include <cstdint>

namespace fk {
struct BarRecord;
}

namespace fk::calendar {

using BarDateTime = double;

// Years below the pivot are read as 20xx, years from it to 99 as 19xx.
inline constexpr int32_t kTwoDigitYearPivot = 15;
// Day number of 1 January of year 1: dates before it have no day, month or year.
inline constexpr int32_t kFirstDayOfYearOne = -693593;
inline constexpr int32_t kMillisPerDay = 86400000;

struct Date {
    int32_t year = 0;
    int32_t month = 0;
    int32_t day = 0;

    // year x 10000 + month x 100 + day, held to the 32-bit range
    int32_t yyyymmdd() const;
    bool operator==(const Date&) const = default;
};

// Division rounded towards minus infinity.
inline int64_t floorDiv(int64_t a, int64_t b) {
    const int64_t q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

// floor without a library call for the values of dates (exact below 2^52 in magnitude).
inline double floorOf(double v) {
    if (!(std::fabs(v) < 4503599627370496.0)) return std::floor(v);
    const double t = static_cast<double>(static_cast<int64_t>(v));
    return t > v ? t - 1.0 : t;
}

// Conversions of a double to a 32-bit integer without undefined behaviour: values beyond the
// range are held at its ends and NaN becomes 0. Inline, as the per-bar date functions call
// them on every bar.
inline int32_t truncToInt32(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return INT32_MAX;
    if (v <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(v);
}
inline int32_t floorToInt32(double v) { return truncToInt32(floorOf(v)); }

// Day number of a proleptic Gregorian date taken as given: no two-digit years, month 1..12,
// a day beyond the month's end running on into the next month.
int32_t civilDayNumber(int32_t year, int32_t month, int32_t day);

// Day number of year, month, day; with month and day both 0 the year is a YYYYMMDD integer.
// The month is carried into the year, two-digit years follow the pivot, a negative year gives 0.
int32_t DayNumberFromDate(int32_t year, int32_t month, int32_t day);
// The date of a day number; all zero for days too early to convert.
Date DateFromDayNumber(int32_t dayNumber);
// The same without the cache: for loops that keep their own last day.
Date civilDate(int32_t dayNumber);
// A YYYYMMDD integer split, the month held to at most 12 and the day to the month's length.
Date SplitYyyymmdd(int32_t yyyymmdd);
// 28..31; 0 for a month outside 1..12.
int32_t DaysInMonth(int32_t year, int32_t month);
// The month brought into 1..12, whole years carried into the year.
void NormalizeMonth(int32_t& year, int32_t& month);
// (d + 2) mod 7 for every 32-bit day, in 32-bit unsigned arithmetic: the day moved up by 2^31
// (which leaves 2 over 7) is never negative, and one unsigned division by 7 is a multiplication.
inline uint32_t dayPlusTwoMod7(int32_t d) { return (static_cast<uint32_t>(d) ^ 0x80000000u) % 7u; }
// 0 Sunday .. 6 Saturday (day 0 was a Saturday).
inline int WeekdayOf(int32_t dayNumber) {
    const uint32_t r = dayPlusTwoMod7(dayNumber);
    return static_cast<int>(r >= 3 ? r - 3 : r + 4);
}
int WeekdayOf(int32_t year, int32_t month, int32_t day);
// Monday to Friday.
inline bool IsBusinessDay(int32_t dayNumber) { return dayPlusTwoMod7(dayNumber) - 2u >= 2u; } // not 6 or 0
bool IsBusinessDay(int32_t year, int32_t month, int32_t day);
// Day number of Easter Sunday (Gregorian computus); 0 for years before 1583.
int32_t EasterSunday(int32_t year);
// Milliseconds since midnight, rounded to the nearest millisecond.
inline int32_t MillisOfDay(BarDateTime v) {
    const double fraction = v - floorOf(v);
    if (!(fraction == fraction)) return 0;
    // the product is at least 0, so truncation is its floor
    return static_cast<int32_t>(fraction * 86400000.0 + 0.5);
}

// A date-time from the six numbers of DateToJulian: a YYYYMMDD date (18,000,000 and above), a day
// number (month and day both 0 or below) or a year with month and day; the time a fraction of a
// day (between 0 and 1) or a clock reading in the given form:
//   negative HHMMSS, 0 (and above 3) HHMM plus seconds, 1 minutes plus seconds,
//   2 seconds, 3 milliseconds after midnight.
// A date that is not a whole number above -700,000 gives -999999.
BarDateTime MakeDateTime(double date, int32_t month, int32_t day, double time, int32_t form, double seconds);

// The session minutes of a market (minutes after midnight) that decide a bar's trading day.
struct SessionBounds {
    int32_t start;    // S: session start
    int32_t innerEnd; // P: inner session end
    int32_t dayEnd;   // E: day end, 1440 where the market says 0
    int32_t start2;   // S2: second session start
    int32_t end2;     // P2: second session end

    static SessionBounds of(const BarRecord& market);
};

// The trading day of a bar stamped v: a bar at or after the day end belongs to the next day.
// With the session flag, weekend days and bars outside the sessions give 0.
// Whether a bar at minute m of a business day lies within the sessions (has a trading day).
inline bool inSessions(int32_t m, const SessionBounds& s) {
    if (s.start2 <= 0 && s.end2 <= 0) return true;
    if (s.innerEnd != s.end2 && s.innerEnd < m && m < s.dayEnd) return false;
    if (s.start == s.start2) return true;
    if (s.start <= s.dayEnd) return m >= s.start && m < s.dayEnd;
    return !(s.dayEnd <= m && m < s.start);
}
// The day a bar stamped v at minute m of its day belongs to: the next one from the day end on.
inline int32_t dayOfMinute(BarDateTime v, int32_t m, const SessionBounds& s) {
    return floorToInt32(m >= s.dayEnd ? v + 1.0 : v);
}
[[gnu::always_inline]] inline int32_t tradingDayOf(BarDateTime v, const SessionBounds& s, bool sessionFlag) {
    const int32_t m = MillisOfDay(v) / 60000;
    const int32_t day = dayOfMinute(v, m, s);
    if (!sessionFlag) return day;
    return IsBusinessDay(day) && inSessions(m, s) ? day : 0;
}
// Period words from here on are daily or longer.
inline constexpr uint32_t kDailyPeriodWords = 0x11000000u;

// The trading day (with the session flag) of each stamp on its own.
struct EachStamp {
    SessionBounds s;
    int32_t of(BarDateTime v) const { return tradingDayOf(v, s, true); }
};

// The trading days (with the session flag) of stamps read in order. A stamp a whole number of
// days (1 to 7) after the last one, whose minute came before the day end, has the same minute
// and a day that many days later: found without a floor, a clock reading or a division.
class TradingDays {
public:
    explicit TradingDays(const SessionBounds& s) : s_(s) {}

    int32_t of(BarDateTime v) {
        // exact: from day 8 on, two stamps at most 7 days apart are within a factor of 2
        const double k = v - last_;
        if (last_ >= 8.0 && k >= 1.0 && k <= 7.0 && k == static_cast<double>(static_cast<int32_t>(k)) &&
            m_ < s_.dayEnd && day_ <= INT32_MAX - 7) {
            const int32_t days = static_cast<int32_t>(k);
            day_ += days;
            r_ += static_cast<uint32_t>(days);
            r_ -= r_ >= 7 ? 7 : 0;
        } else {
            m_ = MillisOfDay(v) / 60000;
            day_ = dayOfMinute(v, m_, s_);
            r_ = dayPlusTwoMod7(day_);
        }
        last_ = v;
        return r_ - 2u >= 2u && inSessions(m_, s_) ? day_ : 0;
    }

private:
    SessionBounds s_;
    double last_ = 0.0; // the last stamp (below 8 until one is read: no stamp follows it)
    int32_t m_ = 0, day_ = 0;
    uint32_t r_ = 0; // (day + 2) mod 7
};
// Calls f with what finds the trading days of a market's stamps read in order: TradingDays for
// bars of a day or longer (period word `word`), EachStamp for shorter ones.
template <class F>
void withTradingDays(int32_t word, const SessionBounds& s, F&& f) {
    if (static_cast<uint32_t>(word) >= kDailyPeriodWords) f(TradingDays(s));
    else f(EachStamp{s});
}
// The same for bar `bar` of a market, read through its date-time series.
int32_t TradingDayNumber(const BarRecord& market, int32_t bar, bool sessionFlag);

} // namespace fk::calendar
