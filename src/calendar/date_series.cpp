#include "calendar/date_series.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "calendar/date.h"
#include "containers/plain_bars.h"
#include "containers/series.h"
#include "market/bar_record.h"

namespace fk::calendar {

namespace {

// The date fields of the last day asked for: bars of one day ask for the same day in a row,
// and the first day of the year is worked out once per year.
class DayFields {
public:
    void of(int32_t dayNumber) {
        if (dayNumber == key_) return;
        if (dayNumber > key_ && int64_t{dayNumber} - key_ <= leftInMonth_) {
            // a later day of the same month: the fields move on by the days between
            const int32_t days = dayNumber - key_;
            key_ = dayNumber;
            date_.day += days;
            dayInYear_ += days;
            leftInMonth_ -= days;
            return;
        }
        key_ = dayNumber;
        leftInMonth_ = 0;
        if (dayNumber < kFirstDayOfYearOne) {
            date_ = Date{};
            dayInYear_ = 0;
            return;
        }
        date_ = civilDate(dayNumber);
        if (date_.year != year_) {
            year_ = date_.year;
            firstOfYear_ = civilDayNumber(year_, 1, 1);
        }
        dayInYear_ = dayNumber - firstOfYear_ + 1;
        leftInMonth_ = DaysInMonth(date_.year, date_.month) - date_.day;
    }
    const Date& date() const { return date_; }
    int32_t dayInYear() const { return dayInYear_; }

private:
    int32_t key_ = INT32_MIN;
    Date date_;
    int32_t dayInYear_ = 0;
    int32_t year_ = INT32_MIN;
    int32_t firstOfYear_ = 0;
    int32_t leftInMonth_ = 0; // days of the month after the last day asked for
};

template <DatePart P>
constexpr bool isClockPart = P == DatePart::Hour || P == DatePart::Minute || P == DatePart::Second;

template <DatePart P>
double clockPart(BarDateTime v) {
    const int32_t ms = MillisOfDay(v);
    if constexpr (P == DatePart::Hour) return ms / 3600000;
    else if constexpr (P == DatePart::Minute) return ms / 60000 % 60;
    else return ms / 1000 % 60;
}

// A date part of a day number (the weekday of any day; the calendar fields 0 before year 1).
template <DatePart P>
double datePart(int32_t dayNumber, DayFields& fields) {
    if constexpr (P == DatePart::Weekday) {
        return WeekdayOf(dayNumber);
    } else {
        fields.of(dayNumber);
        if constexpr (P == DatePart::Day) return fields.date().day;
        else if constexpr (P == DatePart::Month) return fields.date().month;
        else if constexpr (P == DatePart::Year) return fields.date().year;
        else return fields.dayInYear();
    }
}

// Days finds the bars' trading days: TradingDays for daily bars, EachStamp for shorter ones.
template <DatePart P, class Days>
void barDates(const series::NumberView& stamps, Days days, series::NumberOut& out, int32_t from, int32_t to) {
    DayFields fields;
    const double missing = stamps.fill();
    // bars without a trading day (0) take the part of day 0, found once, so that the fields
    // kept are those of the last trading day
    double noDay = 0.0;
    if constexpr (!isClockPart<P> && P != DatePart::Stamp) noDay = datePart<P>(0, fields);
    // over plain arrays where the stamps and the output are stored as such
    const auto run = [&](const auto& stamp, auto& w) {
        for (int32_t i = from; i < to; ++i) {
            const double v = stamp[i];
            if (v == missing) {
                w.set(i, w.fill());
            } else if constexpr (P == DatePart::Stamp) {
                w.set(i, v);
            } else if constexpr (isClockPart<P>) {
                w.set(i, clockPart<P>(v));
            } else {
                const int32_t d = days.of(v);
                w.set(i, d == 0 ? noDay : datePart<P>(d, fields));
            }
        }
    };
    withPlainArrays(from, to, out, run, stamps);
}

template <DatePart P>
double valuePart(double v, DayFields& fields) {
    if constexpr (P == DatePart::Stamp) return v;
    else if constexpr (isClockPart<P>) return clockPart<P>(v);
    else if constexpr (P == DatePart::Weekday) return datePart<P>(truncToInt32(v), fields);
    else return datePart<P>(v < kFirstDayOfYearOne ? INT32_MIN : truncToInt32(v), fields);
}

template <DatePart P>
void valueDates(const series::NumberView& values, series::NumberOut& out, int32_t n) {
    DayFields fields;
    const double missing = values.fill();
    for (int32_t i = 0; i < n; ++i) {
        const double v = values[i];
        out.set(i, v == missing ? out.fill() : valuePart<P>(v, fields));
    }
}

// Calls f with the part as a compile-time constant.
template <class F>
void dispatch(DatePart part, F&& f) {
    switch (part) {
    case DatePart::Stamp: f(std::integral_constant<DatePart, DatePart::Stamp>{}); break;
    case DatePart::Day: f(std::integral_constant<DatePart, DatePart::Day>{}); break;
    case DatePart::Month: f(std::integral_constant<DatePart, DatePart::Month>{}); break;
    case DatePart::Year: f(std::integral_constant<DatePart, DatePart::Year>{}); break;
    case DatePart::Weekday: f(std::integral_constant<DatePart, DatePart::Weekday>{}); break;
    case DatePart::DayInYear: f(std::integral_constant<DatePart, DatePart::DayInYear>{}); break;
    case DatePart::Hour: f(std::integral_constant<DatePart, DatePart::Hour>{}); break;
    case DatePart::Minute: f(std::integral_constant<DatePart, DatePart::Minute>{}); break;
    case DatePart::Second: f(std::integral_constant<DatePart, DatePart::Second>{}); break;
    }
}

int32_t barCount(const BarRecord& market) { return market.barCount > 0 ? market.barCount : 0; }

// Days of the calendar span of a monthly, quarterly or yearly bar that ends in the month of v.
int64_t periodDays(BarDateTime v, uint32_t kind, int32_t n) {
    const Date d = DateFromDayNumber(floorToInt32(v));
    int32_t months = n, endMonth = d.month;
    if (kind == 0x14) {
        months = 3 * n;
        endMonth = (d.month - 1) / 3 * 3 + 3;
    } else if (kind == 0x15) {
        months = 12 * n;
        endMonth = 12;
    }
    int32_t firstYear = d.year, firstMonth = endMonth - months + 1;
    NormalizeMonth(firstYear, firstMonth);
    const int64_t last = civilDayNumber(d.year, endMonth, DaysInMonth(d.year, endMonth));
    return last - civilDayNumber(firstYear, firstMonth, 1) + 1;
}

} // namespace

void writeBarDates(const BarRecord& market, SeriesHandle& out, int32_t start, DatePart part) {
    if (start < 0) start = 0;
    const int32_t bars = barCount(market);
    if (start >= bars) return;
    series::NumberOut o(&out, bars);
    const series::NumberView stamps(&market.dateTime);
    const SessionBounds session = SessionBounds::of(market);
    dispatch(part, [&](auto p) {
        withTradingDays(market.periodWord, session,
                        [&](auto days) { barDates<decltype(p)::value>(stamps, days, o, start, bars); });
    });
}

void writeDatesOf(const SeriesHandle& values, SeriesHandle& out, DatePart part) {
    const int32_t n = series::count(values);
    if (values.buffer && values.buffer->isConstant() && n > 0) {
        const series::NumberView in(&values);
        const double v = in.constantValue();
        double result = series::fillValue(out);
        if (v != in.fill()) {
            DayFields fields;
            dispatch(part, [&](auto p) { result = valuePart<decltype(p)::value>(v, fields); });
        }
        series::setConstantNumber(out, result, n);
        return;
    }
    series::NumberOut o(&out, n);
    const series::NumberView in(&values);
    dispatch(part, [&](auto p) { valueDates<decltype(p)::value>(in, o, n); });
}

void writeSecondsInBar(const BarRecord& market, SeriesHandle& out, int32_t start) {
    if (start < 0) start = 0;
    const int32_t bars = barCount(market);
    if (start >= bars) return;
    series::NumberOut o(&out, bars);
    const series::NumberView stamps(&market.dateTime);
    const SessionBounds session = SessionBounds::of(market);
    const uint32_t word = static_cast<uint32_t>(market.periodWord);
    const uint32_t kind = word >> 24;
    const int32_t n = static_cast<int32_t>(word & 0xFFFFFF);
    const int32_t periods = std::max(n, 1);
    const double missing = stamps.fill();

    // over plain arrays where the stamps and the output are stored as such
    const auto run = [&](const auto& stamp, auto& w) {
        // the trading day of the bar, where it was needed (else INT32_MIN), kept for the next bar
        int32_t dayFound = INT32_MIN;
        for (int32_t i = start; i < bars; ++i) {
            const double v = stamp[i];
            const int32_t dayBefore = dayFound;
            dayFound = INT32_MIN;
            if (v == missing) {
                w.set(i, w.fill());
                continue;
            }
            const bool hasPrev = i >= 1 && stamp[i - 1] != missing;
            const double prev = hasPrev ? stamp[i - 1] : 0.0;
            // seconds since the bar before on the same trading day, else since the session start
            auto gap = [&]() -> double {
                if (hasPrev) {
                    dayFound = tradingDayOf(v, session, false);
                    const int32_t before = dayBefore != INT32_MIN ? dayBefore : tradingDayOf(prev, session, false);
                    if (before == dayFound) return std::floor((v - prev) * 86400.0 + 0.5);
                }
                int64_t g = static_cast<int64_t>(MillisOfDay(v)) - static_cast<int64_t>(session.start) * 60000;
                if (g < 0) g += kMillisPerDay;
                return static_cast<double>((g + 500) / 1000);
            };
            double seconds;
            if (kind == 0x11) {
                seconds = 86400.0 * periods;
            } else if (kind == 0x12) {
                seconds = 604800.0 * periods;
            } else if (kind >= 0x13 && kind <= 0x15) {
                seconds = 86400.0 * static_cast<double>(periodDays(v, kind, periods));
            } else if (kind > 0x15) {
                seconds = hasPrev ? std::floor((v - prev) * 86400.0 + 0.5) : 86400.0;
            } else if (kind == 0x03 && n >= 1) {
                const double length = 60.0 * n;
                const double g = gap();
                seconds = g > 0 ? std::min(length, g) : length;
            } else {
                seconds = std::max(gap(), 0.0);
            }
            w.set(i, seconds);
        }
    };
    withPlainArrays(start, bars, o, run, stamps);
}

} // namespace fk::calendar
