// The calling sequence every export follows, beyond the statuses every export is checked for: two
// refused entries, the start bar stored back, a read-only error text and a null Return Value.
#include <gtest/gtest.h>

#include "frame/call.h"
#include "host/hostkit.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class CallingSequenceTest : public HeapChecked {};

// The status test refuses one entry at a time; with two refused, the first one answers.
TEST_F(CallingSequenceTest, OnlyTheFirstRefusedEntryIsReported) {
    Text text("t");
    Call call("DateTime");
    call.arg(text).arg(text);
    EXPECT_EQ(call.run(0), badEntry(1));
    EXPECT_EQ(call.error(), "Return Value bad type, expected ??????.");
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
