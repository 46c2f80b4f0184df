#include "cli/listing.h"

#include <algorithm>
#include <vector>

#include <fmt/format.h>

namespace fk::cli {

namespace {

const char* shortWord(char t) {
    switch (t) {
    case kArgSeries: return "series";
    case kArgNumber: return "number";
    case kArgText: return "text";
    case kArgMarket: return "Bars";
    case kArgTextSeries: return "text";
    default: return "?";
    }
}

const char* longWord(char t) {
    switch (t) {
    case kArgSeries: return "series: a Number or True/False Series, or a number passed as a single constant";
    case kArgNumber: return "Number";
    case kArgText: return "Text";
    case kArgMarket: return "Market: write Bars";
    case kArgTextSeries: return "text series";
    default: return "unknown";
    }
}

std::string counts(const ExportSig& s) {
    return s.minCount == s.maxCount ? fmt::format("count {}", s.minCount)
                                    : fmt::format("counts {} to {}", s.minCount, s.maxCount);
}

} // namespace

std::string signatureOf(const ExportEntry& e) {
    const ExportSig& s = e.sig;
    std::string r = std::string(e.name) + "(";
    for (int i = 1; i < s.maxCount; ++i) {
        const bool optional = i >= s.minCount;
        if (optional && i == s.minCount) r += "[";
        if (i > 1) r += ", ";
        r += shortWord(s.types[i]);
    }
    if (s.maxCount > s.minCount) r += "]";
    return r + ") -> " + (s.types[0] == kArgTextSeries ? "text" : "series");
}

std::string listExports() {
    std::vector<std::string> sigs;
    std::size_t width = 0;
    for (const ExportEntry& e : exportTable()) {
        sigs.push_back(signatureOf(e));
        width = std::max(width, sigs.back().size());
    }
    std::string out;
    std::size_t i = 0;
    for (const ExportEntry& e : exportTable()) {
        out += fmt::format("{:<{}}  {}\n", sigs[i++], width, counts(e.sig));
    }
    return out;
}

std::string describeExport(const ExportEntry& e) {
    const ExportSig& s = e.sig;
    std::string out = signatureOf(e) + "\n";
    out += s.minCount == s.maxCount
               ? fmt::format("  {} (the Return Value and {} parameter{})\n", counts(s), s.minCount - 1, s.minCount == 2 ? "" : "s")
               : fmt::format("  {} (the Return Value and {} to {} parameters)\n", counts(s), s.minCount - 1, s.maxCount - 1);
    for (int i = 0; i < s.maxCount; ++i) {
        const std::string role = i == 0 ? "Return Value" : fmt::format("parameter {}", i);
        out += fmt::format("  entry {:<2} {:<13} {}  {}{}\n", i + 1, role, s.types[i], longWord(s.types[i]),
                           i >= s.minCount ? " (optional)" : "");
    }
    switch (e.naming) {
    case Naming::Plain: out += fmt::format("  exported as {}\n", e.name); break;
    case Naming::Alias: out += fmt::format("  exported as {} and {}\n", e.name, e.decorated); break;
    case Naming::DecoratedOnly: out += fmt::format("  exported only as {}\n", e.decorated); break;
    case Naming::Same: out += fmt::format("  exported as {}, running the entry point of {}\n", e.name, e.entryName); break;
    }
    out += s.readsStartBar ? "  computes from the start bar on; the host calls it again as bars arrive\n"
                           : "  ignores the start bar\n";
    return out;
}

} // namespace fk::cli
