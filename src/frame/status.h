// Status codes that exports return to the host.
#pragma once
#include <cstdint>

namespace fk {

using StatusCode = int32_t;

inline constexpr StatusCode kOk = 0;
inline constexpr StatusCode kTooFewBars = 0xFF00;
inline constexpr StatusCode kDomainError = -1;

inline constexpr StatusCode wrongCount(uint32_t count) { return static_cast<StatusCode>(0x100 | (count & 0xFF)); }
inline constexpr StatusCode badEntry(int entry) { return 0x200 + entry; }

} // namespace fk
