// The bar-based date exports, the "Of" exports of date-time values, SecondsInBar and DateToJulian.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calendar/date.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;
using calendar::DayNumberFromDate;

double at(int32_t y, int32_t m, int32_t d, int32_t hh = 0, int32_t mm = 0, int32_t ss = 0) {
    return DayNumberFromDate(y, m, d) + (hh * 3600 + mm * 60 + ss) / 86400.0;
}

Vec run(const char* name, Market& m) { return valuesOf(name, {&m}); }

class DateSeriesTest : public HeapChecked {};

TEST_F(DateSeriesTest, BarFieldsUseTheTradingDayAndTheOwnClock) {
    // day end 17:00, no second session: a Sunday 18:00 bar trades on Monday
    const double sunday1800 = at(2014, 3, 16, 18, 0), friday1800 = at(2014, 3, 14, 18, 0);
    const double leapLast = at(2012, 12, 31, 9, 45, 30);
    Market m(barsAt({sunday1800, friday1800, leapLast, F}));
    m.session(570, 960, 1020);
    const std::pair<const char*, Vec> cases[] = {
        {"DateTime", {sunday1800, friday1800, leapLast, F}},
        {"Day", {17, 30, 31, F}},          // a weekend bar reads as 30 December 1899
        {"Month", {3, 12, 12, F}},    {"Year", {2014, 1899, 2012, F}}, {"DayOfWeek", {1, 6, 1, F}},
        {"DayOfYear", {76, 364, 366, F}}, {"Hour", {18, 18, 9, F}},   {"Minute", {0, 0, 45, F}},
        {"Seconds", {0, 0, 30, F}},
    };
    for (const auto& [name, want] : cases) EXPECT_EQ(run(name, m), want) << name;
}

TEST_F(DateSeriesTest, FieldsOfDateTimeValues) {
    const double v = at(2014, 3, 15, 15, 30, 45);
    const Vec in = {v, at(2012, 12, 31), -693593.5, -693593, F};
    const std::pair<const char*, Vec> cases[] = {
        {"DayOf", {15, 31, 0, 1, F}},       {"MonthOf", {3, 12, 0, 1, F}},   {"YearOf", {2014, 2012, 0, 1, F}},
        {"WeekDayOf", {6, 1, 1, 1, F}},     {"DayInYearOf", {74, 366, 0, 1, F}}, {"HourOf", {15, 0, 12, 0, F}},
        {"MinuteOf", {30, 0, 0, 0, F}},     {"SecondOf", {45, 0, 0, 0, F}},
    };
    // no start bar is read: every bar is written
    for (const auto& [name, want] : cases) EXPECT_EQ(valuesOf(name, {in}, 7), want) << name;
}

TEST_F(DateSeriesTest, SecondsInBar) {
    std::vector<double> hourly;
    for (int h = 10; h <= 15; ++h) hourly.push_back(at(2014, 3, 17, h, 30));
    hourly.push_back(at(2014, 3, 17, 16, 0));
    const struct { const char* name; int32_t period; std::vector<double> stamps; std::vector<double> want; } cases[] = {
        {"5-minute bars", 0x03000005, {at(2014, 3, 17, 9, 32), at(2014, 3, 17, 9, 37)}, {120, 300}},
        {"60-minute bars from 09:30", 0x0300003C, hourly, {3600, 3600, 3600, 3600, 3600, 3600, 1800}},
        {"60-minute bars on the hour", 0x0300003C, {at(2014, 3, 17, 10), at(2014, 3, 17, 11)}, {1800, 3600}},
        {"a gap does not lengthen a bar", 0x03000005, {at(2014, 3, 17, 10, 0), at(2014, 3, 17, 11, 0)}, {300, 300}},
        {"100-trade bars", 0x02000064, {at(2014, 3, 17, 9, 30, 7), at(2014, 3, 17, 9, 30, 10)}, {7, 3}},
        {"stamps out of order", 0x02000064, {at(2014, 3, 17, 9, 40), at(2014, 3, 17, 9, 35)}, {600, 0}},
        {"evening session before the start", 0x01000000, {at(2014, 3, 17, 8, 30)}, {82800}},
        {"missing stamp", 0x02000064, {at(2014, 3, 17, 9, 40), F, at(2014, 3, 17, 9, 45)}, {600, F, 900}},
        {"daily", 0x11000001, {at(2014, 3, 17), at(2014, 3, 18)}, {86400, 86400}},
        {"3 days", 0x11000003, {at(2014, 3, 17)}, {259200}},
        {"weekly", 0x12000001, {at(2014, 3, 17)}, {604800}},
        {"monthly", 0x13000001, {at(2014, 2, 28), at(2012, 2, 29)}, {2419200, 2505600}},
        {"quarterly", 0x14000001, {at(2014, 3, 31), at(2014, 11, 28)}, {7776000, 7948800}},
        {"two months", 0x13000002, {at(2014, 3, 31)}, {5097600}},
        {"two months over the turn of the year", 0x13000002, {at(2014, 1, 31)}, {5356800}},
        {"yearly", 0x15000001, {at(2012, 6, 30)}, {31622400}},
        {"daily renko", 0x16000064, {at(2014, 3, 10), at(2014, 3, 13)}, {86400, 259200}},
    };
    for (const auto& c : cases) {
        Market m(barsAt(c.stamps));
        m.period(c.period).session(570, 960, 1020);
        EXPECT_EQ(run("SecondsInBar", m), c.want) << c.name;
    }
}

// An "Of" export of a constant gives a constant of the same length; DateToJulian makes a constant
// of count 1 (its forms are those of the date construction: here what the export adds).
TEST_F(DateSeriesTest, ConstantResults) {
    const auto expectConstant = [](Call& call, Series& out, const Vec& want) {
        ASSERT_EQ(call.run(0), 0);
        EXPECT_TRUE(out.isConstant());
        ASSERT_EQ(out.count(), static_cast<int32_t>(want.size()));
        for (std::size_t i = 0; i < want.size(); ++i) EXPECT_DOUBLE_EQ(out.at(static_cast<int32_t>(i)), want[i]);
    };
    for (int32_t n : {1, 4}) {
        Series in = Series::constant(at(2014, 3, 15), n), out = Series::of({7, 7, 7, 7, 7, 7});
        Call call("WeekDayOf");
        call.out(out).arg(in);
        expectConstant(call, out, Vec(static_cast<std::size_t>(n), 6.0));
    }
    EXPECT_EQ(valuesOf("YearOf", {at(2014, 3, 15)}), Vec{2014}); // a Number where a series is wanted
    const std::pair<Vec, double> julian[] = {
        {{2014, 3.9, 15.2, 1530, 0, 0}, 41713 + 55800 / 86400.0}, // month and day truncated
        {{2014, 65536 + 3, 15, 0, 0, 0}, 41713},                    // and held to 16 bits
        {{2014.5, 3, 15, 0, 0, 0}, F},
    };
    for (const auto& [args, want] : julian) {
        Series out = Series::of({1, 2, 3});
        Call call("DateToJulian");
        call.out(out);
        for (double v : args) call.arg(v);
        expectConstant(call, out, {want});
    }
}

} // namespace
} // namespace fk
