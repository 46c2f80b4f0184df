// Calls of exports by name in one line, and status-code tables.
#pragma once
#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
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

struct StatusRow {
    const char* name;
    std::function<void(host::Call&)> build;
    StatusCode status;
};

// Each row builds one call of an export; its status, then the release call, which an export that
// reads the start bar answers with 0 before looking at its entries.
inline void expectStatuses(std::initializer_list<StatusRow> rows) {
    for (const StatusRow& r : rows) {
        host::Call call(r.name);
        r.build(call);
        EXPECT_EQ(call.run(0), r.status) << r.name << " expecting " << r.status;
        if (call.entry().sig.readsStartBar) {
            EXPECT_EQ(call.release(), 0) << r.name;
        }
    }
}

} // namespace fk::mathstat
