// Entry points of the trading calendar.
#include "calendar/trading_calendar.h"
#include "exports/export_def.h"

using namespace fk;
using calendar::TradingCount;

#define FK_TRADING_COUNT(name, what)                                                              \
    FK_ENTRY(name) {                                                                              \
        calendar::writeTradingCount(*a.market(2), *a.out(), a.startBar(), what);                  \
        return kOk;                                                                               \
    }

FK_TRADING_COUNT(TradingDayOfWeek, TradingCount::DayOfWeek)
FK_TRADING_COUNT(TradingDayOfMonth, TradingCount::DayOfMonth)
FK_TRADING_COUNT(TradingDayOfYear, TradingCount::DayOfYear)
FK_TRADING_COUNT(RemainTDaysOfMonth, TradingCount::LeftInMonth)
FK_TRADING_COUNT(TDaysAfterHoliday, TradingCount::AfterHoliday)
FK_TRADING_COUNT(RemainTDaysToHoliday, TradingCount::ToHoliday)
FK_TRADING_COUNT(WeekDayOfMonth, TradingCount::WeekdayOfMonth)

FK_ENTRY(RemainingBarsInDay) {
    calendar::writeRemainingBarsInDay(*a.market(2), *a.out(), a.startBar());
    return kOk;
}
