// A host that passes anything a host may pass: turns bytes into calls of any export of the
// table, and after every call checks what the host can see.
//
// The input begins with an export's name and a zero byte; every later byte is one decision
// (count, tags, series shapes and values, texts, markets, start bars). Once the input runs out
// every decision takes its first choice, which is always the plain valid one, so the name alone
// makes a valid call of that export. A name that is not in the table picks an export by its hash.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

namespace fk::fuzz {

// Runs the calls that `data` describes and checks each. On a failed check it prints what failed
// and the decisions that led there on stderr, and aborts.
void runInput(const uint8_t* data, std::size_t size);

// The input that makes a plain valid call of the export `name`.
std::string seedFor(const char* name);

} // namespace fk::fuzz
