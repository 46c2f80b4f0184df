// The exported entry points: their declarations, signatures and the macro that defines one.
//
// Every export is listed once, in a family file under table/, with one of:
//   FK_EXPORT(Name, minCount, maxCount, "types", startBar)            exported as Name
//   FK_EXPORT_ALIAS(Name, "decorated", min, max, "types", startBar)   as Name and as the decorated name
//   FK_EXPORT_DECORATED(Name, "decorated", min, max, "types", startBar) only as the decorated name
//   FK_EXPORT_SAME(Name, Primary)                                     a second name for Primary's entry
// "types" has one letter per entry, the Return Value first: S series, N Number, T Text,
// M Market, X text series. startBar is kReadsStart or kIgnoresStart.
// The table, the module definition, the host kit, the command line and the fuzzer all come
// from these lists.
#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "frame/call.h"

#if defined(_WIN32) && !defined(_WIN64)
#define FK_STDCALL __stdcall
#else
#define FK_STDCALL
#endif

#if defined(_WIN32)
#define FK_API
#define FK_DECORATED_SYMBOL(name)
#else
#define FK_API __attribute__((visibility("default")))
// A decorated name is "?Name@@YGHPAVCParmBlock@@@Z". ELF reserves "@" for symbol versions, so the
// shared library exports it with every "@" written as "$" (see librarySymbolName). GCC hands the
// name to the assembler, which needs it quoted; clang takes it as the symbol name itself.
#if defined(__clang__)
#define FK_DECORATED_SYMBOL(name) __asm__("?" #name "$$YGHPAVCParmBlock$$$Z")
#else
#define FK_DECORATED_SYMBOL(name) __asm__("\"?" #name "$$YGHPAVCParmBlock$$$Z\"")
#endif
#endif

namespace fk {

using EntryPoint = StatusCode(FK_STDCALL*)(CParmBlock*);

inline constexpr bool kReadsStart = true;
inline constexpr bool kIgnoresStart = false;

enum class Naming : uint8_t {
    Plain,         // exported under its name
    Alias,         // under its name and under its decorated name
    DecoratedOnly, // only under its decorated name
    Same,          // under its name, running another export's entry point
};

struct ExportEntry {
    const char* name;      // the function's name in the formula language
    const char* decorated; // decorated export name, or null
    Naming naming;
    const char* entryName; // the entry point it runs: itself, or the primary for Same
    EntryPoint entry;
    ExportSig sig;

    // the symbols under which the module exports it
    bool exportsPlainName() const { return naming != Naming::DecoratedOnly; }
    bool exportsDecoratedName() const { return naming == Naming::Alias || naming == Naming::DecoratedOnly; }
};

std::span<const ExportEntry> exportTable();
// The symbol under which the shared library of this platform exports a name ("@" is "$" on ELF).
std::string librarySymbolName(std::string_view exported);
// By name, ignoring letter case; the decorated name finds its entry too.
const ExportEntry* findExport(std::string_view name);

} // namespace fk

// Declarations of every entry point and the signature of each.
#define FK_EXPORT(name, lo, hi, types, sb)                                                        \
    extern "C" FK_API fk::StatusCode FK_STDCALL name(fk::CParmBlock*);                          \
    namespace fk::sig { inline constexpr ExportSig name{lo, hi, types, sb}; }
#define FK_EXPORT_ALIAS(name, deco, lo, hi, types, sb) FK_EXPORT(name, lo, hi, types, sb)
#define FK_EXPORT_DECORATED(name, deco, lo, hi, types, sb)                                        \
    extern "C" FK_API fk::StatusCode FK_STDCALL name(fk::CParmBlock*) FK_DECORATED_SYMBOL(name); \
    namespace fk::sig { inline constexpr ExportSig name{lo, hi, types, sb}; }
#define FK_EXPORT_SAME(name, primary)
#include "exports/all_tables.inc"
#undef FK_EXPORT
#undef FK_EXPORT_ALIAS
#undef FK_EXPORT_DECORATED
#undef FK_EXPORT_SAME

// Defines the entry point `name`: the calling sequence of its signature, then the body, which
// receives the fetched entries as `fk::Args& a` and returns the status.
#define FK_ENTRY(name)                                                                            \
    static fk::StatusCode name##_body(fk::Args& a);                                               \
    extern "C" fk::StatusCode FK_STDCALL name(fk::CParmBlock* pb) {                               \
        return fk::runExport(pb, fk::sig::name, name##_body);                                     \
    }                                                                                             \
    static fk::StatusCode name##_body(fk::Args& a)
