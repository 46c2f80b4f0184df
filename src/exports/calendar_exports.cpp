// Entry points of the date, time and time-zone functions.
#include "calendar/date.h"
#include "calendar/date_series.h"
#include "calendar/zone.h"
#include "containers/series.h"
#include "containers/text.h"
#include "exports/export_def.h"

using namespace fk;
using calendar::DatePart;

#define FK_BAR_DATES(name, part)                                                                  \
    FK_ENTRY(name) {                                                                              \
        calendar::writeBarDates(*a.market(2), *a.out(), a.startBar(), part);                      \
        return kOk;                                                                               \
    }

#define FK_DATES_OF(name, part)                                                                   \
    FK_ENTRY(name) {                                                                              \
        calendar::writeDatesOf(*a.series(2), *a.out(), part);                                     \
        return kOk;                                                                               \
    }

FK_BAR_DATES(DateTime, DatePart::Stamp)
FK_BAR_DATES(Day, DatePart::Day)
FK_BAR_DATES(Month, DatePart::Month)
FK_BAR_DATES(Year, DatePart::Year)
FK_BAR_DATES(DayOfWeek, DatePart::Weekday)
FK_BAR_DATES(DayOfYear, DatePart::DayInYear)
FK_BAR_DATES(Hour, DatePart::Hour)
FK_BAR_DATES(Minute, DatePart::Minute)
FK_BAR_DATES(Seconds, DatePart::Second)

FK_DATES_OF(DayOf, DatePart::Day)
FK_DATES_OF(MonthOf, DatePart::Month)
FK_DATES_OF(YearOf, DatePart::Year)
FK_DATES_OF(WeekDayOf, DatePart::Weekday)
FK_DATES_OF(DayInYearOf, DatePart::DayInYear)
FK_DATES_OF(HourOf, DatePart::Hour)
FK_DATES_OF(MinuteOf, DatePart::Minute)
FK_DATES_OF(SecondOf, DatePart::Second)

FK_ENTRY(SecondsInBar) {
    calendar::writeSecondsInBar(*a.market(2), *a.out(), a.startBar());
    return kOk;
}

// Month and day are whole numbers of 16 bits; date, time and seconds stay as given.
FK_ENTRY(DateToJulian) {
    const auto short16 = [](double v) { return static_cast<int32_t>(static_cast<int16_t>(calendar::truncToInt32(v))); };
    const double value = calendar::MakeDateTime(a.number(2), short16(a.number(3)), short16(a.number(4)), a.number(5),
                                                calendar::truncToInt32(a.number(6)), a.number(7));
    series::setConstantNumber(*a.out(), value, 1);
    return kOk;
}

FK_ENTRY(TimeConvert) {
    calendar::writeTimeConvert(*a.market(2), text::view(*a.text(3)), *a.out(), a.startBar());
    return kOk;
}
