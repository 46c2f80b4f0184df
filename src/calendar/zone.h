// Time zones as compact rule texts, and the conversion of bar times between them.
//
// A rule text is the standard offset in minutes east of UTC ("-300"), then segments
// "|year,start,end[,shift]" that apply from their year on (year 0: from the beginning of time).
// A start or end is month/ordinal and a weekday letter from "SMTWHFA" (Sunday .. Saturday):
// "3/2S" the second Sunday of March, "10/LS" the last Sunday of October; an ordinal of 5 is the
// fifth such weekday or, in a month with only four, the last. The shift defaults to 60 minutes;
// at most 32 segments are kept.
// Daylight saving begins at 02:00 on the standard clock and ends at 02:00 on the daylight clock.
//
// Names: empty or "LOCAL" the host's own zone, "GMT" and "UTC" offset 0, "NY" and "CHI" New York
// and Chicago with the United States history; any other text is read as a rule itself.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "calendar/date.h"
#include "containers/series.h"

namespace fk {
struct BarRecord;
}

namespace fk::platform {
struct HostZone;
}

namespace fk::calendar {

// The daylight-saving history of the United States, as the built-in zones carry it.
inline constexpr const char* kUnitedStatesRules =
    "|1955,4/LS,10/LS|1974,1/1S,10/LS|1975,2/LS,10/LS|1976,4/LS,10/LS|1987,4/1S,10/LS|2007,3/2S,11/1S";

// A rule text parsed once for converting many times; each year's changes are worked out once.
class ZoneRule {
public:
    // UTC: no offset, no daylight saving.
    ZoneRule() = default;
    // A rule text; a malformed segment is left out.
    static ZoneRule parse(std::string_view rule);
    // A zone name, resolved as ResolveZone does.
    static ZoneRule named(std::string_view name);

    int32_t standardOffset() const { return offset_; }
    int segmentCount() const { return count_; }
    // The daylight shift in minutes in effect at local time v. `standardClock` says v is read
    // on the standard clock (as a conversion into the zone has it) rather than the wall clock.
    int32_t daylightShift(BarDateTime v, bool standardClock = false) const;

    static constexpr int kMaxSegments = 32;

private:
    struct Point {
        uint8_t month;   // 1..12
        uint8_t ordinal; // 1..5, 0 the last
        uint8_t weekday; // 0 Sunday .. 6 Saturday
    };
    struct Segment {
        int32_t year;
        Point start, end;
        int32_t shift;
    };
    // The changes of one year as local milliseconds since day 0.
    struct Year {
        int32_t year = INT32_MIN;
        int32_t firstDay = 1, nextFirstDay = 0; // the year's days: [firstDay, nextFirstDay)
        bool active = false;
        int32_t shift = 0;
        int64_t start = 0, end = 0, endStandard = 0;
    };
    const Year& yearOf(int32_t dayNumber) const;

    int32_t offset_ = 0;
    int count_ = 0;
    Segment segments_[kMaxSegments] = {};
    mutable Year year_;
};

// Converts values from one zone to another with both rules parsed once.
class ZoneConverter {
public:
    ZoneConverter(std::string_view from, std::string_view to);
    // Converts v in place; returns the shift applied in minutes. Values at or before 1 January
    // of year 1, and conversions between two spellings of one name, are left alone.
    int32_t convert(BarDateTime& v) const;

private:
    ZoneRule from_, to_;
    bool same_;
};

// The rule text of a zone name.
std::string ResolveZone(std::string_view name);
// The zone's standard offset in minutes east of UTC.
int32_t StandardOffset(std::string_view name);
// The daylight shift in minutes in effect at local (wall clock) time v of the zone.
int32_t DaylightShift(BarDateTime v, std::string_view name);
// Converts v in place from one zone to another; returns the total shift in minutes.
int32_t ConvertZone(BarDateTime& v, std::string_view from, std::string_view to);

// The host zone as a rule text: the standard offset alone without daylight saving, the offset
// with the United States history for a zone that follows today's United States rule, else the
// offset with the host's one rule applied from year 0.
std::string hostZoneRule(const platform::HostZone& zone);
// The host's rule text as the library keeps it: rebuilt when older than 3,000 seconds, or now
// when `refresh` is set.
std::string currentHostRule(bool refresh = false);

// Bar times of a market read on another zone's clock. Bars carry the market's own zone, New
// York time when it names none.
class BarClock {
public:
    BarClock(const BarRecord& market, std::string_view targetZone);
    // Whether bar i has a time stamp (one that is not its series' fill value).
    bool stamped(int32_t bar) const { return stamps_[bar] != stamps_.fill(); }
    // Bar i's time in the target zone.
    BarDateTime at(int32_t bar) const {
        BarDateTime v = stamps_[bar];
        converter_.convert(v);
        return v;
    }
    // Daily and longer bars, which have no clock time to convert.
    static bool dailyBars(const BarRecord& market);

private:
    series::NumberView stamps_;
    ZoneConverter converter_;
};

// TimeConvert: bars `start` .. last as HHMM clock numbers in the target zone. Markets of daily
// and longer bars are left alone; a bar without a time stamp gets the fill value.
void writeTimeConvert(const BarRecord& market, std::string_view targetZone, SeriesHandle& out, int32_t start);

} // namespace fk::calendar
