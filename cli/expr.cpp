#include "cli/expr.h"

#include <cctype>
#include <charconv>
#include <cstdint>

#include "cli/errors.h"

namespace fk::cli {

namespace {

bool isNameStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool isNameChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool sameWord(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

std::string shown(char c) {
    if (std::isprint(static_cast<unsigned char>(c))) return std::string("\"") + c + "\"";
    return "a control character";
}

class Parser {
public:
    explicit Parser(std::string_view s) : s_(s) {}

    Expr whole() {
        skipSpace();
        if (atEnd()) throw ExprError(i_, "empty expression");
        Expr e = value();
        skipSpace();
        if (!atEnd()) throw ExprError(i_, "unexpected " + shown(s_[i_]) + " after the end of the expression");
        return e;
    }

private:
    bool atEnd() const { return i_ >= s_.size(); }
    char peek() const { return atEnd() ? '\0' : s_[i_]; }
    void skipSpace() {
        while (!atEnd() && std::isspace(static_cast<unsigned char>(s_[i_]))) ++i_;
    }

    Expr value() {
        const char c = peek();
        if (c == '"') return text();
        if (isDigit(c) || c == '.' || c == '-' || c == '+') return number();
        if (isNameStart(c)) return nameOrCall();
        if (atEnd()) throw ExprError(i_, "the expression ends where an argument should follow");
        throw ExprError(i_, "unexpected " + shown(c) + " where an argument should be");
    }

    Expr nameOrCall() {
        Expr e;
        e.pos = i_;
        const std::size_t start = i_;
        while (!atEnd() && isNameChar(s_[i_])) ++i_;
        e.name = std::string(s_.substr(start, i_ - start));
        skipSpace();
        if (peek() != '(') {
            e.kind = Expr::Kind::Name;
            if (sameWord(e.name, "True") || sameWord(e.name, "False")) {
                e.kind = Expr::Kind::Number;
                e.number = sameWord(e.name, "True") ? 1.0 : 0.0;
            }
            return e;
        }
        e.kind = Expr::Kind::Call;
        const std::size_t open = i_++;
        skipSpace();
        if (peek() == ')') {
            ++i_;
            return e;
        }
        for (;;) {
            skipSpace();
            if (peek() == ',' || peek() == ')') throw ExprError(i_, "missing argument");
            e.args.push_back(value());
            skipSpace();
            if (peek() == ',') {
                ++i_;
                continue;
            }
            if (peek() == ')') {
                ++i_;
                return e;
            }
            if (atEnd()) throw ExprError(open, "\"(\" without its \")\"");
            throw ExprError(i_, "expected \",\" or \")\" but found " + shown(peek()));
        }
    }

    Expr number() {
        Expr e;
        e.kind = Expr::Kind::Number;
        e.pos = i_;
        const bool negative = peek() == '-';
        if (peek() == '-' || peek() == '+') ++i_;
        const std::size_t start = i_;
        if (peek() == '0' && i_ + 1 < s_.size() && (s_[i_ + 1] == 'x' || s_[i_ + 1] == 'X')) {
            i_ += 2;
            const std::size_t digits = i_;
            while (!atEnd() && std::isxdigit(static_cast<unsigned char>(s_[i_]))) ++i_;
            uint64_t v = 0;
            const auto r = std::from_chars(s_.data() + digits, s_.data() + i_, v, 16);
            if (i_ == digits || r.ec != std::errc()) throw ExprError(e.pos, "bad hexadecimal number");
            e.number = static_cast<double>(v);
        } else {
            while (!atEnd() && (isDigit(s_[i_]) || s_[i_] == '.')) ++i_;
            if (!atEnd() && (s_[i_] == 'e' || s_[i_] == 'E')) {
                ++i_;
                if (peek() == '-' || peek() == '+') ++i_;
                while (!atEnd() && isDigit(s_[i_])) ++i_;
            }
            double v = 0.0;
            const auto r = std::from_chars(s_.data() + start, s_.data() + i_, v);
            if (r.ec != std::errc() || r.ptr != s_.data() + i_)
                throw ExprError(e.pos, "bad number \"" + std::string(s_.substr(e.pos, i_ - e.pos)) + "\"");
            e.number = v;
        }
        if (!atEnd() && (isNameChar(s_[i_]) || s_[i_] == '.'))
            throw ExprError(e.pos, "bad number \"" + std::string(s_.substr(e.pos, i_ + 1 - e.pos)) + "\"");
        if (negative) e.number = -e.number;
        return e;
    }

    // "..." with \" for a quote and \\ for a backslash; any other backslash stays as it is.
    Expr text() {
        Expr e;
        e.kind = Expr::Kind::Text;
        e.pos = i_++;
        for (;;) {
            if (atEnd()) throw ExprError(e.pos, "text without its closing quote");
            const char c = s_[i_++];
            if (c == '"') return e;
            if (c == '\\' && (peek() == '"' || peek() == '\\')) {
                e.text += s_[i_++];
                continue;
            }
            e.text += c;
        }
    }

    std::string_view s_;
    std::size_t i_ = 0;
};

} // namespace

Expr parseExpr(std::string_view source) { return Parser(source).whole(); }

} // namespace fk::cli
