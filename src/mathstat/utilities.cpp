#include "mathstat/utilities.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "calendar/date.h"
#include "containers/series.h"
#include "frame/format.h"
#include "frame/whole_number.h"
#include "indicators/ranks.h"
#include "market/market_view.h"
#include "mathstat/element_ops.h"
#include "platform/file.h"

namespace fk::utilities {

namespace {
constexpr double kPi = 3.14159265358979323846;
constexpr double kLargestT = 999999.0;
} // namespace

double studentTwoSided(double t, int32_t nu) {
    const double theta = std::atan(std::fabs(t) / std::sqrt(static_cast<double>(nu)));
    const double sn = std::sin(theta), cs = std::cos(theta), cs2 = cs * cs;
    double a;
    if (nu == 1) {
        a = 2.0 * theta / kPi;
    } else if (nu % 2 == 1) {
        double term = cs, sum = cs;
        for (int32_t j = 1; j <= (nu - 3) / 2; ++j) {
            term = term * cs2 * (2.0 * j) / (2.0 * j + 1.0);
            sum = sum + term;
        }
        a = (2.0 / kPi) * (theta + sn * sum);
    } else {
        double term = 1.0, sum = 1.0;
        for (int32_t j = 1; j <= (nu - 2) / 2; ++j) {
            term = term * cs2 * (2.0 * j - 1.0) / (2.0 * j);
            sum = sum + term;
        }
        a = sn * sum;
    }
    const double p = 1.0 - a;
    return p < 0 ? 0.0 : p > 1 ? 1.0 : p;
}

StatusCode lineSignificance(SeriesHandle& out, const SeriesHandle& x, double length, double selector,
                            int32_t start) {
    if (series::count(x) == 0) return kTooFewBars;
    int32_t n, sel;
    if (!roundedCount(length, n) || n < 3) return kDomainError;
    if (!truncatedCount(selector, sel) || sel < 0 || sel > 2) return kDomainError;
    const double xm = (n - 1) / 2.0;
    // (only a window that can fill needs it: a length of two billion would take seconds)
    double sxx = 0;
    if (n <= series::count(x))
        for (int32_t t = 0; t < n; ++t) sxx += (t - xm) * (t - xm);
    // The sums are taken again over each window: running sums of raw values would lose the
    // precision that the perfect-line test needs.
    return ranks::eachWindow(out, x, n, start, [=](const ranks::OrderedWindow& w, double) {
        double sum = 0;
        w.eachInOrder([&](int32_t, double y) { sum += y; });
        const double ym = sum / n;
        double sxy = 0, syy = 0;
        w.eachInOrder([&](int32_t t, double y) {
            const double dy = y - ym;
            sxy += (t - xm) * dy;
            syy += dy * dy;
        });
        const double b = sxy / sxx;
        double sse = syy - sxy * sxy / sxx;
        if (sse < 0) sse = 0;
        double tv;
        if (syy == 0) tv = 0;
        else if (sse <= 1e-12 * syy) tv = b > 0 ? kLargestT : b < 0 ? -kLargestT : 0.0;
        else tv = std::fmax(-kLargestT, std::fmin(kLargestT, b / std::sqrt(sse / ((n - 2) * sxx))));
        if (sel == 0) return tv;
        const double p = studentTwoSided(tv, n - 2);
        return sel == 1 ? p : 100.0 * (1.0 - p);
    });
}

uint64_t splitMix(uint64_t z) {
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

uint64_t seedWord(double seed) {
    const double t = std::trunc(seed);
    if (t >= 9223372036854775808.0) return 0x7FFFFFFFFFFFFFFFull;
    if (t <= -9223372036854775808.0) return 0x8000000000000000ull;
    return static_cast<uint64_t>(static_cast<int64_t>(t));
}

StatusCode randomSeries(SeriesHandle& outH, const SeriesHandle& rangeH, uint64_t seed, int32_t start) {
    int32_t n = series::count(rangeH);
    if (!outH.buffer || n == 0) return kTooFewBars;
    {
        const series::NumberView r(&rangeH);
        if (r.constant() && series::count(outH) > n) n = series::count(outH);
    }
    mathstat::resizeNumbers(outH, n);
    series::NumberOut out(&outH, n);
    const series::NumberView r(&rangeH);
    const double missing = r.fill(), fill = out.fill();
    const bool holes = missing != 0;
    for (int32_t i = start; i < n; ++i) {
        const double range = r[i];
        if (holes && range == missing) {
            out.set(i, fill);
            continue;
        }
        const uint64_t z = splitMix(seed + static_cast<uint64_t>(i + 1) * 0x9E3779B97F4A7C15ull);
        const double u = static_cast<double>(z >> 11) * 0x1.0p-53;
        out.set(i, u * range);
    }
    return kOk;
}

namespace {

constexpr size_t kDumpBlock = 1 << 16;
constexpr size_t kMaxLine = 1536; // a line of four prices as large as a double can be fits

// Some runtimes print three exponent digits for %g; the lines always carry at least two, as the
// C standard prescribes.
void twoDigitExponents(char* s) {
    for (char* e = std::strchr(s, 'e'); e; e = std::strchr(e + 1, 'e')) {
        char* d = e + 1;
        if ((*d == '+' || *d == '-') && d[1] == '0' && d[2] >= '0' && d[2] <= '9' && d[3] >= '0' && d[3] <= '9')
            std::memmove(d + 1, d + 2, std::strlen(d + 2) + 1);
    }
}

} // namespace

DumpResult dumpBars(const BarRecord& market, const SeriesHandle& valueH, const char* path, bool append,
                    int32_t from, DumpStyle style, const char* who, TextHandle& error) {
    std::FILE* f = std::fopen(path, append ? "ab" : "wb");
    if (!f) {
        writeError(error, "%s: cannot open file \"%s\".", who, path);
        return {kDomainError, 0};
    }
    // The lines go out in blocks of our own from an unbuffered stream, so that after a failed
    // write nothing is left waiting, and the file can be cut back to what it held before.
    std::setvbuf(f, nullptr, _IONBF, 0);
    long origin = 0;
    if (append && (std::fseek(f, 0, SEEK_END) != 0 || (origin = std::ftell(f)) < 0)) origin = -1;
    const MarketView m(market);
    const series::NumberView value(&valueH);
    std::vector<char> block(kDumpBlock);
    size_t used = 0;
    int32_t lines = 0;
    bool ok = origin >= 0;
    auto flush = [&] {
        ok = ok && std::fwrite(block.data(), 1, used, f) == used;
        used = 0;
    };
    for (int32_t i = from < 0 ? 0 : from; i < m.bars && ok; ++i) {
        if (!m.present(i)) continue;
        if (kDumpBlock - used < kMaxLine) flush();
        char* line = block.data() + used;
        const double stamp = m.dateTime[i];
        const calendar::Date d = calendar::DateFromDayNumber(calendar::truncToInt32(stamp));
        int len;
        if (style == DumpStyle::date) {
            len = std::snprintf(line, kMaxLine, "%4i-%02i-%02i, %5f,%5f,%5f,%5f, %g\n", d.year, d.month, d.day,
                                m.open[i], m.high[i], m.low[i], m.close[i], value[i]);
        } else {
            const int32_t ms = calendar::MillisOfDay(stamp);
            len = std::snprintf(line, kMaxLine, "%4i-%02i-%02i %02i:%02i:%02i, %5f,%5f,%5f,%5f, %g\n", d.year,
                                d.month, d.day, ms / 3600000, (ms / 60000) % 60, (ms / 1000) % 60, m.open[i],
                                m.high[i], m.low[i], m.close[i], value[i]);
        }
        if (len < 0 || len >= static_cast<int>(kMaxLine)) {
            ok = false;
            break;
        }
        twoDigitExponents(line);
        used += std::strlen(line);
        ++lines;
    }
    flush();
    if (!ok && origin >= 0) platform::truncateFile(f, origin);
    if (std::fclose(f) != 0) ok = false;
    if (!ok) {
        writeError(error, "%s: cannot write file \"%s\".", who, path);
        return {kDomainError, 0};
    }
    return {kOk, lines};
}

} // namespace fk::utilities
