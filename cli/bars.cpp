#include "cli/bars.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>

#include "cli/errors.h"
#include "calendar/date.h"
#include "containers/buffer.h"

namespace fk::cli {

namespace {

bool digitsAt(std::string_view s, std::size_t at, std::size_t n, int& out) {
    if (at + n > s.size()) return false;
    int v = 0;
    for (std::size_t i = at; i < at + n; ++i) {
        if (s[i] < '0' || s[i] > '9') return false;
        v = v * 10 + (s[i] - '0');
    }
    out = v;
    return true;
}

// "HH:MM" or "HH:MM:SS" as a fraction of the day.
bool parseClock(std::string_view s, double& frac) {
    int h = 0, m = 0, sec = 0;
    if (!digitsAt(s, 0, 2, h) || s.size() < 5 || s[2] != ':' || !digitsAt(s, 3, 2, m)) return false;
    if (s.size() == 8) {
        if (s[5] != ':' || !digitsAt(s, 6, 2, sec)) return false;
    } else if (s.size() != 5) {
        return false;
    }
    if (h > 23 || m > 59 || sec > 59) return false;
    frac = (h * 3600 + m * 60 + sec) / 86400.0;
    return true;
}

bool parseNumber(std::string_view s, double& out) {
    if (!s.empty() && s[0] == '+') s.remove_prefix(1);
    const auto r = std::from_chars(s.data(), s.data() + s.size(), out);
    return r.ec == std::errc() && r.ptr == s.data() + s.size() && std::isfinite(out);
}

} // namespace

bool parseDateTime(std::string_view s, double& out) {
    int y = 0, m = 0, d = 0;
    if (s.size() >= 10 && (s[4] == '-' || s[4] == '/') && s[7] == s[4] && digitsAt(s, 0, 4, y) &&
        digitsAt(s, 5, 2, m) && digitsAt(s, 8, 2, d)) {
        if (m < 1 || m > 12 || d < 1 || d > calendar::DaysInMonth(y, m)) return false;
        double frac = 0.0;
        if (s.size() > 10 && ((s[10] != ' ' && s[10] != 'T') || !parseClock(s.substr(11), frac))) return false;
        out = calendar::civilDayNumber(y, m, d) + frac;
        return true;
    }
    return parseNumber(s, out);
}

std::size_t writeDateTime(char* out, double dt, bool withTime, bool withSeconds) {
    auto day = static_cast<int32_t>(std::floor(dt));
    int32_t ms = calendar::MillisOfDay(dt);
    if (ms >= calendar::kMillisPerDay) {
        ++day;
        ms -= calendar::kMillisPerDay;
    }
    const calendar::Date date = calendar::civilDate(day);
    const int y = date.year, m = date.month, d = date.day;
    if (y < 0 || y > 9999) return static_cast<std::size_t>(std::snprintf(out, kDateTimeChars, "%d-%02d-%02d", y, m, d));
    char* p = out;
    auto two = [&p](int v) {
        *p++ = static_cast<char>('0' + v / 10);
        *p++ = static_cast<char>('0' + v % 10);
    };
    two(y / 100);
    two(y % 100);
    *p++ = '-';
    two(m);
    *p++ = '-';
    two(d);
    const int secs = ms / 1000;
    if (withTime || withSeconds) {
        *p++ = ' ';
        two(secs / 3600);
        *p++ = ':';
        two(secs / 60 % 60);
    }
    if (withSeconds) {
        *p++ = ':';
        two(secs % 60);
    }
    return static_cast<std::size_t>(p - out);
}

std::string formatDateTime(double dt, bool withTime, bool withSeconds) {
    char buf[kDateTimeChars];
    return std::string(buf, writeDateTime(buf, dt, withTime, withSeconds));
}

int32_t guessPeriod(const std::vector<double>& dt) {
    std::map<int64_t, int> gaps; // in minutes
    std::vector<double> dayGaps;
    for (std::size_t i = 1; i < dt.size(); ++i) {
        const double g = dt[i] - dt[i - 1];
        if (g <= 0) continue;
        ++gaps[std::llround(g * 1440.0)];
        dayGaps.push_back(g);
    }
    if (gaps.empty()) return 0x11000001;
    const auto mode = std::max_element(gaps.begin(), gaps.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; })->first;
    if (mode < 1440) return 0x03000000 | static_cast<int32_t>(std::max<int64_t>(mode, 1));
    std::nth_element(dayGaps.begin(), dayGaps.begin() + dayGaps.size() / 2, dayGaps.end());
    const double median = dayGaps[dayGaps.size() / 2];
    if (median >= 20) return 0x13000001;
    if (median >= 5) return 0x12000001;
    return 0x11000001;
}

// ---- CSV

namespace {

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
    return s;
}

std::string lower(std::string_view s) {
    std::string r(s);
    for (char& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

// Splits a line into cells; a cell in double quotes may hold the delimiter, "" is one quote.
void splitCells(std::string_view line, char delim, std::vector<std::string_view>& cells, std::string& scratch) {
    cells.clear();
    if (line.find('"') == std::string_view::npos) {
        std::size_t start = 0;
        for (;;) {
            const std::size_t end = line.find(delim, start);
            if (end == std::string_view::npos) {
                cells.push_back(trim(line.substr(start)));
                return;
            }
            cells.push_back(trim(line.substr(start, end - start)));
            start = end + 1;
        }
    }
    // Quoted cells are unquoted into the scratch string; views are taken once it stops growing.
    scratch.clear();
    std::vector<std::pair<std::size_t, std::size_t>> spans;
    std::size_t i = 0;
    for (;;) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
        const std::size_t from = scratch.size();
        if (i < line.size() && line[i] == '"') {
            ++i;
            while (i < line.size()) {
                if (line[i] == '"') {
                    if (i + 1 < line.size() && line[i + 1] == '"') {
                        scratch += '"';
                        i += 2;
                        continue;
                    }
                    ++i;
                    break;
                }
                scratch += line[i++];
            }
            while (i < line.size() && line[i] != delim) ++i;
        } else {
            const std::size_t end = std::min(line.find(delim, i), line.size());
            scratch += trim(line.substr(i, end - i));
            i = end;
        }
        spans.emplace_back(from, scratch.size() - from);
        if (i >= line.size()) break;
        ++i; // the delimiter
    }
    for (const auto& [from, n] : spans) cells.push_back(std::string_view(scratch).substr(from, n));
}

bool missingWord(std::string_view s) {
    if (s.size() > 4) return false;
    const std::string w = lower(s);
    return w == "nan" || w == "na" || w == "n/a" || w == "null";
}

// "HH:MM", "HH:MM:SS", or the digits HHMM / HHMMSS.
bool parseTimeCell(std::string_view s, double& frac) {
    if (parseClock(s, frac)) return true;
    int v = 0;
    if (s.empty() || s.size() > 6 || !digitsAt(s, 0, s.size(), v)) return false;
    int h = v / 100, m = v % 100, sec = 0;
    if (s.size() > 4) {
        h = v / 10000;
        m = v / 100 % 100;
        sec = v % 100;
    }
    if (h > 23 || m > 59 || sec > 59) return false;
    frac = (h * 3600 + m * 60 + sec) / 86400.0;
    return true;
}

[[noreturn]] void fail(const std::string& source, std::size_t line, const std::string& what) {
    throw UsageError(source + ":" + std::to_string(line) + ": " + what);
}

template <class T>
void reverseAll(BarData& b, T&& each) {
    for (auto* v : {&b.dateTime, &b.open, &b.high, &b.low, &b.close, &b.volume}) each(*v);
    for (auto& c : b.extra) each(c.values);
}

} // namespace

BarData parseBars(std::string_view content, const std::string& source) {
    if (content.size() >= 3 && std::memcmp(content.data(), "\xEF\xBB\xBF", 3) == 0) content.remove_prefix(3);
    BarData bars;
    bars.source = source;

    std::size_t pos = 0, lineNo = 0;
    auto nextLine = [&](std::string_view& line) {
        if (pos >= content.size()) return false;
        std::size_t end = content.find('\n', pos);
        if (end == std::string_view::npos) end = content.size();
        line = content.substr(pos, end - pos);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        pos = end + 1;
        ++lineNo;
        return true;
    };

    std::string_view line;
    do {
        if (!nextLine(line)) fail(source, lineNo + 1, "no header line (an empty file)");
    } while (trim(line).empty());

    const char delim = line.find(',') != std::string_view::npos   ? ','
                       : line.find(';') != std::string_view::npos ? ';'
                       : line.find('\t') != std::string_view::npos ? '\t'
                                                                   : ',';
    std::vector<std::string_view> cells;
    std::string scratch;
    splitCells(line, delim, cells, scratch);

    // Where each cell goes: the date, the time, or a series.
    enum Role { kDate = -1, kTime = -2 };
    std::vector<int> role(cells.size());
    std::vector<std::vector<double>*> target(cells.size(), nullptr);
    std::vector<std::string> headers;
    const char* known[] = {"open", "high", "low", "close", "volume"};
    std::vector<double>* knownSeries[] = {&bars.open, &bars.high, &bars.low, &bars.close, &bars.volume};
    bool seen[5] = {};
    int dateCol = -1, timeCol = -1;
    for (std::size_t c = 0; c < cells.size(); ++c) {
        const std::string name(cells[c]);
        const std::string key = lower(name);
        headers.push_back(name);
        if (name.empty()) fail(source, lineNo, "column " + std::to_string(c + 1) + " has no name");
        if (key == "date" || key == "datetime") {
            if (dateCol >= 0) fail(source, lineNo, "two date columns");
            dateCol = static_cast<int>(c);
            role[c] = kDate;
            continue;
        }
        if (key == "time") {
            if (timeCol >= 0) fail(source, lineNo, "two time columns");
            timeCol = static_cast<int>(c);
            role[c] = kTime;
            continue;
        }
        role[c] = static_cast<int>(c);
        const auto k = std::find(std::begin(known), std::end(known), key) - std::begin(known);
        if (k < 5) {
            if (seen[k]) fail(source, lineNo, "two columns named " + name);
            seen[k] = true;
            continue;
        }
        for (const auto& e : bars.extra)
            if (lower(e.name) == key) fail(source, lineNo, "two columns named " + name);
        bars.extra.push_back({name, {}});
    }
    if (dateCol < 0) fail(source, lineNo, "no Date column in the header");
    if (!seen[3]) fail(source, lineNo, "no Close column in the header");
    // The extra columns' vectors no longer move: point the cells at them.
    std::size_t e = 0;
    for (std::size_t c = 0; c < cells.size(); ++c) {
        if (role[c] < 0) continue;
        const std::string key = lower(headers[c]);
        const auto k = std::find(std::begin(known), std::end(known), key) - std::begin(known);
        target[c] = k < 5 ? knownSeries[k] : &bars.extra[e++].values;
    }

    const std::size_t expected = static_cast<std::size_t>(std::count(content.begin() + static_cast<std::ptrdiff_t>(pos), content.end(), '\n')) + 1;
    for (auto* v : knownSeries) v->reserve(expected);
    bars.dateTime.reserve(expected);
    std::vector<std::size_t> rowLine; // the line of each bar, for messages
    rowLine.reserve(expected);
    for (auto& x : bars.extra) x.values.reserve(expected);

    while (nextLine(line)) {
        if (trim(line).empty()) continue;
        splitCells(line, delim, cells, scratch);
        if (cells.size() != role.size())
            fail(source, lineNo, std::to_string(cells.size()) + " cells where the header has " + std::to_string(role.size()));
        double dt = 0.0;
        if (!parseDateTime(cells[static_cast<std::size_t>(dateCol)], dt))
            fail(source, lineNo, "\"" + std::string(cells[static_cast<std::size_t>(dateCol)]) +
                                     "\" is not a date (YYYY-MM-DD, YYYY-MM-DD HH:MM[:SS] or a date-time number)");
        if (timeCol >= 0) {
            double frac = 0.0;
            const std::string_view t = cells[static_cast<std::size_t>(timeCol)];
            if (!parseTimeCell(t, frac)) fail(source, lineNo, "\"" + std::string(t) + "\" is not a time (HH:MM, HH:MM:SS or HHMM)");
            dt += frac;
        }
        bars.dateTime.push_back(dt);
        rowLine.push_back(lineNo);
        for (std::size_t c = 0; c < cells.size(); ++c) {
            if (!target[c]) continue;
            const std::string_view s = cells[c];
            double v = kMissing;
            if (!s.empty() && !missingWord(s) && !parseNumber(s, v))
                fail(source, lineNo, headers[c] + " \"" + std::string(s) + "\" is not a number");
            target[c]->push_back(v);
        }
    }
    const std::size_t n = bars.dateTime.size();
    for (auto* v : knownSeries)
        if (v->size() != n) v->assign(n, kMissing); // a column the file does not have

    // Bars go oldest first; a file written newest first is turned around.
    bool ascending = true, descending = true;
    for (std::size_t i = 1; i < n; ++i) {
        ascending = ascending && bars.dateTime[i] >= bars.dateTime[i - 1];
        descending = descending && bars.dateTime[i] <= bars.dateTime[i - 1];
    }
    if (!ascending && descending) {
        reverseAll(bars, [](std::vector<double>& v) { std::reverse(v.begin(), v.end()); });
    } else if (!ascending) {
        std::size_t bad = 1;
        while (bars.dateTime[bad] >= bars.dateTime[bad - 1]) ++bad;
        fail(source, rowLine[bad], "this bar is older than the bar before it (bars must be in time order)");
    }
    return bars;
}

BarData loadBars(const std::string& path) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) throw UsageError(path + ": cannot read: " + std::strerror(errno));
    // one block of the file's size, not zeroed first; whatever the size said, read to the end
    std::error_code ec;
    std::size_t capacity = std::filesystem::file_size(path, ec);
    if (ec) capacity = 0;
    capacity += 1 << 16;
    auto content = std::make_unique_for_overwrite<char[]>(capacity);
    std::size_t size = 0, got = 0;
    while ((got = std::fread(content.get() + size, 1, capacity - size, f)) > 0) {
        size += got;
        if (size == capacity) {
            auto bigger = std::make_unique_for_overwrite<char[]>(capacity * 2);
            std::memcpy(bigger.get(), content.get(), size);
            content = std::move(bigger);
            capacity *= 2;
        }
    }
    const bool bad = std::ferror(f) != 0;
    const int err = errno;
    std::fclose(f);
    if (bad) throw UsageError(path + ": cannot read: " + std::strerror(err));
    return parseBars(std::string_view(content.get(), size), path);
}

} // namespace fk::cli
