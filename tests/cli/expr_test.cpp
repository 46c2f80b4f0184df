// The expression parser: every argument kind, nesting, quoting, and where each error points.
#include <gtest/gtest.h>

#include "cli/errors.h"
#include "cli/expr.h"

using namespace fk::cli;

namespace {

// A compact rendering of the tree: calls as Name(...), texts quoted, numbers as %g.
std::string show(const Expr& e) {
    switch (e.kind) {
    case Expr::Kind::Number: {
        char b[32];
        std::snprintf(b, sizeof b, "%.17g", e.number);
        return b;
    }
    case Expr::Kind::Text: return "\"" + e.text + "\"";
    case Expr::Kind::Name: return "<" + e.name + ">";
    case Expr::Kind::Call: {
        std::string r = e.name + "(";
        for (std::size_t i = 0; i < e.args.size(); ++i) r += (i ? "," : "") + show(e.args[i]);
        return r + ")";
    }
    }
    return "";
}

TEST(ExprParse, ArgumentKindsAndNesting) {
    const struct {
        const char* source;
        const char* tree;
    } cases[] = {
        {"MovAvg(Close, 20, 1)", "MovAvg(<Close>,20,1)"},
        {"  movavg ( close ,20,1 )  ", "movavg(<close>,20,1)"},
        {"MovAvg(RSI(Close, 14), 5, 1)", "MovAvg(RSI(<Close>,14),5,1)"},
        {"F(-2.5, +3, 1e-3, .5, 1.5E2)", "F(-2.5,3,0.001,0.5,150)"},
        {"F(0x11000001, -0x10, 0XfF)", "F(285212673,-16,255)"},
        {"ArrayOperation(Close, \"+\", 1)", "ArrayOperation(<Close>,\"+\",1)"},
        {"F(\"say \\\"hi\\\"\", \"back\\\\slash\", \"C:\\dir\")", "F(\"say \"hi\"\",\"back\\slash\",\"C:\\dir\")"},
        {"Ehlers_Fisher1(Close, 10)", "Ehlers_Fisher1(<Close>,10)"},
        {"F(\"a, b) c\")", "F(\"a, b) c\")"}, {"F(\"\")", "F(\"\")"}, {"F(True, false)", "F(1,0)"}, {"F()", "F()"},
        {"Close", "<Close>"}, {"Adj_Close", "<Adj_Close>"}, {"42", "42"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.source);
        EXPECT_EQ(show(parseExpr(c.source)), c.tree);
    }
}

TEST(ExprParse, ErrorsPointAtTheProblem) {
    const struct {
        const char* source;
        std::size_t pos;
        const char* words; // part of the message
    } cases[] = {
        {"", 0, "empty"}, {"   ", 3, "empty"}, {"MovAvg(Close, 20", 6, "without its \")\""},
        {"MovAvg(Close 20)", 13, "expected \",\" or \")\""}, {"MovAvg(Close) x", 14, "after the end"},
        {"MovAvg(Close,, 1)", 13, "missing argument"}, {"MovAvg(,)", 7, "missing argument"},
        {"F(\"open)", 2, "closing quote"}, {"F(14abc)", 2, "bad number"}, {"F(-)", 2, "bad number"},
        {"F(0x)", 2, "hexadecimal"}, {"F(#)", 2, "unexpected \"#\""}, {"F(1,", 4, "ends where an argument"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.source);
        try {
            parseExpr(c.source);
            ADD_FAILURE() << "no error";
        } catch (const ExprError& e) {
            EXPECT_EQ(e.pos, c.pos);
            EXPECT_NE(std::string(e.what()).find(c.words), std::string::npos) << e.what();
        }
    }
}

} // namespace
