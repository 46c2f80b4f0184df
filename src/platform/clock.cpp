#include "platform/clock.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <time.h>
#endif

namespace fk::platform {

#ifdef _WIN32
double monotonicSeconds() {
    LARGE_INTEGER frequency, now;
    if (!QueryPerformanceFrequency(&frequency) || frequency.QuadPart == 0) return 0.0;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}
uint64_t performanceCounter() {
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<uint64_t>(now.QuadPart);
}
#else
double monotonicSeconds() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}
uint64_t performanceCounter() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}
#endif

} // namespace fk::platform
