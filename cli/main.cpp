// formulakit: runs the library's functions over bars from a CSV file and prints the results.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/bars.h"
#include "cli/chart.h"
#include "cli/errors.h"
#include "cli/evaluate.h"
#include "cli/listing.h"
#include "cli/options.h"
#include "cli/table.h"

using namespace fk::cli;

namespace {

struct EvalArgs {
    std::vector<std::string> exprs, overlays;
    std::string bars, sample, period, session, dayEnd, zone, symbol, out, chart;
    fk::cli::MarketSettings market;
    int32_t chunk = 0;
    std::size_t tail = 0, chartBars = 0;
    bool raw = false, aligned = false;
};

int runList(const std::string& name) {
    if (name.empty()) {
        std::fputs(listExports().c_str(), stdout);
        return 0;
    }
    const fk::ExportEntry* e = fk::findExport(name);
    if (!e) throw UsageError("no function named " + name + " (formulakit list shows them all)");
    std::fputs(describeExport(*e).c_str(), stdout);
    return 0;
}

int runEval(EvalArgs& a) {
    std::vector<std::string> all = a.exprs;
    all.insert(all.end(), a.overlays.begin(), a.overlays.end());
    if (all.empty()) throw UsageError("eval needs at least one expression, such as \"MovAvg(Close, 20, 1)\"");
    if (!a.bars.empty() && !a.sample.empty()) throw UsageError("--bars and --sample exclude each other");

    if (!a.period.empty()) a.market.period = parsePeriod(a.period);
    if (!a.session.empty()) {
        int start = 0, end = 0;
        parseSession(a.session, start, end);
        a.market.sessionStart = static_cast<int16_t>(start);
        a.market.sessionEnd = static_cast<int16_t>(end);
    }
    if (!a.dayEnd.empty()) {
        const int m = parseClockMinutes(a.dayEnd);
        if (m < 0) throw UsageError("--day-end " + a.dayEnd + ": not a time (HHMM, such as 1600)");
        a.market.dayEnd = static_cast<int16_t>(m);
    }
    a.market.zone = a.zone;
    a.market.symbol = a.symbol;

    const std::string path = a.bars.empty() ? samplePath(a.sample.empty() ? "daily" : a.sample) : a.bars;
    const BarData bars = loadBars(path);
    EvalOptions eo;
    eo.chunk = a.chunk;
    const std::vector<Column> columns = evaluate(bars, a.market, all, eo);

    if (!a.chart.empty()) {
        ChartOptions co;
        co.path = a.chart;
        co.first = firstShownRow(bars.size(), a.tail);
        if (a.chartBars > 0) co.first = std::max(co.first, firstShownRow(bars.size(), a.chartBars));
        co.panes.assign(columns.begin(), columns.begin() + static_cast<std::ptrdiff_t>(a.exprs.size()));
        co.overlays.assign(columns.begin() + static_cast<std::ptrdiff_t>(a.exprs.size()), columns.end());
        writeChart(bars, co);
    }

    std::FILE* out = stdout;
    if (!a.out.empty()) {
        out = std::fopen(a.out.c_str(), "wb");
        if (!out) throw UsageError(a.out + ": cannot write: " + std::strerror(errno));
    }
    TableOptions to;
    to.raw = a.raw;
    to.tail = a.tail;
    to.aligned = a.aligned;
    writeTable(out, bars, columns, to);
    const bool failed = std::ferror(out) != 0;
    if (out != stdout && std::fclose(out) != 0) throw UsageError(a.out + ": cannot write");
    if (failed) throw UsageError((a.out.empty() ? std::string("standard output") : a.out) + ": cannot write");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app{"formulakit: runs the library's functions over bars from a CSV file.", "formulakit"};
    app.require_subcommand(1);

    std::string listName;
    CLI::App* list = app.add_subcommand("list", "Every function with its accepted counts and the type of each entry; with a name, that one in detail.");
    list->add_option("NAME", listName, "a function's name (any letter case)");

    EvalArgs a;
    CLI::App* eval = app.add_subcommand("eval", "Evaluates each expression over the bars and writes a CSV table, one row per bar, oldest first.");
    eval->footer(
        "An expression is a call such as MovAvg(RSI(Close, 14), 5, 1). An argument is a number (14, -2.5, 1e-3,\n"
        "0x11000001), a text in double quotes, a series (Open, High, Low, Close, Volume, DateTime or a further\n"
        "column of the bars file), Bars for the market, or a nested call. Names ignore letter case.\n"
        "Exit status: 0 done; 1 a function answered with a non-zero status; 2 bad input.");
    eval->add_option("EXPR", a.exprs, "expressions, each one column of the table");
    eval->add_option("--bars", a.bars, "CSV file of bars: Date (YYYY-MM-DD[ HH:MM[:SS]] or a date-time number), Open, High, Low, Close, Volume, further columns (default: the daily sample)");
    eval->add_option("--sample", a.sample, "a bundled sample instead of --bars: daily or intraday");
    eval->add_option("--tick-size", a.market.tickSize, "the market's smallest price step")->capture_default_str();
    eval->add_option("--tick-value", a.market.tickValue, "money value of one tick")->capture_default_str();
    eval->add_option("--min-move", a.market.minMoveFactor, "minimum-move factor (MinMove gives it times the tick size)")->capture_default_str();
    eval->add_option("--period", a.period, "bar period: daily, weekly, monthly, Nmin, or a period word such as 0x03000005 (default: from the bars)");
    eval->add_option("--session", a.session, "session start and inner session end, HHMM-HHMM")->default_str("0930-1600");
    eval->add_option("--day-end", a.dayEnd, "end of the trading day, HHMM: a bar stamped at or after it belongs to the next trading day (default: 0000, midnight)");
    eval->add_option("--zone", a.zone, "the market's time-zone text (default: none, New York)");
    eval->add_option("--symbol", a.symbol, "the market's symbol text");
    eval->add_option("--chunk", a.chunk, "bars arrive N at a time: every call site is called again for each chunk")->check(CLI::PositiveNumber);
    eval->add_flag("--raw", a.raw, "every value with 17 significant digits, fill values included");
    eval->add_option("--tail", a.tail, "only the last N rows");
    eval->add_flag("--table", a.aligned, "columns aligned for reading instead of CSV");
    eval->add_option("--out", a.out, "write the table to this file instead of standard output");
    eval->add_option("--chart", a.chart, "also draw the bars and each expression in a pane below, as SVG");
    eval->add_option("--overlay", a.overlays, "an expression drawn over the prices (a column of the table too); may be repeated")->allow_extra_args(false);
    eval->add_option("--chart-bars", a.chartBars, "draw only the last N bars");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);
        std::fprintf(stderr, "formulakit: %s\n", e.what());
        return 2;
    }

    try {
        if (list->parsed()) return runList(listName);
        return runEval(a);
    } catch (const ExprError& e) {
        const std::vector<std::string>& exprs = a.exprs;
        const std::string& text = e.expr < exprs.size() ? exprs[e.expr] : a.overlays[e.expr - exprs.size()];
        std::fprintf(stderr, "formulakit: in \"%s\" at column %zu: %s\n", text.c_str(), e.pos + 1, e.what());
        return 2;
    } catch (const UsageError& e) {
        std::fprintf(stderr, "formulakit: %s\n", e.what());
        return 2;
    } catch (const ExportFailure& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "formulakit: %s\n", e.what());
        return 1;
    }
}
