// What the export table offers, as the list command prints it.
#pragma once
#include <string>

#include "exports/export_def.h"

namespace fk::cli {

// "MovAvg(series, number, number) -> series"; optional parameters in brackets.
std::string signatureOf(const ExportEntry& e);
// One line per export: its call form and accepted counts.
std::string listExports();
// Every entry of one export with its type, its exported names and how it treats the start bar.
std::string describeExport(const ExportEntry& e);

} // namespace fk::cli
