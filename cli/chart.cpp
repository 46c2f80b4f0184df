#include "cli/chart.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>

#include <fmt/format.h>

#include "calendar/date.h"
#include "cli/errors.h"
#include "cli/table.h"

namespace fk::cli {

namespace {

constexpr double kWidth = 1200, kLeft = 14, kRight = 84, kTop = 40, kAxis = 30, kGap = 10;
constexpr double kPricePane = 400, kPaneWithPanes = 340, kPane = 150;
constexpr double kMinBarPixels = 3; // narrower bars are drawn several to a candle
const char* const kUp = "#26a69a";
const char* const kDown = "#ef5350";
const char* const kPalette[] = {"#1f77b4", "#ff7f0e", "#9467bd", "#2ca02c", "#d62728", "#8c564b", "#e377c2", "#17becf"};

std::string escape(std::string_view s) {
    std::string r;
    for (char c : s) {
        switch (c) {
        case '&': r += "&amp;"; break;
        case '<': r += "&lt;"; break;
        case '>': r += "&gt;"; break;
        case '"': r += "&quot;"; break;
        default: r += c;
        }
    }
    return r;
}

bool present(double v, double fill) { return v != fill && std::isfinite(v); }

// Bars grouped into buckets, each drawn as one candle at one x position.
struct Buckets {
    std::size_t first, count, per; // per: bars in each bucket
    double plotW;
    std::size_t size() const { return (count + per - 1) / per; }
    std::size_t begin(std::size_t b) const { return first + b * per; }
    std::size_t end(std::size_t b) const { return std::min(first + (b + 1) * per, first + count); }
    double x(std::size_t b) const { return kLeft + (static_cast<double>(b) + 0.5) * plotW / static_cast<double>(size()); }
    double slot() const { return plotW / static_cast<double>(size()); }
};

struct Scale {
    double lo, hi, top, height;
    double y(double v) const { return top + height - (v - lo) / (hi - lo) * height; }
};

// Low and high of the values, padded; a flat or empty range gets room around it.
Scale scaleFor(double lo, double hi, double top, double height) {
    if (!(lo <= hi)) {
        lo = 0;
        hi = 1;
    }
    if (hi - lo < 1e-12 * std::max(1.0, std::fabs(hi))) {
        const double pad = lo == 0 ? 1 : std::fabs(lo) * 0.05;
        lo -= pad;
        hi += pad;
    }
    const double pad = (hi - lo) * 0.05;
    return {lo - pad, hi + pad, top, height};
}

// Round steps of 1, 2 or 5 times a power of ten, about `want` of them over the range.
std::vector<double> niceTicks(double lo, double hi, int want, double& step) {
    const double raw = (hi - lo) / want;
    const double mag = std::pow(10.0, std::floor(std::log10(raw)));
    step = mag;
    for (double m : {1.0, 2.0, 2.5, 5.0, 10.0})
        if (m * mag >= raw * 0.75) {
            step = m * mag;
            break;
        }
    std::vector<double> t;
    for (double v = std::ceil(lo / step) * step; v <= hi; v += step) t.push_back(std::fabs(v) < step * 1e-9 ? 0.0 : v);
    return t;
}

std::string tickLabel(double v, double step) {
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    if (std::fabs(v) >= 1e7 || (v != 0 && std::fabs(v) < 1e-4)) return fmt::format("{:.3g}", v);
    return fmt::format("{:.{}f}", v, decimals);
}

std::string valueLabel(double v) {
    if (std::fabs(v) < 1e15 && v == std::floor(v)) return fmt::format("{:.0f}", v);
    return fmt::format("{:.6g}", v);
}

const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct DateTick {
    std::size_t bucket;
    std::string label;
};

// Date ticks: the finest calendar step (years, quarters, months, weeks, days, hours ...) that
// leaves room for every label; the years thinned out when even they do not fit.
std::vector<DateTick> dateTicks(const BarData& bars, const Buckets& bk) {
    struct Mark {
        double dt;
        bool first, newYear, newDay;
    };
    struct Level {
        std::function<int64_t(double)> key;
        std::function<std::string(const Mark&)> label;
    };
    // days before year 1 have no date: their month is 0 and gets no name
    auto date = [](double dt) { return calendar::civilDate(calendar::floorToInt32(dt)); };
    auto year = [&](double dt) { return date(dt).year; };
    auto month = [&](double dt) { return date(dt).month; };
    auto monthName = [&](double dt) {
        const int32_t m = date(dt).month;
        return m >= 1 ? kMonths[m - 1] : "";
    };
    auto dayLabel = [&](double dt) { return fmt::format("{} {}", monthName(dt), date(dt).day); };
    auto monthLabel = [&](const Mark& k) {
        return k.first || k.newYear ? fmt::format("{} {}", monthName(k.dt), year(k.dt)) : std::string(monthName(k.dt));
    };
    auto minutes = [](double dt) { return static_cast<int64_t>(std::floor(dt)) * 1440 + calendar::MillisOfDay(dt) / 60000; };
    std::vector<Level> levels = {
        {[&](double dt) { return int64_t{year(dt)}; }, [&](const Mark& k) { return std::to_string(year(k.dt)); }},
        {[&](double dt) { return int64_t{year(dt)} * 4 + (month(dt) - 1) / 3; }, monthLabel},
        {[&](double dt) { return int64_t{year(dt)} * 12 + month(dt); }, monthLabel},
        // weeks start on Monday: day 2 (1 January 1900) was a Monday
        {[](double dt) { return static_cast<int64_t>(std::floor((std::floor(dt) - 2) / 7)); }, [&](const Mark& k) { return dayLabel(k.dt); }},
        {[](double dt) { return static_cast<int64_t>(std::floor(dt)); }, [&](const Mark& k) { return dayLabel(k.dt); }},
    };
    for (int step : {240, 120, 60, 30, 15, 5, 1})
        levels.push_back({[=](double dt) { return minutes(dt) / step; },
                          [=](const Mark& k) {
                              if (k.newDay) return dayLabel(k.dt);
                              const int32_t min = calendar::MillisOfDay(k.dt) / 60000;
                              return fmt::format("{:02}:{:02}", min / 60 % 24, min % 60);
                          }});

    const auto maxLabels = std::max<std::size_t>(2, static_cast<std::size_t>(bk.plotW / 90));
    std::vector<DateTick> best;
    for (const Level& lv : levels) {
        std::vector<DateTick> ticks;
        for (std::size_t b = 1; b < bk.size(); ++b) {
            const double prev = bars.dateTime[bk.begin(b - 1)], dt = bars.dateTime[bk.begin(b)];
            if (lv.key(dt) == lv.key(prev)) continue;
            const Mark k{dt, ticks.empty(), year(dt) != year(prev), std::floor(dt) != std::floor(prev)};
            ticks.push_back({b, lv.label(k)});
        }
        if (ticks.size() > maxLabels) {
            if (best.empty()) { // even the coarsest step is too fine: every n-th of its ticks
                const std::size_t every = (ticks.size() + maxLabels - 1) / maxLabels;
                for (std::size_t i = 0; i < ticks.size(); i += every) best.push_back(ticks[i]);
            }
            break;
        }
        best = std::move(ticks);
    }
    if (best.empty()) best.push_back({0, dayLabel(bars.dateTime[bk.first])});
    return best;
}

class Svg {
public:
    template <class... T>
    void add(fmt::format_string<T...> f, T&&... args) {
        fmt::format_to(std::back_inserter(b_), f, std::forward<T>(args)...);
    }
    std::string str() const { return fmt::to_string(b_); }

private:
    fmt::memory_buffer b_;
};

// A line through the values of each bucket's last bar; missing values leave gaps. A series
// of lone values (pivots, signals) is drawn as dots joined by a thin dashed line.
void drawLine(Svg& s, const Column& c, const Buckets& bk, const Scale& sc, const char* color) {
    std::vector<std::vector<std::pair<double, double>>> runs(1);
    for (std::size_t b = 0; b < bk.size(); ++b) {
        const double v = c.values[bk.end(b) - 1];
        if (present(v, c.fill)) runs.back().emplace_back(bk.x(b), sc.y(v));
        else if (!runs.back().empty()) runs.emplace_back();
    }
    std::size_t points = 0, lone = 0;
    for (const auto& r : runs) {
        points += r.size();
        lone += r.size() == 1;
    }
    auto pathOf = [](const std::vector<std::pair<double, double>>& pts, std::string& path) {
        for (std::size_t i = 0; i < pts.size(); ++i) path += fmt::format("{}{:.1f},{:.1f}", i ? "L" : "M", pts[i].first, pts[i].second);
    };
    if (points >= 2 && lone * 2 >= points) {
        std::vector<std::pair<double, double>> all;
        for (const auto& r : runs) all.insert(all.end(), r.begin(), r.end());
        std::string path;
        pathOf(all, path);
        s.add("<path d=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"1\" stroke-dasharray=\"4 3\"/>\n", path, color);
        for (const auto& [x, y] : all) s.add("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"3\" fill=\"{}\"/>\n", x, y, color);
        return;
    }
    std::string path;
    for (const auto& r : runs) {
        if (r.size() == 1) s.add("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"2\" fill=\"{}\"/>\n", r[0].first, r[0].second, color);
        else pathOf(r, path);
    }
    if (!path.empty())
        s.add("<path d=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"1.5\" stroke-linejoin=\"round\"/>\n", path, color);
}

void valueAxis(Svg& s, const Scale& sc, double plotRight) {
    double step = 1;
    for (double t : niceTicks(sc.lo, sc.hi, std::max(3, static_cast<int>(sc.height / 45)), step)) {
        const double y = sc.y(t);
        s.add("<line x1=\"{}\" x2=\"{}\" y1=\"{:.1f}\" y2=\"{:.1f}\" stroke=\"#e6e6e6\"/>\n", kLeft, plotRight, y, y);
        s.add("<text x=\"{}\" y=\"{:.1f}\" class=\"v\">{}</text>\n", plotRight + 6, y + 4, tickLabel(t, step));
    }
    if (sc.lo < 0 && sc.hi > 0)
        s.add("<line x1=\"{}\" x2=\"{}\" y1=\"{:.1f}\" y2=\"{:.1f}\" stroke=\"#999\" stroke-dasharray=\"4 3\"/>\n", kLeft,
              plotRight, sc.y(0), sc.y(0));
}

struct LegendItem {
    std::string color, text;
};

void legend(Svg& s, const std::vector<LegendItem>& items, double top) {
    double y = top + 16;
    for (const LegendItem& it : items) {
        const std::size_t chars = it.text.size();
        s.add("<rect x=\"{}\" y=\"{:.1f}\" width=\"{:.0f}\" height=\"16\" fill=\"white\" fill-opacity=\"0.8\"/>\n", kLeft + 4,
              y - 12, 24 + 6.6 * static_cast<double>(chars));
        s.add("<rect x=\"{}\" y=\"{:.1f}\" width=\"12\" height=\"3\" fill=\"{}\"/>\n", kLeft + 8, y - 5, it.color);
        s.add("<text x=\"{}\" y=\"{:.1f}\" class=\"l\">{}</text>\n", kLeft + 26, y, escape(it.text));
        y += 17;
    }
}

std::string lastValueText(const Column& c, std::size_t first, std::size_t end) {
    for (std::size_t i = end; i > first; --i)
        if (present(c.values[i - 1], c.fill)) return valueLabel(c.values[i - 1]);
    return "no value";
}

} // namespace

std::string renderChart(const BarData& bars, const ChartOptions& o) {
    const std::size_t n = bars.size();
    const std::size_t first = std::min(o.first, n);
    const double plotW = kWidth - kLeft - kRight, plotRight = kLeft + plotW;
    const double priceH = o.panes.empty() ? kPricePane : kPaneWithPanes;
    const double height = kTop + priceH + static_cast<double>(o.panes.size()) * (kPane + kGap) + kAxis;
    Svg s;
    s.add("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{}\" height=\"{}\" viewBox=\"0 0 {} {}\" "
          "font-family=\"DejaVu Sans, Arial, sans-serif\">\n",
          kWidth, height, kWidth, height);
    s.add("<style>.v{{font-size:11px;fill:#444}} .l{{font-size:12px;fill:#222}} .d{{font-size:11px;fill:#444;text-anchor:middle}} "
          ".t{{font-size:15px;fill:#111;font-weight:bold}}</style>\n");
    s.add("<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n");
    if (first >= n) {
        s.add("<text x=\"{}\" y=\"{}\" class=\"t\">{}: no bars</text>\n</svg>\n", kLeft, 26, escape(bars.source));
        return s.str();
    }
    const DateFormat df = dateFormatFor(bars.dateTime);
    s.add("<text x=\"{}\" y=\"24\" class=\"t\">{}  ({} bars, {} to {})</text>\n", kLeft,
          escape(std::filesystem::path(bars.source).filename().string()), n - first,
          formatDateTime(bars.dateTime[first], df.withTime, df.withSeconds),
          formatDateTime(bars.dateTime[n - 1], df.withTime, df.withSeconds));

    Buckets bk{first, n - first, 1, plotW};
    const auto maxBuckets = static_cast<std::size_t>(plotW / kMinBarPixels);
    if (bk.count > maxBuckets) bk.per = (bk.count + maxBuckets - 1) / maxBuckets;

    // Date grid over every pane.
    const double bottom = height - kAxis;
    for (const DateTick& t : dateTicks(bars, bk)) {
        const double x = bk.x(t.bucket) - bk.slot() / 2;
        s.add("<line x1=\"{:.1f}\" x2=\"{:.1f}\" y1=\"{}\" y2=\"{}\" stroke=\"#e6e6e6\"/>\n", x, x, kTop, bottom);
        s.add("<line x1=\"{:.1f}\" x2=\"{:.1f}\" y1=\"{}\" y2=\"{}\" stroke=\"#666\"/>\n", x, x, bottom, bottom + 4);
        s.add("<text x=\"{:.1f}\" y=\"{}\" class=\"d\">{}</text>\n", x, bottom + 17, escape(t.label));
    }

    // Prices: candles (a bucket of several bars is one candle from its first open to its last close).
    double lo = INFINITY, hi = -INFINITY;
    const double fill = -999999.0;
    for (std::size_t i = first; i < n; ++i)
        for (double v : {bars.low[i], bars.high[i], bars.close[i], bars.open[i]})
            if (present(v, fill)) {
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
    for (const Column& c : o.overlays)
        if (!c.isText)
            for (std::size_t i = first; i < n; ++i)
                if (present(c.values[i], c.fill)) {
                    lo = std::min(lo, c.values[i]);
                    hi = std::max(hi, c.values[i]);
                }
    const Scale price = scaleFor(lo, hi, kTop, priceH);
    valueAxis(s, price, plotRight);
    const double body = std::clamp(bk.slot() * 0.7, 1.0, 15.0);
    std::string closeLine;
    for (std::size_t b = 0; b < bk.size(); ++b) {
        double o1 = fill, c1 = fill, h1 = -INFINITY, l1 = INFINITY;
        for (std::size_t i = bk.begin(b); i < bk.end(b); ++i) {
            if (o1 == fill && present(bars.open[i], fill)) o1 = bars.open[i];
            if (present(bars.close[i], fill)) c1 = bars.close[i];
            for (double v : {bars.high[i], bars.low[i], bars.open[i], bars.close[i]})
                if (present(v, fill)) {
                    h1 = std::max(h1, v);
                    l1 = std::min(l1, v);
                }
        }
        if (c1 == fill) continue;
        const double x = bk.x(b);
        if (o1 == fill) { // closes only: a line
            closeLine += fmt::format("{}{:.1f},{:.1f}", closeLine.empty() ? "M" : "L", x, price.y(c1));
            continue;
        }
        const char* color = c1 >= o1 ? kUp : kDown;
        s.add("<line x1=\"{:.1f}\" x2=\"{:.1f}\" y1=\"{:.1f}\" y2=\"{:.1f}\" stroke=\"{}\"/>\n", x, x, price.y(h1), price.y(l1), color);
        const double top = price.y(std::max(o1, c1)), bot = price.y(std::min(o1, c1));
        s.add("<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" fill=\"{}\"/>\n", x - body / 2, top, body,
              std::max(1.0, bot - top), color);
    }
    if (!closeLine.empty()) s.add("<path d=\"{}\" fill=\"none\" stroke=\"#333\" stroke-width=\"1.2\"/>\n", closeLine);

    std::vector<LegendItem> items;
    items.push_back({kUp, fmt::format("Close {}", lastValueText(Column{"", false, "", bars.close, fill}, first, n))});
    std::size_t colorIndex = 0;
    for (const Column& c : o.overlays) {
        const char* color = kPalette[colorIndex++ % std::size(kPalette)];
        if (c.isText) {
            items.push_back({color, c.title + " = \"" + c.text + "\""});
            continue;
        }
        drawLine(s, c, bk, price, color);
        items.push_back({color, c.title + "  " + lastValueText(c, first, n)});
    }
    legend(s, items, kTop);
    s.add("<rect x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\" fill=\"none\" stroke=\"#888\"/>\n", kLeft, kTop, plotW, priceH);

    // One pane per expression.
    double top = kTop + priceH + kGap;
    for (const Column& c : o.panes) {
        const char* color = kPalette[colorIndex++ % std::size(kPalette)];
        if (c.isText) {
            s.add("<text x=\"{}\" y=\"{:.1f}\" class=\"l\" text-anchor=\"middle\">{} = \"{}\"</text>\n", kLeft + plotW / 2,
                  top + kPane / 2, escape(c.title), escape(c.text));
        } else {
            double plo = INFINITY, phi = -INFINITY;
            for (std::size_t i = first; i < n; ++i)
                if (present(c.values[i], c.fill)) {
                    plo = std::min(plo, c.values[i]);
                    phi = std::max(phi, c.values[i]);
                }
            const Scale sc = scaleFor(plo, phi, top, kPane);
            valueAxis(s, sc, plotRight);
            drawLine(s, c, bk, sc, color);
            legend(s, {{color, c.title + "  " + lastValueText(c, first, n)}}, top);
        }
        s.add("<rect x=\"{}\" y=\"{:.1f}\" width=\"{}\" height=\"{}\" fill=\"none\" stroke=\"#888\"/>\n", kLeft, top, plotW, kPane);
        top += kPane + kGap;
    }
    s.add("</svg>\n");
    return s.str();
}

void writeChart(const BarData& bars, const ChartOptions& o) {
    const std::string svg = renderChart(bars, o);
    std::FILE* f = std::fopen(o.path.c_str(), "wb");
    if (!f) throw UsageError(o.path + ": cannot write: " + std::strerror(errno));
    const bool ok = std::fwrite(svg.data(), 1, svg.size(), f) == svg.size();
    if (std::fclose(f) != 0 || !ok) throw UsageError(o.path + ": cannot write");
}

} // namespace fk::cli
