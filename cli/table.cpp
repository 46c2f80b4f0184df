#include "cli/table.h"

#include <algorithm>

#include <fmt/format.h>

#include "calendar/date.h"

namespace fk::cli {

namespace {

// A CSV cell: quoted when it holds the delimiter, a quote or a line break.
void appendCsv(fmt::memory_buffer& b, std::string_view s) {
    if (s.find_first_of(",\"\r\n") == std::string_view::npos) {
        b.append(s);
        return;
    }
    b.push_back('"');
    for (char c : s) {
        if (c == '"') b.push_back('"');
        b.push_back(c);
    }
    b.push_back('"');
}

void appendNumber(fmt::memory_buffer& b, double v, double fill, bool raw) {
    if (raw) fmt::format_to(std::back_inserter(b), "{:.17g}", v);
    else if (v != fill) fmt::format_to(std::back_inserter(b), "{:.10g}", v);
}

void appendDate(fmt::memory_buffer& b, double dt, const DateFormat& f) {
    char buf[kDateTimeChars];
    const std::size_t n = writeDateTime(buf, dt, f.withTime, f.withSeconds);
    b.append(buf, buf + n);
}

void flush(std::FILE* out, fmt::memory_buffer& b) {
    std::fwrite(b.data(), 1, b.size(), out);
    b.clear();
}

} // namespace

std::size_t firstShownRow(std::size_t bars, std::size_t tail) { return tail > 0 && tail < bars ? bars - tail : 0; }

std::string formatCell(double v, double fill, bool raw) {
    fmt::memory_buffer b;
    appendNumber(b, v, fill, raw);
    return fmt::to_string(b);
}

DateFormat dateFormatFor(const std::vector<double>& dateTime) {
    DateFormat f;
    for (double dt : dateTime) {
        const int32_t ms = calendar::MillisOfDay(dt) % 86400000;
        if (ms != 0) f.withTime = true;
        if (ms % 60000 != 0) {
            f.withSeconds = true;
            break;
        }
    }
    return f;
}

void writeTable(std::FILE* out, const BarData& bars, const std::vector<Column>& columns, const TableOptions& o) {
    const DateFormat df = dateFormatFor(bars.dateTime);
    const std::size_t first = firstShownRow(bars.size(), o.tail), n = bars.size();
    fmt::memory_buffer b;

    if (!o.aligned) {
        b.append(std::string_view("Date"));
        for (const Column& c : columns) {
            b.push_back(',');
            appendCsv(b, c.title);
        }
        b.push_back('\n');
        for (std::size_t i = first; i < n; ++i) {
            appendDate(b, bars.dateTime[i], df);
            for (const Column& c : columns) {
                b.push_back(',');
                if (c.isText) appendCsv(b, c.text);
                else appendNumber(b, c.values[i], c.fill, o.raw);
            }
            b.push_back('\n');
            if (b.size() > (1 << 16)) flush(out, b);
        }
        flush(out, b);
        return;
    }

    // Aligned: every cell made first, so that the widths are known.
    std::vector<std::vector<std::string>> cells;
    cells.reserve(n - first + 1);
    cells.emplace_back();
    cells.back().push_back("Date");
    for (const Column& c : columns) cells.back().push_back(c.title);
    for (std::size_t i = first; i < n; ++i) {
        auto& row = cells.emplace_back();
        row.push_back(formatDateTime(bars.dateTime[i], df.withTime, df.withSeconds));
        for (const Column& c : columns) row.push_back(c.isText ? c.text : formatCell(c.values[i], c.fill, o.raw));
    }
    std::vector<std::size_t> width(columns.size() + 1, 0);
    for (const auto& row : cells)
        for (std::size_t k = 0; k < row.size(); ++k) width[k] = std::max(width[k], row[k].size());
    for (std::size_t r = 0; r < cells.size(); ++r) {
        for (std::size_t k = 0; k < cells[r].size(); ++k) {
            if (k > 0) b.append(std::string_view("  "));
            // the dates and texts to the left, numbers to the right
            const bool left = k == 0 || columns[k - 1].isText;
            if (left && k + 1 == cells[r].size()) b.append(cells[r][k]);
            else if (left) fmt::format_to(std::back_inserter(b), "{:<{}}", cells[r][k], width[k]);
            else fmt::format_to(std::back_inserter(b), "{:>{}}", cells[r][k], width[k]);
        }
        b.push_back('\n');
        if (b.size() > (1 << 16)) flush(out, b);
    }
    flush(out, b);
}

} // namespace fk::cli
