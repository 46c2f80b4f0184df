// The calling sequence every export follows: the release call, the start bar, the count
// check and the typed fetches with the first failure's status.
#include <gtest/gtest.h>

#include "frame/call.h"
#include "host/hostkit.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class CallingSequenceTest : public HeapChecked {};

TEST_F(CallingSequenceTest, StatusOfEachFault) {
    struct Case {
        const char* what;
        std::function<void(Call&, Series&, Market&, Text&)> build;
        int32_t startBar;
        StatusCode want;
        const char* message;
    };
    const Case cases[] = {
        {"good call", [](Call& c, Series& o, Market& m, Text&) { c.out(o).arg(m); }, 0, 0, ""},
        {"release before the count check", [](Call& c, Series& o, Market&, Text&) { c.out(o); }, -2, 0, ""},
        {"count 1", [](Call& c, Series& o, Market&, Text&) { c.out(o); }, 0, 0x101, ""},
        {"count 0x1FF", [](Call& c, Series& o, Market& m, Text&) { c.out(o).arg(m).count(0x1FF); }, 0, 0x1FF, ""},
        {"count 0x102", [](Call& c, Series& o, Market& m, Text&) { c.out(o).arg(m).count(0x102); }, 0, 0x102, ""},
        {"count 3", [](Call& c, Series& o, Market& m, Text&) { c.out(o).arg(m).arg(m); }, 0, 0x103, ""},
        {"Return Value is text", [](Call& c, Series&, Market& m, Text& t) { c.arg(t).arg(m); }, 0, 513,
         "Return Value bad type, expected ??????."},
        {"market is a series", [](Call& c, Series& o, Market&, Text&) { c.out(o).arg(o); }, 0, 514,
         "Parameter 1 bad type, expected Market."},
        {"only the first failure is reported", [](Call& c, Series&, Market&, Text& t) { c.arg(t).arg(t); }, 0, 513,
         "Return Value bad type, expected ??????."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Series out;
        Market market({{40000, 1, 2, 0.5, 1.5, 100}});
        market.tick(0.25, 12.5);
        Text text("t");
        Call call("DateTime");
        c.build(call, out, market, text);
        EXPECT_EQ(call.run(c.startBar), c.want);
        EXPECT_EQ(call.error(), c.message);
        if (c.want == 0 && c.startBar == 0) {
            EXPECT_EQ(out.values(), std::vector<double>{40000});
        }
    }
}

TEST_F(CallingSequenceTest, NegativeStartBarIsStoredBackAsZero) {
    Series out;
    Market market;
    Call call("Day");
    call.out(out).arg(market);
    EXPECT_EQ(call.run(-7), 0);
    EXPECT_EQ(call.block().startBar, 0);
}

TEST_F(CallingSequenceTest, AMessageIntoAReadOnlyErrorTextIsDroppedButTheStatusStays) {
    Series out;
    Call call("MinMove");
    call.out(out).arg(out);
    call.errorText().buffer->flags |= kFlagReadOnly;
    EXPECT_EQ(call.run(0), 514);
    EXPECT_EQ(call.error(), "");
}

struct Counter : HeapCallState {
    int calls = 0;
};

TEST_F(CallingSequenceTest, PerCallStateLivesUntilTheReleaseCall) {
    const ExportSig sig{1, 1, "S", kReadsStart};
    Series out;
    ParamEntry entries[2] = {};
    entries[0].type = 1;
    entries[1].type = kParamNumberSeries;
    entries[1].pointer = &out.handle();
    CParmBlock pb{};
    pb.params = entries;
    auto body = [](Args& a) -> StatusCode {
        Counter* c = a.state<Counter>();
        return c ? ++c->calls : -1;
    };
    const long before = liveStateBlocks();
    EXPECT_EQ(runExport(&pb, sig, body), 1);
    EXPECT_EQ(runExport(&pb, sig, body), 2);
    EXPECT_EQ(liveStateBlocks(), before + 1);
    pb.startBar = -2;
    EXPECT_EQ(runExport(&pb, sig, body), 0);
    EXPECT_EQ(pb.state, nullptr);
    EXPECT_EQ(liveStateBlocks(), before);
}

TEST_F(CallingSequenceTest, ANullHandlePointerReadsAsAnEmptySeries) {
    const ExportSig sig{2, 2, "SS", kReadsStart};
    ParamEntry entries[3] = {};
    entries[0].type = 2;
    entries[1].type = kParamNumberSeries;
    entries[2].type = kParamNumberSeries;
    CParmBlock pb{};
    pb.params = entries;
    auto body = [](Args& a) -> StatusCode {
        EXPECT_NE(a.out(), nullptr);
        EXPECT_EQ(a.out()->buffer, nullptr);
        // a body that attaches a buffer to the stand-in leaves nothing behind
        series::createNumbers(*a.out(), 3);
        return kOk;
    };
    EXPECT_EQ(runExport(&pb, sig, body), 0);
}

} // namespace
} // namespace fk
