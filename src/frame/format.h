// printf-style formatting into a text, with the library's own "F" conversion: fixed point
// without trailing zeros ("%F" of 2.5 prints 2.5, "%8F" of 1.25 prints "    1.25").
#pragma once
#include <cstdarg>

#include "containers/buffer.h"

namespace fk {

// Print into `target` (emptied first unless `append`). sizeHint <= 0 means 250.
void formatText(TextHandle& target, va_list args, int sizeHint, const char* format, bool append);

// The writers behind every message: replace the text, or add to its end. A text that may
// not be written (read-only, owner-only, copy failed) is left alone.
TextHandle& writeError(TextHandle& target, const char* format, ...)
#ifdef __GNUC__
    __attribute__((format(printf, 2, 3)))
#endif
    ;
TextHandle& appendError(TextHandle& target, const char* format, ...)
#ifdef __GNUC__
    __attribute__((format(printf, 2, 3)))
#endif
    ;

} // namespace fk
