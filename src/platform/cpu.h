// What the processor offers beyond the baseline the library is built for.
#pragma once

namespace fk::platform {

// Whether the processor has the 256-bit vectors (AVX2).
bool wideVectors();

} // namespace fk::platform
