// The swing engine's users and the market key through the full exported call: one call over
// 1,000,000 bars (ns/bar), and the call after one appended bar for the custom swings, which
// resume instead of starting over.
#include "export_cases.h"

namespace {

using namespace fk::bench;

struct Data {
    const Walk& w = sharedWalk();
    Series close = Series::of(w.close), high = Series::of(w.high);
    Market market{walkBars(w)};
    Data() { market.symbol("ESH14").tick(0.25, 12.5); }
};

Data& data() {
    static Data d;
    return d;
}

using Case = ExportCase<Data>;

const Case kCases[] = {
    {"SwingCustomHigh", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(3).arg(0); }, "SwingCustomHigh/3"},
    {"SwingCustomLow", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(1).arg(1); }, "SwingCustomLow/1",
     false},
    {"SwingSystemHigh", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(3).arg(0).arg(1); },
     "SwingSystemHigh/mode0", false},
    {"SwingSystemLow", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(1).arg(1).arg(1); },
     "SwingSystemLow/mode1", false},
    {"SwingSystemHigh", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(1).arg(6).arg(1); },
     "SwingSystemHigh/mode6", false},
    {"BearDivergence", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(d.high).arg(3); },
     "BearDivergence/3", false},
    {"LWIntSwing", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close); }, nullptr, false},
    {"JLUpTrend", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(2); }, nullptr, false},
    {"JLRallyCust", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market).arg(2).arg(1).arg(1); },
     "JLRallyCust/percent", false},
};

const bool kRegistered = registerExportCases<Data>(kCases, data);

} // namespace
