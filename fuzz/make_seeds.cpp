// Writes the seed corpus: one file per export of the table, each a plain valid call of it.
//   fk_fuzz_seeds DIR
#include <cstdio>
#include <string>

#include "exports/export_def.h"
#include "fuzz/harness.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
        return 2;
    }
    int written = 0;
    for (const fk::ExportEntry& e : fk::exportTable()) {
        const std::string path = std::string(argv[1]) + "/" + e.name;
        const std::string seed = fk::fuzz::seedFor(e.name);
        std::FILE* f = std::fopen(path.c_str(), "wb");
        if (!f || std::fwrite(seed.data(), 1, seed.size(), f) != seed.size()) {
            std::fprintf(stderr, "cannot write %s\n", path.c_str());
            return 1;
        }
        std::fclose(f);
        ++written;
    }
    std::printf("%d seeds in %s\n", written, argv[1]);
    return 0;
}
