// Status codes of the trading-calendar exports.
#include "support/export_status.h"
#include "support/heap_check.h"

namespace fk {
namespace {

class TradingCalendarStatusTest : public testing::HeapChecked {};

TEST_F(TradingCalendarStatusTest, CountsReleaseAndBadEntries) {
    testing::expectCommonStatuses({"TradingDayOfWeek", "TradingDayOfMonth", "TradingDayOfYear", "RemainTDaysOfMonth",
                                   "TDaysAfterHoliday", "RemainTDaysToHoliday", "WeekDayOfMonth",
                                   "RemainingBarsInDay"});
}

} // namespace
} // namespace fk
