// The chart's drawing decisions: gaps at missing values, lone values as dots, candles grouped when
// bars outnumber the pixels, date labels, and texts that need escaping.
#include <gtest/gtest.h>

#include <algorithm>

#include "cli/chart.h"

using namespace fk::cli;

namespace {

BarData daily(std::size_t n) {
    BarData b;
    b.source = "dir/sample.csv";
    for (std::size_t i = 0; i < n; ++i) {
        const double p = 100 + static_cast<double>(i % 7);
        b.dateTime.push_back(dayNumber(2024, 1, 1) + static_cast<double>(i));
        b.open.push_back(p);
        b.high.push_back(p + 2);
        b.low.push_back(p - 2);
        b.close.push_back(i % 2 ? p + 1 : p - 1);
        b.volume.push_back(1000);
    }
    return b;
}

Column column(const std::string& title, std::vector<double> v) {
    Column c;
    c.title = title;
    c.values = std::move(v);
    return c;
}

std::size_t count(const std::string& s, const std::string& what) {
    std::size_t n = 0;
    for (std::size_t at = s.find(what); at != std::string::npos; at = s.find(what, at + 1)) ++n;
    return n;
}

// Each candle has one wick, in the colour of its direction.
std::size_t candles(const std::string& svg) { return count(svg, "stroke=\"#26a69a\"") + count(svg, "stroke=\"#ef5350\""); }

// The d attribute of the n-th path.
std::string pathData(const std::string& svg, std::size_t n) {
    std::size_t at = 0;
    for (std::size_t i = 0; i <= n; ++i) at = svg.find("<path d=\"", at) + 9;
    return svg.substr(at, svg.find('"', at) - at);
}

TEST(Chart, GapsDotsAndLegends) {
    const double F = -999999.0;
    ChartOptions o;
    o.panes.push_back(column("A<B & \"C\"", {1, 2, F, F, 3, 4, 5, F, 6, F}));
    o.overlays.push_back(column("Pivots", {F, 101, F, F, F, 104, F, F, 102, F}));
    const std::string svg = renderChart(daily(10), o);
    EXPECT_EQ(svg.rfind("<svg", 0), 0u);
    EXPECT_NE(svg.find("sample.csv  (10 bars, 2024-01-01 to 2024-01-10)"), std::string::npos);
    EXPECT_NE(svg.find(">A&lt;B &amp; &quot;C&quot;  6</text>"), std::string::npos); // legend with the last value
    EXPECT_NE(svg.find(">Pivots  102</text>"), std::string::npos);
    EXPECT_EQ(candles(svg), 10u);
    // the pivots: three dots joined by one dashed path
    const std::string pivots = pathData(svg, 0);
    EXPECT_EQ(count(pivots, "M"), 1u);
    EXPECT_EQ(count(pivots, "L"), 2u);
    EXPECT_EQ(count(svg, "r=\"3\""), 3u);
    // the pane: runs of 2 and 3 values, a lone value as a dot
    const std::string pane = pathData(svg, 1);
    EXPECT_EQ(count(pane, "M"), 2u);
    EXPECT_EQ(count(pane, "L"), 1u + 2u);
    EXPECT_EQ(count(svg, "r=\"2\""), 1u);
}

TEST(Chart, ManyBarsShareCandlesAndDatesAreLabelled) {
    const BarData b = daily(5000);
    ChartOptions o;
    const std::string svg = renderChart(b, o);
    EXPECT_LE(candles(svg), 400u);
    EXPECT_GE(candles(svg), 300u);
    EXPECT_NE(svg.find(">2031</text>"), std::string::npos); // every second year at this span
    o.first = 5000 - 300; // 2036-11-12 to 2037-09-08
    const std::string months = renderChart(b, o);
    EXPECT_EQ(candles(months), 300u);
    EXPECT_NE(months.find("class=\"d\">Jan 2037</text>"), std::string::npos);
    EXPECT_NE(months.find("class=\"d\">Mar</text>"), std::string::npos);
}

} // namespace
