// File operations the C library lacks.
#pragma once
#include <cstdint>
#include <cstdio>

namespace fk::platform {

// Cuts an open file back to `size` bytes; false if the system refuses. The stream should hold no
// unwritten bytes (an unbuffered stream, or one just flushed).
bool truncateFile(std::FILE* f, int64_t size);

} // namespace fk::platform
