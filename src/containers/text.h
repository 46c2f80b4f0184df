// Text values: byte buffers of kind '$' that always end in a terminating zero.
#pragma once
#include <cstdint>
#include <string_view>

#include "containers/buffer.h"

namespace fk::text {

// A new empty text attached to `h`.
bool create(TextHandle& h);
// The characters as a zero-terminated string (an empty string for a handle without buffer).
// A text is read at the handle's offset.
const char* chars(const TextHandle& h);
int32_t length(const TextHandle& h);
inline std::string_view view(const TextHandle& h) { return {chars(h), static_cast<std::size_t>(length(h))}; }

// Append at most n bytes (n < 0: all of a zero-terminated string).
void appendText(TextHandle& target, const TextHandle& source, int32_t n = INT32_MAX);
void appendString(TextHandle& target, const char* s, int32_t n = -1);
// Empty the target, then append.
void assignText(TextHandle& target, const TextHandle& source, int32_t n = INT32_MAX);
void assignString(TextHandle& target, const char* s, int32_t n = -1);
// Append raw bytes (may hold any byte value).
void appendBytes(TextHandle& target, const char* bytes, int32_t n);

} // namespace fk::text
