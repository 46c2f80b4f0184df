// Appending to and assigning texts, and their terminating zeros.
#include <gtest/gtest.h>

#include "containers/text.h"
#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Text;

class TextTest : public testing::HeapChecked {};

void expectTerminated(const Text& t) {
    const SharedBuffer* b = t.handle().buffer;
    const auto* c = static_cast<const char*>(b->elements);
    EXPECT_EQ(c[b->count], 0);
    EXPECT_EQ(c[b->capacity], 0);
}

TEST_F(TextTest, AppendAndAssignKeepTheTerminatingZeros) {
    const struct {
        const char* what;
        bool assign;
        const char* s;
        int32_t limit;
        const char* want;
    } steps[] = {
        {"append", false, "abc", -1, "abc"},
        {"append limited", false, "defgh", 2, "abcde"},
        {"append empty", false, "", -1, "abcde"},
        {"append limit 0", false, "xyz", 0, "abcde"},
        {"assign", true, "hello world, a longer text than before", -1, "hello world, a longer text than before"},
        {"assign shorter", true, "hi", -1, "hi"},
        {"assign limited", true, "12345", 3, "123"},
    };
    Text t;
    for (const auto& s : steps) {
        SCOPED_TRACE(s.what);
        if (s.assign) text::assignString(t.handle(), s.s, s.limit);
        else text::appendString(t.handle(), s.s, s.limit);
        EXPECT_EQ(t.str(), s.want);
        expectTerminated(t);
    }
}

TEST_F(TextTest, SharedSelfAndReadOnlyTexts) {
    Text a("one");
    Text b = a;
    text::appendString(b.handle(), "");
    EXPECT_EQ(a.handle().buffer, b.handle().buffer) << "nothing added, nothing copied";
    text::appendString(b.handle(), " two");
    EXPECT_EQ(a.str(), "one");
    EXPECT_EQ(b.str(), "one two");
    text::appendText(a.handle(), a.handle());
    EXPECT_EQ(a.str(), "oneone");
    expectTerminated(a);
    a.setFlags(kFlagReadOnly);
    text::assignString(a.handle(), "changed");
    text::appendString(a.handle(), "more");
    EXPECT_EQ(a.str(), "oneone");
}

} // namespace
} // namespace fk
