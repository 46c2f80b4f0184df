#include "fuzz/harness.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include <sys/stat.h>

#include "containers/series.h"
#include "containers/text.h"
#include "exports/export_def.h"
#include "host/hostkit.h"

namespace fk::fuzz {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Numbers a host may pass; the first is the plain choice (a typical length).
const double kNumbers[] = {
    14, 1, 2, 0, 3, 5, 9, 10, 20, 30, 31, 32, 50, 100, 250, 1000, 4000, 105, 110, 13, -1, -2, -14,
    0.5, 1.5, 2.5, -0.5, 0.49999999999999994, 1e-9, 1e9, 1e15, 1e300, -1e300, 2147483647.0,
    2147483648.0, -2147483648.0, -2147483649.0, 4294967296.0, 9.3e18, kMissing, -9999999.0, kMissingMarker,
    kNaN, -kNaN, kInf, -kInf, -0.0, std::numeric_limits<double>::min(),
    std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::max(), 20140315, 1530,
    43831.5, -693594, 1000000, 65535, 65536, 1e-300,
};

// Texts a host may pass: zone names and rules, operation keywords, formats, odd bytes.
const char* const kWords[] = {
    "NY", "GMT", "utc", "CHI", "LOCAL", "local", "", "+", "-", "*", "/", "%", "^", "**", "<=", "!=",
    "MAX", "min", "SQRROOT", "IsNull", "INTDIVIDE", "default", "-300",
    "-300|1955,4/LS,10/LS|1974,1/1S,10/LS|2007,3/2S,11/1S", "60|0,3/LS,10/LS,60", "0|0,13/9Q,0/0S",
    "|", "|||,,,", "-300|abc", "99999999999999999999", "-2147483648|2007,3/2S,11/1S,-2147483648",
    "330|0,3/5A,10/LF,-2147483647", "%s%s%s%s", "%n%n", "%F%999F%.400F%-99999F", "%d %x %p %c",
    "%1000000f", "%.*f%*d", "%%F", "\xff\xfe\x80", "1e308", "nan", "-inf", " 12.5 ", "Close",
};

const int32_t kPeriods[] = {
    0x11000001, 0x11000000, 0x11000005, 0x12000001, 0x13000002, 0x14000001, 0x15000001,
    0x01000000, 0x02000005, 0x03000001, 0x03000005, 0x03000000, 0x04000000, 0x04753039,
    0x05000003, 0x06030005, 0x06000005, 0x07000002, 0x08000003, 0x08200003, 0x09000100,
    0x16000004, 0x17000004, 0x18100003, 0x19000001, 0x20000002, 0x10FFFFFF, 0x7F000000,
    static_cast<int32_t>(0xFF000000u), 0, -1, INT32_MIN,
};

// Bars-ago offsets of handles, both signs; the first few are those a Return Value may have (a far
// negative one would make every write grow it by that many elements).
const int32_t kOffsets[] = {1, 2, 5, -1, -3, 50, 5000, -5000, 1 << 20, -(1 << 20), INT32_MAX >> 2, INT32_MIN >> 2};
constexpr uint32_t kOutputOffsets = 6;

// Processor time one call may take before it counts as hanging, and what it may take besides for
// each step of work a function's own definition asks for (the cycle functions correlate every
// window with every period they are given: window x periods steps a bar, which legal arguments
// make millions).
constexpr double kSlowCall = 2.0;
constexpr double kSecondsPerStep = 3e-8; // over twice what a step takes under the sanitizers

// The exports that write a file named by their text parameter.
bool writesFiles(const ExportEntry& e) { return std::string_view(e.name).starts_with("DumpArray"); }

// A file name for those: the fuzzer's bytes could name any file on the machine, so a non-empty name
// becomes one of three in a scratch folder of the system's temporary folder (one of them in a
// folder that does not exist, so that opening fails). An empty name stays empty.
std::string confinedFileName(const std::string& s) {
    if (s.empty()) return s;
    static const std::string dir = [] {
        const char* tmp = std::getenv("TMPDIR");
        std::string d = std::string(tmp && *tmp ? tmp : "/tmp") + "/fk-fuzz-files";
        mkdir(d.c_str(), 0700);
        return d;
    }();
    static const char* const kNames[] = {"/dump-a.txt", "/dump-b.txt", "/no-such-folder/dump.txt"};
    return dir + kNames[s.size() % 3];
}

template <class T, std::size_t N>
constexpr uint32_t size(const T (&)[N]) {
    return static_cast<uint32_t>(N);
}

// ---- the input: one decision per byte, the first choice once it runs out

class Input {
public:
    Input(const uint8_t* data, std::size_t n) : p_(data), end_(data + n) {}
    uint8_t byte() { return p_ < end_ ? *p_++ : 0; }
    uint32_t below(uint32_t n) {
        uint32_t v = byte();
        if (n > 256) v = v << 8 | byte();
        return n ? v % n : 0;
    }
    uint32_t u32() {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) v = v << 8 | byte();
        return v;
    }
    double raw() {
        uint64_t v = 0;
        for (int i = 0; i < 8; ++i) v = v << 8 | byte();
        return std::bit_cast<double>(v);
    }
    std::string bytes(std::size_t n) {
        n = std::min<std::size_t>(n, static_cast<std::size_t>(end_ - p_));
        std::string s(reinterpret_cast<const char*>(p_), n);
        p_ += n;
        return s;
    }
    // Text up to a zero byte (the zero is consumed).
    std::string name() {
        std::string s;
        while (p_ < end_ && *p_ && s.size() < 64) s += static_cast<char>(*p_++);
        if (p_ < end_ && !*p_) ++p_;
        return s;
    }

private:
    const uint8_t* p_;
    const uint8_t* end_;
};

// Deterministic values for series contents.
struct Rng {
    uint64_t s;
    uint64_t next() {
        uint64_t z = (s += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(next() % n); }
};

// ---- the record of decisions, printed when a check fails

// (with FK_FUZZ_TRACE set, also as they are made, for a crash that ends the process at once)
class Trace {
public:
    void note(const char* format, ...) __attribute__((format(printf, 2, 3))) {
        static const bool live = std::getenv("FK_FUZZ_TRACE") != nullptr;
        char line[512];
        va_list args;
        va_start(args, format);
        std::vsnprintf(line, sizeof line, format, args);
        va_end(args);
        text_ += "  ";
        text_ += line;
        text_ += '\n';
        if (live) std::fprintf(stderr, "  %s\n", line);
    }
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

std::string printable(std::string_view s) {
    std::string out;
    for (unsigned char c : s.substr(0, 80)) {
        if (c >= 0x20 && c < 0x7F && c != '\\') {
            out += static_cast<char>(c);
        } else {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\x%02X", c);
            out += hex;
        }
    }
    if (s.size() > 80) out += "...(" + std::to_string(s.size()) + " bytes)";
    return out;
}

// ---- what a host can see of a handle and its buffer

struct Image {
    SeriesHandle handle{nullptr, 0};
    SharedBuffer header{};
    std::vector<uint8_t> bytes; // capacity + 1 elements
};

Image imageOf(const SeriesHandle& h) {
    Image im;
    im.handle = h;
    if (h.buffer) {
        im.header = *h.buffer;
        const auto* p = static_cast<const uint8_t*>(h.buffer->elements);
        const std::size_t n = static_cast<std::size_t>(h.buffer->capacity + 1) * buffers::elementSize(h.buffer);
        im.bytes.assign(p, p + n);
    }
    return im;
}

bool isConstantOfOne(const SeriesHandle* h) {
    return h && h->buffer && h->buffer->isConstant() && h->buffer->count == 1;
}

// May a write through `h` change its buffer in place while other handles share it?
bool writesInPlaceWhileShared(const Image& im) {
    const uint8_t f = im.header.flags;
    if (!im.handle.buffer || (f & kFlagReadOnly)) return false;
    if (f & kFlagOwnerOnly) return (im.handle.word & 1) != 0;
    return (f & kFlagSharedWritable) != 0;
}

// May the writers write through the handle at all (in place or after a copy)?
bool writable(const Image& im) {
    const uint8_t f = im.header.flags;
    if (!im.handle.buffer || (f & kFlagReadOnly)) return false;
    return !(f & kFlagOwnerOnly) || (im.handle.word & 1) != 0;
}

// The host writes its own series whatever their write flags and offsets say.
void hostWrite(SeriesHandle& h, int32_t at, double v) {
    SharedBuffer* b = h.buffer;
    if (!b) return;
    constexpr uint8_t kLocks = kFlagReadOnly | kFlagOwnerOnly;
    const uint8_t locks = b->flags & kLocks;
    const int32_t word = h.word;
    b->flags &= static_cast<uint8_t>(~kLocks);
    h.word = 0;
    series::setNumber(h, at, v);
    // a shared buffer was copied: both keep the locks
    b->flags |= locks;
    if (h.buffer) h.buffer->flags |= locks;
    h.word = word;
}

// A market and how its bars continue as the host appends them.
struct Feed {
    std::unique_ptr<host::Market> market;
    Rng rng;
    uint32_t dates = 0, prices = 0;
    double time = 0, step = 1, level = 100;
};

// An input series the host extends as bars arrive.
struct Growing {
    SeriesHandle* handle;
    Rng rng;
    uint32_t mode;
    double level;
};

struct Entry {
    char declared = 0;      // the signature's letter
    uint32_t tag = 0;
    SeriesHandle* handle = nullptr; // the handle the entry carries, if it carries one
};

enum class Outcome { Release, WrongCount, BadEntry, Body };

struct Prediction {
    Outcome outcome;
    StatusCode status;
    std::string message; // for BadEntry
};

class Scenario {
public:
    Scenario(const ExportEntry& e, Trace& trace) : e_(e), trace_(trace) {}
    ~Scenario();
    Scenario(const Scenario&) = delete;
    Scenario& operator=(const Scenario&) = delete;

    void build(Input& in);
    void play(Input& in);

private:
    [[noreturn]] void fail(const char* format, ...) __attribute__((format(printf, 2, 3)));
    double definedSteps(int32_t startBar) const;

    SeriesHandle* newHandle() {
        handles_.push_back(SeriesHandle{nullptr, 0});
        return &handles_.back();
    }
    double number(Input& in);
    double value(uint32_t mode, Rng& rng, double fill, double& level);
    SeriesHandle* series(Input& in, bool output);
    SeriesHandle* constantForSeries(Input& in);
    SeriesHandle* text(Input& in);
    SeriesHandle* constantText(Input& in);
    void modify(SeriesHandle* h, Input& in, bool output);
    Feed* market(Input& in);
    void appendBars(Feed& f, int32_t n);
    void errorText(Input& in);
    void entry(int i, Input& in);
    int32_t bars() const;
    void grow(Input& in);

    Prediction predict(int32_t startBar) const;
    void call(int32_t startBar);
    void verify(const Prediction& p, StatusCode st, int32_t startBar, const std::vector<Image>& before,
                const std::vector<ParamEntry>& table);
    void checkBuffers();

    const ExportEntry& e_;
    Trace& trace_;
    std::deque<SeriesHandle> handles_;
    std::deque<Feed> feeds_;
    std::vector<Growing> growing_;
    std::vector<SeriesHandle*> numberHandles_; // number series an output may share
    std::vector<SeriesHandle*> textHandles_;
    std::vector<SeriesHandle*> inputHandles_;  // handles already passed as inputs
    std::vector<SeriesHandle*> tracked_;       // every handle the host holds
    uint32_t count_ = 0;
    int provided_ = 0;
    std::unique_ptr<ParamEntry[]> params_;
    Entry entries_[kMaxEntries + 1];
    CParmBlock block_{};
    int calls_ = 0;
};

Scenario::~Scenario() {
    for (SeriesHandle& h : handles_) buffers::release(h);
    buffers::release(block_.errorText);
}

// The steps of work the called function's definition asks for on the bars it computes: window x
// periods a bar for the cycle functions (a window is at most the bars, the longest period at most
// the window), none for the others.
double Scenario::definedSteps(int32_t startBar) const {
    const std::string_view name = e_.name;
    if ((name != "CycleCalc" && name != "CycleAnalysis") || provided_ < 5) return 0;
    const ParamEntry& x = params_[2];
    if (x.type != kParamNumberSeries && x.type != kParamBoolSeries) return 0;
    const double bars = static_cast<double>(series::count(static_cast<const SeriesHandle*>(x.pointer)));
    auto number = [&](int i) {
        const ParamEntry& p = params_[i];
        const double v = p.type == kParamNumber || p.type == kParamNumber2 ? p.number : 0.0;
        return std::isfinite(v) ? std::clamp(v, 0.0, bars) : 0.0;
    };
    const double window = number(3), periods = std::min(number(5), window) - number(4) + 1;
    // the bars with a whole window
    const double from = std::clamp(std::max(static_cast<double>(startBar), window - 1), 0.0, bars);
    return periods > 0 ? window * periods * (bars - from) : 0.0;
}

void Scenario::fail(const char* format, ...) {
    char what[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(what, sizeof what, format, args);
    va_end(args);
    std::fprintf(stderr, "\n== fuzz check failed: %s, call %d: %s\n  decisions:\n%s\n", e_.name, calls_, what,
                 trace_.text().c_str());
    std::abort();
}

// A number of the list, any whole number from -128 to 255 or of 16 bits (codes, kinds, lengths), a
// multiple of 1/16, or any 8 bytes.
double Scenario::number(Input& in) {
    const uint32_t pick = in.below(size(kNumbers) + 5);
    if (pick < size(kNumbers)) return kNumbers[pick];
    switch (pick - size(kNumbers)) {
    case 0: return in.byte();
    case 1: return static_cast<int8_t>(in.byte());
    case 2: return static_cast<int16_t>(in.below(65536));
    case 3: return static_cast<int16_t>(in.below(65536)) / 16.0;
    default: return in.raw();
    }
}

double Scenario::value(uint32_t mode, Rng& rng, double fill, double& level) {
    switch (mode) {
    case 0: // a random walk
        level += rng.unit() - 0.5;
        return level;
    case 1: // a walk with holes
        level += rng.unit() - 0.5;
        return rng.below(8) == 0 ? fill : level;
    case 2: return kNumbers[rng.below(size(kNumbers))];
    case 3: return level;
    case 4: return static_cast<double>(rng.below(2));
    case 5: level += 0.25 + rng.below(3); return level; // date-times
    case 6: return std::bit_cast<double>(rng.next());
    default: return rng.below(2) ? (rng.below(2) ? 1e300 : -1e300) : (rng.below(2) ? 1e-300 : -0.0);
    }
}

// A series where one is declared; the output starts empty, as the host makes it.
SeriesHandle* Scenario::series(Input& in, bool output) {
    const uint32_t shape = in.below(12);
    if (shape == 8) {
        trace_.note("    null handle pointer");
        return nullptr;
    }
    if (shape == 10 && !output && !inputHandles_.empty()) {
        SeriesHandle* same = inputHandles_[in.below(static_cast<uint32_t>(inputHandles_.size()))];
        trace_.note("    the same handle as an earlier entry");
        return same;
    }
    SeriesHandle* h = newHandle();
    if (shape == 9 && !numberHandles_.empty()) {
        SeriesHandle* other = numberHandles_[in.below(static_cast<uint32_t>(numberHandles_.size()))];
        buffers::assign(*h, *other);
        if (output) h->setOffset(0);
        trace_.note("    shares the buffer of an earlier handle (count %d)", series::count(h));
        modify(h, in, output);
        numberHandles_.push_back(h);
        return h;
    }
    if (shape == 7) {
        trace_.note("    handle without buffer");
        return h;
    }
    int32_t n = 0;
    switch (shape) {
    case 0: n = output ? 0 : 200; break;
    case 1: n = 0; break;
    case 4: n = 1; break;
    case 5: n = 2 + static_cast<int32_t>(in.below(8)); break;
    case 6: n = 500 + static_cast<int32_t>(in.below(3500)); break;
    case 11: n = static_cast<int32_t>(in.below(300)); break;
    default: n = 0; break;
    }
    if (shape == 2 || shape == 3) {
        const double v = number(in);
        const int32_t len = shape == 2 ? 1 : 2 + static_cast<int32_t>(in.below(500));
        series::createNumbers(*h, 0);
        series::setConstantNumber(*h, v, len);
        trace_.note("    single constant %.17g of count %d", v, len);
    } else {
        const uint32_t fillPick = in.below(4);
        const double fill = fillPick == 0 ? kMissingMarker : fillPick == 1 ? 0.0 : fillPick == 2 ? kNaN : number(in);
        const uint32_t mode = in.below(8);
        Rng rng{in.byte()};
        series::createNumbers(*h, n, fill);
        double level = mode == 5 ? 42000.5 : mode == 3 ? number(in) : 100.0;
        auto* e = static_cast<double*>(h->buffer->elements);
        const double f = series::fillValue(*h);
        for (int32_t i = 0; i < series::count(h); ++i) e[i] = value(mode, rng, f, level);
        trace_.note("    %d elements, values mode %u, fill %.17g", series::count(h), mode, f);
        if (!output && n > 0 && mode != 6) growing_.push_back({h, rng, mode, level});
    }
    modify(h, in, output);
    numberHandles_.push_back(h);
    return h;
}

// What a host passes for a Number where a series is declared: a handle, mostly a single constant.
SeriesHandle* Scenario::constantForSeries(Input& in) {
    const uint32_t shape = in.below(6);
    if (shape == 4) {
        trace_.note("    null handle pointer");
        return nullptr;
    }
    if (shape >= 3) return series(in, false);
    SeriesHandle* h = newHandle();
    const double v = number(in);
    series::createNumbers(*h, 0);
    series::setConstantNumber(*h, v, shape == 1 ? 2 + static_cast<int32_t>(in.below(20)) : 1);
    if (shape == 2) h->buffer->flags &= static_cast<uint8_t>(~kFlagConstant);
    trace_.note("    number %.17g as a %s of count %d", v, shape == 2 ? "plain series" : "single constant",
                series::count(h));
    numberHandles_.push_back(h);
    return h;
}

SeriesHandle* Scenario::text(Input& in) {
    const uint32_t shape = in.below(10);
    if (shape == 6) {
        trace_.note("    null text pointer");
        return nullptr;
    }
    SeriesHandle* h = newHandle();
    if (shape == 7 && !textHandles_.empty()) {
        buffers::assign(*h, *textHandles_[in.below(static_cast<uint32_t>(textHandles_.size()))]);
        trace_.note("    shares an earlier text \"%s\"", printable(text::view(*h)).c_str());
    } else if (shape == 5) {
        trace_.note("    text handle without buffer");
        return h;
    } else {
        std::string s;
        switch (shape) {
        case 0: s = kWords[in.below(size(kWords))]; break;
        case 2: s = in.bytes(in.below(64)); break;
        case 3: {
            const std::string unit = kWords[in.below(size(kWords))];
            const std::size_t len = 1000 + in.below(4000);
            while (s.size() < len) s += unit.empty() ? std::string("x") : unit;
            break;
        }
        case 4: s = "\xC3\xA9t\xC3\xA9 \xE6\x97\xA5\xFF\x80\x01\x7F"; break;
        case 8: s = std::string("NY\0GMT", 6); break;
        case 9: s = kWords[in.below(size(kWords))] + in.bytes(in.below(16)); break;
        default: break; // empty
        }
        if (writesFiles(e_)) s = confinedFileName(s);
        text::create(*h);
        text::appendBytes(*h, s.data(), static_cast<int32_t>(s.size()));
        trace_.note("    text \"%s\"", printable(s).c_str());
    }
    modify(h, in, false);
    textHandles_.push_back(h);
    return h;
}

// A Text where a text series is declared: accepted only as a single constant of count 1.
SeriesHandle* Scenario::constantText(Input& in) {
    const uint32_t shape = in.below(4);
    if (shape == 3) return text(in);
    SeriesHandle* h = newHandle();
    const std::string s = shape == 1 ? "ab" : std::string(1, static_cast<char>('A' + in.below(26)));
    text::create(*h);
    text::appendBytes(*h, s.data(), static_cast<int32_t>(s.size()));
    if (shape != 2) h->buffer->flags |= kFlagConstant;
    trace_.note("    text \"%s\"%s", s.c_str(), shape != 2 ? " marked single constant" : "");
    textHandles_.push_back(h);
    return h;
}

// Offsets, write-permission flags and a second host handle on the same buffer.
void Scenario::modify(SeriesHandle* h, Input& in, bool output) {
    const uint8_t m = in.byte();
    if (!h->buffer || !m) return;
    if (m & 1) {
        h->setOffset(kOffsets[in.below(output ? kOutputOffsets : size(kOffsets))]);
        trace_.note("    offset %d", h->offset());
    }
    if (m & 2) {
        static const uint8_t kFlags[] = {kFlagReadOnly, kFlagOwnerOnly, kFlagSharedWritable,
                                         kFlagReadOnly | kFlagOwnerOnly, kFlagOwnerOnly | kFlagSharedWritable};
        const uint8_t f = kFlags[in.below(size(kFlags))];
        h->buffer->flags |= f;
        if (in.below(2)) h->word |= 1;
        trace_.note("    flags %u, owner bit %d", h->buffer->flags, h->owner() ? 1 : 0);
    }
    if (m & 4) {
        SeriesHandle* other = newHandle();
        buffers::assign(*other, *h);
        trace_.note("    also held by another host handle (references %u)", h->buffer->references);
    }
}

void Scenario::appendBars(Feed& f, int32_t n) {
    BarRecord& r = f.market->record();
    SeriesHandle* series6[] = {&r.dateTime, &r.open, &r.high, &r.low, &r.close, &r.volume};
    for (int32_t k = 0; k < n; ++k) {
        double v[6];
        // date and time
        switch (f.dates) {
        case 0: // daily, weekdays only
            do f.time += 1; while (static_cast<int64_t>(f.time + 2415020) % 7 == 0 || static_cast<int64_t>(f.time + 2415020) % 7 == 6);
            break;
        case 3: f.time = kNumbers[f.rng.below(size(kNumbers))]; break;
        case 4: f.time -= f.step; break;
        default: f.time += f.step; break;
        }
        v[0] = f.time;
        // prices
        f.level += f.rng.unit() - 0.5;
        const double o = f.level, c = f.level + f.rng.unit() - 0.5;
        v[1] = o;
        v[2] = std::max(o, c) + f.rng.unit();
        v[3] = std::min(o, c) - f.rng.unit();
        v[4] = c;
        v[5] = 1000 + f.rng.below(5000);
        switch (f.prices) {
        case 1: if (f.rng.below(6) == 0) v[4] = series::fillValue(r.close); break;
        case 2: for (int j = 1; j < 6; ++j) v[j] = kNumbers[f.rng.below(size(kNumbers))]; break;
        case 3: v[1] = v[2] = v[3] = v[4] = 100; break;
        case 4: std::swap(v[2], v[3]); v[4] = -v[4]; break;
        case 5: v[1 + f.rng.below(5)] = kNaN; break;
        case 6: v[1] = v[2] = v[3] = v[4] = v[5] = 0; break;
        default: break;
        }
        const int32_t at = r.barCount;
        for (int j = 0; j < 6; ++j) hostWrite(*series6[j], at, v[j]);
        r.barCount = at + 1;
    }
}

Feed* Scenario::market(Input& in) {
    const uint32_t shape = in.below(8);
    if (shape == 5 && !feeds_.empty()) {
        trace_.note("    the same market as an earlier entry");
        return &feeds_[in.below(static_cast<uint32_t>(feeds_.size()))];
    }
    static const int32_t kBars[] = {300, 0, 1, 2, 1000, 0, 64, 20};
    int32_t n = kBars[shape];
    if (shape == 3) n += static_cast<int32_t>(in.below(5));
    if (shape == 4) n += static_cast<int32_t>(in.below(3000));
    if (shape == 6) n = static_cast<int32_t>(in.below(64));
    feeds_.push_back(Feed{std::make_unique<host::Market>(), Rng{in.byte()}});
    Feed& f = feeds_.back();
    f.dates = in.below(6);
    f.prices = in.below(7);
    static const double kStarts[] = {42005, 42006 + 570.0 / 1440, 42006 + 1380.0 / 1440, 0, 45000, 44268.5};
    static const double kSteps[] = {1, 5.0 / 1440, 1.0 / 1440, 1, 0.5, 1.0 / 48};
    f.time = kStarts[f.dates];
    f.step = kSteps[f.dates];
    BarRecord& r = f.market->record();
    const uint32_t period = in.below(size(kPeriods) + 1);
    r.periodWord = period < size(kPeriods) ? kPeriods[period] : static_cast<int32_t>(in.u32());
    switch (in.below(6)) {
    case 1: f.market->session(0, 0, 0); break;
    case 2: f.market->session(1020, 960, 1439); break;
    case 3: f.market->session(-1, -1, -1); break;
    case 4: f.market->session(1440, 2000, 32767); break;
    case 5: f.market->session(static_cast<int16_t>(in.u32()), static_cast<int16_t>(in.u32()), static_cast<int16_t>(in.u32())); break;
    default: break;
    }
    switch (in.below(6)) {
    case 1: f.market->tick(0.25, 12.5, 1); break;
    case 2: f.market->tick(0, 0, 0); break;
    case 3: f.market->tick(kNaN, kNaN, kNaN); break;
    case 4: f.market->tick(-0.01, kInf, -1); break;
    case 5: f.market->tick(number(in), number(in), number(in)); break;
    default: break;
    }
    const uint32_t zone = in.below(size(kWords) + 3);
    if (zone == 1) buffers::release(r.zone);
    else if (zone == 2) f.market->zone(in.bytes(in.below(40)));
    else if (zone >= 3) f.market->zone(kWords[zone - 3]);
    const uint8_t extras = in.byte();
    if (extras & 1) { // the host's numbered properties, any bits
        r.offsetMinutes = static_cast<int8_t>(in.byte());
        r.flags = in.byte();
        r.prop9 = static_cast<int32_t>(in.u32());
        r.prop17 = in.u32();
        r.prop14 = static_cast<int32_t>(in.u32());
        r.prop15 = in.byte();
        r.prop13 = static_cast<int8_t>(in.byte());
        r.prop1 = static_cast<int32_t>(in.u32());
        r.prop2 = in.byte();
        r.prop6 = number(in);
        r.prop7 = number(in);
        r.prop8 = static_cast<int32_t>(in.u32());
        r.prop26 = static_cast<int8_t>(in.byte());
        r.offsetHours = static_cast<int16_t>(in.u32());
        r.prop21 = static_cast<int16_t>(in.u32());
        r.prop22 = static_cast<int16_t>(in.u32());
        r.prop23 = static_cast<int16_t>(in.u32());
        r.prop28 = static_cast<int16_t>(in.u32());
        f.market->secondSession(static_cast<int16_t>(in.u32()), static_cast<int16_t>(in.u32()));
    }
    if (extras & 2) { // exchange holidays
        SeriesHandle* h = newHandle();
        const int32_t days = 1 + static_cast<int32_t>(in.below(40));
        series::create(*h, Family::Long, days);
        auto* e = static_cast<int32_t*>(h->buffer->elements);
        for (int32_t i = 0; i < days; ++i) e[i] = static_cast<int32_t>(f.time) + static_cast<int32_t>(f.rng.below(400)) - (i % 3 == 2 ? 1 << 30 : 0);
        r.holidays = h;
    }
    if (extras & 4) { // currency
        SeriesHandle* h = newHandle();
        text::create(*h);
        text::appendString(*h, in.below(2) ? "USD" : "");
        r.currencyText = h->buffer;
    }
    if (extras & 8) {
        f.market->symbol(in.below(2) ? "ESZ24" : in.bytes(in.below(24)));
        f.market->source(in.below(2) ? "*synthetic" : "");
        f.market->description(std::string(300, 'd'));
    }
    appendBars(f, n);
    if (extras & 16) {
        for (SeriesHandle* h : {&r.dateTime, &r.open, &r.high, &r.low, &r.close, &r.volume})
            h->buffer->flags |= kFlagReadOnly;
    }
    if (extras & 32) r.close.setOffset(kOffsets[in.below(size(kOffsets))]);
    if ((extras & 64) && n > 0) series::setCount(r.close, n - 1 - static_cast<int32_t>(in.below(static_cast<uint32_t>(n))), true);
    trace_.note("    market: %d bars, dates mode %u, prices mode %u, period 0x%08X, session %d/%d/%d, tick %.17g "
                "value %.17g factor %.17g, zone \"%s\"%s, extras 0x%02X, close count %d offset %d",
                r.barCount, f.dates, f.prices, static_cast<uint32_t>(r.periodWord), r.sessionStart, r.sessionEnd,
                r.dayEnd, r.tickSize, r.tickValue, r.minMoveFactor, printable(text::view(r.zone)).c_str(),
                r.zone.buffer ? "" : " (none)", extras, series::count(r.close), r.close.offset());
    for (SeriesHandle* h : {&r.dateTime, &r.open, &r.high, &r.low, &r.close, &r.volume})
        numberHandles_.push_back(h);
    return &f;
}

void Scenario::errorText(Input& in) {
    const uint32_t shape = in.below(7);
    if (shape == 4) {
        trace_.note("error text: handle without buffer");
        return;
    }
    text::create(block_.errorText);
    if (shape != 0) text::appendString(block_.errorText, "an earlier message");
    switch (shape) {
    case 2: block_.errorText.buffer->flags |= kFlagReadOnly; break;
    case 3: buffers::assign(*newHandle(), block_.errorText); break;
    case 5: block_.errorText.buffer->flags |= kFlagOwnerOnly; break;
    case 6: block_.errorText.buffer->flags |= kFlagOwnerOnly; block_.errorText.word |= 1; break;
    default: break;
    }
    trace_.note("error text: shape %u", shape);
}

// The tag and value of entry i, as a host fills them.
void Scenario::entry(int i, Input& in) {
    Entry& en = entries_[i];
    en.declared = e_.sig.types[i - 1];
    static const uint32_t kPrimary[] = {kParamNumberSeries, kParamNumber, kParamText, kParamMarket, kParamTextSeries};
    const char* letters = "SNTMX";
    const uint32_t primary = kPrimary[std::strchr(letters, en.declared) - letters];
    const uint32_t how = in.below(16);
    en.tag = primary;
    if (how == 1 || how == 2) { // the other tags the declared type accepts
        switch (en.declared) {
        case kArgSeries: en.tag = how == 1 ? kParamBoolSeries : (in.below(2) ? kParamNumber : kParamNumber2); break;
        case kArgNumber: en.tag = kParamNumber2; break;
        case kArgTextSeries: en.tag = kParamText; break;
        default: break;
        }
    } else if (how == 3) { // a tag the declared type may not accept
        static const uint32_t kAny[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0x80000001u};
        const uint32_t pick = in.below(size(kAny) + 1);
        en.tag = pick < size(kAny) ? kAny[pick] : in.u32();
    }
    trace_.note("entry %d (%c): tag %u", i, en.declared, en.tag);
    ParamEntry& p = params_[i];
    p.type = en.tag;
    p.reserved = 0;
    const bool seriesDeclared = en.declared == kArgSeries;
    switch (en.tag) {
    case kParamNumber:
    case kParamNumber2:
        if (seriesDeclared) {
            en.handle = constantForSeries(in);
            p.pointer = en.handle;
        } else {
            p.number = number(in);
            trace_.note("    number %.17g", p.number);
        }
        break;
    case kParamText:
        en.handle = en.declared == kArgTextSeries ? constantText(in) : text(in);
        p.pointer = en.handle;
        break;
    case kParamBoolSeries:
    case kParamNumberSeries:
        en.handle = series(in, i == 1);
        p.pointer = en.handle;
        break;
    case kParamTextSeries:
        en.handle = text(in);
        p.pointer = en.handle;
        break;
    case kParamMarket: p.pointer = &market(in)->market->record(); break;
    default:
        p.number = in.raw();
        trace_.note("    raw bits %016" PRIX64, std::bit_cast<uint64_t>(p.number));
        break;
    }
    if (i > 1 && en.handle) inputHandles_.push_back(en.handle);
}

void Scenario::build(Input& in) {
    const ExportSig& sig = e_.sig;
    switch (in.below(8)) {
    case 1: count_ = sig.minCount; break;
    case 2: count_ = sig.minCount + in.below(sig.maxCount - sig.minCount + 1u); break;
    case 3: count_ = sig.maxCount + 1u; break;
    case 4: count_ = sig.minCount - 1u; break;
    case 5: count_ = 0; break;
    case 6: count_ = 0x100u + sig.maxCount; break;
    case 7: count_ = in.u32(); break;
    default: count_ = sig.maxCount; break;
    }
    // the host fills as many entries as it counts, never more than the signature has
    provided_ = static_cast<int>(std::min<uint32_t>(count_, sig.maxCount));
    trace_.note("count %u, %d entries", count_, provided_);
    params_ = std::make_unique<ParamEntry[]>(static_cast<std::size_t>(provided_) + 1);
    params_[0].type = count_;
    errorText(in);
    // the parameters first, so that the Return Value may share one of their buffers
    for (int i = 2; i <= provided_; ++i) entry(i, in);
    if (provided_ >= 1) entry(1, in);
    block_.params = params_.get();
    block_.cursor = 1;
    for (SeriesHandle& h : handles_) tracked_.push_back(&h);
    for (Feed& f : feeds_) {
        BarRecord& r = f.market->record();
        for (SeriesHandle* h : {&r.dateTime, &r.open, &r.high, &r.low, &r.close, &r.volume, &r.symbol,
                                &r.description, &r.exchange, &r.source, &r.zone})
            tracked_.push_back(h);
    }
    tracked_.push_back(&block_.errorText);
}

int32_t Scenario::bars() const {
    int32_t n = 0;
    for (const Feed& f : feeds_) n = std::max(n, f.market->record().barCount);
    if (feeds_.empty())
        for (const Growing& g : growing_) n = std::max(n, series::count(g.handle));
    return n;
}

// New bars arrive: the host extends its markets and its input series.
void Scenario::grow(Input& in) {
    int32_t n = 0;
    switch (in.below(4)) {
    case 1: n = 1; break;
    case 2: n = 2 + static_cast<int32_t>(in.below(20)); break;
    case 3: n = 100 + static_cast<int32_t>(in.below(500)); break;
    default: return;
    }
    trace_.note("%d new bars", n);
    for (Feed& f : feeds_) appendBars(f, n);
    for (Growing& g : growing_) {
        SeriesHandle& h = *g.handle;
        if (!h.buffer || h.buffer->isConstant()) continue;
        const double fill = series::fillValue(h);
        for (int32_t k = 0; k < n; ++k) hostWrite(h, series::count(h), value(g.mode, g.rng, fill, g.level));
    }
}

void Scenario::play(Input& in) {
    const int calls = 1 + static_cast<int>(in.below(4));
    int32_t firstNew = 0;
    for (int c = 0; c < calls; ++c) {
        const int32_t n = bars();
        int32_t start = firstNew;
        switch (in.below(10)) {
        case 1: start = 0; break;
        case 2: start = -1; break;
        case 3: start = -2; break;
        case 4: start = n / 2; break;
        case 5: start = n - 1; break;
        case 6: start = n + 3; break;
        case 7: start = INT32_MAX; break;
        case 8: start = INT32_MIN; break;
        case 9: start = static_cast<int32_t>(in.u32()); break;
        default: break;
        }
        call(start);
        firstNew = bars();
        grow(in);
    }
    call(-2);
    if (block_.state) fail("the release call left the per-call state behind");
}

std::string expectedMessage(int entry, const char* what) {
    char s[128];
    if (entry == 1) std::snprintf(s, sizeof s, "Return Value bad type, expected %s.", what);
    else std::snprintf(s, sizeof s, "Parameter %d bad type, expected %s.", entry - 1, what);
    return s;
}

// What the calling sequence must answer before any body runs.
Prediction Scenario::predict(int32_t startBar) const {
    const ExportSig& sig = e_.sig;
    if (sig.readsStartBar && startBar == -2) return {Outcome::Release, kOk, {}};
    if (count_ < sig.minCount || count_ > sig.maxCount) return {Outcome::WrongCount, wrongCount(count_), {}};
    for (int i = 1; i <= static_cast<int>(count_); ++i) {
        const Entry& en = entries_[i];
        const uint32_t t = en.tag;
        const char* wrong = nullptr;
        switch (en.declared) {
        case kArgNumber: if (t != kParamNumber && t != kParamNumber2) wrong = "Number"; break;
        case kArgText: if (t != kParamText) wrong = "Text"; break;
        case kArgMarket: if (t != kParamMarket) wrong = "Market"; break;
        case kArgSeries:
            if (t == kParamBoolSeries || t == kParamNumberSeries) break;
            if ((t == kParamNumber || t == kParamNumber2) && isConstantOfOne(en.handle)) break;
            wrong = t == kParamNumber ? "Number" : "??????";
            break;
        case kArgTextSeries:
            if (t == kParamTextSeries || (t == kParamText && isConstantOfOne(en.handle))) break;
            wrong = t == kParamNumberSeries ? "Number Series"
                    : t == kParamBoolSeries ? "True/False Series"
                    : t == kParamNumber     ? "Number"
                                            : "??????";
            break;
        default: break;
        }
        if (wrong) return {Outcome::BadEntry, badEntry(i), expectedMessage(i, wrong)};
    }
    return {Outcome::Body, kOk, {}};
}

void Scenario::call(int32_t startBar) {
    ++calls_;
    const Prediction p = predict(startBar);
    std::vector<Image> before;
    before.reserve(tracked_.size());
    for (SeriesHandle* h : tracked_) before.push_back(imageOf(*h));
    std::vector<ParamEntry> table(params_.get(), params_.get() + provided_ + 1);
    std::vector<std::vector<uint8_t>> records;
    for (Feed& f : feeds_) {
        const auto* r = reinterpret_cast<const uint8_t*>(&f.market->record());
        records.emplace_back(r, r + sizeof(BarRecord));
    }
    block_.startBar = startBar;
    trace_.note("call %d: start bar %d", calls_, startBar);
    const std::clock_t began = std::clock();
    const StatusCode st = e_.entry(&block_);
    const double seconds = static_cast<double>(std::clock() - began) / CLOCKS_PER_SEC;
    trace_.note("    status %d (0x%X), error text \"%s\"", st, static_cast<uint32_t>(st),
                printable(text::view(block_.errorText)).c_str());
    for (std::size_t k = 0; k < feeds_.size(); ++k)
        if (std::memcmp(records[k].data(), &feeds_[k].market->record(), sizeof(BarRecord)) != 0)
            fail("market record %zu was changed", k);
    verify(p, st, startBar, before, table);
    // a few thousand bars take milliseconds even at n times n; a walk over the 32-bit range, seconds
    const double allowed = kSlowCall + kSecondsPerStep * definedSteps(startBar);
    if (seconds > allowed) fail("the call took %.1f s of processor time (%.1f s allowed)", seconds, allowed);
}

void Scenario::verify(const Prediction& p, StatusCode st, int32_t startBar, const std::vector<Image>& before,
                      const std::vector<ParamEntry>& table) {
    // the status
    if (p.outcome == Outcome::Body) {
        if (st != kOk && st != kTooFewBars && st != kDomainError)
            fail("status %d (0x%X) is none the protocol allows after all entries were fetched", st,
                 static_cast<uint32_t>(st));
    } else if (st != p.status) {
        fail("status %d (0x%X), expected 0x%X", st, static_cast<uint32_t>(st), static_cast<uint32_t>(p.status));
    }
    // the block itself
    const int32_t wantStart = e_.sig.readsStartBar && startBar < 0 && startBar != -2 ? 0 : startBar;
    if (block_.startBar != wantStart) fail("start bar %d became %d", startBar, block_.startBar);
    if (block_.cursor != 1) fail("cursor changed to %d", block_.cursor);
    if (block_.params != params_.get() ||
        std::memcmp(table.data(), params_.get(), table.size() * sizeof(ParamEntry)) != 0)
        fail("the parameter table was changed");
    if (block_.state && (p.outcome == Outcome::Release || !e_.sig.readsStartBar))
        fail("per-call state %s", p.outcome == Outcome::Release ? "survived the release call"
                                                                : "kept by an export that never sees the release call");
    // which handles the call may write through: the Return Value after a successful fetch of all
    // entries, the error text when an entry fails its accessor
    // (one it may not write stays as it was)
    const SeriesHandle* out = p.outcome == Outcome::Body && provided_ >= 1 ? entries_[1].handle : nullptr;
    const Image* outBefore = nullptr;
    const Image* errBefore = nullptr;
    for (std::size_t k = 0; k < tracked_.size(); ++k) {
        if (tracked_[k] == out) outBefore = &before[k];
        if (tracked_[k] == &block_.errorText) errBefore = &before[k];
    }
    // (a body that answers -1 may explain why in the error text, as the dump exports do)
    const bool bodyExplains = p.outcome == Outcome::Body && st == kDomainError;
    const SeriesHandle* err =
        (p.outcome == Outcome::BadEntry || bodyExplains) && writable(*errBefore) ? &block_.errorText : nullptr;
    const SharedBuffer* sharedInPlace[2] = {
        outBefore && writesInPlaceWhileShared(*outBefore) ? outBefore->handle.buffer : nullptr,
        err && writesInPlaceWhileShared(*errBefore) ? errBefore->handle.buffer : nullptr,
    };
    for (std::size_t k = 0; k < tracked_.size(); ++k) {
        const SeriesHandle& h = *tracked_[k];
        const Image& was = before[k];
        if (&h == out || &h == err) {
            if (was.handle.buffer && h.buffer && h.buffer->kind != was.header.kind)
                fail("a handle the call writes changed its buffer's kind from '%c' to '%c'", was.header.kind, h.buffer->kind);
            continue;
        }
        if (h.buffer != was.handle.buffer || h.word != was.handle.word)
            fail("host handle %zu was moved (buffer %p word %d, was %p word %d)", k, static_cast<void*>(h.buffer),
                 h.word, static_cast<void*>(was.handle.buffer), was.handle.word);
        if (!h.buffer || h.buffer == sharedInPlace[0] || h.buffer == sharedInPlace[1]) continue;
        SharedBuffer now = *h.buffer;
        now.references = was.header.references;
        if (std::memcmp(&now, &was.header, sizeof now) != 0)
            fail("host buffer of handle %zu changed: count %d capacity %d flags %u elements %p, was %d %d %u %p", k,
                 now.count, now.capacity, now.flags, now.elements, was.header.count, was.header.capacity,
                 was.header.flags, was.header.elements);
        if (std::memcmp(h.buffer->elements, was.bytes.data(), was.bytes.size()) != 0)
            fail("contents of host buffer of handle %zu changed", k);
    }
    if (err && !bodyExplains) {
        const std::string_view now = text::view(block_.errorText);
        if (now != p.message)
            fail("error text \"%s\", expected exactly \"%s\"", printable(now).c_str(), p.message.c_str());
    }
    checkBuffers();
}

// Every buffer the host holds: references equal to the host's handles on it (more only while
// per-call state may hold some), and its slots past the count holding the fill value.
void Scenario::checkBuffers() {
    std::map<const SharedBuffer*, int> holders;
    for (const SeriesHandle* h : tracked_)
        if (h->buffer) ++holders[h->buffer];
    for (const auto& [b, n] : holders) {
        if (b->references != n && !(block_.state && b->references > n))
            fail("a host buffer has %u references, the host holds %d", b->references, n);
        const FamilyInfo* fam = familyOfKind(b->kind);
        if (!fam) fail("a host buffer has kind %u", b->kind);
        // (a text the host marks a single constant keeps the capacity its heap block gives)
        if (b->count < 0 || b->capacity < 0 || (!b->isConstant() && b->count > b->capacity) ||
            (b->isConstant() && ((b->capacity > 1 && b->kind != kKindText) || b->count < 1)))
            fail("a host buffer has count %d, capacity %d, flags %u", b->count, b->capacity, b->flags);
        const int es = fam->elementSize;
        const uint8_t* def = buffers::slot(b, b->capacity, es);
        const bool oneSlot = b->isConstant() && b->kind != kKindText; // a text keeps its characters
        for (int32_t i = oneSlot ? 1 : b->count; i < b->capacity; ++i)
            if (std::memcmp(buffers::slot(b, i, es), def, es) != 0)
                fail("slot %d of a host buffer of count %d, capacity %d does not hold the fill value", i, b->count,
                     b->capacity);
        if (b->kind == kKindText && (def[0] != 0 || (b->count <= b->capacity && *buffers::slot(b, b->count, 1) != 0)))
            fail("a text of count %d is not zero-terminated", b->count);
    }
}

const ExportEntry& pick(const std::string& name) {
    if (const ExportEntry* e = findExport(name)) return *e;
    uint32_t h = 2166136261u;
    for (unsigned char c : name) h = (h ^ c) * 16777619u;
    const auto table = exportTable();
    return table[h % table.size()];
}

void runOnce(const uint8_t* data, std::size_t size, Trace& trace) {
    Input in(data, size);
    const ExportEntry& e = pick(in.name());
    const long stateBefore = liveStateBlocks();
    {
        Scenario s(e, trace);
        s.build(in);
        s.play(in);
        if (liveStateBlocks() != stateBefore) {
            std::fprintf(stderr, "\n== fuzz check failed: %s: %ld per-call state blocks left after the release call\n%s",
                         e.name, liveStateBlocks() - stateBefore, trace.text().c_str());
            std::abort();
        }
    }
}

} // namespace

void runInput(const uint8_t* data, std::size_t size) {
    // A process-wide cache may take a block once; a leak takes blocks on every run.
    const long before = host::liveBlocks();
    Trace first;
    runOnce(data, size, first);
    const long after = host::liveBlocks();
    if (after == before) return;
    Trace second;
    runOnce(data, size, second);
    if (host::liveBlocks() != after) {
        std::fprintf(stderr, "\n== fuzz check failed: %ld heap blocks of the library left behind by each run\n%s",
                     host::liveBlocks() - after, second.text().c_str());
        std::abort();
    }
}

std::string seedFor(const char* name) { return std::string(name) + '\0'; }

} // namespace fk::fuzz
