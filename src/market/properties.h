// The numbered and the text properties of a market record, the description of its bar period,
// and the parts of a futures contract symbol.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "containers/buffer.h"

namespace fk {

struct BarRecord;

// The numbered property of a market as BarsNumericProperty answers it; 0.0 for an unknown number.
// Flags answer -1 for true, as the formula language counts truth (property 34 answers 1).
double numericProperty(const BarRecord& market, int32_t number);

// The text of a period word, e.g. "5 minute", "Daily", "6613/19 renko"; "Undefined" for kinds
// without a text.
struct PeriodText {
    char text[48];
};
PeriodText periodDescription(int32_t periodWord);

// Writes the text property `code` of the market into `out` (empty for an unknown code or a field
// the host left empty).
void stringProperty(const BarRecord& market, int32_t code, TextHandle& out);

// A symbol read as a futures contract: "ZBH14" is root "ZB", March (3) of 2014.
struct ContractSymbol {
    std::string root;   // upper case
    int32_t month = 0;  // 1..12; 0 when the symbol names no dated contract
    int32_t year = 0;

    bool dated() const { return month != 0; }
};
// Leading marks such as "@" or "$" are skipped and the letters and digits that follow are the
// body. A one- or two-digit year is the first such year from `referenceYear` on; three digits
// are years after 1900.
ContractSymbol parseContractSymbol(std::string_view symbol, int32_t referenceYear);

} // namespace fk
