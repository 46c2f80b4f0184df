// Parsing of the market options' values (period, session times) and finding the bundled samples.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

namespace fk::cli {

// "daily", "weekly", "monthly", "quarterly", "yearly", "Nmin", or a period word such as
// 0x03000005 (top byte the kind, low 24 bits the value). Throws UsageError.
int32_t parsePeriod(std::string_view s);
// "HHMM" or "HH:MM" (0000 to 2400) as minutes after midnight; -1 when it is neither.
int parseClockMinutes(std::string_view s);
// "HHMM-HHMM": session start and inner session end in minutes. Throws UsageError.
void parseSession(std::string_view s, int& start, int& end);

// The path of a bundled sample ("daily" or "intraday"): looked for next to the executable, then
// in the source tree's data folder. Throws UsageError when it is in neither.
std::string samplePath(std::string_view name);

} // namespace fk::cli
