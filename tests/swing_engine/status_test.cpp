// Status codes of the swing engine's exports: the release call, wrong counts, bad entries and
// the domain checks, with the Return Value left as it was.
#include <gtest/gtest.h>

#include "host/hostkit.h"
#include "support/heap_check.h"
#include "support/status_cases.h"

namespace fk {
namespace {

using host::Call;
using In = testing::StatusInputs;

class SwingEngineStatus : public testing::HeapChecked {};

TEST_F(SwingEngineStatus, ReleaseCountsEntriesAndDomain) {
    const testing::StatusCase cases[] = {
        {"release", "SwingCustomHigh", [](Call& c, In& in) { c.arg(in.x); }, -2, 0},
        {"release", "SwingSystemLow", [](Call& c, In& in) { c.arg(in.x); }, -2, 0},
        {"release", "BullDivergence", [](Call&, In&) {}, -2, 0},
        {"release", "LWIntSwing", [](Call& c, In& in) { c.arg(in.text); }, -2, 0},
        {"wrong count", "SwingCustomLow", [](Call& c, In& in) { c.arg(in.x).arg(1); }, 0, 0x103},
        {"wrong count", "SwingSystemHigh", [](Call& c, In& in) { c.arg(in.market).arg(1).arg(0); }, 0, 0x104},
        {"wrong count", "BearDivergence", [](Call& c, In& in) { c.arg(in.x).arg(in.x).arg(1).arg(1); }, 0, 0x105},
        {"wrong count", "LWIntSwing", [](Call&, In&) {}, 0, 0x101},
        {"Return Value is a market", "SwingCustomHigh", [](Call& c, In& in) { c.arg(in.x).arg(1).arg(0).tag(1, 5); },
         0, 0x201},
        {"Return Value is a market", "BearDivergence", [](Call& c, In& in) { c.arg(in.x).arg(in.x).arg(1).tag(1, 5); },
         0, 0x201},
        {"strength is a text", "SwingSystemLow", [](Call& c, In& in) { c.arg(in.market).arg(in.text).arg(0).arg(0); },
         0, 0x203},
        {"mode is a series", "SwingSystemHigh", [](Call& c, In& in) { c.arg(in.market).arg(1).arg(in.x).arg(0); }, 0,
         0x204},
        {"strength is a series", "BearDivergence", [](Call& c, In& in) { c.arg(in.x).arg(in.x).arg(in.x); }, 0, 0x204},
        {"input is a text", "SwingCustomHigh", [](Call& c, In& in) { c.arg(in.text).arg(1).arg(0); }, 0, 0x202},
        {"tie rule is a series", "SwingCustomLow", [](Call& c, In& in) { c.arg(in.x).arg(1).arg(in.x); }, 0, 0x204},
        {"market is a series", "SwingSystemHigh", [](Call& c, In& in) { c.arg(in.x).arg(1).arg(0).arg(0); }, 0, 0x202},
        {"offset is a series", "SwingSystemLow",
         [](Call& c, In& in) { c.arg(in.market).arg(1).arg(0).arg(in.x); }, 0, 0x205},
        {"indicator is a market", "BullDivergence", [](Call& c, In& in) { c.arg(in.x).arg(in.market).arg(1); }, 0,
         0x203},
        {"input is a market", "LWIntSwing", [](Call& c, In& in) { c.arg(in.market); }, 0, 0x202},
        {"market without bars", "SwingSystemHigh", [](Call& c, In& in) { c.arg(in.noBars).arg(1).arg(0).arg(0); },
         0, kTooFewBars},
        {"empty price", "BearDivergence", [](Call& c, In& in) { c.arg(in.empty).arg(in.x).arg(1); }, 0, -1},
        {"indicator without buffer", "BullDivergence", [](Call& c, In& in) { c.arg(in.x).arg(in.null).arg(1); }, 0,
         -1},
        {"empty input", "LWIntSwing", [](Call& c, In& in) { c.arg(in.null); }, 0, -1},
    };
    testing::expectStatuses(cases);
}

} // namespace
} // namespace fk
