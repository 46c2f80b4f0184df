// Runs one export call described compactly, for tables of worked examples, status codes and the
// host's chunked calls.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "exports/export_def.h"
#include "host/hostkit.h"

namespace fk::testing {

// The names the tests use most, for `using namespace testing;`.
using host::Bar;
using host::Call;
using host::Market;
using host::Series;
using host::Text;
using Vec = std::vector<double>;

inline constexpr double F = kMissing;

// A parameter: a series by its values, a number (a single constant where the export wants a
// series), a text, a market of the given bars (daily, with the host's default settings), a
// market, series or text set up by the test, or a letter: 'e' an empty series, 'm' a market of
// three daily bars, 'n' a market without bars.
using Arg = std::variant<std::vector<double>, double, char, std::string, std::vector<host::Bar>, host::Market*,
                         host::Series*, host::Text*>;

// The Return Value a call starts with: its elements, a series set up by the test, or a letter:
// 'z' a handle without buffer, '0' a null handle pointer. An export whose Return Value is a text
// gets a text.
struct Out {
    std::vector<double> values;
    char kind = 0;
    host::Series* series = nullptr;
    Out(std::vector<double> v = {}) : values(std::move(v)) {}
    Out(std::initializer_list<double> v) : values(v) {}
    Out(char k) : kind(k) {}
    Out(host::Series& s) : series(&s) {}
};

struct Result {
    StatusCode status;
    std::vector<double> values; // the Return Value afterwards
};

// Bars at the given date-times: all with the same prices, or with one price per bar for open,
// high, low and close.
inline std::vector<host::Bar> barsAt(const std::vector<double>& stamps, const std::vector<double>& prices = {}) {
    std::vector<host::Bar> bars;
    for (std::size_t i = 0; i < stamps.size(); ++i) {
        const double p = prices.empty() ? 0 : prices[i];
        bars.push_back(prices.empty() ? host::Bar{stamps[i], 10, 11, 9, 10, 100} : host::Bar{stamps[i], p, p, p, p, 1});
    }
    return bars;
}

// Daily bars from the given columns (an empty column is all 1s).
inline std::vector<host::Bar> barsOf(const std::vector<double>& high, const std::vector<double>& low,
                                     const std::vector<double>& close = {}, const std::vector<double>& volume = {}) {
    std::vector<host::Bar> bars;
    for (std::size_t i = 0; i < high.size(); ++i) {
        const double c = close.empty() ? 1.0 : close[i];
        bars.push_back({41640.0 + static_cast<double>(i), c, high[i], low[i], c, volume.empty() ? 1.0 : volume[i]});
    }
    return bars;
}

// The three daily bars of the market 'm'.
inline std::vector<host::Bar> threeBars() {
    return {{41713.0, 10, 11, 9, 10, 100}, {41716.0, 10, 12, 9, 11, 200}, {41717.0, 11, 13, 10, 12, 300}};
}

// Calls `name` once from `startBar`.
inline Result runCall(const char* name, const std::vector<Arg>& args, int32_t startBar = 0, const Out& out0 = {}) {
    std::deque<host::Series> series;
    std::deque<host::Text> texts;
    std::deque<host::Market> markets;
    host::Market market(threeBars()), noBars;
    host::Series own = out0.kind == 'z' ? host::Series::null() : host::Series::of(out0.values);
    host::Series& out = out0.series ? *out0.series : own;
    host::Text textOut = out0.kind == 'z' ? host::Text::null() : host::Text();
    host::Call call(name);
    if (out0.kind == '0') call.rawPointer(kParamNumberSeries, nullptr);
    else if (call.entry().sig.types[0] == kArgTextSeries) call.out(textOut);
    else call.out(out);
    for (const Arg& a : args) {
        if (const auto* v = std::get_if<std::vector<double>>(&a)) call.arg(series.emplace_back(host::Series::of(*v)));
        else if (const auto* d = std::get_if<double>(&a)) call.arg(*d);
        else if (const auto* m = std::get_if<host::Market*>(&a)) call.arg(**m);
        else if (const auto* s = std::get_if<host::Series*>(&a)) call.arg(**s);
        else if (const auto* t = std::get_if<host::Text*>(&a)) call.arg(**t);
        else if (const auto* t = std::get_if<std::string>(&a)) call.arg(texts.emplace_back(*t));
        else if (const auto* b = std::get_if<std::vector<host::Bar>>(&a)) call.arg(markets.emplace_back(*b));
        else if (std::get<char>(a) == 'e') call.arg(series.emplace_back(host::Series::of({})));
        else if (std::get<char>(a) == 'n') call.arg(noBars);
        else call.arg(market);
    }
    const StatusCode st = call.run(startBar);
    return {st, out.values()};
}

// The Return Value of a call that must succeed: one starting with the elements `out0`, or `out`.
inline std::vector<double> valuesOf(const char* name, const std::vector<Arg>& args, int32_t startBar = 0,
                                    const Out& out0 = {}) {
    const Result r = runCall(name, args, startBar, out0);
    EXPECT_EQ(r.status, kOk) << name;
    return r.values;
}

// A call from `start` and the Return Value it must leave (its elements before the call: out0).
struct Example {
    const char* name;
    const char* function;
    std::vector<Arg> args;
    std::vector<double> expected, out0 = {};
    int32_t start = 0;
};

inline void expectExamples(const std::vector<Example>& examples) {
    for (const Example& e : examples) {
        SCOPED_TRACE(e.name);
        const Result r = runCall(e.function, e.args, e.start, e.out0);
        EXPECT_EQ(r.status, kOk);
        EXPECT_EQ(r.values, e.expected);
    }
}

// A call and the status it must return. A Return Value given by its elements starts as {7, 7, 7},
// which a call that computes nothing must leave as it was.
struct StatusCase {
    const char* function;
    std::vector<Arg> args;
    StatusCode expected;
    int32_t startBar = 0;
    Out out = std::vector<double>{7, 7, 7};
};

inline void expectStatuses(const std::vector<StatusCase>& cases) {
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(std::string(c.function) + " " + std::to_string(c.expected));
        const Result r = runCall(c.function, c.args, c.startBar, c.out);
        EXPECT_EQ(r.status, c.expected);
        if (c.out.kind == 0 && c.expected != kOk) {
            EXPECT_EQ(r.values, c.out.values) << "the Return Value changed";
        }
    }
}

// Calls `name` as the host does while bars arrive: the series and markets grow `chunk` bars at a
// time, and each call starts at the first new bar. Parameters are series, markets of given bars
// (set up by `setUp`, when given, before their first bar) and numbers.
using MarketSetUp = std::function<void(host::Market&)>;
inline Result runChunked(const char* name, const std::vector<Arg>& args, int32_t chunk, const MarketSetUp& setUp = {}) {
    std::deque<host::Series> series;
    std::deque<host::Market> markets;
    std::vector<const std::vector<double>*> sources;
    std::vector<const std::vector<host::Bar>*> bars;
    host::Series out;
    host::Call call(name);
    call.out(out);
    std::size_t total = 0;
    for (const Arg& a : args) {
        if (const auto* v = std::get_if<std::vector<double>>(&a)) {
            call.arg(series.emplace_back(host::Series::of({})));
            sources.push_back(v);
            total = std::max(total, v->size());
        } else if (const auto* b = std::get_if<std::vector<host::Bar>>(&a)) {
            host::Market& m = markets.emplace_back();
            if (setUp) setUp(m);
            call.arg(m);
            bars.push_back(b);
            total = std::max(total, b->size());
        } else {
            call.arg(std::get<double>(a));
        }
    }
    auto grow = [&](int32_t n) {
        for (std::size_t i = 0; i < sources.size(); ++i)
            for (host::Series& s = series[i]; s.count() < n && s.count() < static_cast<int32_t>(sources[i]->size());)
                s.push((*sources[i])[s.count()]);
        for (std::size_t i = 0; i < bars.size(); ++i)
            for (host::Market& m = markets[i]; m.barCount() < n && m.barCount() < static_cast<int32_t>(bars[i]->size());)
                m.append((*bars[i])[m.barCount()]);
    };
    const StatusCode st = host::playChunks(call, static_cast<int32_t>(total), chunk, grow);
    return {st, out.values()};
}

// Calls in chunks of 1, 7 and 100 bars give what one call gives, which this answers.
inline std::vector<double> expectChunksMatchOneCall(const char* name, const std::vector<Arg>& args,
                                                    const MarketSetUp& setUp = {}) {
    const Result one = runChunked(name, args, 1 << 30, setUp);
    EXPECT_EQ(one.status, kOk) << name;
    const std::vector<double>& whole = one.values;
    for (int32_t chunk : {1, 7, 100}) {
        const Result r = runChunked(name, args, chunk, setUp);
        EXPECT_EQ(r.status, kOk) << name << " in chunks of " << chunk;
        EXPECT_EQ(r.values, whole) << name << " in chunks of " << chunk;
    }
    return whole;
}

// The number of bars of `v` that are not missing.
inline long presentCount(const std::vector<double>& v) {
    return std::count_if(v.begin(), v.end(), [](double x) { return x != F; });
}

// Equal bar for bar within `tolerance`: missing where the other is missing; the first bar that
// differs is the one reported.
inline void expectNear(const std::vector<double>& got, const std::vector<double>& want, double tolerance = 1e-9,
                       const std::string& what = "") {
    ASSERT_EQ(got.size(), want.size()) << what;
    for (std::size_t i = 0; i < want.size(); ++i) {
        if (want[i] == F || got[i] == F) ASSERT_EQ(got[i], want[i]) << what << " bar " << i;
        else ASSERT_NEAR(got[i], want[i], tolerance) << what << " bar " << i;
    }
}

} // namespace fk::testing
