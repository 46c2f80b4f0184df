// Bars read from a CSV file, and the date-time numbers of bars (whole days from 30 December 1899
// plus the fraction of the day).
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fk::cli {

struct BarData {
    std::string source; // the file the bars came from
    std::vector<double> dateTime, open, high, low, close, volume;
    struct Column {
        std::string name; // as in the header
        std::vector<double> values;
    };
    std::vector<Column> extra; // further numeric columns, in file order
    std::size_t size() const { return dateTime.size(); }
};

// Reads a bars file. Header names are matched without regard to case: Date (or DateTime),
// an optional Time, Open, High, Low, Close, Volume; any further column becomes a named series.
// An empty cell is a missing value (the standard fill value). A file newest first is turned
// around. Throws UsageError naming the file and line.
BarData loadBars(const std::string& path);
BarData parseBars(std::string_view content, const std::string& source);

// "YYYY-MM-DD[ HH:MM[:SS]]" or a plain date-time number; false when it is neither.
bool parseDateTime(std::string_view s, double& out);
// YYYY-MM-DD, with " HH:MM" when withTime and ":SS" when withSeconds; written into `out`
// (kDateTimeChars bytes at least), the length returned.
inline constexpr std::size_t kDateTimeChars = 40;
std::size_t writeDateTime(char* out, double dt, bool withTime, bool withSeconds);
std::string formatDateTime(double dt, bool withTime, bool withSeconds);

// Period word that suits the bars: N minutes for intraday bars, else daily, weekly or monthly.
int32_t guessPeriod(const std::vector<double>& dateTime);

} // namespace fk::cli
