// A clock that never goes back, for pacing work that is redone now and then.
#pragma once
#include <cstdint>

namespace fk::platform {

// Seconds since an arbitrary fixed point (boot, on most systems).
double monotonicSeconds();

// The raw reading of the high-resolution counter, for seeding.
uint64_t performanceCounter();

} // namespace fk::platform
