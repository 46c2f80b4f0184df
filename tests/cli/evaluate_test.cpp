// The evaluator as the host: binding against the export table, the tags and values it passes,
// the order of nested calls, chunked calls with their start bars, and the release calls. Test
// exports stand in where the library has none with the behaviour needed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "cli/errors.h"
#include "cli/evaluate.h"
#include "containers/series.h"
#include "containers/text.h"
#include "frame/format.h"

using namespace fk;
using namespace fk::cli;

namespace {

// What the test exports saw.
struct Log {
    std::vector<std::string> calls; // "Name@start"
    int releases = 0;
    std::vector<uint32_t> tags;     // of the last call's entries
};
Log gLog;

void note(const char* name, CParmBlock* pb) {
    if (pb->startBar == -2) {
        ++gLog.releases;
        return;
    }
    gLog.calls.push_back(std::string(name) + "@" + std::to_string(pb->startBar));
    gLog.tags.clear();
    for (uint32_t i = 1; i <= pb->count(); ++i) gLog.tags.push_back(pb->params[i].type);
}

// Scale(series, number): the input times the number, computed from the start bar on.
constexpr ExportSig kScaleSig{3, 3, "SSN", kReadsStart};
StatusCode FK_STDCALL scaleEntry(CParmBlock* pb) {
    note("Scale", pb);
    return runExport(pb, kScaleSig, [](Args& a) {
        series::NumberOut out(a.out(), series::count(a.series(2)));
        const series::NumberView in(a.series(2));
        for (int32_t i = a.startBar(); i < in.count(); ++i) out.set(i, in.missing(i) ? out.fill() : in[i] * a.number(3));
        return kOk;
    });
}

// Late(series): too few bars until there are four, then a copy of the input.
constexpr ExportSig kLateSig{2, 2, "SS", kReadsStart};
StatusCode FK_STDCALL lateEntry(CParmBlock* pb) {
    note("Late", pb);
    return runExport(pb, kLateSig, [](Args& a) {
        const series::NumberView in(a.series(2));
        if (in.count() < 4) return kTooFewBars;
        series::NumberOut out(a.out(), in.count());
        for (int32_t i = a.startBar(); i < in.count(); ++i) out.set(i, in[i]);
        return kOk;
    });
}

// Label(text, number [, text]): a text result.
constexpr ExportSig kLabelSig{3, 4, "XTNX", kIgnoresStart};
StatusCode FK_STDCALL labelEntry(CParmBlock* pb) {
    note("Label", pb);
    return runExport(pb, kLabelSig, [](Args& a) {
        std::string s = std::string(text::view(*a.text(2))) + "=" + std::to_string(static_cast<int>(a.number(3)));
        if (a.has(4)) s += "/" + std::string(text::view(*a.text(4)));
        text::assignString(*a.out(), s.c_str());
        return kOk;
    });
}

// Refuse(number): fails with a message.
constexpr ExportSig kRefuseSig{2, 2, "SN", kIgnoresStart};
StatusCode FK_STDCALL refuseEntry(CParmBlock* pb) {
    note("Refuse", pb);
    return runExport(pb, kRefuseSig, [](Args& a) {
        writeError(a.errorText(), "Length %d is too short.", static_cast<int>(a.number(2)));
        return kDomainError;
    });
}

const ExportEntry kTestExports[] = {
    {"Scale", nullptr, Naming::Plain, "Scale", scaleEntry, kScaleSig},
    {"Late", nullptr, Naming::Plain, "Late", lateEntry, kLateSig},
    {"Label", nullptr, Naming::Plain, "Label", labelEntry, kLabelSig},
    {"Refuse", nullptr, Naming::Plain, "Refuse", refuseEntry, kRefuseSig},
};

const ExportEntry* testLookup(std::string_view name) {
    const auto same = [](char a, char b) { return std::tolower(a) == std::tolower(b); };
    for (const ExportEntry& e : kTestExports)
        if (std::ranges::equal(std::string_view(e.name), name, same)) return &e;
    return findExport(name);
}

BarData bars(int n) {
    BarData b;
    b.source = "test";
    for (int i = 0; i < n; ++i) {
        b.dateTime.push_back(45000 + i);
        b.open.push_back(10 + i);
        b.high.push_back(11 + i);
        b.low.push_back(9 + i);
        b.close.push_back(i == 2 ? -999999.0 : 10.5 + i);
        b.volume.push_back(100 * i);
    }
    b.extra.push_back({"Adj Close", std::vector<double>(static_cast<std::size_t>(n), 7.0)});
    return b;
}

std::vector<Column> run(const std::vector<std::string>& exprs, int chunk = 0, int n = 6) {
    gLog = {};
    EvalOptions o;
    o.chunk = chunk;
    o.lookup = testLookup;
    return evaluate(bars(n), MarketSettings{}, exprs, o);
}

TEST(Evaluate, SeriesNumbersAndNestedCalls) {
    const auto cols = run({"Scale(Close, 2)", "scale(SCALE(adjclose, 3), -1)", "Scale(4, 0.5)", "Volume"});
    const double F = -999999.0;
    EXPECT_EQ(cols[0].values, (std::vector<double>{21, 23, F, 27, 29, 31}));
    EXPECT_EQ(cols[1].values, std::vector<double>(6, -21.0));
    EXPECT_EQ(cols[2].values, (std::vector<double>{2, F, F, F, F, F})); // a single constant of count 1
    EXPECT_EQ(cols[3].values, (std::vector<double>{0, 100, 200, 300, 400, 500}));
    EXPECT_EQ(cols[1].title, "scale(SCALE(adjclose, 3), -1)");
    // nested first; the number for a series went in as a Number entry (a single constant)
    EXPECT_EQ(gLog.calls, (std::vector<std::string>{"Scale@0", "Scale@0", "Scale@0", "Scale@0"}));
    EXPECT_EQ(gLog.tags, (std::vector<uint32_t>{kParamNumberSeries, kParamNumber, kParamNumber}));
    EXPECT_EQ(gLog.releases, 4);
}

TEST(Evaluate, TextsInAndOut) {
    const auto cols = run({"Label(\"n, \\\"q\\\"\", 5)", "Label(\"a\", 1, Label(\"b\", 2))"});
    ASSERT_TRUE(cols[0].isText);
    EXPECT_EQ(cols[0].text, "n, \"q\"=5");
    EXPECT_EQ(cols[1].text, "a=1/b=2");
    EXPECT_EQ(gLog.tags, (std::vector<uint32_t>{kParamTextSeries, kParamText, kParamNumber, kParamTextSeries}));
}

TEST(Evaluate, RealExportsReadTheMarket) {
    MarketSettings m;
    m.tickSize = 0.25;
    m.tickValue = 12.5;
    m.minMoveFactor = 4;
    const auto cols = evaluate(bars(3), m, {"TickMove(Bars)", "TickValue(bars)", "minmove(Bars)"});
    EXPECT_EQ(cols[0].values, std::vector<double>(3, 0.25)); // a single constant on every row
    EXPECT_EQ(cols[1].values, std::vector<double>(3, 12.5));
    EXPECT_EQ(cols[2].values, std::vector<double>(3, 1.0));
}

TEST(Evaluate, ChunksCallAgainFromTheFirstNewBar) {
    const auto chunked = run({"Scale(Scale(Close, 2), 3)"}, 4, 10);
    EXPECT_EQ(gLog.calls, (std::vector<std::string>{"Scale@0", "Scale@0", "Scale@4", "Scale@4", "Scale@8", "Scale@8"}));
    EXPECT_EQ(gLog.releases, 2);
    EXPECT_EQ(chunked[0].values, run({"Scale(Scale(Close, 2), 3)"}, 0, 10)[0].values);
}

TEST(Evaluate, TooFewBarsWaitsForMoreBarsWhileTheyArrive) {
    const auto cols = run({"Scale(Late(Close), 1)"}, 3, 7);
    // Late fails on 3 bars, succeeds on 6 from bar 0, then goes on from bar 6; Scale waits for it
    EXPECT_EQ(gLog.calls, (std::vector<std::string>{"Late@0", "Late@0", "Scale@0", "Late@6", "Scale@6"}));
    EXPECT_EQ(cols[0].values, run({"Late(Close)"}, 0, 7)[0].values);
    // on the last bars it is a failure
    EXPECT_THROW(run({"Late(Close)"}, 2, 3), ExportFailure);
}

TEST(Evaluate, FailuresNameTheExportAndStatus) {
    try {
        run({"Scale(Close, 1)", "Refuse(3)"});
        FAIL() << "no failure";
    } catch (const ExportFailure& e) {
        EXPECT_STREQ(e.what(), "Refuse: status -1 (0xFFFFFFFF): Length 3 is too short.");
    }
    EXPECT_EQ(statusLine("X", 0xFF00, ""), "X: status 65280 (0xFF00): too few bars");
    EXPECT_EQ(statusLine("X", 0x103, ""), "X: status 259 (0x103): wrong number of parameters (3)");
    EXPECT_EQ(statusLine("X", 0x203, ""), "X: status 515 (0x203): parameter 2 has a wrong type");
}

TEST(Evaluate, BindingErrorsPointAtTheArgument) {
    const struct {
        const char* expr;
        std::size_t pos;
        const char* message;
    } cases[] = {
        {"Nope(Close)", 0, "unknown function \"Nope\""}, {"Scale(Clos, 1)", 6, "unknown name \"Clos\""},
        {"Scale(Close)", 0, "Scale takes 2 arguments, not 1"}, {"TickMove()", 0, "TickMove takes 1 argument, not 0"},
        {"Label(\"a\")", 0, "Label takes 2 to 3 arguments, not 1"},
        {"Scale(Close, Close)", 13, "argument 2 of Scale must be a number, not the series Close"},
        {"Scale(Close, Scale(Close, 1))", 13, "must be a number, not a series"},
        {"Scale(\"x\", 1)", 6, "argument 1 of Scale must be a series, not a text"},
        {"Scale(Bars, 1)", 6, "must be a series, not the market (Bars)"},
        {"Scale(Label(\"a\", 1), 1)", 6, "must be a series, not a text (Label gives a text)"},
        {"TickMove(Close)", 9, "must be the market (Bars), not the series Close"},
        {"Label(3, 1)", 6, "must be a text, not a number"}, {"Scale(TickMove, 1)", 6, "TickMove is a function"},
        {"Bars", 0, "Bars is the market"}, {"3", 0, "an expression is a call"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expr);
        try {
            run({"Volume", c.expr});
            ADD_FAILURE() << "no error";
        } catch (const ExprError& e) {
            EXPECT_EQ(e.expr, 1u);
            EXPECT_EQ(e.pos, c.pos);
            EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos) << e.what();
        }
    }
    EXPECT_TRUE(gLog.calls.empty()); // nothing runs before every expression is checked
}

} // namespace
