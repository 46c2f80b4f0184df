// Writes evaluated columns as a CSV table (or aligned for reading), one row per bar, oldest first.
#pragma once
#include <cstdio>
#include <string>
#include <vector>

#include "cli/bars.h"
#include "cli/evaluate.h"

namespace fk::cli {

struct TableOptions {
    bool raw = false;       // 17 significant digits, fill values printed as numbers
    std::size_t tail = 0;   // only the last rows; 0: all
    bool aligned = false;   // columns padded with spaces instead of CSV
};

// The range of bars shown: [first, bars.size()).
std::size_t firstShownRow(std::size_t bars, std::size_t tail);

// A number as a cell: empty for the fill value (unless raw), else up to 10 (raw: 17)
// significant digits.
std::string formatCell(double v, double fill, bool raw);

// The Date column's format, chosen once for all bars: time of day and seconds only where needed.
struct DateFormat {
    bool withTime = false, withSeconds = false;
};
DateFormat dateFormatFor(const std::vector<double>& dateTime);

void writeTable(std::FILE* out, const BarData& bars, const std::vector<Column>& columns, const TableOptions& options);

} // namespace fk::cli
