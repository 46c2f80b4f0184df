// The typed fetch of the calling sequence: the entries it takes at once, the ones it hands to
// the block's accessors, and what a body then sees.
#include <gtest/gtest.h>

#include <string>

#include "frame/call.h"
#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

class FetchTest : public testing::HeapChecked {};

TEST_F(FetchTest, EachEntryKindAgainstEachWantedType) {
    host::Series out, plain = host::Series::of({1, 2, 3}), constant = host::Series::constant(7);
    host::Text word("w");
    struct Case {
        const char* what;
        char wanted;
        uint32_t tag;
        void* pointer; // or the number below for a number tag
        double number;
        StatusCode status;
        const char* message;
    };
    const Case cases[] = {
        {"number series as a series", 'S', kParamNumberSeries, &plain.handle(), 0, 0, ""},
        {"true/false series as a series", 'S', kParamBoolSeries, &plain.handle(), 0, 0, ""},
        {"single constant number as a series", 'S', kParamNumber, &constant.handle(), 0, 0, ""},
        {"number without a single constant", 'S', kParamNumber, &plain.handle(), 0, 0x202,
         "Parameter 1 bad type, expected Number."},
        {"null series pointer", 'S', kParamNumberSeries, nullptr, 0, 0, ""},
        {"text as a series", 'S', kParamText, &word.handle(), 0, 0x202, "Parameter 1 bad type, expected ??????."},
        {"number", 'N', kParamNumber, nullptr, 2.5, 0, ""},
        {"second number kind", 'N', kParamNumber2, nullptr, 3.5, 0, ""},
        {"series as a number", 'N', kParamNumberSeries, &plain.handle(), 0, 0x202,
         "Parameter 1 bad type, expected Number."},
        {"text", 'T', kParamText, &word.handle(), 0, 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ParamEntry entries[3] = {};
        entries[0].type = 2;
        entries[1].type = kParamNumberSeries;
        entries[1].pointer = &out.handle();
        entries[2].type = c.tag;
        if (c.tag == kParamNumber2 || (c.tag == kParamNumber && !c.pointer)) entries[2].number = c.number;
        else entries[2].pointer = c.pointer;
        CParmBlock pb{};
        text::create(pb.errorText);
        pb.params = entries;
        const char types[] = {'S', c.wanted, 0};
        const ExportSig sig{2, 2, types, kReadsStart};
        const StatusCode status = runExport(&pb, sig, [&](Args& a) -> StatusCode {
            EXPECT_EQ(a.out(), &out.handle());
            if (c.wanted == 'N') {
                EXPECT_EQ(a.number(2), c.number);
            } else if (c.pointer) {
                EXPECT_EQ(a.series(2), c.pointer);
            } else {
                // a stand-in that reads as an empty series
                EXPECT_NE(a.series(2), nullptr);
                EXPECT_EQ(a.series(2)->buffer, nullptr);
            }
            return kOk;
        });
        EXPECT_EQ(status, c.status);
        EXPECT_EQ(std::string(text::view(pb.errorText)), c.message);
        buffers::release(pb.errorText);
    }
}

} // namespace
} // namespace fk
