// Runs one export call described compactly, for tables of cases.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>
#include <variant>
#include <vector>

#include "host/hostkit.h"

namespace fk::testing {

inline constexpr double F = kMissing;

// A parameter: a series by its values, a number (a single constant where the export wants a
// series), or a letter: 'e' an empty series, 'z' a handle without buffer, 't' a text, 'm' a
// market of three bars.
using Arg = std::variant<std::vector<double>, double, char>;

struct Result {
    StatusCode status;
    std::vector<double> values; // the Return Value afterwards
};

// Calls `name` once; the Return Value starts with the elements `out0`. A non-zero `outTag`
// replaces the Return Value's type tag.
inline Result runCall(const char* name, const std::vector<Arg>& args, int32_t startBar = 0,
                      const std::vector<double>& out0 = {}, uint32_t outTag = 0) {
    std::deque<host::Series> series;
    host::Text text("x");
    host::Market market({{36000, 1, 2, 1, 1, 1}, {36001, 1, 3, 2, 2, 1}, {36002, 1, 2, 1, 1, 1}});
    host::Series out = host::Series::of(out0);
    host::Call call(name);
    call.out(out);
    for (const Arg& a : args) {
        if (const auto* v = std::get_if<std::vector<double>>(&a)) call.arg(series.emplace_back(host::Series::of(*v)));
        else if (const auto* d = std::get_if<double>(&a)) call.arg(*d);
        else if (std::get<char>(a) == 'e') call.arg(series.emplace_back(host::Series::of({})));
        else if (std::get<char>(a) == 'z') call.arg(series.emplace_back(host::Series::null()));
        else if (std::get<char>(a) == 't') call.arg(text);
        else call.arg(market);
    }
    if (outTag) call.tag(1, outTag);
    const StatusCode st = call.run(startBar);
    return {st, out.values()};
}

// A call and the Return Value it must leave (its elements before the call: out0).
struct Example {
    const char* name;
    const char* function;
    std::vector<Arg> args;
    std::vector<double> expected, out0 = {};
};

inline void expectExamples(const std::vector<Example>& examples) {
    for (const Example& e : examples) {
        SCOPED_TRACE(e.name);
        const Result r = runCall(e.function, e.args, 0, e.out0);
        EXPECT_EQ(r.status, kOk);
        EXPECT_EQ(r.values, e.expected);
    }
}

// A call and the status it must return.
struct StatusCase {
    const char* function;
    std::vector<Arg> args;
    int32_t startBar;
    StatusCode expected;
    uint32_t outTag = 0; // replaces the Return Value's type tag
};

inline void expectStatuses(const std::vector<StatusCase>& cases) {
    for (const StatusCase& c : cases) {
        SCOPED_TRACE(std::string(c.function) + " " + std::to_string(c.expected));
        EXPECT_EQ(runCall(c.function, c.args, c.startBar, {}, c.outTag).status, c.expected);
    }
}

// Calls `name` as the host does while bars arrive: the series parameters grow `chunk` bars at a
// time, and each call starts at the first new bar. Parameters are series and numbers only.
inline Result runChunked(const char* name, const std::vector<Arg>& args, int32_t chunk) {
    std::deque<host::Series> series;
    std::vector<const std::vector<double>*> sources;
    host::Series out;
    host::Call call(name);
    call.out(out);
    int32_t bars = 0;
    for (const Arg& a : args) {
        if (const auto* v = std::get_if<std::vector<double>>(&a)) {
            call.arg(series.emplace_back(host::Series::of({})));
            sources.push_back(v);
            bars = std::max(bars, static_cast<int32_t>(v->size()));
        } else {
            call.arg(std::get<double>(a));
        }
    }
    auto grow = [&](int32_t n) {
        for (std::size_t i = 0; i < sources.size(); ++i)
            for (host::Series& s = series[i]; s.count() < n && s.count() < static_cast<int32_t>(sources[i]->size());)
                s.push((*sources[i])[s.count()]);
    };
    const StatusCode st = host::playChunks(call, bars, chunk, grow);
    return {st, out.values()};
}

} // namespace fk::testing
