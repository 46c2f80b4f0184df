// Trade plans, seasonal and cycle functions through the full exported call: one call over
// 1,000,000 bars (ns/bar), and the call a host makes when one bar has been appended.
#include <benchmark/benchmark.h>

#include <functional>
#include <string>

#include "export_cases.h"

namespace {

using namespace fk::bench;

struct Data {
    const Walk& w = sharedWalk();
    Market daily{walkBars(w)};
    Market minutes; // one-minute bars from 09:30 to 15:59 on every day
    Series close = Series::of(w.close), volume = Series::of(w.volume), entry, direction;

    Data() {
        daily.tick(0.01, 0.01);
        std::vector<Bar> bars = walkBars(w);
        for (std::size_t i = 0; i < bars.size(); ++i) {
            const double day = 32875.0 + static_cast<double>(i / 390), minute = 570.0 + static_cast<double>(i % 390);
            bars[i].dateTime = day + minute / 1440.0;
        }
        minutes.append(bars);
        minutes.tick(0.01, 0.01);
        const Crossings c(w);
        entry = Series::of(c.entry);
        direction = Series::of(c.direction);
    }
};

Data& data() {
    static Data d;
    return d;
}

using Case = ExportCase<Data>;

const Case kCases[] = {
    {"PTF_DLL", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.daily).arg(d.entry).arg(d.direction).arg(10).arg(2); }},
    {"PyramidTP",
     [](Call& c, Series& o, Data& d) { c.out(o).arg(d.daily).arg(d.entry).arg(d.direction).arg(10).arg(4).arg(3); }},
    {"ReverseBarTP", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.daily).arg(5).arg(1.5).arg(10).arg(0); }},
    {"Seasonal", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.daily).arg(d.close).arg(10); }},
    {"SeasonalDevUp", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.daily).arg(d.close).arg(10).arg(2).arg(1); }},
    {"CycleAnalysis", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(32).arg(6).arg(32).arg(0); }},
    {"CycleCalc", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(32).arg(6).arg(32).arg(5); }},
    {"AvgOfSameBarTime", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.minutes).arg(d.volume).arg(10); }},
    {"PartialDayData", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.minutes).arg(7); }},
};

const bool kRegistered = registerExportCases<Data>(kCases, data);

} // namespace
