// The formatter and its own "F" conversion, and the two error writers.
#include <gtest/gtest.h>

#include "frame/format.h"
#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Text;

class FormatTest : public testing::HeapChecked {};

TEST_F(FormatTest, FixedPointWithoutTrailingZeros) {
    const struct {
        const char* format;
        double value;
        std::string want;
    } cases[] = {
        {"%F", 2.5, "2.5"},        {"%F", 3.0, "3"},         {"%F", 100.0, "100"},       {"%F", -0.125, "-0.125"},
        {"%8F", 1.25, "    1.25"}, {"%.2F", 1.0, "1"},       {"%.2F", 1.239, "1.24"},    {"%8.2F", 1.5, "     1.5"},
        {"%F", 1.0 / 3.0, "0.333333333"}, {"x=%F;", 0.5, "x=0.5;"}, {"%%F", 0.5, "%F"},
        {"%g|%F", 0.5, "0.5|7"}, // the second value is 7
        // a width above 127 is not padded again: what the standard print gives stays
        {"%200F", 1.5, std::string(189, ' ') + "1.5"},
    };
    for (const auto& c : cases) {
        Text t;
        writeError(t.handle(), c.format, c.value, 7.0);
        EXPECT_EQ(t.str(), c.want) << c.format;
    }
}

TEST_F(FormatTest, ReplacingAndAppendingWriters) {
    Text t("old");
    writeError(t.handle(), "first %d.", 1);
    EXPECT_EQ(t.str(), "first 1.");
    appendError(t.handle(), "second %s.", "two");
    EXPECT_EQ(t.str(), "first 1.second two.");
}

TEST_F(FormatTest, LongOutputGrowsTheScratchAndHugeOutputIsDropped) {
    Text t;
    const std::string big(5000, 'x');
    writeError(t.handle(), "%s", big.c_str());
    EXPECT_EQ(t.str(), big);
    const std::string huge(1000001, 'y');
    writeError(t.handle(), "%s", huge.c_str());
    EXPECT_EQ(t.str(), "") << "emptied, nothing added";
}

} // namespace
} // namespace fk
