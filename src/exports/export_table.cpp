#include "exports/export_def.h"

#include <cctype>

namespace fk {

namespace {

const ExportEntry kTable[] = {
#define FK_EXPORT(name, lo, hi, types, sb) {#name, nullptr, Naming::Plain, #name, &::name, sig::name},
#define FK_EXPORT_ALIAS(name, deco, lo, hi, types, sb) {#name, deco, Naming::Alias, #name, &::name, sig::name},
#define FK_EXPORT_DECORATED(name, deco, lo, hi, types, sb)                                         \
    {#name, deco, Naming::DecoratedOnly, #name, &::name, sig::name},
#define FK_EXPORT_SAME(name, primary) {#name, nullptr, Naming::Same, #primary, &::primary, sig::primary},
#include "exports/all_tables.inc"
#undef FK_EXPORT
#undef FK_EXPORT_ALIAS
#undef FK_EXPORT_DECORATED
#undef FK_EXPORT_SAME
    {nullptr, nullptr, Naming::Plain, nullptr, nullptr, {}},
};

bool sameIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace

std::span<const ExportEntry> exportTable() { return {kTable, std::size(kTable) - 1}; }

const ExportEntry* findExport(std::string_view name) {
    for (const ExportEntry& e : exportTable())
        if (sameIgnoringCase(e.name, name) || (e.decorated && name == e.decorated)) return &e;
    return nullptr;
}

std::string librarySymbolName(std::string_view exported) {
    std::string s(exported);
#ifndef _WIN32
    for (char& c : s)
        if (c == '@') c = '$';
#endif
    return s;
}

} // namespace fk

#ifndef _WIN32
// The second symbols of aliased exports; on Windows the module definition names them.
#define FK_EXPORT(name, lo, hi, types, sb)
#define FK_EXPORT_DECORATED(name, deco, lo, hi, types, sb)
#define FK_EXPORT_ALIAS(name, deco, lo, hi, types, sb)                                             \
    extern "C" FK_API fk::StatusCode name##_decorated(fk::CParmBlock* pb) FK_DECORATED_SYMBOL(name); \
    extern "C" fk::StatusCode name##_decorated(fk::CParmBlock* pb) { return name(pb); }
#define FK_EXPORT_SAME(name, primary)                                                              \
    extern "C" FK_API fk::StatusCode name(fk::CParmBlock* pb);                                     \
    extern "C" fk::StatusCode name(fk::CParmBlock* pb) { return primary(pb); }
#include "exports/all_tables.inc"
#endif
