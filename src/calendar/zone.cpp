#include "calendar/zone.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>

#include "containers/text.h"
#include "market/bar_record.h"
#include "platform/clock.h"
#include "platform/host_zone.h"
#include "platform/mutex.h"

namespace fk::calendar {

namespace {

constexpr const char* kWeekdayLetters = "SMTWHFA";
constexpr int32_t kChangeMillis = 2 * 3600000; // clocks change at 02:00
constexpr int32_t kDefaultShift = 60;
constexpr double kHostRuleLifetime = 3000.0;   // seconds

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::toupper(static_cast<unsigned char>(a[i])) != std::toupper(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

int32_t saturate(int64_t v) {
    return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : static_cast<int32_t>(v);
}

int mod7(int v) { return ((v % 7) + 7) % 7; }

// Reads the parts of a rule text; blanks between parts are allowed.
struct Reader {
    std::string_view s;
    std::size_t i = 0;

    void blanks() {
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
    }
    bool atEnd() {
        blanks();
        return i >= s.size();
    }
    bool accept(char c) {
        blanks();
        if (i < s.size() && s[i] == c) {
            ++i;
            return true;
        }
        return false;
    }
    // A signed decimal integer, held to +-1e9.
    bool integer(int32_t& v) {
        blanks();
        std::size_t j = i;
        bool negative = false;
        if (j < s.size() && (s[j] == '-' || s[j] == '+')) negative = s[j++] == '-';
        const std::size_t digits = j;
        int64_t n = 0;
        while (j < s.size() && s[j] >= '0' && s[j] <= '9') {
            if (n < 1000000000) n = n * 10 + (s[j] - '0');
            ++j;
        }
        if (j == digits) return false;
        if (n > 1000000000) n = 1000000000;
        v = static_cast<int32_t>(negative ? -n : n);
        i = j;
        return true;
    }
    bool character(char& c) {
        blanks();
        if (i >= s.size()) return false;
        c = s[i++];
        return true;
    }
};

} // namespace

// ---- ZoneRule

namespace {

template <class Point>
bool readPoint(Reader& r, Point& p) {
    int32_t month;
    char ordinal, weekday;
    if (!r.integer(month) || month < 1 || month > 12 || !r.accept('/')) return false;
    if (!r.character(ordinal) || !r.character(weekday)) return false;
    if (ordinal == 'L' || ordinal == 'l') p.ordinal = 0;
    else if (ordinal >= '1' && ordinal <= '5') p.ordinal = static_cast<uint8_t>(ordinal - '0');
    else return false;
    const char* letter = weekday ? std::strchr(kWeekdayLetters, std::toupper(static_cast<unsigned char>(weekday))) : nullptr;
    if (!letter) return false;
    p.month = static_cast<uint8_t>(month);
    p.weekday = static_cast<uint8_t>(letter - kWeekdayLetters);
    return true;
}

// In 64 bits: the first day of a month at the end of the day-number range is the largest 32-bit
// value, and the days after it are not.
template <class Point>
int64_t dayOfPoint(int32_t year, const Point& p) {
    const int32_t first = civilDayNumber(year, p.month, 1);
    const int64_t last = int64_t{first} + DaysInMonth(year, p.month) - 1;
    if (p.ordinal == 0) return last - mod7(WeekdayOf(static_cast<int32_t>(std::min<int64_t>(last, INT32_MAX))) - p.weekday);
    const int64_t day = int64_t{first} + mod7(p.weekday - WeekdayOf(first)) + 7 * (p.ordinal - 1);
    return day > last ? day - 7 : day;
}

} // namespace

ZoneRule ZoneRule::parse(std::string_view rule) {
    ZoneRule z;
    Reader lead{rule};
    int32_t offset;
    if (lead.integer(offset)) z.offset_ = offset;
    std::size_t bar = rule.find('|');
    while (bar != std::string_view::npos) {
        const std::size_t next = rule.find('|', bar + 1);
        Reader r{rule.substr(bar + 1, next == std::string_view::npos ? std::string_view::npos : next - bar - 1)};
        Segment seg{};
        seg.shift = kDefaultShift;
        const bool ok = r.integer(seg.year) && r.accept(',') && readPoint(r, seg.start) && r.accept(',') &&
                        readPoint(r, seg.end) && (!r.accept(',') || r.integer(seg.shift)) && r.atEnd();
        if (ok && z.count_ < kMaxSegments) z.segments_[z.count_++] = seg;
        bar = next;
    }
    return z;
}

const ZoneRule::Year& ZoneRule::yearOf(int32_t dayNumber) const {
    if (dayNumber >= year_.firstDay && dayNumber < year_.nextFirstDay) return year_;
    Year y;
    y.year = DateFromDayNumber(dayNumber).year;
    y.firstDay = civilDayNumber(y.year, 1, 1);
    y.nextFirstDay = civilDayNumber(y.year == INT32_MAX ? y.year : y.year + 1, 1, 1);
    const Segment* seg = nullptr;
    for (int k = 0; k < count_; ++k)
        if (segments_[k].year <= y.year && (!seg || segments_[k].year >= seg->year)) seg = &segments_[k];
    if (seg) {
        y.shift = seg->shift;
        y.start = static_cast<int64_t>(dayOfPoint(y.year, seg->start)) * kMillisPerDay + kChangeMillis;
        y.end = static_cast<int64_t>(dayOfPoint(y.year, seg->end)) * kMillisPerDay + kChangeMillis;
        y.endStandard = y.end - static_cast<int64_t>(seg->shift) * 60000;
        y.active = y.start != y.end;
    }
    year_ = y;
    return year_;
}

int32_t ZoneRule::daylightShift(BarDateTime v, bool standardClock) const {
    if (count_ == 0) return 0;
    const int32_t day = floorToInt32(v);
    const Year& y = yearOf(day);
    if (!y.active) return 0;
    const int64_t local = static_cast<int64_t>(day) * kMillisPerDay + MillisOfDay(v);
    const int64_t end = standardClock ? y.endStandard : y.end;
    // a start after the end is a southern summer that runs over the turn of the year
    const bool inDaylight = y.start < end ? (local >= y.start && local < end) : (local >= y.start || local < end);
    return inDaylight ? y.shift : 0;
}

// ---- names and the host zone

namespace {

struct HostCache {
    char text[256] = {};
    ZoneRule rule;
    double madeAt = 0.0;
    bool made = false;
};

platform::Mutex g_hostLock;
HostCache g_host;

// Rebuilds the host rule when it is missing, stale or asked for; the lock is held.
void refreshHostLocked(bool force) {
    const double now = platform::monotonicSeconds();
    if (g_host.made && !force && now - g_host.madeAt <= kHostRuleLifetime) return;
    platform::HostZone zone;
    platform::readHostZone(zone);
    const std::string rule = hostZoneRule(zone);
    const std::size_t n = std::min(rule.size(), sizeof g_host.text - 1);
    std::memcpy(g_host.text, rule.data(), n);
    g_host.text[n] = 0;
    g_host.rule = ZoneRule::parse(std::string_view(g_host.text, n));
    g_host.madeAt = now;
    g_host.made = true;
}

ZoneRule hostRule() {
    platform::LockGuard guard(g_hostLock);
    refreshHostLocked(false);
    return g_host.rule;
}

enum class BuiltIn { Local, Utc, NewYork, Chicago, None };

BuiltIn builtIn(std::string_view name) {
    if (name.empty() || equalIgnoringCase(name, "LOCAL")) return BuiltIn::Local;
    if (equalIgnoringCase(name, "GMT") || equalIgnoringCase(name, "UTC")) return BuiltIn::Utc;
    if (equalIgnoringCase(name, "NY")) return BuiltIn::NewYork;
    if (equalIgnoringCase(name, "CHI")) return BuiltIn::Chicago;
    return BuiltIn::None;
}

} // namespace

ZoneRule ZoneRule::named(std::string_view name) {
    switch (builtIn(name)) {
    case BuiltIn::Local: return hostRule();
    case BuiltIn::Utc: return ZoneRule();
    case BuiltIn::NewYork:
    case BuiltIn::Chicago: {
        ZoneRule z = parse(kUnitedStatesRules);
        z.offset_ = builtIn(name) == BuiltIn::NewYork ? -300 : -360;
        return z;
    }
    case BuiltIn::None: break;
    }
    return parse(name);
}

std::string ResolveZone(std::string_view name) {
    switch (builtIn(name)) {
    case BuiltIn::Local: return currentHostRule();
    case BuiltIn::Utc: return "0";
    case BuiltIn::NewYork: return std::string("-300") + kUnitedStatesRules;
    case BuiltIn::Chicago: return std::string("-360") + kUnitedStatesRules;
    case BuiltIn::None: break;
    }
    return std::string(name);
}

std::string currentHostRule(bool refresh) {
    platform::LockGuard guard(g_hostLock);
    refreshHostLocked(refresh);
    return g_host.text;
}

std::string hostZoneRule(const platform::HostZone& z) {
    char text[128];
    if (!z.hasDaylight) {
        std::snprintf(text, sizeof text, "%d", -z.bias);
        return text;
    }
    const platform::ZoneTransition& on = z.daylightStart;
    const platform::ZoneTransition& off = z.standardStart;
    const bool unitedStates = z.bias >= 300 && z.bias <= 600 && z.daylightBias == -60 && z.standardBias == 0 &&
                              on.month == 3 && on.week == 2 && on.weekday == 0 && off.month == 11 &&
                              off.week == 1 && off.weekday == 0 && on.hour == off.hour && on.minute == off.minute;
    if (unitedStates) {
        std::snprintf(text, sizeof text, "%d", -z.bias);
        return text + std::string(kUnitedStatesRules);
    }
    auto letter = [](int weekday) { return weekday >= 0 && weekday <= 6 ? kWeekdayLetters[weekday] : '?'; };
    std::snprintf(text, sizeof text, "%d|0,%d/%d%c,%d/%d%c,%d", -z.bias, on.month, on.week, letter(on.weekday),
                  off.month, off.week, letter(off.weekday), -z.daylightBias);
    return text;
}

// ---- conversions

ZoneConverter::ZoneConverter(std::string_view from, std::string_view to)
    : from_(ZoneRule::named(from)), to_(ZoneRule::named(to)), same_(equalIgnoringCase(from, to)) {}

int32_t ZoneConverter::convert(BarDateTime& v) const {
    if (!(v > kFirstDayOfYearOne) || same_) return 0;
    const int32_t fromDaylight = from_.daylightShift(v);
    v = v - fromDaylight / 1440.0;
    const int32_t fromOffset = from_.standardOffset();
    v = v - fromOffset / 1440.0;
    const int32_t toOffset = to_.standardOffset();
    v = v + toOffset / 1440.0;
    const int32_t toDaylight = to_.daylightShift(v, true);
    v = v + toDaylight / 1440.0;
    return saturate(static_cast<int64_t>(toDaylight) - fromDaylight - fromOffset + toOffset);
}

int32_t StandardOffset(std::string_view name) { return ZoneRule::named(name).standardOffset(); }

int32_t DaylightShift(BarDateTime v, std::string_view name) { return ZoneRule::named(name).daylightShift(v); }

int32_t ConvertZone(BarDateTime& v, std::string_view from, std::string_view to) {
    if (!(v > kFirstDayOfYearOne) || equalIgnoringCase(from, to)) return 0;
    return ZoneConverter(from, to).convert(v);
}

// ---- bar times

namespace {

std::string_view zoneOf(const BarRecord& market) {
    const std::string_view zone = text::view(market.zone);
    return zone.empty() ? std::string_view("NY") : zone;
}

} // namespace

bool BarClock::dailyBars(const BarRecord& market) { return static_cast<uint32_t>(market.periodWord) >= 0x11000000u; }

BarClock::BarClock(const BarRecord& market, std::string_view targetZone)
    : stamps_(&market.dateTime), converter_(zoneOf(market), targetZone) {}

void writeTimeConvert(const BarRecord& market, std::string_view targetZone, SeriesHandle& out, int32_t start) {
    if (start < 0) start = 0;
    const int32_t bars = market.barCount > 0 ? market.barCount : 0;
    if (BarClock::dailyBars(market) || start >= bars) return;
    series::NumberOut o(&out, bars);
    const BarClock clock(market, targetZone);
    for (int32_t i = start; i < bars; ++i) {
        if (!clock.stamped(i)) {
            o.set(i, o.fill());
            continue;
        }
        const int32_t ms = MillisOfDay(clock.at(i));
        o.set(i, ms / 3600000 * 100 + ms / 60000 % 60);
    }
}

} // namespace fk::calendar
