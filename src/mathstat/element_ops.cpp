#include "mathstat/element_ops.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "containers/series.h"
#include "platform/cpu.h"

namespace fk::mathstat {

namespace {

// ---- Keywords

struct Keyword {
    const char* word;
    OpCode code;
};

constexpr Keyword kKeywords[] = {
    {"PLUS", op::kPlus},       {"MINUS", op::kMinus},       {"MULTIPLY", op::kMultiply}, {"DIVIDE", op::kDivide},
    {"INTDIVIDE", op::kIntDivide}, {"MOD", op::kMod},       {"POWER", op::kPower},       {"EQ", op::kEq},
    {"NE", op::kNe},           {"LT", op::kLt},             {"LE", op::kLe},             {"GT", op::kGt},
    {"GE", op::kGe},           {"AND", op::kAnd},           {"NAND", op::kNand},         {"OR", op::kOr},
    {"NOR", op::kNor},         {"XOR", op::kXor},           {"MAX", op::kMax},           {"MIN", op::kMin},
    {"ROUND", op::kRound},     {"SHIFT", op::kShift},       {"BACK", op::kBack},         {"LOG", op::kLog},
    {"IS", op::kIsTrue},       {"ISTRUE", op::kIsTrue},     {"ISFALSE", op::kIsFalse},   {"NOT", op::kIsFalse},
    {"ABS", op::kAbs},         {"SINE", op::kSine},         {"COSINE", op::kCosine},     {"INT", op::kInt},
    {"FRACTPART", op::kFraction}, {"FLOOR", op::kFloor},    {"CEILING", op::kCeiling},   {"NATLOG", op::kNatLog},
    {"LN", op::kNatLog},       {"LOG10", op::kLog10},       {"SIGN", op::kSign},         {"ISNULL", op::kIsNull},
    {"EXP", op::kExp},         {"ARCTAN", op::kArctan},     {"SQRROOT", op::kSqrRoot},
};

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

bool sameWord(const char* text, const char* word) {
    for (; *word; ++text, ++word)
        if (upper(*text) != *word) return false;
    return *text == 0;
}

// Symbols are told apart by their first one or two characters; whatever follows is not read.
OpCode symbolCode(char first, char second) {
    switch (first) {
    case '+': return op::kPlus;
    case '-': return op::kMinus;
    case '*': return second == '*' ? op::kPower : op::kMultiply;
    case '/': return op::kDivide;
    case '\\': return op::kIntDivide;
    case '%': return op::kMod;
    case '^': return op::kPower;
    case '=': return op::kEq;
    case '<': return second == '>' ? op::kNe : second == '=' ? op::kLe : op::kLt;
    case '>': return second == '=' ? op::kGe : op::kGt;
    case '!': return second == 0 ? op::kIsFalse : op::kNe;
    case '&': return op::kAnd;
    case '|': return op::kOr;
    case '.': return op::kBack;
    default: return op::kNone;
    }
}

// ---- The evaluator

// Comparison factors 1 + 10^-d; entry 0 compares exactly.
constexpr double kTolerance[16] = {
    1.0,          1.1,           1.01,           1.001,           1.0001,           1.00001,
    1.000001,     1.0000001,     1.00000001,     1.000000001,     1.0000000001,     1.00000000001,
    1.000000000001, 1.0000000000001, 1.00000000000001, 1.000000000000001,
};

constexpr double kPowersOfTen[16] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                     1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

constexpr double kExpCap = 1e304; // e^a from a = 700 on: large, but finite

// Fill values prepared for the missing test: a fill value of 0 marks nothing missing, so it is
// replaced by a NaN, which no operand equals.
struct Operands {
    double nullA;
    double nullB;
    double result;
    double factor;
};

double missingMark(double fill) { return fill == 0 ? std::numeric_limits<double>::quiet_NaN() : fill; }

Operands prepare(double nullA, double nullB, double resultNull, uint8_t digits) {
    return {missingMark(nullA), missingMark(nullB), resultNull, digits < 16 ? kTolerance[digits] : 1.0};
}

// The band of values that compare equal to b: from b / f to b x f (ends swapped for a negative b).
inline double bandLow(double b, double f) { return b >= 0 ? b / f : b * f; }
inline double bandHigh(double b, double f) { return b >= 0 ? b * f : b / f; }

inline double truth(bool v) { return v ? 1.0 : 0.0; }

// floor(x + 0.5) without a library call. x + 0.5 is never -0, so whole numbers need no sign care.
inline double halfUp(double x) {
    const double y = x + 0.5;
    if (!(std::fabs(y) < 4503599627370496.0)) return y; // from 2^52 on every number is whole
    const double t = static_cast<double>(static_cast<int64_t>(y)); // toward zero
    return t - truth(t > y);
}

template <OpCode C>
inline double apply(double a, double b, const Operands& o) {
    const bool ma = a == o.nullA;
    const bool mb = b == o.nullB;
    const bool both = !(ma | mb);
    const double r = o.result;
    // The plain arithmetic is computed before the choice, so that a loop of it can be vectorized.
    if constexpr (C == op::kPlus) {
        const double v = a + b;
        return both ? v : r;
    } else if constexpr (C == op::kMinus) {
        const double v = a - b;
        return both ? v : r;
    } else if constexpr (C == op::kMultiply) {
        // zero times anything is 0, a missing operand included
        const double v = a * b;
        return ((a == 0) | (b == 0)) ? 0.0 : both ? v : r;
    } else if constexpr (C == op::kDivide) {
        const double v = a / b;
        return a == 0 ? 0.0 : b == 0 ? r : both ? v : r;
    } else if constexpr (C == op::kMod) {
        if (a == 0) return 0.0;
        if (b == 0) return r;
        return both ? std::fmod(halfUp(a), halfUp(b)) : r;
    } else if constexpr (C == op::kPower) {
        if (a == 0) return 0.0;
        if (b == 0 || a == 1) return 1.0;
        if (!both) return r;
        if (a < 0 && std::fabs(b) < 1) return r; // no real fractional power of a negative number
        return std::pow(a, b);
    } else if constexpr (C == op::kEq) {
        return both ? truth(!(a < bandLow(b, o.factor)) && !(a > bandHigh(b, o.factor))) : r;
    } else if constexpr (C == op::kNe) {
        return both ? truth((a < bandLow(b, o.factor)) || (a > bandHigh(b, o.factor))) : r;
    } else if constexpr (C == op::kLt) {
        return both ? truth(a < bandLow(b, o.factor)) : r;
    } else if constexpr (C == op::kLe) {
        return both ? truth(!(a > bandHigh(b, o.factor))) : r;
    } else if constexpr (C == op::kGt) {
        return both ? truth(a > bandHigh(b, o.factor)) : r;
    } else if constexpr (C == op::kGe) {
        return both ? truth(!(a < bandLow(b, o.factor))) : r;
    } else if constexpr (C == op::kAnd) {
        // decided by one present 0, whatever the other operand
        return (!ma & (a == 0)) | (!mb & (b == 0)) ? 0.0 : both ? 1.0 : r;
    } else if constexpr (C == op::kNand) {
        return (!ma & (a == 0)) | (!mb & (b == 0)) ? 1.0 : both ? 0.0 : r;
    } else if constexpr (C == op::kOr) {
        return (!ma & (a != 0)) | (!mb & (b != 0)) ? 1.0 : both ? 0.0 : r;
    } else if constexpr (C == op::kNor) {
        return (!ma & (a != 0)) | (!mb & (b != 0)) ? 0.0 : both ? 1.0 : r;
    } else if constexpr (C == op::kXor) {
        return both ? truth((a != 0) != (b != 0)) : r;
    } else if constexpr (C == op::kMax) {
        return both ? (b < a ? a : b) : r;
    } else if constexpr (C == op::kMin) {
        return both ? (a < b ? a : b) : r;
    } else if constexpr (C == op::kRound) {
        if (!both || b < 0) return r;
        if (b == 0) return halfUp(a);
        if (!(b > 0)) return r;
        const double p = kPowersOfTen[static_cast<int>(std::min(b, 15.0))];
        return halfUp(a * p) / p; // halves upward, negative ones too
    } else if constexpr (C == op::kLog) {
        if (a == 1) return 0.0;
        if (b == 0 || !both || !(a > 0) || !(b >= 0) || b == 1) return r;
        return b == 10 ? std::log10(a) : std::log(a) / std::log(b);
    } else if constexpr (C == op::kIsTrue) {
        return ma ? r : truth(a != 0);
    } else if constexpr (C == op::kIsFalse) {
        return ma ? r : truth(a == 0);
    } else if constexpr (C == op::kAbs) {
        return ma ? r : std::fabs(a);
    } else if constexpr (C == op::kSine) {
        return ma ? r : std::sin(a);
    } else if constexpr (C == op::kCosine) {
        return ma ? r : std::cos(a);
    } else if constexpr (C == op::kInt) {
        return a < 0 ? std::ceil(a) : std::floor(a);
    } else if constexpr (C == op::kFraction) {
        return a - (a < 0 ? std::ceil(a) : std::floor(a));
    } else if constexpr (C == op::kFloor) {
        return ma ? r : std::floor(a);
    } else if constexpr (C == op::kCeiling) {
        return ma ? r : std::ceil(a);
    } else if constexpr (C == op::kNatLog || C == op::kLog10) {
        if (a == 1) return 0.0; // before the missing test: exactly 0 even when 1 is the fill value
        if (ma || !(a > 0)) return r;
        return C == op::kNatLog ? std::log(a) : std::log10(a);
    } else if constexpr (C == op::kSign) {
        if (ma) return r;
        return a > 0 ? 1.0 : a < 0 ? -1.0 : a == 0 ? 0.0 : a;
    } else if constexpr (C == op::kIsNull) {
        return truth(ma);
    } else if constexpr (C == op::kExp) {
        if (ma) return r;
        return a >= 700 ? kExpCap : std::exp(a);
    } else if constexpr (C == op::kArctan) {
        return ma ? r : std::atan(a);
    } else if constexpr (C == op::kSqrRoot) {
        // signed on purpose: the root of -9 is -3
        if (a < 0) return -std::sqrt(-a);
        return a == 0 ? 0.0 : std::sqrt(a);
    } else {
        // integer division, the shifts (the engine does those) and unknown codes
        return r;
    }
}

// Every code the evaluator computes itself; all others answer the result fill value.
#define FK_ELEMENT_CODES(X)                                                                        \
    X(kPlus) X(kMinus) X(kMultiply) X(kDivide) X(kMod) X(kPower) X(kEq) X(kNe) X(kLt) X(kLe) X(kGt) \
    X(kGe) X(kAnd) X(kNand) X(kOr) X(kNor) X(kXor) X(kMax) X(kMin) X(kRound) X(kLog) X(kIsTrue)     \
    X(kIsFalse) X(kAbs) X(kSine) X(kCosine) X(kInt) X(kFraction) X(kFloor) X(kCeiling) X(kNatLog)   \
    X(kLog10) X(kSign) X(kIsNull) X(kExp) X(kArctan) X(kSqrRoot)

// ---- The series engine

constexpr int32_t kBlock = 256;

template <OpCode C>
void kernel(const double* __restrict a, const double* __restrict b, double* __restrict out, int32_t n,
            const Operands o) {
    for (int32_t j = 0; j < n; ++j) out[j] = apply<C>(a[j], b[j], o);
}

// A whole block: a count known when compiling lets the loop be vectorized.
template <OpCode C>
void fullBlock(const double* __restrict a, const double* __restrict b, double* __restrict out, const Operands o) {
    for (int32_t j = 0; j < kBlock; ++j) out[j] = apply<C>(a[j], b[j], o);
}

// The same where the processor has 256-bit vectors: four values an instruction, not two.
template <OpCode C>
[[gnu::target("avx2")]] void fullBlockWide(const double* __restrict a, const double* __restrict b,
                                           double* __restrict out, const Operands o) {
    for (int32_t j = 0; j < kBlock; ++j) out[j] = apply<C>(a[j], b[j], o);
}

// One input as blocks of bars: its stored elements where a block lies wholly inside them,
// else a scratch copy (kept across blocks while it holds one repeated value).
class BlockSource {
public:
    explicit BlockSource(const series::NumberView& v) : v_(v) {}

    const double* get(int32_t from, int32_t to) {
        if (const double* p = v_.storage(from, to + 1)) return p;
        double u;
        if (v_.uniform(from, to + 1, u)) {
            const int32_t n = to + 1 - from;
            if (!uniform_ || std::bit_cast<uint64_t>(u) != uniformBits_ || filled_ < n) {
                std::fill(buf_, buf_ + n, u);
                uniform_ = true;
                uniformBits_ = std::bit_cast<uint64_t>(u);
                filled_ = n;
            }
            return buf_;
        }
        uniform_ = false;
        for (int32_t i = from; i <= to; ++i) buf_[i - from] = v_[i];
        return buf_;
    }
    // A copy of a block that the output is about to overwrite.
    const double* copy(const double* p, int32_t n) {
        std::memmove(buf_, p, static_cast<std::size_t>(n) * sizeof(double));
        uniform_ = false;
        return buf_;
    }

private:
    const series::NumberView& v_;
    bool uniform_ = false;
    uint64_t uniformBits_ = 0;
    int32_t filled_ = 0; // elements of buf_ that hold the uniform value
    alignas(32) double buf_[kBlock];
};

bool overlaps(const double* p, const double* q, int32_t n) { return p < q + n && q < p + n; }

template <OpCode C>
void elementwise(series::NumberOut& out, const series::NumberView& va, const series::NumberView& vb, int32_t first,
                 int32_t last, const Operands& o) {
    BlockSource sa(va), sb(vb);
    alignas(32) double scratch[kBlock];
    const auto full = platform::wideVectors() ? fullBlockWide<C> : fullBlock<C>;
    for (int64_t s = first; s <= last; s += kBlock) {
        const int32_t from = static_cast<int32_t>(s);
        const int32_t to = static_cast<int32_t>(std::min<int64_t>(last, s + kBlock - 1));
        const int32_t n = to - from + 1;
        const double* pa = sa.get(from, to);
        const double* pb = sb.get(from, to);
        double* po = out.storage(from, to + 1);
        double* dst = po ? po : scratch;
        if (po) {
            if (overlaps(po, pa, n)) pa = sa.copy(pa, n);
            if (overlaps(po, pb, n)) pb = sb.copy(pb, n);
        }
        if (n == kBlock) full(pa, pb, dst, o);
        else kernel<C>(pa, pb, dst, n, o);
        if (!po)
            for (int32_t j = 0; j < n; ++j) out.set(from + j, scratch[j]);
    }
}

// Halves away from zero; a count no bar index can take gives INT64 limits.
int64_t roundedShift(double s) {
    const double r = s >= 0 ? std::trunc(s + 0.5) : std::trunc(s - 0.5);
    if (!(std::fabs(r) < 2147483648.0)) return s < 0 ? INT64_MIN / 2 : INT64_MAX / 2;
    return static_cast<int64_t>(r);
}

// A shifted by B[i] bars on each bar; bars without a count, or whose source is missing, are left
// as they are. BACK takes only counts of 0 or more.
void shifted(series::NumberOut& out, const series::NumberView& va, const series::NumberView& vb, int32_t first,
             int32_t last, bool backOnly, const Operands& o) {
    for (int32_t i = first; i <= last; ++i) {
        const double s = vb[i];
        if (s == o.nullB || (backOnly && s < 0)) continue;
        const int64_t src = i - roundedShift(s);
        const double v = src >= INT32_MIN && src <= INT32_MAX ? va[static_cast<int32_t>(src)] : va.fill();
        if (v == o.nullA) continue;
        out.set(i, v);
    }
}

} // namespace

OpCode ParseOpKeyword(const char* keyword) {
    if (!keyword) return op::kNone;
    const char first = upper(keyword[0]);
    if (first < '!' || first > '|') return op::kNone;
    if (const OpCode symbol = symbolCode(first, keyword[1])) return symbol;
    for (const Keyword& k : kKeywords)
        if (sameWord(keyword, k.word)) return k.code;
    return op::kNone;
}

double EvaluateElement(const ElementOp& e) {
    const Operands o = prepare(e.nullA, e.nullB, e.resultNull, e.digits);
    switch (e.op) {
#define FK_EVALUATE(code)                                                                          \
    case op::code: return apply<op::code>(e.a, e.b, o);
        FK_ELEMENT_CODES(FK_EVALUATE)
#undef FK_EVALUATE
    default: return e.resultNull;
    }
}

void resizeNumbers(SeriesHandle& h, int32_t n) {
    if (h.buffer && h.buffer->kind == kKindNumber) series::setCount(h, n, true);
}

void ApplySeriesOp(SeriesHandle& out, const SeriesHandle& a, OpCode code, const SeriesHandle& b, int32_t firstBar,
                   int32_t lastBar) {
    const int32_t n = std::max(series::count(a), series::count(b));
    if (out.buffer && out.buffer->isConstant()) firstBar = 0;
    resizeNumbers(out, n);
    const int32_t first = std::max(firstBar, 0);
    const int32_t last = lastBar < 0 || lastBar >= n ? n - 1 : lastBar;
    if (first > last) return;

    // the output first: it may share a buffer with an input
    series::NumberOut o(&out, last + 1);
    const series::NumberView va(&a), vb(&b);
    const Operands ops = prepare(va.fill(), vb.fill(), o.fill(), kCompareDigits);
    switch (code) {
#define FK_APPLY(c)                                                                                \
    case op::c: elementwise<op::c>(o, va, vb, first, last, ops); break;
        FK_ELEMENT_CODES(FK_APPLY)
#undef FK_APPLY
    case op::kShift: shifted(o, va, vb, first, last, false, ops); break;
    case op::kBack: shifted(o, va, vb, first, last, true, ops); break;
    default: elementwise<op::kNone>(o, va, vb, first, last, ops); break;
    }
}

void ApplySeriesOp(SeriesHandle& out, const SeriesHandle& a, const char* keyword, const SeriesHandle& b,
                   int32_t firstBar, int32_t lastBar) {
    ApplySeriesOp(out, a, ParseOpKeyword(keyword), b, firstBar, lastBar);
}

} // namespace fk::mathstat
