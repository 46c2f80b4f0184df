#include "calendar/date.h"

#include <cmath>

#include "containers/buffer.h"
#include "containers/series.h"
#include "market/bar_record.h"

namespace fk::calendar {

namespace {

int32_t saturate(int64_t v) {
    return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v);
}

bool leapYear(int64_t y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

// Days from 30 December 1899 to the first of a month of any proleptic Gregorian year.
int64_t firstOfMonth(int64_t y, int64_t m) {
    y -= m <= 2;
    const int64_t era = floorDiv(y, 400);
    const int64_t yoe = y - era * 400;
    const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5;
    const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 693899;
}

void normalize(int64_t& y, int64_t& m) {
    const int64_t q = floorDiv(m - 1, 12);
    y += q;
    m -= q * 12;
}

} // namespace

Date civilDate(int32_t d) {
    const int64_t t = 4 * static_cast<int64_t>(d) + 2775599;
    if (t <= 0) return {};
    const int64_t c = t / 146097;
    const int64_t r = ((t - 146097 * c) / 4) * 4 + 3;
    const int64_t y = r / 1461;
    const int64_t u = ((r - 1461 * y) / 4) * 5 + 2;
    const int64_t m = u / 153;
    Date date;
    date.day = static_cast<int32_t>((u - 153 * m) / 5 + 1);
    date.month = static_cast<int32_t>(m < 10 ? m + 3 : m - 9);
    date.year = saturate(100 * c + y + (m + 1) / 11);
    return date;
}

namespace {

// Each conversion remembers its last argument and answer, one entry per thread.
struct DateKey {
    int32_t year, month, day;
    bool operator==(const DateKey&) const = default;
};
thread_local DateKey t_dayKey{INT32_MIN, 0, 0};
thread_local int32_t t_dayValue = 0;
thread_local int32_t t_dateKey = INT32_MIN;
thread_local Date t_dateValue;
thread_local int32_t t_easterKey = INT32_MIN;
thread_local int32_t t_easterValue = 0;

} // namespace

int32_t Date::yyyymmdd() const {
    return saturate((static_cast<int64_t>(year) * 100 + month) * 100 + day);
}

int32_t civilDayNumber(int32_t year, int32_t month, int32_t day) {
    return saturate(firstOfMonth(year, month) + day - 1);
}

int32_t DayNumberFromDate(int32_t year, int32_t month, int32_t day) {
    const DateKey key{year, month, day};
    if (key == t_dayKey) return t_dayValue;
    int64_t y = year, m = month, d = day;
    if (m == 0 && d == 0) {
        const Date split = SplitYyyymmdd(year);
        y = split.year;
        m = split.month;
        d = split.day;
    }
    normalize(y, m);
    int32_t result = 0;
    if (y >= 0) {
        if (y < kTwoDigitYearPivot) y += 2000;
        else if (y < 100) y += 1900;
        result = saturate(firstOfMonth(y, m) + d - 1);
    }
    t_dayKey = key;
    t_dayValue = result;
    return result;
}

Date DateFromDayNumber(int32_t dayNumber) {
    if (dayNumber != t_dateKey) {
        t_dateValue = civilDate(dayNumber);
        t_dateKey = dayNumber;
    }
    return t_dateValue;
}

Date SplitYyyymmdd(int32_t n) {
    Date d;
    d.year = n / 10000;
    d.month = (n / 100) % 100;
    if (d.month > 12) d.month = 12;
    d.day = n % 100;
    if (d.day > 28) {
        const int32_t length = DaysInMonth(d.year, d.month);
        if (d.day > length) d.day = length;
    }
    return d;
}

int32_t DaysInMonth(int32_t year, int32_t month) {
    static const int32_t days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12) return 0;
    return month == 2 && leapYear(year) ? 29 : days[month - 1];
}

void NormalizeMonth(int32_t& year, int32_t& month) {
    int64_t y = year, m = month;
    normalize(y, m);
    year = saturate(y);
    month = static_cast<int32_t>(m);
}


int WeekdayOf(int32_t year, int32_t month, int32_t day) { return WeekdayOf(DayNumberFromDate(year, month, day)); }


bool IsBusinessDay(int32_t year, int32_t month, int32_t day) {
    return IsBusinessDay(DayNumberFromDate(year, month, day));
}

int32_t EasterSunday(int32_t year) {
    if (year == t_easterKey) return t_easterValue;
    int32_t result = 0;
    if (year >= 1583) {
        const int64_t Y = year;
        const int64_t a = Y % 19, c = Y / 100;
        const int64_t k = (c + 8) / 25;
        const int64_t q = (c - k + 1) / 3;
        const int64_t e = (19 * a + c - c / 4 - q + 15) % 30;
        const int64_t y = Y % 100;
        const int64_t l = (32 + 2 * (c % 4) + 2 * (y / 4) - (y % 4) - e) % 7;
        const int64_t g = (a + 11 * e + 22 * l) / 451;
        const int64_t n = e + l - 7 * g + 114;
        result = civilDayNumber(year, static_cast<int32_t>(n / 31), static_cast<int32_t>(n % 31 + 1));
    }
    t_easterKey = year;
    t_easterValue = result;
    return result;
}

BarDateTime MakeDateTime(double date, int32_t month, int32_t day, double time, int32_t form, double seconds) {
    if (!(date == std::floor(date)) || !(date > -700000.0)) return kMissing;
    const int32_t whole = truncToInt32(date);
    int32_t dayNumber;
    if (date >= 18000000.0) dayNumber = DayNumberFromDate(whole, 0, 0);
    else if (month <= 0 && day <= 0) dayNumber = whole;
    else dayNumber = DayNumberFromDate(whole, month, day);

    double fraction = 0.0;
    if (time > 0.0 && time < 1.0) {
        fraction = time;
    } else if (!(time < 0.0)) {
        const int64_t t = truncToInt32(time);
        if (form < 0) {
            const int64_t clock = t / 10000 * 3600 + (t / 100) % 100 * 60 + t % 100;
            fraction = static_cast<double>(clock) / 86400.0;
        } else if (form == 1) {
            fraction = (static_cast<double>(t * 60) + seconds) / 86400.0;
        } else if (form == 2) {
            fraction = static_cast<double>(t) / 86400.0;
        } else if (form == 3) {
            fraction = static_cast<double>(t) / 86400000.0;
        } else {
            fraction = (static_cast<double>(t / 100 * 3600 + t % 100 * 60) + seconds) / 86400.0;
        }
    }
    return static_cast<double>(dayNumber) + fraction;
}

SessionBounds SessionBounds::of(const BarRecord& market) {
    return {market.sessionStart, market.sessionEnd, market.dayEnd == 0 ? 1440 : market.dayEnd,
            market.session2Start, market.session2End};
}

int32_t TradingDayNumber(const BarRecord& market, int32_t bar, bool sessionFlag) {
    return tradingDayOf(series::number(market.dateTime, bar), SessionBounds::of(market), sessionFlag);
}

} // namespace fk::calendar
