// libFuzzer's entry: every input is one call site of one export, played and checked.
#include <cstddef>
#include <cstdint>

#include "fuzz/harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    fk::fuzz::runInput(data, size);
    return 0;
}
