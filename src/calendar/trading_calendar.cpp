#include "calendar/trading_calendar.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "calendar/date.h"
#include "containers/plain_bars.h"
#include "containers/scratch.h"
#include "containers/series.h"
#include "market/bar_record.h"

namespace fk::calendar {

namespace {

using series::NumberOut;
using series::NumberView;

// Business days in [day 2, x), day 2 being a Monday; negative for x before it.
// The days asked about are within a few days of the 32-bit range: moved up by 7 x 2^32 they are
// never negative, so that one unsigned division gives the weeks and the days over.
int64_t businessBefore(int64_t x) {
    constexpr int64_t kLift = int64_t{1} << 32;
    const uint64_t k = static_cast<uint64_t>(x - 2 + 7 * kLift);
    const int64_t weeks = static_cast<int64_t>(k / 7) - kLift;
    return 5 * weeks + std::min<int64_t>(static_cast<int64_t>(k % 7), 5);
}

int64_t businessDaysWide(int64_t a, int64_t b) { return b < a ? 0 : businessBefore(b + 1) - businessBefore(a); }

// A date on a Saturday is kept on the Friday before, one on a Sunday on the Monday after.
int32_t observed(int32_t d) {
    const int w = WeekdayOf(d);
    return w == 6 ? d - 1 : w == 0 ? d + 1 : d;
}

// The k-th weekday w (0 Sunday .. 6 Saturday) of a month.
int32_t nthWeekday(int32_t year, int32_t month, int w, int k) {
    const int32_t first = civilDayNumber(year, month, 1);
    return first + (w - WeekdayOf(first) + 7) % 7 + 7 * (k - 1);
}

// Days the exchange closed outside its yearly rules.
constexpr int32_t kOneOffClosings[] = {
    19721228, 19730125, 19770714, 19850927, 19940427, 20010911, 20010912, 20010913,
    20010914, 20040611, 20070102, 20121029, 20121030, 20181205, 20250109,
};

int32_t hostListCount(const BarRecord& m) {
    const SeriesHandle* h = m.holidays;
    return h && h->buffer && h->buffer->count > 0 ? h->buffer->count : 0;
}

// The holidays of one call, in ascending order: the host's list when the market has one, else
// the built-in calendar over a range of years, of which three at a time (the year of the day
// looked at and its neighbours, held to the range) are laid out. Every query about a day of
// that year stays inside those three years: each year of the built-in calendar has holidays
// both in its first half and in its second.
class HolidayList {
public:
    HolidayList(const BarRecord& market, bool needed)
        : host_(needed ? hostListCount(market) : 0), fromHost_(needed && hostListCount(market) > 0) {
        if (fromHost_ && host_.ok()) readHostList(*market.holidays);
    }

    bool ok() const { return host_.ok(); }
    bool fromHost() const { return fromHost_; }

    // The built-in calendar for the years first .. last.
    void useBuiltIn(int32_t first, int32_t last) {
        firstYear_ = first;
        lastYear_ = last;
        shownFrom_ = shownTo_ = INT32_MIN;
    }

    // Lays out the years around `year` (built-in calendar); the counts below are relative to them.
    void focus(int32_t year) {
        if (fromHost_ || firstYear_ > lastYear_) return;
        const int64_t from = std::clamp<int64_t>(int64_t{year} - 1, firstYear_, lastYear_);
        const int64_t to = std::clamp<int64_t>(int64_t{year} + 1, firstYear_, lastYear_);
        if (from == shownFrom_ && to == shownTo_) return;
        const int32_t years = static_cast<int32_t>(to - from + 1);
        if (from == int64_t{shownFrom_} + 1 && to == int64_t{shownTo_} + 1) {
            // a year on: the years kept move to the front and the new one follows them
            const int32_t gone = yearCount_[0];
            std::memmove(window_, window_ + gone, sizeof(int32_t) * (count_ - gone));
            count_ -= gone;
            std::memmove(yearCount_, yearCount_ + 1, sizeof(int32_t) * (years - 1));
            appendYear(static_cast<int32_t>(to), years - 1);
        } else {
            count_ = 0;
            for (int32_t k = 0; k < years; ++k) appendYear(static_cast<int32_t>(from + k), k);
        }
        shownFrom_ = static_cast<int32_t>(from);
        shownTo_ = static_cast<int32_t>(to);
        entries_ = window_;
        near_ = 0;
    }

    // Entries before day x.
    int32_t below(int64_t x) const {
        return static_cast<int32_t>(std::lower_bound(entries_, entries_ + count_, x) - entries_);
    }
    // The same, searched from the answer of the last call: a step or none for days in order.
    int32_t belowNear(int64_t x) {
        int32_t k = near_;
        if (k < count_ && entries_[k] < x) {
            if (++k < count_ && entries_[k] < x) k = below(x);
        } else if (k > 0 && entries_[k - 1] >= x) {
            k = below(x);
        }
        near_ = k;
        return k;
    }
    int32_t size() const { return count_; }
    int32_t operator[](int32_t k) const { return entries_[k]; }

private:
    // The built-in holidays of a year after those held, as the k-th year of the window.
    void appendYear(int32_t year, int32_t k) {
        const YearHolidays h = builtInHolidays(year);
        std::memcpy(window_ + count_, h.days, sizeof(int32_t) * h.count);
        count_ += h.count;
        yearCount_[k] = h.count;
    }

    // Dates written YYYYMMDD; the no-value mark, impossible dates and weekend days are passed over.
    void readHostList(const SeriesHandle& h) {
        int32_t* e = host_.data();
        int32_t n = 0;
        if (h.buffer->kind == kKindLong) {
            for (int32_t i = 0; i < h.buffer->count; ++i) {
                int32_t v;
                std::memcpy(&v, series::element(h, i), sizeof v);
                if (v <= 0) continue;
                const int32_t month = v / 100 % 100, day = v % 100;
                if (month < 1 || month > 12 || day == 0 || day > DaysInMonth(v / 10000, month)) continue;
                const int32_t d = DayNumberFromDate(v, 0, 0);
                if (IsBusinessDay(d)) e[n++] = d;
            }
        }
        std::sort(e, e + n);
        count_ = static_cast<int32_t>(std::unique(e, e + n) - e);
        entries_ = e;
    }

    Scratch<int32_t> host_;
    bool fromHost_;
    int32_t firstYear_ = 0, lastYear_ = -1;
    int32_t shownFrom_ = INT32_MIN, shownTo_ = INT32_MIN;
    int32_t window_[3 * kMaxHolidaysPerYear];
    int32_t yearCount_[3] = {0, 0, 0}; // the holidays of each year of the window
    const int32_t* entries_ = window_;
    int32_t count_ = 0;
    int32_t near_ = 0;
};

// The count of one trading day, with what it needs of the day's month, year and week kept
// from the day before. Every day asked about is a Monday-to-Friday day.
class DayCounter {
public:
    DayCounter(HolidayList& list, double none) : list_(list), none_(none) {}

    template <TradingCount What>
    double of(int32_t d) {
        if (d < monthFirst_ || d > monthLast_) enterMonth(d);
        // Monday-to-Friday days before the next day
        const int64_t through = businessBefore(int64_t{d} + 1);
        if constexpr (What == TradingCount::WeekdayOfMonth) return static_cast<double>(through - beforeMonth_);
        // entries before d, which are those up to d as well once d is known to be no holiday
        const int32_t k = list_.belowNear(d);
        if (k < list_.size() && list_[k] == d) return 0.0;
        int64_t value = 0;
        if constexpr (What == TradingCount::DayOfWeek) {
            // a weekday is the so-many-th of its week's Monday-to-Friday days
            const int weekday = WeekdayOf(d);
            // (in 64 bits: the Monday of the first day number's week lies before it)
            const int64_t monday = int64_t{d} - (weekday - 1);
            // the holidays from Monday to d, found back from the entries before d (rarely any)
            int32_t fromMonday = 0;
            while (k - fromMonday > 0 && list_[k - fromMonday - 1] >= monday) ++fromMonday;
            value = weekday - fromMonday;
        } else if constexpr (What == TradingCount::DayOfMonth) {
            value = through - beforeMonth_ - (k - belowMonthFirst_);
        } else if constexpr (What == TradingCount::DayOfYear) {
            value = through - beforeYear_ - (k - belowYearFirst_);
        } else if constexpr (What == TradingCount::LeftInMonth) {
            value = beforeNextMonth_ - through - (belowNextMonth_ - k);
        } else if constexpr (What == TradingCount::AfterHoliday) { // no holiday lies between the last one and d
            if (k == 0) return none_;
            value = businessDaysWide(int64_t{list_[k - 1]} + 1, d);
        } else if constexpr (What == TradingCount::ToHoliday) {
            if (k == list_.size()) return none_;
            value = businessDaysWide(int64_t{d} + 1, int64_t{list_[k]} - 1);
        }
        return static_cast<double>(value);
    }

private:
    void enterMonth(int32_t d) {
        if (month_ >= 1 && month_ < 12 && d > monthLast_ &&
            int64_t{d} <= int64_t{monthLast_} + DaysInMonth(year_, month_ + 1)) {
            // the next month of the same year: its start is where the last one's next month was
            // found, and the holidays laid out stay those of the year
            ++month_;
            monthFirst_ = monthLast_ + 1;
            monthLast_ = monthFirst_ + DaysInMonth(year_, month_) - 1;
            beforeMonth_ = beforeNextMonth_;
            beforeNextMonth_ = businessBefore(int64_t{monthLast_} + 1);
            belowMonthFirst_ = belowNextMonth_;
            belowNextMonth_ = list_.below(int64_t{monthLast_} + 1);
            return;
        }
        const Date c = civilDate(d);
        year_ = c.year;
        month_ = c.month;
        if (c.month == 0) { // before year 1: the day stands alone
            monthFirst_ = monthLast_ = yearFirst_ = d;
        } else {
            monthFirst_ = civilDayNumber(c.year, c.month, 1);
            monthLast_ = monthFirst_ + DaysInMonth(c.year, c.month) - 1;
            yearFirst_ = civilDayNumber(c.year, 1, 1);
        }
        beforeMonth_ = businessBefore(monthFirst_);
        beforeNextMonth_ = businessBefore(int64_t{monthLast_} + 1);
        beforeYear_ = businessBefore(yearFirst_);
        list_.focus(c.year);
        belowMonthFirst_ = list_.below(monthFirst_);
        belowNextMonth_ = list_.below(int64_t{monthLast_} + 1);
        belowYearFirst_ = list_.below(yearFirst_);
    }

    HolidayList& list_;
    double none_;
    int32_t year_ = 0, month_ = 0; // month 0: no month entered, or a day before year 1
    int32_t monthFirst_ = 1, monthLast_ = 0, yearFirst_ = 0;
    int64_t beforeMonth_ = 0, beforeNextMonth_ = 0, beforeYear_ = 0;
    int32_t belowMonthFirst_ = 0, belowNextMonth_ = 0, belowYearFirst_ = 0;
};

// Bars start .. bars - 1 of one count; a day's count is worked out once for all its bars. Days
// finds the bars' trading days: TradingDays for daily bars, EachStamp for shorter ones.
template <TradingCount What, class Days>
void countBars(NumberOut& o, const NumberView& stamps, Days days, DayCounter& counter, int32_t start, int32_t bars) {
    const double noStamp = stamps.fill();
    const auto run = [&](const auto& stamp, auto& w) {
        int32_t lastDay = 0;
        double lastValue = 0.0;
        for (int32_t i = start; i < bars; ++i) {
            const double v = stamp[i];
            if (v == noStamp) {
                w.set(i, w.fill());
                continue;
            }
            const int32_t d = days.of(v);
            if (d == 0) {
                w.set(i, 0.0);
                continue;
            }
            if (d != lastDay) {
                lastDay = d;
                lastValue = counter.of<What>(d);
            }
            w.set(i, lastValue);
        }
    };
    withPlainArrays(start, bars, o, run, stamps);
}

template <TradingCount W>
using Of = std::integral_constant<TradingCount, W>;

int32_t barCount(const BarRecord& m) { return m.barCount > 0 ? m.barCount : 0; }

} // namespace

int64_t businessDays(int32_t a, int32_t b) { return businessDaysWide(a, b); }

YearHolidays builtInHolidays(int32_t y) {
    YearHolidays h;
    const auto add = [&h](int32_t d) {
        if (IsBusinessDay(d)) h.days[h.count++] = d;
    };
    const int32_t newYear = civilDayNumber(y, 1, 1);
    const int newYearWeekday = WeekdayOf(newYear);
    if (newYearWeekday == 0) add(newYear + 1);
    else if (newYearWeekday != 6) add(newYear);
    if (y >= 1998) add(nthWeekday(y, 1, 1, 3));
    add(y >= 1971 ? nthWeekday(y, 2, 1, 3) : observed(civilDayNumber(y, 2, 22)));
    if (const int32_t easter = EasterSunday(y)) add(easter - 2);
    if (y >= 1971) {
        const int32_t last = civilDayNumber(y, 5, 31);
        add(last - (WeekdayOf(last) + 6) % 7);
    } else {
        add(observed(civilDayNumber(y, 5, 30)));
    }
    if (y >= 2022) add(observed(civilDayNumber(y, 6, 19)));
    add(observed(civilDayNumber(y, 7, 4)));
    add(nthWeekday(y, 9, 1, 1));
    if (y <= 1968 || y == 1972 || y == 1976 || y == 1980) add(nthWeekday(y, 11, 1, 1) + 1);
    add(nthWeekday(y, 11, 4, 4));
    add(observed(civilDayNumber(y, 12, 25)));
    for (const int32_t closing : kOneOffClosings)
        if (closing / 10000 == y) add(civilDayNumber(y, closing / 100 % 100, closing % 100));
    std::sort(h.days, h.days + h.count);
    h.count = static_cast<int>(std::unique(h.days, h.days + h.count) - h.days);
    return h;
}

void writeTradingCount(const BarRecord& market, SeriesHandle& out, int32_t start, TradingCount what) {
    if (start < 0) start = 0;
    const int32_t bars = barCount(market);
    if (start >= bars) return;
    HolidayList list(market, what != TradingCount::WeekdayOfMonth);
    if (!list.ok()) return;
    NumberOut o(&out, bars);
    const NumberView stamps(&market.dateTime);
    const double noStamp = stamps.fill();
    const SessionBounds session = SessionBounds::of(market);
    const auto dayOf = [&](int32_t i) { return stamps[i] == noStamp ? 0 : tradingDayOf(stamps[i], session, true); };

    if (what != TradingCount::WeekdayOfMonth && !list.fromHost()) {
        // the built-in calendar covers the years of the trading days written, and one on each side
        int32_t first = start, last = bars - 1;
        while (first < bars && dayOf(first) == 0) ++first;
        if (first < bars) {
            while (dayOf(last) == 0) --last;
            list.useBuiltIn(civilDate(dayOf(first)).year - 1, civilDate(dayOf(last)).year + 1);
        }
    }

    DayCounter counter(list, o.fill());
    const auto count = [&](auto of) {
        withTradingDays(market.periodWord, session,
                        [&](auto days) { countBars<decltype(of)::value>(o, stamps, days, counter, start, bars); });
    };
    switch (what) {
    case TradingCount::DayOfWeek: return count(Of<TradingCount::DayOfWeek>{});
    case TradingCount::DayOfMonth: return count(Of<TradingCount::DayOfMonth>{});
    case TradingCount::DayOfYear: return count(Of<TradingCount::DayOfYear>{});
    case TradingCount::LeftInMonth: return count(Of<TradingCount::LeftInMonth>{});
    case TradingCount::AfterHoliday: return count(Of<TradingCount::AfterHoliday>{});
    case TradingCount::ToHoliday: return count(Of<TradingCount::ToHoliday>{});
    case TradingCount::WeekdayOfMonth: return count(Of<TradingCount::WeekdayOfMonth>{});
    }
}

void writeRemainingBarsInDay(const BarRecord& market, SeriesHandle& out, int32_t start) {
    if (start < 0) start = 0;
    const int32_t bars = barCount(market);
    if (start >= bars) return;
    NumberOut o(&out, bars);
    const NumberView stamps(&market.dateTime);
    const double noStamp = stamps.fill();
    const SessionBounds session = SessionBounds::of(market);
    const uint32_t word = static_cast<uint32_t>(market.periodWord);
    const uint32_t kind = word >> 24;
    const int32_t n = static_cast<int32_t>(word & 0xFFFFFF);

    if (word >= kDailyPeriodWords) { // one bar is the whole day
        for (int32_t i = start; i < bars; ++i) o.set(i, 0.0);
        return;
    }

    if (kind == 0x03 && n >= 1) { // minute bars: from the schedule of the sessions
        const int32_t dayEnd = session.dayEnd;
        const bool secondSession = session.start2 > 0 || session.end2 > 0;
        const int32_t close = secondSession && session.innerEnd != session.end2 && session.innerEnd > 0 &&
                                      session.innerEnd < dayEnd
                                  ? session.innerEnd
                                  : dayEnd;
        // the bars left from each minute of the day (a minute may round up to 1440), 0 outside
        // the sessions; found when a bar first has that minute, as many bars share each
        int16_t leftFrom[1441];
        std::memset(leftFrom, 0xFF, sizeof leftFrom);
        const auto run = [&](const auto& stamp, auto& w) {
            int32_t lastDay = INT32_MIN;
            bool business = false;
            for (int32_t i = start; i < bars; ++i) {
                const double v = stamp[i];
                if (v == noStamp) {
                    w.set(i, w.fill());
                    continue;
                }
                const int32_t m = MillisOfDay(v) / 60000;
                if (const int32_t day = dayOfMinute(v, m, session); day != lastDay) {
                    lastDay = day;
                    business = IsBusinessDay(day);
                }
                if (leftFrom[m] < 0) {
                    const int32_t left = m < dayEnd ? close - m : close + 1440 - m;
                    leftFrom[m] = static_cast<int16_t>(inSessions(m, session) ? std::max(0, (left + n - 1) / n) : 0);
                }
                w.set(i, business ? leftFrom[m] : 0);
            }
        };
        withPlainArrays(start, bars, o, run, stamps);
        return;
    }

    // Every other period: counted from the bars themselves, from the first bar of the start
    // bar's trading day. A bar without a stamp belongs to no day.
    constexpr int32_t kNoDay = INT32_MIN;
    const auto dayOf = [&](int32_t i) { return stamps[i] == noStamp ? kNoDay : tradingDayOf(stamps[i], session, true); };
    const int32_t startDay = dayOf(start);
    if (startDay != 0 && startDay != kNoDay)
        while (start > 0 && dayOf(start - 1) == startDay) --start;
    int32_t nextDay = kNoDay;
    double nextValue = 0.0;
    for (int32_t i = bars - 1; i >= start; --i) {
        const int32_t d = dayOf(i);
        if (d == kNoDay) {
            o.set(i, o.fill());
        } else {
            nextValue = d == 0 || d != nextDay ? 0.0 : nextValue + 1.0;
            o.set(i, nextValue);
        }
        nextDay = d;
    }
}

} // namespace fk::calendar
