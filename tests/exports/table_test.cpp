// The export table against itself, the module definition and the shared library's exports.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <set>
#include <string>

#include "exports/export_def.h"
#include "host/hostkit.h"

namespace fk {
namespace {

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

TEST(ExportTable, EntriesAreWellFormed) {
    std::set<std::string> seen;
    for (const ExportEntry& e : exportTable()) {
        SCOPED_TRACE(e.name);
        EXPECT_TRUE(seen.insert(lower(e.name)).second) << "names differ in more than letter case";
        EXPECT_GE(e.sig.minCount, 1);
        EXPECT_LE(e.sig.minCount, e.sig.maxCount);
        EXPECT_LE(e.sig.maxCount, kMaxEntries);
        ASSERT_EQ(std::string(e.sig.types).size(), e.sig.maxCount);
        EXPECT_NE(std::string("SX").find(e.sig.types[0]), std::string::npos) << "the Return Value is a series";
        for (const char* t = e.sig.types; *t; ++t) EXPECT_NE(std::string("SNTMX").find(*t), std::string::npos);
        if (e.decorated) {
            EXPECT_EQ(std::string(e.decorated), "?" + std::string(e.name) + "@@YGHPAVCParmBlock@@@Z");
        }
        if (e.naming == Naming::Same) {
            const ExportEntry* primary = findExport(e.entryName);
            ASSERT_NE(primary, nullptr);
            EXPECT_EQ(primary->entry, e.entry);
        }
        EXPECT_EQ(findExport(lower(e.name)), &e);
    }
}

TEST(ExportTable, TheSharedLibraryExportsEveryNameOfTheTableAndNothingElse) {
    host::Library lib;
    ASSERT_TRUE(lib.loaded()) << lib.loadError();
    std::set<std::string> names;
    for (const ExportEntry& e : exportTable()) {
        SCOPED_TRACE(e.name);
        if (e.exportsPlainName()) names.insert(librarySymbolName(e.name));
        if (e.exportsDecoratedName()) names.insert(librarySymbolName(e.decorated));
        EntryPoint ep = lib.entry(e);
        ASSERT_NE(ep, nullptr);
        // through the exported name: a wrong count comes back as a wrong count
        host::Call call(e, ep);
        host::Series out;
        call.out(out).count(0);
        EXPECT_EQ(call.run(0), 0x100);
        if (e.naming == Naming::DecoratedOnly) {
            EXPECT_EQ(lib.symbol(e.name), nullptr);
        }
    }
#ifndef _WIN32
    // the defined functions, in the portable listing: name, type, value, size
    FILE* p = popen(("nm -D --defined-only -P " + std::string(FK_SHARED_LIBRARY) + " 2>/dev/null").c_str(), "r");
    ASSERT_NE(p, nullptr);
    std::set<std::string> defined;
    char name[512], type;
    while (std::fscanf(p, "%511s %c%*[^\n]", name, &type) == 2)
        if (type == 'T') defined.insert(name);
    pclose(p);
    if (defined.empty()) GTEST_SKIP() << "nm is not available";
    EXPECT_EQ(defined, names);
#endif
}

} // namespace
} // namespace fk
