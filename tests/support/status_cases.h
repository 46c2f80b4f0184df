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

// For each entry of an export, the Return Value included, a call whose entry holds a value its
// accessor refuses (a Text, or a Market where a Text is wanted; a Market tag for the Return Value)
// while every other entry holds an acceptable one: the status is 0x200 + entry and the Return
// Value stays as it was.
inline void expectBadEntries(const char* name) {
    const ExportEntry* e = findExport(name);
    ASSERT_NE(e, nullptr) << name;
    const int entries = e->sig.maxCount;
    for (int bad = 1; bad <= entries; ++bad) {
        SCOPED_TRACE(std::string(name) + " entry " + std::to_string(bad));
        StatusInputs in;
        in.text.markConstant();
        host::Series out = host::Series::of({7, 7, 7});
        host::Call call(name);
        call.out(out);
        for (int i = 2; i <= entries; ++i) {
            const char type = e->sig.types[i - 1];
            const bool textual = type == kArgText || type == kArgTextSeries;
            if (i == bad) textual ? call.arg(in.market) : call.arg(in.text);
            else if (textual) call.arg(in.text);
            else if (type == kArgMarket) call.arg(in.market);
            else if (type == kArgNumber) call.arg(1.0);
            else call.arg(in.x);
        }
        if (bad == 1) call.tag(1, 5);
        EXPECT_EQ(call.run(0), badEntry(bad));
        EXPECT_EQ(out.values(), (std::vector<double>{7, 7, 7}));
    }
}

} // namespace fk::testing
