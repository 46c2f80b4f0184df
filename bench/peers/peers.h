// FormulaKit side by side with TA-Lib and Tulip Indicators: the cases and what they share.
//
// A pair row runs one export through the full exported call (host::Call) over the whole walk,
// and the peers' nearest functions over the same data. An update row runs an export that
// honours the start bar again after one bar is appended, against the peers' cost of the same
// update. Rows whose export is not in the export table yet are left out.
#pragma once
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "../bench_data.h"
#include "agreement.h"

namespace fk::peers {

// The bars every row is measured on, and the bars appended after them by the update rows.
inline constexpr int32_t kExtraBars = 1 << 20;

// One per-bar input, as a function of the walk and the bar.
using Source = double (*)(const bench::Walk& w, int32_t i);

namespace src {
inline double close(const bench::Walk& w, int32_t i) { return w.close[i]; }
inline double open(const bench::Walk& w, int32_t i) { return w.open[i]; }
inline double high(const bench::Walk& w, int32_t i) { return w.high[i]; }
inline double low(const bench::Walk& w, int32_t i) { return w.low[i]; }
inline double volume(const bench::Walk& w, int32_t i) { return w.volume[i]; }
inline double typical(const bench::Walk& w, int32_t i) { return (w.high[i] + w.low[i] + w.close[i]) / 3.0; }
// 1 on a bar that closes above its open, else 0
inline double up(const bench::Walk& w, int32_t i) { return w.close[i] > w.open[i] ? 1.0 : 0.0; }
// where the close stands in the bar's range, 0 to 100
inline double stoch(const bench::Walk& w, int32_t i) {
    return 100.0 * (w.close[i] - w.low[i]) / (w.high[i] - w.low[i]);
}
// the same, centred on 0 and within (-0.5, 0.5)
inline double centred(const bench::Walk& w, int32_t i) { return stoch(w, i) / 100.0 - 0.5; }
// bands three ranges above and below the bar's middle
inline double upperBand(const bench::Walk& w, int32_t i) {
    return (w.high[i] + w.low[i]) / 2.0 + 3.0 * (w.high[i] - w.low[i]);
}
inline double lowerBand(const bench::Walk& w, int32_t i) {
    return (w.high[i] + w.low[i]) / 2.0 - 3.0 * (w.high[i] - w.low[i]);
}
// a swing of strength 2 on every tenth bar, as a swing series holds them
inline double swings(const bench::Walk&, int32_t i) { return i % 10 == 0 ? 2.0 : 0.0; }
// the bar's change in percent
inline double change(const bench::Walk& w, int32_t i) { return 100.0 * (w.close[i] - w.open[i]) / w.open[i]; }
// the bar's range, a price distance, and the same in money at 50 a point
inline double range(const bench::Walk& w, int32_t i) { return w.high[i] - w.low[i]; }
inline double rangeDollars(const bench::Walk& w, int32_t i) { return 50.0 * range(w, i); }
// the close's change over 10 bars, an oscillator to set against the price
inline double momentum(const bench::Walk& w, int32_t i) { return i >= 10 ? w.close[i] - w.close[i - 10] : 0.0; }

// (of the one walk the rows are measured on)
inline const bench::Crossings& crossings(const bench::Walk& w) {
    static const bench::Crossings c(w);
    return c;
}
inline double entry(const bench::Walk& w, int32_t i) { return crossings(w).entry[i]; }
inline double direction(const bench::Walk& w, int32_t i) { return crossings(w).direction[i]; }
} // namespace src

// The date and time of a market bar, by its number (also past the walk's first bench::kBars bars).
using Stamp = double (*)(int32_t bar);

namespace stamp {
// daily bars from 2 January 1990 on, every day of the week
inline double daily(int32_t bar) { return 32875.0 + bar; }
// one-minute bars from 09:30 to 15:59, 390 a day, on every day from 2 January 1990 on
inline double minutes(int32_t bar) { return 32875.0 + bar / 390 + (570.0 + bar % 390) / 1440.0; }
} // namespace stamp

// The walk (bench::kBars bars, then kExtraBars more for the update rows) and its per-bar inputs
// over the first bench::kBars bars, as plain arrays for the peers and as host series for us.
struct Data {
    bench::Walk walk;
    std::vector<double> typical; // (high + low + close) / 3
    host::Market market;
    host::Series close, open, high, low, volume, typicalSeries;
    std::vector<double> values(Source s) const; // one input over the first bench::kBars bars
    static Data& get();

private:
    Data();
};

// One peer function: `run` is the timed call into buffers made beforehand; `values` gives the
// last result aligned to the bars (NaN where the function gives nothing); `last`, where the
// library can compute a single new value, computes only the last bar.
struct PeerCase {
    std::string fn; // the peer's function, with its parameters
    std::function<void()> run;
    std::function<std::vector<double>()> values;
    std::function<void()> last;
    explicit operator bool() const { return static_cast<bool>(run); }
};

// How FormulaKit's outputs and a peer's may differ, and why.
struct Pair {
    std::string row;        // e.g. "MovAvg kind 1 (30)"
    std::string exportName; // looked up in the export table
    int32_t warmUp;         // bars left out of the comparison of values: 10 times the period
    // the parameters after the Return Value
    std::function<void(host::Call&, Data&)> bind;
    PeerCase talib, tulip;
    std::string note;       // where the definitions legitimately differ
};

// An export that honours the start bar, run again with the start bar at one appended bar.
struct Update {
    std::string row;
    std::string exportName;
    std::vector<Source> inputs; // the series parameters, in order, appended to bar by bar
    // the parameters after the Return Value, `series` built from `inputs`; `market` holds the
    // walk's bars stamped by `stamps`, appended to bar by bar too, where `usesMarket`
    std::function<void(host::Call&, std::vector<host::Series>& series, host::Market& market)> bind;
    std::string pairRow;        // the pair row whose peers give the cost of the same update
    bool usesMarket = false;
    Stamp stamps = stamp::daily;
};

std::vector<Pair> makePairs(Data& d);
std::vector<Update> makeUpdates();

} // namespace fk::peers
