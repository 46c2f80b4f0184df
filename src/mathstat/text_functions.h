// Conversions between value kinds, and the text functions.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "containers/buffer.h"
#include "frame/status.h"

namespace fk::mathstat {

// The Return Value shares the input's series (out is null when the host gave no handle).
StatusCode convertToBoolean(SeriesHandle* out, SeriesHandle& in);
// The Return Value becomes a constant holding the input's element 0.
StatusCode convertToConstant(SeriesHandle* out, const SeriesHandle& in);
// The number as text: through `format` when it is not empty, else "%F"; the missing value gives "".
StatusCode convertToString(TextHandle& out, double value, const TextHandle& format);
// A caller's format made safe to print one number with: its first floating-point conversion is
// kept, every other conversion is printed as it is written.
std::string numberFormat(std::string_view format);

// Case-insensitive comparison: -1, 0 or 1; an empty text sorts before every other.
int compareTexts(std::string_view a, std::string_view b);
StatusCode strCmp(SeriesHandle& out, const TextHandle& a, const TextHandle& b);
// 1-based position of the first occurrence of `sought` in `searched` (1 for an empty one), or 0.
int32_t findText(const char* searched, const char* sought);
StatusCode inStr(SeriesHandle& out, const TextHandle& searched, const TextHandle& sought);

StatusCode ifElse(SeriesHandle& out, SeriesHandle& condition, SeriesHandle& whenTrue, SeriesHandle& whenFalse,
                  int32_t startBar);

} // namespace fk::mathstat
