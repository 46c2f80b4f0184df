// Writes the Windows module definition of the library from the export table.
// Usage: fk-gendef [FILE]   (standard output without a file)
#include <cstdio>
#include <string>

#include "exports/export_def.h"

int main(int argc, char** argv) {
    std::string def = "LIBRARY formulakit\nEXPORTS\n";
    for (const fk::ExportEntry& e : fk::exportTable()) {
        // a stdcall entry point taking one pointer is decorated with @4 in a 32-bit object
        const std::string target = std::string(e.entryName) + "@4";
        if (e.exportsPlainName()) def += "    " + std::string(e.name) + " = " + target + "\n";
        if (e.exportsDecoratedName()) def += "    \"" + std::string(e.decorated) + "\" = " + target + "\n";
    }
    FILE* out = argc > 1 ? std::fopen(argv[1], "w") : stdout;
    if (!out) {
        std::perror(argv[1]);
        return 1;
    }
    std::fputs(def.c_str(), out);
    if (out != stdout) std::fclose(out);
    return 0;
}
