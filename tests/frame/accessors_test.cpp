// The typed accessors of the parameter block: accepted tags and their messages.
#include <gtest/gtest.h>

#include "frame/param_block.h"
#include "host/hostkit.h"
#include "market/bar_record.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Series;
using host::Text;

enum class Accessor { Number, Text, Market, Series, TextSeries };

// A parameter block over a table of entries built by the test.
struct Block {
    Block() {
        text::create(pb.errorText);
        pb.params = entries;
        pb.cursor = 1;
    }
    ~Block() { buffers::release(pb.errorText); }
    int get(Accessor a, int index) {
        double d;
        TextHandle* t;
        BarRecord* m;
        SeriesHandle* s;
        switch (a) {
        case Accessor::Number: return pb.getNumber(index, &d);
        case Accessor::Text: return pb.getText(index, &t);
        case Accessor::Market: return pb.getMarket(index, &m);
        case Accessor::Series: return pb.getSeries(index, &s);
        case Accessor::TextSeries: return pb.getTextSeries(index, &s);
        }
        return -1;
    }
    std::string error() const { return std::string(text::view(pb.errorText)); }
    ParamEntry entries[8] = {};
    CParmBlock pb{};
};

class AccessorTest : public testing::HeapChecked {};

TEST_F(AccessorTest, AcceptTheirTagsAndReportTheOthers) {
    Series constant1 = Series::constant(2.0, 1);
    Series constant2 = Series::constant(2.0, 2);
    Series plain = Series::of({1, 2});
    Text word("abc");
    Text constantWord("abc");
    constantWord.markConstant();
    BarRecord record{};

    struct Case {
        Accessor accessor;
        uint32_t tag;
        void* pointer; // null: a plain number
        int index;
        const char* want; // null: accepted
    };
    const Case cases[] = {
        {Accessor::Number, 1, nullptr, 2, nullptr},
        {Accessor::Number, 6, nullptr, 2, nullptr},
        {Accessor::Number, 4, &plain.handle(), 3, "Parameter 2 bad type, expected Number."},
        {Accessor::Number, 2, &word.handle(), 1, "Return Value bad type, expected Number."},
        {Accessor::Text, 2, &word.handle(), 2, nullptr},
        {Accessor::Text, 8, &word.handle(), 2, "Parameter 1 bad type, expected Text."},
        {Accessor::Text, 1, nullptr, 1, "Return Value bad type, expected Text."},
        {Accessor::Market, 5, &record, 2, nullptr},
        {Accessor::Market, 4, &plain.handle(), 4, "Parameter 3 bad type, expected Market."},
        {Accessor::Market, 4, &plain.handle(), 1, "Return Value bad type, expected Market."},
        {Accessor::Series, 3, &plain.handle(), 2, nullptr},
        {Accessor::Series, 4, &plain.handle(), 1, nullptr},
        {Accessor::Series, 1, &constant1.handle(), 2, nullptr},
        {Accessor::Series, 6, &constant1.handle(), 2, nullptr},
        // the word inserted is the name of the type passed, not of the one wanted
        {Accessor::Series, 1, &constant2.handle(), 2, "Parameter 1 bad type, expected Number."},
        {Accessor::Series, 1, &plain.handle(), 1, "Return Value bad type, expected Number."},
        {Accessor::Series, 6, &plain.handle(), 3, "Parameter 2 bad type, expected ??????."},
        {Accessor::Series, 2, &word.handle(), 2, "Parameter 1 bad type, expected ??????."},
        {Accessor::Series, 5, &record, 2, "Parameter 1 bad type, expected ??????."},
        {Accessor::Series, 9, &plain.handle(), 2, "Parameter 1 bad type, expected ??????."},
        {Accessor::TextSeries, 8, &word.handle(), 1, nullptr},
        {Accessor::TextSeries, 2, &constantWord.handle(), 2, nullptr},
        {Accessor::TextSeries, 2, &word.handle(), 2, "Parameter 1 bad type, expected ??????."},
        {Accessor::TextSeries, 4, &plain.handle(), 1, "Return Value bad type, expected Number Series."},
        {Accessor::TextSeries, 3, &plain.handle(), 2, "Parameter 1 bad type, expected True/False Series."},
        {Accessor::TextSeries, 1, &plain.handle(), 2, "Parameter 1 bad type, expected Number."},
        {Accessor::TextSeries, 5, &record, 2, "Parameter 1 bad type, expected ??????."},
    };
    for (const Case& c : cases) {
        Block b;
        ParamEntry& e = b.entries[c.index];
        e.type = c.tag;
        if (c.pointer) e.pointer = c.pointer;
        else e.number = 1.5;
        const int ok = b.get(c.accessor, c.index);
        SCOPED_TRACE("accessor " + std::to_string(static_cast<int>(c.accessor)) + " tag " + std::to_string(c.tag));
        EXPECT_EQ(ok, c.want ? 0 : 1);
        EXPECT_EQ(b.error(), c.want ? c.want : "");
    }
}

TEST_F(AccessorTest, NextEntryTakesTheCursorAndAdvancesIt) {
    Block b;
    for (int i = 1; i <= 4; ++i) {
        b.entries[i].type = kParamNumber;
        b.entries[i].number = 10.0 * i;
    }
    b.pb.cursor = 2;
    double d = 0;
    for (double want : {20.0, 30.0, 40.0}) {
        ASSERT_EQ(b.pb.getNumber(kNextEntry, &d), 1);
        EXPECT_EQ(d, want);
    }
    EXPECT_EQ(b.pb.cursor, 5);
    ASSERT_EQ(b.pb.getNumber(3, &d), 1);
    EXPECT_EQ(b.pb.cursor, 5) << "an explicit index leaves the cursor alone";
    b.entries[5].type = kParamText;
    EXPECT_EQ(b.pb.getNumber(kNextEntry, &d), 0);
    EXPECT_EQ(b.error(), "Parameter 4 bad type, expected Number.");
}

TEST_F(AccessorTest, TheSeriesAccessorWritesItsOutputBeforeTheTest) {
    Series constant2 = Series::constant(2.0, 2);
    Block b;
    b.entries[2].type = kParamNumber;
    b.entries[2].pointer = &constant2.handle();
    SeriesHandle* out = nullptr;
    EXPECT_EQ(b.pb.getSeries(2, &out), 0);
    EXPECT_EQ(out, &constant2.handle());
}

} // namespace
} // namespace fk
