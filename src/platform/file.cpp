#include "platform/file.h"

#ifdef _WIN32
#include <io.h>
#else
#include <sys/types.h>
#include <unistd.h>
#endif

namespace fk::platform {

bool truncateFile(std::FILE* f, int64_t size) {
#ifdef _WIN32
    return _chsize_s(_fileno(f), size) == 0;
#else
    return ftruncate(fileno(f), static_cast<off_t>(size)) == 0;
#endif
}

} // namespace fk::platform
