// Table-driven status tests of exports: each case builds the parameters after the Return Value
// from a set of ready inputs, calls with a start bar and expects a status with the Return Value
// left as it was.
#pragma once
#include <gtest/gtest.h>

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "host/hostkit.h"

namespace fk::testing {

// Inputs for status cases: a short series, an empty one, a handle without buffer, a text, a
// market of one bar and one without bars.
struct StatusInputs {
    host::Series x = host::Series::of({1, 2, 3}), empty, null = host::Series::null();
    host::Text text{"a"};
    host::Market market{std::vector<host::Bar>{{40000, 1, 2, 0.5, 1.5, 100}}}, noBars;
};

struct StatusCase {
    const char* what;
    const char* name;
    std::function<void(host::Call&, StatusInputs&)> params;
    int32_t start;
    StatusCode want;
};

// Every case runs on a Return Value holding {7, 7, 7}, which none of them may change.
inline void expectStatuses(std::span<const StatusCase> cases) {
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(std::string(c.what) + " " + c.name);
        StatusInputs in;
        host::Series out = host::Series::of({7, 7, 7});
        host::Call call(c.name);
        call.out(out);
        c.params(call, in);
        EXPECT_EQ(call.run(c.start), c.want);
        EXPECT_EQ(out.values(), (std::vector<double>{7, 7, 7}));
    }
}

} // namespace fk::testing
