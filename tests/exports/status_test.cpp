// The statuses every export gives alike, for every export of the table: 0x100 | count for a wrong
// count with nothing in the error text, the release call answered before the count where the
// export reads the start bar, and 0x200 + i with one message for a refused entry i; in each case
// the Return Value is left as it was.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "exports/export_def.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

// The entries of a call with every entry of the export's signature, kept alive for the call.
struct Site {
    host::Market market{testing::threeBars()};
    host::Series out = host::Series::of({7, 7, 7});
    host::Series input = host::Series::of({10, 11, 12});
    host::Text textOut{"kept"};
    host::Text text{"GMT"};
    host::Text textSeries{"+"};

    std::unique_ptr<host::Call> call(const ExportEntry& e) {
        auto c = std::make_unique<host::Call>(e, e.entry);
        if (e.sig.types[0] == kArgTextSeries) c->out(textOut);
        else c->out(out);
        for (int i = 1; i < e.sig.maxCount; ++i) {
            switch (e.sig.types[i]) {
            case kArgSeries: c->arg(input); break;
            case kArgMarket: c->arg(market); break;
            case kArgNumber: c->arg(1.0); break;
            case kArgText: c->arg(text); break;
            default: c->rawPointer(kParamTextSeries, &textSeries.handle()); break;
            }
        }
        return c;
    }

    void expectReturnValueKept() {
        EXPECT_EQ(out.values(), (std::vector<double>{7, 7, 7}));
        EXPECT_EQ(textOut.str(), "kept");
    }
};

// A tag that the accessor of each declared type refuses.
uint32_t refusedTag(char type) {
    switch (type) {
    case kArgSeries: return kParamMarket;
    case kArgMarket: return kParamNumber;
    case kArgNumber: return kParamText;
    case kArgText: return kParamNumber;
    default: return kParamNumberSeries;
    }
}

class ExportStatus : public testing::HeapChecked {};

TEST_F(ExportStatus, WrongCountsReleaseCallsAndRefusedEntriesOfEveryExport) {
    for (const ExportEntry& e : exportTable()) {
        SCOPED_TRACE(e.name);
        for (uint32_t count : {uint32_t(e.sig.minCount - 1), uint32_t(e.sig.maxCount + 1), uint32_t(0x1FF)}) {
            Site site;
            auto c = site.call(e);
            c->count(count);
            const StatusCode wrong = wrongCount(count);
            EXPECT_EQ(c->run(0), wrong) << "count " << count;
            EXPECT_EQ(c->error(), "");
            EXPECT_EQ(c->release(), e.sig.readsStartBar ? kOk : wrong) << "release, count " << count;
            site.expectReturnValueKept();
        }
        for (int entry = 1; entry <= e.sig.maxCount; ++entry) {
            Site site;
            auto c = site.call(e);
            c->tag(entry, refusedTag(e.sig.types[entry - 1]));
            EXPECT_EQ(c->run(0), badEntry(entry)) << "entry " << entry;
            const std::string message = c->error();
            EXPECT_NE(message.find("bad type"), std::string::npos) << "entry " << entry << ": " << message;
            EXPECT_EQ(message.find("bad type"), message.rfind("bad type")) << "one message only: " << message;
            site.expectReturnValueKept();
        }
    }
}

} // namespace
} // namespace fk
