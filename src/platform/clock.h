// A clock that never goes back, for pacing work that is redone now and then.
#pragma once

namespace fk::platform {

// Seconds since an arbitrary fixed point (boot, on most systems).
double monotonicSeconds();

} // namespace fk::platform
