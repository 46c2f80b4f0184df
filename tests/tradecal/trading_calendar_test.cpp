// The trading-calendar exports on chosen days: the worked cases, the host's holiday list, the
// bars left in a day, and calls made as bars arrive.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calendar/date.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

double stamp(int32_t yyyymmdd, int hour = 0, int minute = 0) {
    return calendar::DayNumberFromDate(yyyymmdd, 0, 0) + (hour * 60 + minute) / 1440.0;
}

Vec run(const char* name, Market& m) { return valuesOf(name, {&m}); }

const char* const kCounts[] = {"TradingDayOfWeek", "TradingDayOfMonth", "TradingDayOfYear", "RemainTDaysOfMonth",
                               "TDaysAfterHoliday", "RemainTDaysToHoliday", "WeekDayOfMonth"};

class TradingCalendarTest : public HeapChecked {};

TEST_F(TradingCalendarTest, WorkedDays) {
    // a date and its counts in the order of kCounts
    const std::pair<int32_t, Vec> rows[] = {
        {20140102, {3, 1, 1, 20, 1, 11, 2}},   {20140321, {5, 15, 55, 6, 24, 19, 15}},
        {20140417, {4, 13, 74, 8, 43, 0, 13}}, {20140418, {0, 0, 0, 0, 0, 0, 14}}, // Good Friday
        {20140421, {1, 14, 75, 7, 1, 24, 15}}, {20141128, {4, 19, 230, 0, 1, 18, 20}},
        {20141231, {3, 22, 252, 0, 4, 0, 23}}, {20140419, {0, 0, 0, 0, 0, 0, 0}}, // a Saturday
    };
    std::vector<double> stamps;
    for (const auto& r : rows) stamps.push_back(stamp(r.first));
    Market m(barsAt(stamps));
    m.session(570, 960, 960);
    for (int k = 0; k < 7; ++k) {
        const std::vector<double> got = run(kCounts[k], m);
        for (std::size_t i = 0; i < std::size(rows); ++i)
            EXPECT_EQ(got[i], rows[i].second[k]) << kCounts[k] << " on " << rows[i].first;
    }
}

// The host's holiday list replaces the built-in calendar; dates are YYYYMMDD, and what is not a
// weekday's date is passed over.
TEST_F(TradingCalendarTest, HostList) {
    const std::vector<double> stamps = {stamp(20140102), stamp(20140103), stamp(20140417), stamp(20140418),
                                        stamp(20140421)};
    const struct { const char* what; std::vector<int32_t> list; int32_t offset; Vec ofMonth, afterHoliday, toHoliday; }
        cases[] = {
        {"no holidays at all", {0}, 0, {2, 3, 13, 14, 15}, {F, F, F, F, F}, {F, F, F, F, F}},
        {"unsorted, repeated and a Saturday", {20140102, 20140101, 20140101, 20140104}, 0,
         {0, 1, 13, 14, 15}, {0, 1, 75, 76, 77}, {0, F, F, F, F}},
        {"no-value mark, month 13, 30 February, a two-digit year", {INT32_MIN, 20141301, 20140230, 140418}, 0,
         {2, 3, 13, 0, 14}, {F, F, F, 0, 1}, {75, 74, 0, 0, F}},
        {"the element read honours the handle's offset", {20140418}, 1, {2, 3, 13, 14, 15}, {F, F, F, F, F},
         {F, F, F, F, F}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Market m(barsAt(stamps));
        m.session(570, 960, 960).holidays(c.list);
        m.record().holidays->setOffset(c.offset);
        EXPECT_EQ(run("TradingDayOfMonth", m), c.ofMonth);
        EXPECT_EQ(run("TDaysAfterHoliday", m), c.afterHoliday);
        EXPECT_EQ(run("RemainTDaysToHoliday", m), c.toHoliday);
    }
}

// No list, a list pointer without a buffer, or a buffer without elements, leaves the built-in calendar.
TEST_F(TradingCalendarTest, EmptyHostListMeansBuiltIn) {
    Market m(barsAt({stamp(20140417), stamp(20140418), stamp(20140421)}));
    m.session(570, 960, 960);
    SeriesHandle none{nullptr, 0}, empty{nullptr, 0};
    series::create(empty, Family::Long, 0);
    for (SeriesHandle* list : {m.record().holidays, &none, &empty}) {
        m.record().holidays = list;
        EXPECT_EQ(run("TradingDayOfMonth", m), (Vec{13, 0, 14}));
    }
    m.record().holidays = nullptr;
    buffers::release(empty);
}

// The trading day of a bar follows the session: an evening bar after the day end belongs to the
// next day, a bar outside the sessions and a bar without a stamp are no trading day's.
TEST_F(TradingCalendarTest, SessionsAndMissingStamps) {
    Market m(barsAt({stamp(20140416, 18), stamp(20140417, 12), F, stamp(20140417, 16, 30)}));
    m.session(570, 960, 1020).secondSession(570, 0);
    // Wednesday 18:00 trades for Thursday; 16:30 lies between the inner session end and the day end
    EXPECT_EQ(run("TradingDayOfMonth", m), (std::vector<double>{13, 13, F, 0}));
    EXPECT_EQ(run("WeekDayOfMonth", m), (std::vector<double>{13, 13, F, 0}));
}

TEST_F(TradingCalendarTest, RemainingBarsInDay) {
    const int32_t wed = 20140319;
    const std::vector<double> halfHours = {stamp(wed, 10), stamp(wed, 15, 30), stamp(wed, 16), stamp(wed, 15, 57),
                                           stamp(wed, 16, 30)};
    // sessions as S, P, E, S2, P2
    const struct { const char* what; int32_t period; std::vector<int16_t> session; Vec stamps, left; } cases[] = {
        {"30-minute bars closing at the inner session end", 0x0300001E, {570, 960, 1020, 570, 0}, halfHours,
         {12, 1, 0, 1, 0}},
        {"30-minute bars running to the day end", 0x0300001E, {570, 960, 1020, 0, 0}, halfHours, {14, 3, 2, 3, 1}},
        {"an evening bar of a session past midnight", 0x0300003C, {1080, 1020, 1020, 0, 0},
         {stamp(wed, 18), stamp(wed, 9), F},
         {23, 8, F}},
        {"the same minutes over a weekend: Friday evening trades for Saturday", 0x0300003C, {1080, 1020, 1020, 0, 0},
         {stamp(20140321, 18), stamp(20140322, 9), stamp(20140323, 18), stamp(20140324, 9)},
         {0, 0, 23, 8}},
        {"daily bars", 0x11000001, {570, 960, 960, 0, 0}, {stamp(wed), F, stamp(wed + 1)}, {0, 0, 0}},
        {"100-trade bars", 0x02000064, {570, 960, 960, 0, 0},
         {stamp(20140317, 10), stamp(20140317, 11), stamp(20140317, 12), stamp(20140318, 10), stamp(20140318, 11),
          stamp(20140318, 12)},
         {2, 1, 0, 2, 1, 0}},
        {"ticks: weekend bars and missing stamps end a run", 0x01000001, {570, 960, 960, 0, 0},
         {stamp(20140321, 10), stamp(20140321, 11), stamp(20140322, 11), stamp(20140324, 10), F, stamp(20140324, 11)},
         {1, 0, 0, 0, F, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Market m(barsAt(c.stamps));
        m.period(c.period).session(c.session[0], c.session[1], c.session[2]).secondSession(c.session[3], c.session[4]);
        EXPECT_EQ(run("RemainingBarsInDay", m), c.left);
    }
}

// A bar added to a day of trade bars rewrites the whole day, but nothing before it.
TEST_F(TradingCalendarTest, RemainingBarsInDayRewritesTheDay) {
    Market m(barsAt({stamp(20140317, 10), stamp(20140317, 11), stamp(20140317, 12), stamp(20140318, 10),
                     stamp(20140318, 11), stamp(20140318, 12)}));
    m.period(0x02000064).session(570, 960, 960);
    Series out;
    Call call("RemainingBarsInDay");
    call.out(out).arg(m);
    ASSERT_EQ(call.run(0), 0);
    series::setNumber(out.handle(), 2, 99); // stands for anything the earlier days hold
    m.append({stamp(20140318, 13), 1, 1, 1, 1, 1});
    ASSERT_EQ(call.run(6), 0);
    EXPECT_EQ(out.values(), (std::vector<double>{2, 1, 99, 3, 2, 1, 0}));
}

// Called as bars arrive, in chunks of 1, 7 and 100 bars, each export writes what one call over
// all bars writes.
TEST_F(TradingCalendarTest, ChunkedCallsMatchOneCall) {
    const struct { const char* what; int32_t period; int perDay; } setups[] = {
        {"daily", 0x11000001, 1}, {"trade bars", 0x02000064, 5}, {"hourly", 0x0300003C, 8}};
    for (const auto& setup : setups) {
        std::vector<Bar> bars;
        uint32_t r = 12345;
        for (int32_t day = calendar::DayNumberFromDate(20131215, 0, 0); bars.size() < 700; ++day) {
            r = r * 1103515245u + 12345u;
            const int n = setup.perDay == 1 ? 1 : 1 + static_cast<int>(r >> 16) % setup.perDay;
            for (int k = 0; k < n; ++k) bars.push_back({day + (570 + 60.0 * k) / 1440.0, 1, 1, 1, 1, 1});
        }
        bars[40].dateTime = F;
        std::vector<const char*> names(std::begin(kCounts), std::end(kCounts));
        names.push_back("RemainingBarsInDay");
        for (const char* name : names) {
            SCOPED_TRACE(std::string(setup.what) + " " + name);
            expectChunksMatchOneCall(name, {bars}, [&](Market& m) { m.period(setup.period).session(570, 960, 960); });
        }
    }
}

} // namespace
} // namespace fk
