#include "mathstat/text_functions.h"

#include <algorithm>
#include <cstring>

#include "containers/series.h"
#include "containers/text.h"
#include "frame/format.h"

namespace fk::mathstat {

namespace {

bool isOneOf(char c, std::string_view set) { return set.find(c) != std::string_view::npos; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
int lower(unsigned char c) { return c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c; }

// A single result over every bar the Return Value already has (at least one).
void setResult(SeriesHandle& out, double v) { series::setConstantNumber(out, v, std::max(series::count(out), 1)); }

} // namespace

StatusCode convertToBoolean(SeriesHandle* out, SeriesHandle& in) {
    if (!out || series::count(in) == 0) return kTooFewBars;
    buffers::assign(*out, in);
    return kOk;
}

StatusCode convertToConstant(SeriesHandle* out, const SeriesHandle& in) {
    if (!out || series::count(in) == 0) return kTooFewBars;
    series::setConstantNumber(*out, series::number(in, 0), 1);
    return kOk;
}

std::string numberFormat(std::string_view format) {
    std::string out;
    bool used = false;
    std::size_t i = 0;
    while (i < format.size()) {
        if (format[i] != '%') {
            out += format[i++];
            continue;
        }
        if (i + 1 < format.size() && format[i + 1] == '%') {
            out += "%%";
            i += 2;
            continue;
        }
        // flags, width, precision and length letters, then the conversion letter
        std::string conversion = "%";
        std::size_t j = i + 1;
        while (j < format.size() && isOneOf(format[j], "-+ #0")) conversion += format[j++];
        while (j < format.size() && isDigit(format[j])) conversion += format[j++];
        if (j < format.size() && format[j] == '.') {
            conversion += format[j++];
            while (j < format.size() && isDigit(format[j])) conversion += format[j++];
        }
        while (j < format.size() && isOneOf(format[j], "hlLIqjzt")) ++j; // nothing to a double
        if (!used && j < format.size() && isOneOf(format[j], "fFeEgGaA")) {
            out += conversion;
            out += format[j];
            used = true;
            i = j + 1;
        } else {
            out += "%%";
            ++i;
        }
    }
    return out;
}

StatusCode convertToString(TextHandle& out, double value, const TextHandle& format) {
    if (!out.buffer || out.buffer->kind != kKindText) return kTooFewBars;
    if (value == kMissing) {
        text::assignString(out, "");
        return kOk;
    }
    const std::string_view given = text::view(format);
    const std::string safe = given.empty() ? std::string("%F") : numberFormat(given);
    writeError(out, safe.c_str(), value);
    return kOk;
}

int compareTexts(std::string_view a, std::string_view b) {
    if (a.empty()) return b.empty() ? 0 : -1;
    if (b.empty()) return 1;
    // the shorter text's terminating zero takes part, so a text sorts before its extensions
    const std::size_t n = std::min(a.size(), b.size()) + 1;
    for (std::size_t i = 0; i < n; ++i) {
        const int c = lower(static_cast<unsigned char>(a.data()[i]));
        const int d = lower(static_cast<unsigned char>(b.data()[i]));
        if (c != d) return c < d ? -1 : 1;
        if (c == 0) break;
    }
    return 0;
}

StatusCode strCmp(SeriesHandle& out, const TextHandle& a, const TextHandle& b) {
    setResult(out, compareTexts(text::view(a), text::view(b)));
    return kOk;
}

int32_t findText(const char* searched, const char* sought) {
    const char* at = std::strstr(searched, sought);
    return at ? static_cast<int32_t>(at - searched) + 1 : 0;
}

StatusCode inStr(SeriesHandle& out, const TextHandle& searched, const TextHandle& sought) {
    setResult(out, findText(text::chars(searched), text::chars(sought)));
    return kOk;
}

StatusCode ifElse(SeriesHandle& out, SeriesHandle& condition, SeriesHandle& whenTrue, SeriesHandle& whenFalse,
                  int32_t startBar) {
    const series::NumberView c0(&condition);
    if (c0.constant()) {
        // one branch for every bar: share it
        buffers::assign(out, c0.constantValue() != 0 ? whenTrue : whenFalse);
        return kOk;
    }
    const int32_t n = series::count(condition);
    if (startBar >= n) return kOk;
    series::NumberOut o(&out, n);
    const series::NumberView c(&condition), t(&whenTrue), f(&whenFalse);
    const double missing = c.fill();
    for (int32_t i = startBar; i < n; ++i) {
        const double v = c[i];
        o.set(i, v == missing ? missing : v != 0 ? t[i] : f[i]);
    }
    return kOk;
}

} // namespace fk::mathstat
