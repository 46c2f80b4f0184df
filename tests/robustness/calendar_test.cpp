// Faults that the sanitizers or the fuzzer found in the date and zone functions, each kept as
// the call that showed it.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class CalendarRobustness : public HeapChecked {};

// Bars stamped far outside the calendar: the daylight-saving change days of a year millions of
// years away were summed past the 32-bit range.
TEST_F(CalendarRobustness, TimeConvertOfBarsFarOutsideTheCalendar) {
    const double stamps[] = {1e300, -1e300, 2147483647.5, 9.3e18, 7.8e11, -7.8e11, -693594.0,
                             std::numeric_limits<double>::max()};
    const char* zones[] = {"NY", "GMT", "-300|0,3/2S,11/1S", "60|0,3/LS,10/LS,60"};
    for (const char* zone : zones) {
        for (double stamp : stamps) {
            SCOPED_TRACE(std::string(zone) + " " + std::to_string(stamp));
            Market market({{stamp, 1, 1, 1, 1, 1}});
            market.period(0x03000005).zone("CHI");
            const Vec got = valuesOf("TimeConvert", {&market, std::string(zone)});
            ASSERT_EQ(got.size(), 1u);
            EXPECT_TRUE(got[0] == F || (got[0] >= 0 && got[0] <= 2359 && std::fmod(got[0], 100) < 60)) << got[0];
        }
    }
}

// A bar whose trading day is the first day number of 32 bits: the Monday of its week lay
// three days before that.
TEST_F(CalendarRobustness, TradingDayOfWeekOfTheFirstDayNumber) {
    for (double stamp : {-1e300, -2147483648.0, -2147483645.5}) {
        SCOPED_TRACE(stamp);
        EXPECT_EQ(valuesOf("TradingDayOfWeek", {std::vector<Bar>{{stamp, 1, 1, 1, 1, 1}, {43900, 1, 1, 1, 1, 1}}}).size(), 2u);
    }
}

} // namespace
} // namespace fk
