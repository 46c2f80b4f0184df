// Draws the bars as candlesticks with the evaluated expressions, as an SVG picture: one pane per
// expression below the prices, overlays drawn over them, dates and values on the axes.
#pragma once
#include <string>
#include <vector>

#include "cli/bars.h"
#include "cli/evaluate.h"

namespace fk::cli {

struct ChartOptions {
    std::string path;              // the SVG file
    std::size_t first = 0;         // the first bar drawn; the last bar is always the last
    std::vector<Column> panes;     // one pane each
    std::vector<Column> overlays;  // over the prices
};

// Throws UsageError when the file cannot be written.
void writeChart(const BarData& bars, const ChartOptions& options);
// The SVG text itself.
std::string renderChart(const BarData& bars, const ChartOptions& options);

} // namespace fk::cli
