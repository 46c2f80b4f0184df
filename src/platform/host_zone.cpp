#include "platform/host_zone.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <time.h>
#endif

namespace fk::platform {

namespace {

bool leapYear(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

int daysInMonth(int y, int m) {
    static const int days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return m == 2 && leapYear(y) ? 29 : days[(m - 1) % 12];
}

// The occurrence of the day's weekday in its month, the last one reported as 5.
int weekOfMonth(int y, int m, int mday) {
    return mday + 7 > daysInMonth(y, m) ? 5 : (mday - 1) / 7 + 1;
}

} // namespace

#ifdef _WIN32

namespace {

int weekdayOfDate(int y, int m, int d) {
    static const int t[12] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
    if (m < 3) y -= 1;
    return (y + y / 4 - y / 100 + y / 400 + t[m - 1] + d) % 7;
}

ZoneTransition transitionOf(const SYSTEMTIME& s) {
    ZoneTransition t;
    t.month = s.wMonth;
    t.hour = s.wHour;
    t.minute = s.wMinute;
    if (s.wYear == 0) {
        // the usual form: week of the month (5 = last) and weekday
        t.week = s.wDay;
        t.weekday = s.wDayOfWeek;
    } else if (s.wMonth >= 1 && s.wMonth <= 12 && s.wDay >= 1) {
        // a fixed date of one year, read as the same weekday of the month every year
        t.week = weekOfMonth(s.wYear, s.wMonth, s.wDay);
        t.weekday = weekdayOfDate(s.wYear, s.wMonth, s.wDay);
    }
    return t;
}

} // namespace

bool readHostZone(HostZone& zone) {
    zone = HostZone{};
    TIME_ZONE_INFORMATION tzi{};
    if (GetTimeZoneInformation(&tzi) == TIME_ZONE_ID_INVALID) return false;
    zone.bias = tzi.Bias;
    zone.standardBias = tzi.StandardBias;
    zone.daylightBias = tzi.DaylightBias;
    zone.hasDaylight = tzi.StandardDate.wMonth != 0 && tzi.DaylightDate.wMonth != 0;
    if (zone.hasDaylight) {
        zone.daylightStart = transitionOf(tzi.DaylightDate);
        zone.standardStart = transitionOf(tzi.StandardDate);
    }
    return true;
}

#else

namespace {

struct Offset {
    long seconds; // east of UTC
    bool daylight;
    bool operator==(const Offset&) const = default;
};

Offset offsetAt(time_t t) {
    tm local{};
    if (!localtime_r(&t, &local)) return {0, false};
    return {local.tm_gmtoff, local.tm_isdst > 0};
}

// The change at UTC second `t` as the clock read before it shows it (02:00 when a clock that
// showed 01:59:59 jumps), under the offset `before`.
ZoneTransition transitionAt(time_t t, long before) {
    const time_t local = t + before;
    tm c{};
    gmtime_r(&local, &c);
    ZoneTransition z;
    z.month = c.tm_mon + 1;
    z.week = weekOfMonth(c.tm_year + 1900, c.tm_mon + 1, c.tm_mday);
    z.weekday = c.tm_wday;
    z.hour = c.tm_hour;
    z.minute = c.tm_min;
    return z;
}

} // namespace

// The system zone (TZ, else /etc/localtime) probed through the C library: the offsets of the
// current year are followed day by day and each change is pinned to its second.
bool readHostZone(HostZone& zone) {
    zone = HostZone{};
    tzset();
    const time_t now = time(nullptr);
    tm today{};
    if (!localtime_r(&now, &today)) return false;
    tm jan{};
    jan.tm_year = today.tm_year;
    jan.tm_mday = 1;
    const time_t first = timegm(&jan);
    tm nextJan = jan;
    nextJan.tm_year += 1;
    const time_t last = timegm(&nextJan);

    bool haveStart = false, haveEnd = false;
    long standard = offsetAt(now).seconds, daylight = standard;
    time_t prevT = first;
    Offset prev = offsetAt(first);
    for (time_t t = first + 86400; prevT < last; t += 86400) {
        if (t > last) t = last;
        const Offset o = offsetAt(t);
        if (o != prev) {
            time_t lo = prevT, hi = t;
            while (hi - lo > 1) {
                const time_t mid = lo + (hi - lo) / 2;
                if (offsetAt(mid) == prev) lo = mid;
                else hi = mid;
            }
            const Offset after = offsetAt(hi);
            if (!prev.daylight && after.daylight && !haveStart) {
                haveStart = true;
                standard = prev.seconds;
                daylight = after.seconds;
                zone.daylightStart = transitionAt(hi, prev.seconds);
            } else if (prev.daylight && !after.daylight && !haveEnd) {
                haveEnd = true;
                zone.standardStart = transitionAt(hi, prev.seconds);
            }
            prev = after;
        }
        prevT = t;
    }
    zone.hasDaylight = haveStart && haveEnd;
    if (!zone.hasDaylight) {
        zone.daylightStart = zone.standardStart = ZoneTransition{};
        daylight = standard;
    }
    zone.bias = static_cast<int>(-standard / 60);
    zone.daylightBias = static_cast<int>(-(daylight - standard) / 60);
    return true;
}

#endif

} // namespace fk::platform
