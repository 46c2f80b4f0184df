// Rank, percentile, median, sideways box, slope significance, the random series, the Cyber
// Cycle and the oscillator predictor through the full exported call over 1,000,000 bars
// (ns/bar), beside the moving average over the same window as a yardstick.
#include "export_cases.h"

namespace {

using namespace fk::bench;

struct Data {
    const Walk& w = sharedWalk();
    Series close = Series::of(w.close);
};

Data& data() {
    static Data d;
    return d;
}

using Case = ExportCase<Data>;

const Case kCases[] = {
    {"MovAvg", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20).arg(0); }},
    {"PercentileDLL", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20).arg(75); }},
    {"TSBarMedian", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20); }},
    {"EquityRankForBar", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20); }},
    {"LateralMovement", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(2).arg(1).arg(10); }},
    {"LateralBox", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(2).arg(1).arg(10).arg(3); }},
    {"TSLineSignificance", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(20).arg(1); }},
    {"Random", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(42); }},
    {"EhlersCyberCycle", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(0.07).arg(0); }},
    {"UpperOscPredictorDLL", [](Call& c, Series& o, Data& d) {
         c.out(o).arg(d.close).arg(70).arg(1).arg(14).arg(0).arg(0).arg(0.01).arg(1).arg(0).arg(0);
     }},
};

const bool kRegistered = registerExportCases<Data>(kCases, data);

} // namespace
