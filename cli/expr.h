// Expressions in the formula language's call style: Name(arg, arg, ...), where an argument is a
// number, a text in double quotes, a name (a series or the word Bars) or a nested call.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fk::cli {

struct Expr {
    enum class Kind { Call, Name, Number, Text };
    Kind kind = Kind::Number;
    std::string name;         // Call and Name, as written
    double number = 0.0;      // Number
    std::string text;         // Text, quotes removed and escapes resolved
    std::vector<Expr> args;   // Call
    std::size_t pos = 0;      // byte position of the first character in the source
};

// Parses one whole expression; throws ExprError at the first problem.
Expr parseExpr(std::string_view source);

} // namespace fk::cli
