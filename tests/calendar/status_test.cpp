// Status codes of the date, time, zone and market-property exports: a wrong count, the release
// call, and a bad entry at every position.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Call;

// The entries a well-formed call passes, kept alive for the call.
struct Arguments {
    host::Market market{std::vector<host::Bar>{{41713.5, 1, 1, 1, 1, 1}, {41714.5, 1, 1, 1, 1, 1}}};
    host::Series out;
    host::Series input = host::Series::of({41713.5, 41714.5});
    host::Text textOut;
    host::Text zone{"GMT"};

    // A call with every entry of the export's signature.
    std::unique_ptr<Call> call(const ExportEntry& e) {
        auto c = std::make_unique<Call>(e.name);
        for (int i = 0; i < e.sig.maxCount; ++i) {
            switch (e.sig.types[i]) {
            case 'S': i == 0 ? c->out(out) : c->arg(input); break;
            case 'X': c->out(textOut); break;
            case 'M': c->arg(market); break;
            case 'N': c->arg(1.0); break;
            case 'T': c->arg(zone); break;
            }
        }
        return c;
    }
};

// A tag that the accessor of each declared type refuses.
uint32_t wrongTag(char type) {
    switch (type) {
    case 'S': return kParamMarket;
    case 'X': return kParamNumberSeries;
    case 'M': return kParamNumber;
    case 'N': return kParamText;
    case 'T': return kParamNumber;
    }
    return 7;
}

class ExportStatusTest : public testing::HeapChecked {};

TEST_F(ExportStatusTest, CountsReleaseAndBadEntries) {
    const char* names[] = {
        "BarsNumericProperty", "BarsStringProperty", "TickMove", "TickValue", "MinMove",
        "DateTime", "Day", "Month", "Year", "DayOfWeek", "DayOfYear", "Hour", "Minute", "Seconds", "SecondsInBar",
        "DayOf", "MonthOf", "YearOf", "WeekDayOf", "DayInYearOf", "HourOf", "MinuteOf", "SecondOf",
        "DateToJulian", "TimeConvert",
    };
    for (const char* name : names) {
        SCOPED_TRACE(name);
        const ExportEntry* e = findExport(name);
        ASSERT_NE(e, nullptr);
        const int n = e->sig.maxCount;
        {
            Arguments args;
            auto c = args.call(*e);
            EXPECT_EQ(c->run(0), 0);
            EXPECT_EQ(c->error(), "");
        }
        for (uint32_t count : {uint32_t(n - 1), uint32_t(n + 1), uint32_t(0x1FF)}) {
            Arguments args;
            auto c = args.call(*e);
            c->count(count);
            EXPECT_EQ(c->run(0), static_cast<StatusCode>(0x100 | (count & 0xFF))) << count;
            EXPECT_EQ(c->error(), "");
            // the release call answers before the count is looked at, where the start bar is read
            EXPECT_EQ(c->release(), e->sig.readsStartBar ? 0 : static_cast<StatusCode>(0x100 | (count & 0xFF)));
        }
        for (int entry = 1; entry <= n; ++entry) {
            Arguments args;
            auto c = args.call(*e);
            c->tag(entry, wrongTag(e->sig.types[entry - 1]));
            EXPECT_EQ(c->run(0), 0x200 + entry) << "entry " << entry;
            const std::string message = c->error();
            EXPECT_NE(message.find("bad type"), std::string::npos) << "entry " << entry << ": " << message;
            EXPECT_EQ(message.find("bad type"), message.rfind("bad type")) << "one message only: " << message;
        }
    }
}

} // namespace
} // namespace fk
