// The status codes that every export gives alike: 0 for a well-formed call, 0x100 | count for a
// wrong count (with nothing in the error text), 0 for the release call where the export reads
// the start bar, and 0x200 + i with one message for a bad entry i. Checked for a list of exports.
#pragma once
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "host/hostkit.h"

namespace fk::testing {

// The entries of a well-formed call, kept alive for the call: a market of three daily bars,
// a three-bar input series, and 1 for every Number.
struct StatusArguments {
    host::Market market{std::vector<host::Bar>{
        {41713.0, 10, 11, 9, 10, 100}, {41716.0, 10, 12, 9, 11, 200}, {41717.0, 11, 13, 10, 12, 300}}};
    host::Series out;
    host::Series input = host::Series::of({10, 11, 12});
    host::Text textOut;
    host::Text text{"GMT"};

    std::unique_ptr<host::Call> call(const ExportEntry& e) {
        auto c = std::make_unique<host::Call>(e.name);
        for (int i = 0; i < e.sig.maxCount; ++i) {
            switch (e.sig.types[i]) {
            case 'S': i == 0 ? c->out(out) : c->arg(input); break;
            case 'X': c->out(textOut); break;
            case 'M': c->arg(market); break;
            case 'N': c->arg(1.0); break;
            case 'T': c->arg(text); break;
            }
        }
        return c;
    }
};

// A tag that the accessor of each declared type refuses.
inline uint32_t refusedTag(char type) {
    switch (type) {
    case 'S': return kParamMarket;
    case 'X': return kParamNumberSeries;
    case 'M': return kParamNumber;
    case 'N': return kParamText;
    case 'T': return kParamNumber;
    }
    return 7;
}

inline void expectCommonStatuses(const std::vector<const char*>& names) {
    for (const char* name : names) {
        SCOPED_TRACE(name);
        const ExportEntry* e = findExport(name);
        ASSERT_NE(e, nullptr);
        {
            StatusArguments args;
            auto c = args.call(*e);
            EXPECT_EQ(c->run(0), 0);
            EXPECT_EQ(c->error(), "");
        }
        const int lo = e->sig.minCount, hi = e->sig.maxCount;
        for (uint32_t count : {uint32_t(lo - 1), uint32_t(hi + 1), uint32_t(0x1FF)}) {
            StatusArguments args;
            auto c = args.call(*e);
            c->count(count);
            EXPECT_EQ(c->run(0), static_cast<StatusCode>(0x100 | (count & 0xFF))) << count;
            EXPECT_EQ(c->error(), "");
            EXPECT_EQ(c->release(), e->sig.readsStartBar ? 0 : static_cast<StatusCode>(0x100 | (count & 0xFF)));
        }
        for (int entry = 1; entry <= hi; ++entry) {
            StatusArguments args;
            auto c = args.call(*e);
            c->tag(entry, refusedTag(e->sig.types[entry - 1]));
            EXPECT_EQ(c->run(0), 0x200 + entry) << "entry " << entry;
            const std::string message = c->error();
            EXPECT_NE(message.find("bad type"), std::string::npos) << "entry " << entry << ": " << message;
            EXPECT_EQ(message.find("bad type"), message.rfind("bad type")) << "one message only: " << message;
        }
    }
}

} // namespace fk::testing
