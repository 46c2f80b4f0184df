// Zone rules, the built-in zones, conversions checked against the system's zone database, the
// host zone as a rule, and TimeConvert.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include "calendar/date.h"
#include "calendar/zone.h"
#include "host/hostkit.h"
#include "platform/host_zone.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk::calendar {
namespace {

using host::Market;

constexpr double F = kMissing;
const std::string kUs = kUnitedStatesRules;

double at(int32_t y, int32_t m, int32_t d, int32_t hh = 0, int32_t mm = 0) {
    return DayNumberFromDate(y, m, d) + (hh * 60 + mm) / 1440.0;
}

// TZ set for one scope; no test here reads the local zone without setting it.
struct ScopedTz {
    explicit ScopedTz(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedTz() {
        unsetenv("TZ");
        tzset();
        currentHostRule(true);
    }
};

bool haveZone(const std::string& zone) { return access(("/usr/share/zoneinfo/" + zone).c_str(), R_OK) == 0; }

TEST(ZoneRuleTest, Parsing) {
    const struct { std::string rule; int32_t offset; int segments; } cases[] = {
        {"-300", -300, 0},
        {"garbage", 0, 0},
        {" -300 | 2007 , 3/2S , 11/1S , 60 ", -300, 1},
        {"60|abc|2000,3/LS,10/LS|2001,13/1S,10/LS|2002,3/6S,1/1S|2003,3/1X,1/1S|2004,3/1S|2005,3/1s,10/ls,x", 60, 1},
        {"-300" + kUs, -300, 6},
        {"99999999999", 1000000000, 0},
    };
    for (const auto& c : cases) {
        const ZoneRule z = ZoneRule::parse(c.rule);
        EXPECT_EQ(z.standardOffset(), c.offset) << c.rule;
        EXPECT_EQ(z.segmentCount(), c.segments) << c.rule;
    }
    std::string many = "0";
    for (int y = 1900; y < 1950; ++y) many += "|" + std::to_string(y) + ",4/1S,10/LS";
    EXPECT_EQ(ZoneRule::parse(many).segmentCount(), ZoneRule::kMaxSegments);
}

TEST(ZoneRuleTest, NamesAndOffsets) {
    const struct { const char* name; std::string rule; int32_t offset; } cases[] = {
        {"GMT", "0", 0}, {"utc", "0", 0}, {"NY", "-300" + kUs, -300}, {"Chi", "-360" + kUs, -360},
        {"540", "540", 540}, {"-210|0,3/2S,11/1S", "-210|0,3/2S,11/1S", -210},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ResolveZone(c.name), c.rule) << c.name;
        EXPECT_EQ(StandardOffset(c.name), c.offset) << c.name;
    }
}

TEST(ZoneRuleTest, ConvertZone) {
    const struct { const char* what; double v; const char* from; const char* to; double want; int32_t minutes; }
        cases[] = {
        {"CHI to NY", at(2014, 7, 1, 10), "CHI", "NY", at(2014, 7, 1, 11), 60},
        {"the same name in another case", at(2014, 7, 1, 10), "ny", "NY", at(2014, 7, 1, 10), 0},
        {"GMT to a rule", at(2014, 7, 1, 10), "GMT", "60|0,3/LS,10/LS", at(2014, 7, 1, 12), 120},
        {"before year 1", -693593.0, "NY", "GMT", -693593.0, 0},
        {"missing value", F, "NY", "GMT", F, 0},
    };
    for (const auto& c : cases) {
        double v = c.v;
        EXPECT_EQ(ConvertZone(v, c.from, c.to), c.minutes) << c.what;
        EXPECT_NEAR(v, c.want, 1e-9) << c.what;
    }
}

// Every hour of the year, to and from the zone, against the system's zone database.
void compareWithZoneDatabase(const char* builtIn, const char* tzName, int year) {
    ScopedTz tz(tzName);
    const auto newYear = [](int y) {
        return std::chrono::system_clock::to_time_t(std::chrono::sys_days{std::chrono::year{y} / 1 / 1});
    };
    auto local = [](time_t u) {
        tm l{};
        localtime_r(&u, &l);
        return civilDayNumber(l.tm_year + 1900, l.tm_mon + 1, l.tm_mday) +
               (l.tm_hour * 3600 + l.tm_min * 60 + l.tm_sec) / 86400.0;
    };
    const ZoneConverter toLocal("GMT", builtIn), toUtc(builtIn, "GMT");
    int failures = 0;
    for (time_t u = newYear(year); u < newYear(year + 1) && failures < 5; u += 3600) {
        const double utc = 25569 + static_cast<double>(u) / 86400.0;
        const double wall = local(u);
        double there = utc;
        toLocal.convert(there);
        // the hour repeated when the clocks go back is read as its first occurrence
        const bool repeated = local(u - 3600) == wall;
        double back = wall;
        toUtc.convert(back);
        const double wantBack = repeated ? utc - 1 / 24.0 : utc;
        if (std::fabs(there - wall) > 1e-7 || std::fabs(back - wantBack) > 1e-7) {
            ++failures;
            ADD_FAILURE() << builtIn << " " << year << ": UTC " << utc << " local " << wall << " got " << there
                          << ", back " << back;
        }
    }
}

TEST(ZoneRuleTest, NewYorkAndChicagoAgreeWithTheZoneDatabase) {
    for (const char* zone : {"America/New_York", "America/Chicago"})
        if (!haveZone(zone)) GTEST_SKIP() << "no zone database entry /usr/share/zoneinfo/" << zone;
    for (int year : {1970, 1974, 1975, 1976, 1986, 1987, 2006, 2007, 2024}) {
        compareWithZoneDatabase("NY", "America/New_York", year);
        compareWithZoneDatabase("CHI", "America/Chicago", year);
    }
}

// The forms the system zones of the next test do not reach.
TEST(HostZoneTest, RuleForms) {
    using platform::HostZone;
    const platform::ZoneTransition usOn{3, 2, 0, 2, 0}, usOff{11, 1, 0, 2, 0};
    const struct { const char* what; HostZone zone; std::string rule; } cases[] = {
        {"United States rule outside the biases", {240, 0, -60, true, usOn, usOff}, "-240|0,3/2S,11/1S,60"},
        {"changes at different hours", {300, 0, -60, true, usOn, {11, 1, 0, 1, 0}}, "-300|0,3/2S,11/1S,60"},
        {"half-hour shift", {-630, 0, -30, true, {10, 1, 0, 2, 0}, {4, 1, 0, 2, 0}}, "630|0,10/1S,4/1S,30"},
    };
    for (const auto& c : cases) EXPECT_EQ(hostZoneRule(c.zone), c.rule) << c.what;
}

TEST(HostZoneTest, TheSystemZoneAsARuleKeptUntilRefreshed) {
    const std::pair<const char*, std::string> cases[] = {
        {"America/New_York", "-300" + kUs}, {"America/Chicago", "-360" + kUs}, {"Europe/Berlin", "60|0,3/5S,10/5S,60"},
        {"Asia/Tokyo", "540"}, {"Australia/Sydney", "600|0,10/1S,4/1S,60"}, {"UTC", "0"},
    };
    for (const auto& [zone, rule] : cases) {
        if (!haveZone(zone)) GTEST_SKIP() << "no zone database entry /usr/share/zoneinfo/" << zone;
        ScopedTz tz(zone);
        EXPECT_EQ(currentHostRule(true), rule) << zone;
        EXPECT_EQ(ResolveZone(""), rule) << zone;
        EXPECT_EQ(ResolveZone("local"), rule) << zone;
    }
    ScopedTz ny("America/New_York");
    currentHostRule(true);
    setenv("TZ", "Asia/Tokyo", 1);
    // younger than its lifetime: the rule is not rebuilt
    EXPECT_EQ(ResolveZone("LOCAL"), "-300" + kUs);
    EXPECT_EQ(StandardOffset(""), -300);
    EXPECT_EQ(currentHostRule(true), "540");
    EXPECT_EQ(StandardOffset("Local"), 540);
}

TEST(HostZoneTest, ReadersNeverSeeAHalfWrittenRule) {
    if (!haveZone("Europe/Berlin")) GTEST_SKIP() << "no zone database entry /usr/share/zoneinfo/Europe/Berlin";
    ScopedTz tz("Europe/Berlin");
    const std::string want = currentHostRule(true);
    std::atomic<int> wrong{0};
    std::thread refresher([&] {
        for (int i = 0; i < 200; ++i)
            if (currentHostRule(true) != want) ++wrong;
    });
    for (int i = 0; i < 2000; ++i) {
        if (ResolveZone("LOCAL") != want) ++wrong;
        if (StandardOffset("") != 60) ++wrong;
    }
    refresher.join();
    EXPECT_EQ(wrong.load(), 0);
}

class TimeConvertTest : public testing::HeapChecked {};

using testing::barsAt;

std::vector<double> timeConvert(Market& m, const char* target, const std::vector<double>& before = {},
                                int32_t start = 0) {
    return testing::valuesOf("TimeConvert", {&m, std::string(target)}, start, before);
}

TEST_F(TimeConvertTest, ClockNumbersInTheTargetZone) {
    const std::vector<double> stamps = {at(2014, 7, 1, 23, 30), at(2014, 1, 15, 23, 30), F, at(2014, 3, 9, 9, 45)};
    const struct { const char* what; const char* marketZone; const char* target; std::vector<double> want; } cases[] = {
        {"no zone is New York", "", "GMT", {330, 430, F, 1345}},
        {"Chicago to New York", "CHI", "NY", {30, 30, F, 1045}},
        {"the same zone", "NY", "ny", {2330, 2330, F, 945}},
        {"to a written rule", "GMT", "-300|0,3/2S,11/1S", {1930, 1830, F, 545}},
    };
    for (const auto& c : cases) {
        Market m(barsAt(stamps));
        m.period(0x03000001).zone(c.marketZone);
        EXPECT_EQ(timeConvert(m, c.target), c.want) << c.what;
    }
}

TEST_F(TimeConvertTest, StartBarAndDailyMarkets) {
    Market m(barsAt({at(2014, 7, 1, 10), at(2014, 7, 1, 11), at(2014, 7, 1, 12)}));
    m.period(0x03000001);
    EXPECT_EQ(timeConvert(m, "GMT", {-1}, 1), (std::vector<double>{-1, 1500, 1600}));
    m.period(0x11000001); // daily bars: left alone
    EXPECT_EQ(timeConvert(m, "GMT", {-1}), (std::vector<double>{-1}));
}

} // namespace
} // namespace fk::calendar
