// Day numbers, calendar dates, Easter, clock times, date construction and the trading day of a bar.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

#include "calendar/date.h"
#include "containers/buffer.h"

namespace fk::calendar {
namespace {

namespace chr = std::chrono;

// Day number of a date by the standard library: days from 30 December 1899.
int32_t chronoDay(int y, unsigned m, unsigned d) {
    const chr::sys_days day{chr::year{y} / chr::month{m} / chr::day{d}};
    const chr::sys_days epoch{chr::year{1899} / chr::December / chr::day{30}};
    return static_cast<int32_t>((day - epoch).count());
}

TEST(DateTest, EveryDayOfYears1To9999AgreesWithTheStandardCalendar) {
    const chr::sys_days epoch{chr::year{1899} / chr::December / chr::day{30}};
    const chr::sys_days first{chr::year{1} / chr::January / chr::day{1}};
    const chr::sys_days last{chr::year{9999} / chr::December / chr::day{31}};
    ASSERT_EQ((first - epoch).count(), kFirstDayOfYearOne);
    int failures = 0;
    for (chr::sys_days day = first; day <= last && failures < 10; day += chr::days{1}) {
        const int32_t n = static_cast<int32_t>((day - epoch).count());
        const chr::year_month_day ymd{day};
        const int y = static_cast<int>(ymd.year());
        const int m = static_cast<int>(static_cast<unsigned>(ymd.month()));
        const int d = static_cast<int>(static_cast<unsigned>(ymd.day()));
        const Date got = DateFromDayNumber(n);
        // two-digit years follow the pivot, so years below 100 come back from 19xx or 20xx
        const int readAs = y >= 100 ? y : y < kTwoDigitYearPivot ? 2000 + y : 1900 + y;
        const bool ok = got == Date{y, m, d} && civilDayNumber(y, m, d) == n &&
                        DayNumberFromDate(y, m, d) == chronoDay(readAs, m, d) &&
                        WeekdayOf(n) == static_cast<int>(chr::weekday{day}.c_encoding()) &&
                        IsBusinessDay(n) == (WeekdayOf(n) >= 1 && WeekdayOf(n) <= 5) &&
                        (d != 1 || DaysInMonth(y, m) == static_cast<int>(static_cast<unsigned>(
                                                            (ymd.year() / ymd.month() / chr::last).day())));
        if (!ok) {
            ++failures;
            ADD_FAILURE() << "day " << n << " = " << y << "-" << m << "-" << d << " read as " << got.year << "-"
                          << got.month << "-" << got.day;
        }
    }
}

TEST(DateTest, SplittingAndNormalising) {
    const std::pair<int32_t, Date> splits[] = {
        {20140231, {2014, 2, 28}}, {20000231, {2000, 2, 29}}, {19000229, {1900, 2, 28}},
        {20141399, {2014, 12, 31}}, {20140400, {2014, 4, 0}}, {140231, {14, 2, 28}},
    };
    for (const auto& [n, want] : splits) EXPECT_EQ(SplitYyyymmdd(n), want) << n;

    const struct { int32_t y, m, wantY, wantM; } months[] = {
        {2014, 13, 2015, 1}, {2014, 24, 2015, 12}, {2014, 25, 2016, 1},
        {2014, 0, 2013, 12}, {2014, -11, 2013, 1}, {2014, -12, 2012, 12},
    };
    for (const auto& c : months) {
        int32_t y = c.y, m = c.m;
        NormalizeMonth(y, m);
        EXPECT_EQ(std::pair(y, m), std::pair(c.wantY, c.wantM)) << c.y << "/" << c.m;
    }

    for (int32_t m : {0, 13}) EXPECT_EQ(DaysInMonth(2014, m), 0);
    EXPECT_EQ(WeekdayOf(2014, 3, 15), 6);
    EXPECT_FALSE(IsBusinessDay(2014, 3, 16));
    EXPECT_TRUE(IsBusinessDay(2014, 3, 17));
}

// Easter by Oudin's method, a computation independent of the one under test.
int32_t oudinEaster(int32_t y) {
    const int32_t c = y / 100, n = y - 19 * (y / 19), k = (c - 17) / 25;
    int32_t i = c - c / 4 - (c - k) / 3 + 19 * n + 15;
    i = i - 30 * (i / 30);
    i = i - (i / 28) * (1 - (i / 28) * (29 / (i + 1)) * ((21 - n) / 11));
    int32_t j = y + y / 4 + i + 2 - c + c / 4;
    j = j - 7 * (j / 7);
    const int32_t l = i - j;
    const int32_t month = 3 + (l + 40) / 44;
    const int32_t day = l + 28 - 31 * (month / 4);
    return chronoDay(y, static_cast<unsigned>(month), static_cast<unsigned>(day));
}

TEST(DateTest, EasterSunday) {
    EXPECT_EQ(EasterSunday(1582), 0);
    EXPECT_EQ(EasterSunday(14), 0);
    for (int32_t y = 1583; y <= 9999; ++y) {
        ASSERT_EQ(EasterSunday(y), oudinEaster(y)) << y;
        ASSERT_EQ(WeekdayOf(EasterSunday(y)), 0) << y;
    }
}

TEST(DateTest, MillisecondsOfTheDay) {
    const std::pair<double, int32_t> cases[] = {
        {41713.0, 0}, {0.5, 43200000}, {41713 + 55845 / 86400.0, 55845000}, {NAN, 0}, {INFINITY, 0},
        {41713.6458333333, 55800000}, // 15:30 stored to ten places
        {-0.25, 64800000},            // the fraction counts from the day's start
        {41713.9999999999, 86400000}, // rounds up to the end of the day
    };
    for (const auto& [v, ms] : cases) EXPECT_EQ(MillisOfDay(v), ms) << v;
}

TEST(DateTest, MakeDateTime) {
    const struct { double date; int32_t month, day; double time; int32_t form; double seconds, want; } cases[] = {
        {20140315, 0, 0, 1530, 0, 0, 41713 + 55800 / 86400.0},
        {20140315, 5, 9, 1530, 0, 0, 41713 + 55800 / 86400.0}, // YYYYMMDD ignores month and day
        {2014, 3, 15, 153045, -1, 7, 41713 + 55845 / 86400.0},
        {41713, 0, 0, 930, 1, 0, 41713 + 55800 / 86400.0},
        {41713, -1, -1, 930, 1, 15, 41713 + 55815 / 86400.0},
        {41713, 0, 0, 55845, 2, 9, 41713 + 55845 / 86400.0},
        {41713, 0, 0, 55845500, 3, 9, 41713 + 55845500 / 86400000.0},
        {41713, 0, 0, 1530, 7, 0, 41713 + 55800 / 86400.0},   // forms above 3 read HHMM
        {14, 3, 15, 0, 0, 0, 41713},
        {15, 3, 15, 0, 0, 0, 5553},
        {2014, 2, 0, 0, 0, 0, 41670},
        {0, 0, 0, 0.25, -1, 0, 0.25}, // a fraction whatever the form
        {20140315, 0, 0, 1530, 0, 30, 41713 + 55830 / 86400.0},
        {20140315, 0, 0, 2500, 0, 0, 41713 + 90000 / 86400.0}, // no range check on the clock
        {20140315, 0, 0, -5, 0, 30, 41713},                     // a negative time is no time
        {2014.5, 3, 15, 0, 0, 0, kMissing},
        {-700000, 0, 0, 0, 0, 0, kMissing},
        {NAN, 0, 0, 0, 0, 0, kMissing},
        {1e12, 0, 0, 0, 0, 0, static_cast<double>(DayNumberFromDate(INT32_MAX, 0, 0))},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.date << " " << c.month << " " << c.day << " " << c.time << " form "
                                        << c.form);
        EXPECT_DOUBLE_EQ(MakeDateTime(c.date, c.month, c.day, c.time, c.form, c.seconds), c.want);
    }
}

// The rows the bar-field and trading-calendar tests do not reach: the flag that skips the session
// test, a weekend morning, a session that wraps past midnight and a bar exactly at the day end.
TEST(DateTest, TradingDayOfABar) {
    const int32_t sunday = DayNumberFromDate(2014, 3, 16), monday = sunday + 1, friday = sunday - 2;
    const double at1800 = 18 / 24.0, at1000 = 10 / 24.0;
    const SessionBounds dayEnd1700{570, 960, 1020, 0, 0};
    const SessionBounds evening{1080, 960, 1020, 480, 960}; // starts 18:00, ends 17:00 next day
    const struct { const char* name; SessionBounds s; double v; bool flag; int32_t want; } cases[] = {
        {"Friday evening without the session test", dayEnd1700, friday + at1800, false, friday + 1},
        {"Sunday morning is a weekend bar", dayEnd1700, sunday + at1000, true, 0},
        {"wrapping session, evening part", evening, sunday + at1800, true, monday},
        {"wrapping session, gap before its start", evening, monday + 17.5 / 24, true, 0},
        {"wrapping session, inside", evening, monday + at1000, true, monday},
        {"exactly at the day end", dayEnd1700, monday + 17 / 24.0, true, monday + 1},
    };
    for (const auto& c : cases) EXPECT_EQ(tradingDayOf(c.v, c.s, c.flag), c.want) << c.name;
}

// Stamps read in order, most a whole number of days after the one before, give the same trading
// days through the cursor as one by one: across weekends, day ends, the sessions above, the
// first days of the count and both ends of the 32-bit day range.
TEST(DateTest, TradingDaysOfStampsInOrderAgreeWithEachStamp) {
    const SessionBounds sessions[] = {{570, 960, 1020, 0, 0}, {1080, 960, 1020, 480, 960}, {570, 960, 1440, 0, 0}};
    const double firsts[] = {-700000.25, -3.5, 2.75, 41640.0, 41640.99999, 2147483647.0 - 400, 2147483647.0 + 3};
    uint64_t seed = 99;
    const auto next = [&seed](int below) {
        seed = seed * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<int>((seed >> 33) % static_cast<uint64_t>(below));
    };
    for (const SessionBounds& s : sessions)
        for (const double first : firsts) {
            TradingDays days(s);
            double v = first;
            for (int i = 0; i < 500; ++i) {
                ASSERT_EQ(days.of(v), tradingDayOf(v, s, true)) << "stamp " << v << " after " << i << " steps";
                // mostly whole days (up to 9), sometimes a new clock time
                v += next(10) < 8 ? 1 + next(9) : next(1440) / 1440.0;
            }
        }
    // two stamps whose difference rounds to whole days but whose clocks differ (a day end one
    // minute after midnight), and a stamp a hair before a day end whose next day rounds up past
    // the one after it
    const SessionBounds oneMinute{0, 0, 1, 0, 0};
    for (const auto& [first, step] : {std::pair{0.0006944386574074006, 3.0}, {std::nextafter(1048569.0, 0.0), 1.0}}) {
        TradingDays days(oneMinute);
        for (double v = first; v < first + 10; v += step)
            EXPECT_EQ(days.of(v), tradingDayOf(v, oneMinute, true)) << "stamp " << v;
    }
    // the weekday at both ends of the day range
    for (const int32_t d : {INT32_MIN, INT32_MIN + 1, INT32_MAX - 1, INT32_MAX})
        EXPECT_EQ(WeekdayOf(d), ((int64_t{d} + 2415020) % 7 + 7) % 7) << d;
}

} // namespace
} // namespace fk::calendar
