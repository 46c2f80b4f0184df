// Status-code tables: each row builds one call of an export and names the status it returns.
#pragma once
#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>

#include "host/hostkit.h"

namespace fk::mathstat {

struct StatusRow {
    const char* name;
    std::function<void(host::Call&)> build;
    StatusCode status;
};

// Runs every row, then its release call (which answers 0 whatever the entries).
inline void expectStatuses(std::initializer_list<StatusRow> rows) {
    for (const StatusRow& r : rows) {
        host::Call call(r.name);
        r.build(call);
        EXPECT_EQ(call.run(0), r.status) << r.name << " expecting " << r.status;
        EXPECT_EQ(call.release(), 0) << r.name;
    }
}

} // namespace fk::mathstat
