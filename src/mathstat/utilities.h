// Rolling statistics and utilities: the significance of a rolling regression slope, a
// reproducible pseudo-random series, and bar lines written to a file.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::utilities {

// The least-squares slope through the last N present values against their positions: its t
// statistic (selector 0), two-sided p-value (1) or confidence in percent (2). Checks: no input
// elements kTooFewBars; N below 3, selector outside 0..2 kDomainError.
StatusCode lineSignificance(SeriesHandle& out, const SeriesHandle& x, double length, double selector,
                            int32_t start);
// Probability that |T| exceeds |t| for Student's T with nu (1 or more) degrees of freedom.
double studentTwoSided(double t, int32_t nu);

// The mixing of the counter-based generator: the value for bar i is mix(seed + (i + 1) x gamma).
uint64_t splitMix(uint64_t z);
// The seed word of a seed Number other than 0 or NaN: its truncation, held to 64 signed bits.
uint64_t seedWord(double seed);
// u x R[i] on each bar from the start bar, u uniform in [0, 1) from the seed word and the bar
// alone. No Return Value buffer or no range elements: kTooFewBars.
StatusCode randomSeries(SeriesHandle& out, const SeriesHandle& range, uint64_t seed, int32_t start);

// Lines of a market's bars and a value per bar appended to, or written over, a file.
enum class DumpStyle { date, dateTime };
struct DumpResult {
    StatusCode status;
    int32_t lines;  // lines written
};
// Writes the lines of bars from..last (a bar without a Close has none) to `path`, appending or
// truncating; on failure kDomainError with a message naming `who` in `error`, and a file that
// was written to cut back to what it held before.
DumpResult dumpBars(const BarRecord& market, const SeriesHandle& value, const char* path, bool append,
                    int32_t from, DumpStyle style, const char* who, TextHandle& error);

} // namespace fk::utilities
