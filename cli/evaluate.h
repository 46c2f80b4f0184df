// Evaluates expressions over bars the way the host does: one call site (a parameter block kept
// across calls) per call in an expression, nested calls first, every entry tagged as the export
// table declares it.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/bars.h"
#include "exports/export_def.h"

namespace fk::cli {

// The market's properties besides its bars.
struct MarketSettings {
    double tickSize = 0.01;
    double tickValue = 0.01;
    double minMoveFactor = 1.0;
    int32_t period = 0; // 0: guessed from the bars
    int16_t sessionStart = 570, sessionEnd = 960;
    int16_t dayEnd = 0; // 0: midnight; a bar at or after the day end belongs to the next trading day
    std::string zone;   // empty: none (New York)
    std::string symbol;
};

// One evaluated expression: a number series read bar by bar, or a text.
struct Column {
    std::string title; // the expression as written
    bool isText = false;
    std::string text;
    std::vector<double> values; // one per bar
    double fill = -999999.0;    // the result's fill value: a bar holding it is missing
};

using ExportLookup = const ExportEntry* (*)(std::string_view name);

struct EvalOptions {
    int32_t chunk = 0;                // > 0: the bars arrive this many at a time
    ExportLookup lookup = findExport; // where names are looked up
};

// Parses and checks every expression first, then runs them. Throws ExprError (with the index of
// the expression), UsageError or ExportFailure.
std::vector<Column> evaluate(const BarData& bars, const MarketSettings& market, const std::vector<std::string>& exprs,
                             const EvalOptions& options = {});

// The line printed for a non-zero status: "NAME: status N (0xHEX): error text".
std::string statusLine(const char* name, StatusCode status, std::string_view errorText);

} // namespace fk::cli
