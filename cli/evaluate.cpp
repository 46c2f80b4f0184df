#include "cli/evaluate.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include <fmt/format.h>

#include "cli/errors.h"
#include "cli/expr.h"
#include "host/hostkit.h"

namespace fk::cli {

namespace {

// Names of series compare without regard to case, spaces and punctuation: a column "Adj Close"
// is AdjClose or adj_close.
std::string lowerKey(std::string_view s) {
    std::string r;
    for (char c : s)
        if (std::isalnum(static_cast<unsigned char>(c)))
            r += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

const char* typeWord(char t) {
    switch (t) {
    case kArgSeries: return "a series";
    case kArgNumber: return "a number";
    case kArgText: return "a text";
    case kArgMarket: return "the market (Bars)";
    case kArgTextSeries: return "a text";
    default: return "an unknown kind of value";
    }
}

// A call in an expression with everything it needs between calls, or a leaf argument.
struct Node {
    enum class Kind { Call, Series, Number, Text, Market };
    Kind kind = Kind::Number;
    const Expr* expr = nullptr;

    // Call
    const ExportEntry* entry = nullptr;
    std::vector<std::unique_ptr<Node>> args;
    bool textResult = false;
    host::Series result;
    host::Text resultText;
    std::unique_ptr<host::Call> call;
    int32_t done = 0; // bars computed so far

    // Series: the handle the host passes (a market series or a further column)
    SeriesHandle* handle = nullptr;
    // Text literal
    std::unique_ptr<host::Text> literal;
};

class Evaluator {
public:
    Evaluator(const BarData& bars, const MarketSettings& settings, const EvalOptions& options)
        : bars_(bars), options_(options) {
        BarRecord& r = market_.record();
        builtin_ = {{"open", &r.open}, {"high", &r.high}, {"low", &r.low},
                    {"close", &r.close}, {"volume", &r.volume}, {"datetime", &r.dateTime}};
        extra_.reserve(bars.extra.size());
        for (const auto& c : bars.extra) extra_.push_back({lowerKey(c.name), host::Series()});
        market_.tick(settings.tickSize, settings.tickValue, settings.minMoveFactor);
        market_.period(settings.period ? settings.period : guessPeriod(bars.dateTime));
        market_.session(settings.sessionStart, settings.sessionEnd, settings.dayEnd);
        if (!settings.zone.empty()) market_.zone(settings.zone);
        if (!settings.symbol.empty()) market_.symbol(settings.symbol);
    }

    std::unique_ptr<Node> bindTop(const Expr& e) {
        if (e.kind == Expr::Kind::Call) return bindCall(e);
        if (e.kind == Expr::Kind::Name) {
            auto n = bindName(e);
            if (n->kind == Node::Kind::Series) return n;
            throw ExprError(e.pos, "Bars is the market, not a value to print");
        }
        throw ExprError(e.pos, "an expression is a call such as MovAvg(Close, 20, 1) or a series name");
    }

    void run(std::vector<std::unique_ptr<Node>>& tops) {
        const auto total = static_cast<int32_t>(bars_.size());
        const int32_t chunk = options_.chunk > 0 ? options_.chunk : std::max<int32_t>(total, 1);
        for (int32_t upTo = std::min(chunk, total);; upTo = std::min(upTo + chunk, total)) {
            grow(upTo);
            for (auto& n : tops) runNode(*n, upTo, upTo == total);
            if (upTo >= total) break;
        }
        for (auto& n : tops) release(*n);
    }

    Column column(const Node& n, const std::string& title) const {
        Column c;
        c.title = title;
        if (n.kind == Node::Kind::Call && n.textResult) {
            c.isText = true;
            c.text = n.resultText.str();
            return c;
        }
        const series::NumberView v(n.kind == Node::Kind::Call ? &n.result.handle() : n.handle);
        c.fill = v.fill();
        c.values.resize(bars_.size());
        for (std::size_t i = 0; i < c.values.size(); ++i) c.values[i] = v[static_cast<int32_t>(i)];
        return c;
    }

private:
    std::unique_ptr<Node> bindName(const Expr& e) {
        auto n = std::make_unique<Node>();
        n->expr = &e;
        const std::string key = lowerKey(e.name);
        if (key == "bars") {
            n->kind = Node::Kind::Market;
            return n;
        }
        for (auto& [name, h] : builtin_)
            if (key == name) {
                n->kind = Node::Kind::Series;
                n->handle = h;
                return n;
            }
        for (auto& [name, s] : extra_)
            if (key == name) {
                n->kind = Node::Kind::Series;
                n->handle = &s.handle();
                return n;
            }
        if (const ExportEntry* x = options_.lookup(e.name))
            throw ExprError(e.pos, fmt::format("{} is a function: call it as {}(...)", x->name, x->name));
        std::string known = "Open, High, Low, Close, Volume, DateTime";
        for (const auto& c : bars_.extra) known += ", " + c.name;
        throw ExprError(e.pos, fmt::format("unknown name \"{}\" (series: {}; the market: Bars)", e.name, known));
    }

    std::unique_ptr<Node> bindCall(const Expr& e) {
        const ExportEntry* x = options_.lookup(e.name);
        if (!x) throw ExprError(e.pos, fmt::format("unknown function \"{}\" (formulakit list shows them all)", e.name));
        const ExportSig& sig = x->sig;
        const int given = static_cast<int>(e.args.size());
        const int lo = sig.minCount - 1, hi = sig.maxCount - 1;
        if (given < lo || given > hi) {
            const std::string wanted = lo == hi ? std::to_string(lo) : fmt::format("{} to {}", lo, hi);
            throw ExprError(e.pos, fmt::format("{} takes {} argument{}, not {}", x->name, wanted,
                                               hi == 1 && lo == hi ? "" : "s", given));
        }
        auto n = std::make_unique<Node>();
        n->kind = Node::Kind::Call;
        n->expr = &e;
        n->entry = x;
        n->textResult = sig.types[0] == kArgTextSeries;
        n->call = std::make_unique<host::Call>(*x, x->entry);
        if (n->textResult) n->call->out(n->resultText);
        else n->call->out(n->result);

        for (int i = 0; i < given; ++i) {
            const Expr& a = e.args[static_cast<std::size_t>(i)];
            const char want = sig.types[i + 1];
            auto mismatch = [&](const char* what) {
                return ExprError(a.pos, fmt::format("argument {} of {} must be {}, not {}", i + 1, x->name, typeWord(want), what));
            };
            std::unique_ptr<Node> arg;
            switch (a.kind) {
            case Expr::Kind::Number:
                if (want != kArgSeries && want != kArgNumber) throw mismatch("a number");
                n->call->arg(a.number); // a series slot gets a single constant of count 1
                arg = std::make_unique<Node>();
                arg->kind = Node::Kind::Number;
                break;
            case Expr::Kind::Text:
                if (want != kArgText && want != kArgTextSeries) throw mismatch("a text");
                arg = std::make_unique<Node>();
                arg->kind = Node::Kind::Text;
                arg->literal = std::make_unique<host::Text>(a.text);
                if (want == kArgText) n->call->arg(*arg->literal);
                else n->call->rawPointer(kParamTextSeries, &arg->literal->handle());
                break;
            case Expr::Kind::Name:
                arg = bindName(a);
                if (arg->kind == Node::Kind::Market) {
                    if (want != kArgMarket) throw mismatch("the market (Bars)");
                    n->call->arg(market_);
                } else {
                    if (want != kArgSeries) throw mismatch(fmt::format("the series {}", a.name).c_str());
                    n->call->rawPointer(kParamNumberSeries, arg->handle);
                }
                break;
            case Expr::Kind::Call:
                arg = bindCall(a);
                if (arg->textResult) {
                    if (want != kArgText && want != kArgTextSeries)
                        throw mismatch(fmt::format("a text ({} gives a text)", arg->entry->name).c_str());
                    n->call->rawPointer(want == kArgText ? kParamText : kParamTextSeries, &arg->resultText.handle());
                } else {
                    if (want != kArgSeries)
                        throw mismatch(fmt::format("a series ({} gives a series; write a number here)", arg->entry->name).c_str());
                    n->call->rawPointer(kParamNumberSeries, &arg->result.handle());
                }
                break;
            }
            arg->expr = &a;
            n->args.push_back(std::move(arg));
        }
        return n;
    }

    // Brings the market and every further column to n bars, as the host does when bars arrive.
    void grow(int32_t n) {
        BarRecord& r = market_.record();
        const auto have = static_cast<std::size_t>(r.barCount);
        const auto upTo = static_cast<std::size_t>(n);
        auto extend = [&](SeriesHandle& h, const std::vector<double>& v) {
            series::NumberOut out(&h, n);
            for (std::size_t i = have; i < upTo; ++i) out.set(static_cast<int32_t>(i), v[i]);
        };
        extend(r.dateTime, bars_.dateTime);
        extend(r.open, bars_.open);
        extend(r.high, bars_.high);
        extend(r.low, bars_.low);
        extend(r.close, bars_.close);
        extend(r.volume, bars_.volume);
        for (std::size_t c = 0; c < extra_.size(); ++c) extend(extra_[c].second.handle(), bars_.extra[c].values);
        r.barCount = n;
    }

    // Runs the nested calls, then the call itself from the first bar it has not computed. A call
    // that has too few bars yet is called again when more have arrived.
    void runNode(Node& n, int32_t upTo, bool last) {
        if (n.kind != Node::Kind::Call) return;
        bool inputsReady = true;
        for (auto& a : n.args) {
            runNode(*a, upTo, last);
            if (a->kind == Node::Kind::Call && a->done < upTo) inputsReady = false;
        }
        if (!inputsReady) return;
        const StatusCode st = n.call->run(n.done);
        if (st == kOk) {
            n.done = upTo;
            return;
        }
        if (st == kTooFewBars && !last) return;
        throw ExportFailure(statusLine(n.entry->name, st, n.call->error()));
    }

    void release(Node& n) {
        if (n.kind != Node::Kind::Call) return;
        for (auto& a : n.args) release(*a);
        n.call->release();
    }

    const BarData& bars_;
    const EvalOptions& options_;
    host::Market market_;
    std::vector<std::pair<std::string, SeriesHandle*>> builtin_;
    std::vector<std::pair<std::string, host::Series>> extra_;
};

std::string describeStatus(StatusCode st) {
    const auto u = static_cast<uint32_t>(st);
    if (st == kTooFewBars) return "too few bars";
    if (st == kDomainError) return "an argument is outside the function's domain";
    if ((u & ~0xFFu) == 0x100) return fmt::format("wrong number of parameters ({})", u & 0xFF);
    if (u > 0x200 && u < 0x200 + 16) {
        if (u == 0x201) return "the Return Value has a wrong type";
        return fmt::format("parameter {} has a wrong type", u - 0x201);
    }
    return "failed";
}

} // namespace

std::string statusLine(const char* name, StatusCode status, std::string_view errorText) {
    const std::string text = errorText.empty() ? describeStatus(status) : std::string(errorText);
    return fmt::format("{}: status {} (0x{:X}): {}", name, status, static_cast<uint32_t>(status), text);
}

std::vector<Column> evaluate(const BarData& bars, const MarketSettings& market, const std::vector<std::string>& exprs,
                             const EvalOptions& options) {
    std::vector<Expr> parsed;
    parsed.reserve(exprs.size());
    Evaluator ev(bars, market, options);
    std::vector<std::unique_ptr<Node>> tops;
    for (std::size_t i = 0; i < exprs.size(); ++i) {
        try {
            parsed.push_back(parseExpr(exprs[i]));
            tops.push_back(ev.bindTop(parsed.back()));
        } catch (ExprError& e) {
            e.expr = i;
            throw;
        }
    }
    ev.run(tops);
    std::vector<Column> columns;
    for (std::size_t i = 0; i < tops.size(); ++i) columns.push_back(ev.column(*tops[i], exprs[i]));
    return columns;
}

} // namespace fk::cli
