// The pairs: each export with its parameters, and the peers' nearest functions on the same bars.
#include <algorithm>

#include "peers.h"

#if FK_PEER_TALIB
#include "ta_libc.h"
#endif
#if FK_PEER_TULIP
#include "indicators.h"
#endif

namespace fk::peers {

using bench::kBars;

Data::Data() : walk(bench::randomWalk(kBars + kExtraBars)) {
    typical = values(src::typical);
    std::vector<host::Bar> bars = bench::walkBars(walk);
    bars.resize(kBars);
    market.append(bars);
    close = host::Series::of(values(src::close));
    open = host::Series::of(values(src::open));
    high = host::Series::of(values(src::high));
    low = host::Series::of(values(src::low));
    volume = host::Series::of(values(src::volume));
    typicalSeries = host::Series::of(typical);
}

Data& Data::get() {
    static Data d;
    return d;
}

std::vector<double> Data::values(Source s) const {
    std::vector<double> v(kBars);
    for (int32_t i = 0; i < kBars; ++i) v[i] = s(walk, i);
    return v;
}

namespace {

#if FK_PEER_TALIB
// A TA-Lib function over all bars: `call(start, end, &begin, &count, out)`. `toBar` turns an
// output at a bar into the value compared with ours (MAXINDEX gives a bar number, we bars ago).
template <class T, class Call>
PeerCase talib(std::string fn, Call call, double (*toBar)(int32_t bar, T v) = nullptr) {
    struct State {
        std::vector<T> out = std::vector<T>(kBars);
        int begin = 0, count = 0;
        T one{};
    };
    auto s = std::make_shared<State>();
    PeerCase p;
    p.fn = std::move(fn);
    p.run = [s, call] { call(0, kBars - 1, &s->begin, &s->count, s->out.data()); };
    p.values = [s, toBar] {
        std::vector<double> v(kBars, kNone);
        for (int k = 0; k < s->count; ++k) {
            const int32_t bar = s->begin + k;
            v[bar] = toBar ? toBar(bar, s->out[k]) : static_cast<double>(s->out[k]);
        }
        return v;
    };
    p.last = [s, call] {
        int begin = 0, count = 0;
        call(kBars - 1, kBars - 1, &begin, &count, &s->one);
    };
    return p;
}
#endif

#if FK_PEER_TULIP
// A Tulip Indicators function with one output over all bars.
PeerCase tulip(std::string fn, ti_indicator_function f, ti_indicator_start_function start,
               std::vector<const double*> inputs, std::vector<double> options) {
    struct State {
        std::vector<const double*> inputs;
        std::vector<double> options, out = std::vector<double>(kBars);
        int begin = 0;
    };
    auto s = std::make_shared<State>();
    s->inputs = std::move(inputs);
    s->options = std::move(options);
    s->begin = start(s->options.data());
    PeerCase p;
    p.fn = std::move(fn);
    p.run = [s, f] {
        double* outs[] = {s->out.data()};
        f(kBars, s->inputs.data(), s->options.data(), outs);
    };
    p.values = [s] {
        std::vector<double> v(kBars, kNone);
        for (int32_t k = 0; k + s->begin < kBars; ++k) v[s->begin + k] = s->out[k];
        return v;
    };
    return p;
}
#endif

// The arguments of the pairs, each bound the way a formula passes them.
auto seriesAnd(host::Series Data::*input, std::vector<double> numbers) {
    return [input, numbers](host::Call& c, Data& d) {
        c.arg(d.*input);
        for (double n : numbers) c.arg(n);
    };
}
auto marketAnd(std::vector<double> numbers) {
    return [numbers](host::Call& c, Data& d) {
        c.arg(d.market);
        for (double n : numbers) c.arg(n);
    };
}

} // namespace

std::vector<Pair> makePairs(Data& d) {
    [[maybe_unused]] const double* close = d.walk.close.data();
    [[maybe_unused]] const double* open = d.walk.open.data();
    [[maybe_unused]] const double* high = d.walk.high.data();
    [[maybe_unused]] const double* low = d.walk.low.data();
    [[maybe_unused]] const double* volume = d.walk.volume.data();
    [[maybe_unused]] const double* typical = d.typical.data();
    std::vector<Pair> pairs;
    auto add = [&](Pair p) { pairs.push_back(std::move(p)); };
    auto ma = [&](int kind, int length) { return seriesAnd(&Data::close, {double(length), double(kind)}); };

    Pair p;
    p = {"MovAvg kind 1 (30)", "MovAvg", 300, ma(1, 30), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("SMA(30)", [=](int s, int e, int* b, int* n, double* o) { TA_SMA(s, e, close, 30, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("sma(30)", ti_sma, ti_sma_start, {close}, {30});
#endif
    add(p);

    p = {"MovAvg kind 2 (30)", "MovAvg", 300, ma(2, 30), {}, {},
         "seeds: ours and Tulip's the first close, TA-Lib's the average of the first 30; ours is missing for 3n bars"};
#if FK_PEER_TALIB
    p.talib = talib<double>("EMA(30)", [=](int s, int e, int* b, int* n, double* o) { TA_EMA(s, e, close, 30, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("ema(30)", ti_ema, ti_ema_start, {close}, {30});
#endif
    add(p);

    p = {"MovAvg kind 3 (30)", "MovAvg", 300, ma(3, 30), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("WMA(30)", [=](int s, int e, int* b, int* n, double* o) { TA_WMA(s, e, close, 30, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("wma(30)", ti_wma, ti_wma_start, {close}, {30});
#endif
    add(p);

    p = {"MovAvg kind 5 (10: 2, 30)", "MovAvg", 100, ma(5, 10), {}, {},
         "adaptive: each library seeds it differently, and the seed fades only by (1 - sc^2) per bar"};
#if FK_PEER_TALIB
    p.talib = talib<double>("KAMA(10)", [=](int s, int e, int* b, int* n, double* o) { TA_KAMA(s, e, close, 10, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("kama(10)", ti_kama, ti_kama_start, {close}, {10});
#endif
    add(p);

    p = {"MovAvg kind 6 (30)", "MovAvg", 300, ma(6, 30), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("TRIMA(30)", [=](int s, int e, int* b, int* n, double* o) { TA_TRIMA(s, e, close, 30, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("trima(30)", ti_trima, ti_trima_start, {close}, {30});
#endif
    add(p);

    p = {"MovingSum (30)", "MovingSum", 300, seriesAnd(&Data::close, {30, 0}), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("SUM(30)", [=](int s, int e, int* b, int* n, double* o) { TA_SUM(s, e, close, 30, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("sum(30)", ti_sum, ti_sum_start, {close}, {30});
#endif
    add(p);

    p = {"MovStdDev (30)", "MovStdDev", 300, seriesAnd(&Data::close, {30}), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("STDDEV(30, 1)", [=](int s, int e, int* b, int* n, double* o) { TA_STDDEV(s, e, close, 30, 1.0, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("stddev(30)", ti_stddev, ti_stddev_start, {close}, {30});
#endif
    add(p);

    p = {"RSI (14)", "RSI", 140, seriesAnd(&Data::close, {14}), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("RSI(14)", [=](int s, int e, int* b, int* n, double* o) { TA_RSI(s, e, close, 14, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("rsi(14)", ti_rsi, ti_rsi_start, {close}, {14});
#endif
    add(p);

    p = {"ADX (14)", "ADX", 140, marketAnd({14}), {}, {},
         "ours starts the ADX as a running mean of DX; the start fades by (1 - 1/14) per bar"};
#if FK_PEER_TALIB
    p.talib = talib<double>("ADX(14)", [=](int s, int e, int* b, int* n, double* o) { TA_ADX(s, e, high, low, close, 14, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("adx(14)", ti_adx, ti_adx_start, {high, low, close}, {14});
#endif
    add(p);

    p = {"CCI (20) of the typical price", "CCI", 200, seriesAnd(&Data::typicalSeries, {20}), {}, {},
         "ours takes the typical price as a series made beforehand; the peers form it from high, low, close"};
#if FK_PEER_TALIB
    p.talib = talib<double>("CCI(20)", [=](int s, int e, int* b, int* n, double* o) { TA_CCI(s, e, high, low, close, 20, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("cci(20)", ti_cci, ti_cci_start, {high, low, close}, {20});
#endif
    add(p);

    p = {"Parabolic (0.02, 0.2)", "Parabolic", 50, marketAnd({0, 0.02, 0.2}), {}, {},
         "ours writes at bar i the stop made on bar i for the next bar, the peers write it at bar i + 1 (shifted by one bar, 90% of bars agree to 1e-12); the first position is taken differently too"};
#if FK_PEER_TALIB
    p.talib = talib<double>("SAR(0.02, 0.2)", [=](int s, int e, int* b, int* n, double* o) { TA_SAR(s, e, high, low, 0.02, 0.2, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("psar(0.02, 0.2)", ti_psar, ti_psar_start, {high, low}, {0.02, 0.2});
#endif
    add(p);

    p = {"RegressionValue (14, 0)", "RegressionValue", 140, seriesAnd(&Data::close, {14, 0}), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("LINEARREG(14)", [=](int s, int e, int* b, int* n, double* o) { TA_LINEARREG(s, e, close, 14, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("linreg(14)", ti_linreg, ti_linreg_start, {close}, {14});
#endif
    add(p);

    p = {"RegressionValue slope (-14, 0)", "RegressionValue", 140, seriesAnd(&Data::close, {-14, 0}), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("LINEARREG_SLOPE(14)", [=](int s, int e, int* b, int* n, double* o) { TA_LINEARREG_SLOPE(s, e, close, 14, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("linregslope(14)", ti_linregslope, ti_linregslope_start, {close}, {14});
#endif
    add(p);

    p = {"Correlation (30) of close and volume", "Correlation", 300,
         [](host::Call& c, Data& d) {
             c.arg(d.close).arg(d.volume).arg(30);
         },
         {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("CORREL(30)", [=](int s, int e, int* b, int* n, double* o) { TA_CORREL(s, e, close, volume, 30, b, n, o); });
#endif
    add(p);

    p = {"HighestIndex (30)", "HighestIndex", 300, seriesAnd(&Data::close, {30, 0}), {}, {},
         "TA-Lib gives the bar number; it is compared as bars ago"};
#if FK_PEER_TALIB
    p.talib = talib<int>(
        "MAXINDEX(30)", [=](int s, int e, int* b, int* n, int* o) { TA_MAXINDEX(s, e, close, 30, b, n, o); },
        [](int32_t bar, int v) { return static_cast<double>(bar - v); });
#endif
    add(p);

    p = {"ArrayOperation \"+\" of close and open", "ArrayOperation", 0,
         [](host::Call& c, Data& d) {
             static host::Text plus("+");
             c.arg(d.close).arg(plus).arg(d.open);
         },
         {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("ADD", [=](int s, int e, int* b, int* n, double* o) { TA_ADD(s, e, close, open, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("add", ti_add, ti_add_start, {close, open}, {});
#endif
    add(p);

    p = {"VolAccumDist", "VolAccumDist", 0, marketAnd({}), {}, {}, ""};
#if FK_PEER_TALIB
    p.talib = talib<double>("AD", [=](int s, int e, int* b, int* n, double* o) { TA_AD(s, e, high, low, close, volume, b, n, o); });
#endif
#if FK_PEER_TULIP
    p.tulip = tulip("ad", ti_ad, ti_ad_start, {high, low, close, volume}, {});
#endif
    add(p);

    return pairs;
}

} // namespace fk::peers
