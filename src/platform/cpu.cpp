#include "platform/cpu.h"

namespace fk::platform {

bool wideVectors() {
    static const bool wide = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") != 0;
    }();
    return wide;
}

} // namespace fk::platform
