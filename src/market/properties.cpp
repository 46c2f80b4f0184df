#include "market/properties.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "calendar/date.h"
#include "containers/series.h"
#include "containers/text.h"
#include "market/bar_record.h"

namespace fk {

namespace {

double flag(bool set) { return set ? -1.0 : 0.0; }

bool bit(uint8_t byte, int n) { return (byte >> n & 1) != 0; }

} // namespace

double numericProperty(const BarRecord& m, int32_t number) {
    switch (number) {
    case 1: return m.prop1;
    case 2: return flag(m.prop2 != 0);
    case 3: return m.tickSize;
    case 4: return m.tickValue;
    case 5: return m.minMoveFactor;
    case 6: return m.prop6;
    case 7: return m.prop7;
    case 8: return m.prop8;
    case 9: return m.prop9;
    case 10: return m.periodWord;
    case 11: return static_cast<int32_t>(static_cast<uint32_t>(m.periodWord) & 0xFF000000u);
    case 12: return m.periodWord & 0xFFFFFF;
    case 13: return m.prop13;
    case 14: return m.prop14;
    case 15: return flag(m.prop15 != 0);
    case 16: return m.offsetMinutes / 60.0 + m.offsetHours;
    case 17: return m.prop17;
    case 18: return m.dayEnd;
    case 19: return m.sessionStart;
    case 20: return m.sessionEnd;
    case 21: return m.prop21;
    case 22: return m.prop22;
    case 23: return m.prop23;
    case 24: return flag(bit(m.flags, 0));
    case 25: return flag(bit(m.flags, 7));
    case 26: return m.prop26;
    case 27: return flag(bit(m.flags, 6));
    case 28: return m.prop28 >= 0 ? m.prop28 : m.prop28 * -100.0;
    case 29: return flag(text::chars(m.source)[0] == '*');
    case 30: return flag(bit(m.flags, 5));
    case 31: return flag(bit(m.flags, 4));
    case 32: return m.session2Start;
    case 33: return m.session2End;
    case 34: return bit(m.flags, 3) ? 1.0 : 0.0;
    case 99: return static_cast<int32_t>(reinterpret_cast<uintptr_t>(m.holidays));
    default: return 0.0;
    }
}

PeriodText periodDescription(int32_t periodWord) {
    PeriodText p{};
    char* s = p.text;
    const std::size_t size = sizeof p.text;
    const uint32_t kind = static_cast<uint32_t>(periodWord) >> 24;
    const int n = periodWord & 0xFFFFFF;
    // "%d days" and its kin: the name alone for one period
    auto plural = [&](const char* one, const char* many) {
        if (n < 2) std::snprintf(s, size, "%s", one);
        else std::snprintf(s, size, many, n);
    };
    // a value packed with a second number above `unit`: "%d/%d name", else "%d name"
    auto packed = [&](int unit, const char* name) {
        const int k = n / unit;
        if (k >= 1) std::snprintf(s, size, "%d/%d %s", n % unit, k, name);
        else std::snprintf(s, size, "%d %s", n, name);
    };
    switch (kind) {
    case 0x01: std::snprintf(s, size, "EachTick"); break;
    case 0x02: std::snprintf(s, size, "%d trades", n); break;
    case 0x03: std::snprintf(s, size, "%d minute", n); break;
    case 0x04: {
        if (n < 1) {
            std::snprintf(s, size, "Undefined");
            break;
        }
        const int k = n / 10000;
        if (k != 30) std::snprintf(s, size, "%d/%d/%d smp", (n - 10000 * k) / 100, n % 100, k);
        else std::snprintf(s, size, "%d/%d smp", (n - 10000 * k) / 100, n % 100);
        break;
    }
    case 0x05: std::snprintf(s, size, "%d tick breakout", n % 10000); break;
    case 0x06: packed(10000, "renko"); break;
    case 0x07: std::snprintf(s, size, "%d kagi", n % 10000); break;
    case 0x08: packed(100000, "p&f"); break;
    case 0x09: std::snprintf(s, size, "%d vol", n); break;
    case 0x11: plural("Daily", "%d days"); break;
    case 0x12: plural("Weekly", "%d weeks"); break;
    case 0x13: plural("Monthly", "%d months"); break;
    case 0x14: plural("Quarterly", "%d qtrs"); break;
    case 0x15: plural("Yearly", "%d years"); break;
    case 0x16: std::snprintf(s, size, "%d renko*", n % 100000); break;
    case 0x17: std::snprintf(s, size, "%d kagi*", n % 100000); break;
    case 0x18: packed(100000, "p&f*"); break;
    case 0x19: std::snprintf(s, size, "%dk vol", n); break;
    case 0x20: std::snprintf(s, size, "%d tick breakout*", n % 100000); break;
    default: std::snprintf(s, size, "Undefined"); break;
    }
    return p;
}

ContractSymbol parseContractSymbol(std::string_view symbol, int32_t referenceYear) {
    auto alnum = [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
    auto digit = [](char c) { return c >= '0' && c <= '9'; };
    std::size_t from = 0;
    while (from < symbol.size() && !alnum(symbol[from])) ++from;
    std::size_t to = from;
    while (to < symbol.size() && alnum(symbol[to])) ++to;
    std::string body(symbol.substr(from, to - from));
    for (char& c : body)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');

    ContractSymbol result;
    std::size_t digits = 0;
    while (digits < body.size() && digits < 5 && digit(body[body.size() - 1 - digits])) ++digits;
    static const char kMonths[] = "FGHJKMNQUVXZ";
    const std::size_t letterAt = body.size() - digits - 1;
    const char* month = digits >= 1 && digits <= 4 && body.size() >= digits + 2
                            ? std::strchr(kMonths, body[letterAt])
                            : nullptr;
    if (!month) {
        result.root = std::move(body);
        return result;
    }
    int32_t y = 0;
    for (std::size_t k = letterAt + 1; k < body.size(); ++k) y = y * 10 + (body[k] - '0');
    if (digits == 4) {
        result.year = y;
    } else if (digits == 3) {
        result.year = 1900 + y;
    } else {
        const int32_t unit = digits == 1 ? 10 : 100;
        const int32_t r = referenceYear;
        int32_t year = r - (r % unit) + y;
        if (year < r) year += unit;
        result.year = year;
    }
    result.month = static_cast<int32_t>(month - kMonths) + 1;
    result.root = body.substr(0, letterAt);
    return result;
}

namespace {

// The year of the market's last bar, the reference for one- and two-digit contract years.
int32_t referenceYear(const BarRecord& m) {
    if (m.barCount < 1) return 2000;
    const double last = series::number(m.dateTime, m.barCount - 1);
    if (last == series::fillValue(m.dateTime)) return 2000;
    return calendar::DateFromDayNumber(calendar::floorToInt32(last)).year;
}

} // namespace

void stringProperty(const BarRecord& m, int32_t code, TextHandle& out) {
    char buffer[64] = {};
    const TextHandle* field = nullptr;
    const TextHandle currency{m.currencyText, 0};
    switch (code) {
    case 13: {
        const int s = m.sessionStart;
        if (s >= 0 && s <= 1439) std::snprintf(buffer, sizeof buffer, "%02d:%02d", s / 60, s % 60);
        else std::snprintf(buffer, sizeof buffer, "%d", s);
        break;
    }
    case 101: field = &m.symbol; break;
    case 102: field = &m.description; break;
    case 103: field = &m.exchange; break;
    case 104: field = &m.source; break;
    case 105: std::memcpy(buffer, periodDescription(m.periodWord).text, sizeof(PeriodText::text)); break;
    case 106:
    case 107:
    case 108: {
        const ContractSymbol c = parseContractSymbol(text::view(m.symbol), referenceYear(m));
        if (code == 106) {
            text::assignString(out, c.root.c_str(), static_cast<int32_t>(c.root.size()));
            return;
        }
        if (c.dated() && code == 107) std::snprintf(buffer, sizeof buffer, "%c%04d", "FGHJKMNQUVXZ"[c.month - 1], c.year);
        if (c.dated() && code == 108) std::snprintf(buffer, sizeof buffer, "%04d%02d", c.year, c.month);
        break;
    }
    case 109: field = &currency; break;
    case 110: field = &m.zone; break;
    default: break;
    }
    if (field) text::assignText(out, *field);
    else text::assignString(out, buffer);
}

} // namespace fk
