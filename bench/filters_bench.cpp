// Digital filters and trend-state indicators through the full exported call: one call over
// 1,000,000 bars (ns/bar), and the call a host makes when one bar has been appended.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "export_cases.h"

namespace {

using namespace fk::bench;

struct Data {
    const Walk& w = sharedWalk();
    Series close = Series::of(w.close), high = Series::of(w.high), low = Series::of(w.low);
    Series highest, lowest, normalised, oscillator, width, upper, lower;
    Market market{walkBars(w)};

    Data() {
        const int32_t n = kBars;
        std::vector<double> hh(n), ll(n), osc(n), up(n), dn(n);
        for (int32_t i = 0; i < n; ++i) {
            const int32_t from = std::max(0, i - 9);
            hh[i] = *std::max_element(w.close.begin() + from, w.close.begin() + i + 1);
            ll[i] = *std::min_element(w.close.begin() + from, w.close.begin() + i + 1);
            osc[i] = 50.0 + 30.0 * std::sin(i / 15.0) + (w.close[i] - w.open[i]);
            const double mid = (w.high[i] + w.low[i]) / 2.0, range = w.high[i] - w.low[i];
            up[i] = mid + 3.0 * range;
            dn[i] = mid - 3.0 * range;
        }
        highest = Series::of(hh);
        lowest = Series::of(ll);
        oscillator = Series::of(osc);
        width = Series::constant(4.0);
        upper = Series::of(up);
        lower = Series::of(dn);
        Call fisher("Ehlers_Fisher1");
        fisher.out(normalised).arg(close).arg(highest).arg(lowest);
        fisher.run(0);
    }
};

Data& data() {
    static Data d;
    return d;
}

using Case = ExportCase<Data>;

const Case kCases[] = {
    {"Laguerre_Func", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(0.8).arg(1); }},
    {"Ehlers_Decycler", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(60); }},
    {"Ehlers_SinewaveBase", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(40); }},
    {"Ehlers_RoofingBase", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(48); }},
    {"Ehlers_SuperSmoother", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(10); }},
    {"Ehlers_Fisher1", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(d.highest).arg(d.lowest); }},
    {"Ehlers_Fisher2", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.normalised); }},
    {"CGOscillator", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(10); }},
    {"SuperTrend_DLL", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.close).arg(d.upper).arg(d.lower); }},
    {"QQE_Trailer", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.oscillator).arg(d.width); }},
    {"TTM_Trend", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.high).arg(d.low).arg(20); }},
    {"GannTrend", [](Call& c, Series& o, Data& d) { c.out(o).arg(d.market); }},
};

const bool kRegistered = registerExportCases<Data>(kCases, data);

} // namespace

namespace {

// The yardstick: an exponential average as a bare loop over plain arrays.
void BM_Baseline_ExponentialAverage(benchmark::State& state) {
    const std::vector<double>& x = data().w.close;
    std::vector<double> y(x.size());
    const double k = 2.0 / 31.0;
    for (auto _ : state) {
        double prev = x[0];
        y[0] = prev;
        for (std::size_t i = 1; i < x.size(); ++i) y[i] = prev = (x[i] - prev) * k + prev;
        benchmark::DoNotOptimize(y.data());
    }
    perBar(state, static_cast<double>(x.size()));
}
BENCHMARK(BM_Baseline_ExponentialAverage)->Unit(benchmark::kMillisecond);

} // namespace
