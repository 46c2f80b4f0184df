// Calls of exports by name in one line.
#pragma once
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "host/hostkit.h"

namespace fk::mathstat {

// Runs an export from the start bar with `out` as Return Value and the entries after it (series,
// numbers, texts, markets), expects status 0, and answers the Return Value's elements.
template <class... Entries>
std::vector<double> runInto(const char* name, host::Series& out, int32_t startBar, Entries&&... entries) {
    host::Call call(name);
    call.out(out);
    (call.arg(std::forward<Entries>(entries)), ...);
    EXPECT_EQ(call.run(startBar), 0) << name;
    return out.values();
}

// The same into a fresh Return Value, from bar 0.
template <class... Entries>
std::vector<double> run(const char* name, Entries&&... entries) {
    host::Series out;
    return runInto(name, out, 0, std::forward<Entries>(entries)...);
}

} // namespace fk::mathstat
