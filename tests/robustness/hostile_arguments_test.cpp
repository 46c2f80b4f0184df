// Every export of the table, given one hostile argument at a time among plain ones, must return a
// status the protocol allows, leave the host's inputs as they were and give back every heap block.
// It runs in every build, the 32-bit one included, which the fuzzer does not reach.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <unistd.h>

#include "exports/export_def.h"
#include "host/hostkit.h"
#include "platform/heap.h"

namespace fk {
namespace {

using host::Call;
using host::Market;
using host::Series;
using host::Text;

constexpr int kBars = 120;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::vector<host::Bar> bars(int n, double close = 0) {
    std::vector<host::Bar> v;
    for (int i = 0; i < n; ++i) {
        const double p = close != 0 ? close : 100 + std::sin(i * 0.3) * 4;
        v.push_back({43900.4 + i * 0.2, p, p + 1, p - 1, p + 0.25, 500.0 + i});
    }
    return v;
}

std::vector<double> closes(int n) {
    std::vector<double> v;
    for (const host::Bar& b : bars(n)) v.push_back(b.close);
    return v;
}

// Bit patterns, so that NaN compares equal to itself.
std::vector<uint64_t> bits(const std::vector<double>& values) {
    std::vector<uint64_t> out(values.size());
    if (!values.empty()) std::memcpy(out.data(), values.data(), values.size() * sizeof(double));
    return out;
}

// What the host holds for one call site; everything lives until the call site ends.
struct Site {
    std::vector<std::unique_ptr<Series>> series;
    std::vector<std::unique_ptr<Text>> texts;
    std::vector<std::unique_ptr<Market>> markets;
    int numbers = 0; // pushed so far
    Series& add(Series s) { return *series.emplace_back(std::make_unique<Series>(std::move(s))); }
    Text& add(std::string_view s) { return *texts.emplace_back(std::make_unique<Text>(s)); }
    Market& market(int n, double close = 0) {
        return *markets.emplace_back(std::make_unique<Market>(bars(n, close)));
    }
};

using Push = std::function<void(Call&, Site&)>;

struct Variant {
    std::string what;
    Push push;
};

// A series of closes through an offset or with flags.
Series closesWith(int32_t offset, uint8_t flags = 0) {
    Series s = Series::of(closes(kBars));
    s.setOffset(offset);
    s.setFlags(flags);
    return s;
}

// The plain argument of each entry type, and the hostile ones.
Push plain(char type) {
    switch (type) {
    case kArgSeries: return [](Call& c, Site& s) { c.arg(s.add(Series::of(closes(kBars)))); };
    case kArgNumber: return [](Call& c, Site&) { c.arg(14.0); };
    case kArgText: return [](Call& c, Site& s) { c.arg(s.add("NY")); };
    case kArgMarket: return [](Call& c, Site& s) { c.arg(s.market(kBars).period(0x03000005)); };
    default: return [](Call& c, Site& s) { c.rawPointer(kParamTextSeries, &s.add("NY").handle()); };
    }
}

std::vector<Variant> hostile(char type) {
    std::vector<Variant> v;
    switch (type) {
    case kArgSeries: {
        const std::pair<const char*, std::function<Series()>> shapes[] = {
            {"empty series", [] { return Series::of({}); }},
            {"series without buffer", [] { return Series::null(); }},
            {"one element", [] { return Series::of({5}); }},
            {"3000 elements", [] { return Series::of(closes(3000)); }},
            {"all missing", [] { return Series::of(std::vector<double>(kBars, kMissing)); }},
            {"NaN and infinities", [] { return Series::of({kNaN, kInf, -kInf, 1e300, -1e300, 0, kNaN}); }},
            {"constant of count 50", [] { return Series::constant(3, 50); }},
            {"offset 7", [] { return closesWith(7); }},
            {"offset -7", [] { return closesWith(-7); }},
            {"read-only", [] { return closesWith(0, kFlagReadOnly); }},
        };
        for (const auto& shape : shapes)
            v.push_back({shape.first, [make = shape.second](Call& c, Site& s) { c.arg(s.add(make())); }});
        for (double x : {kNaN, kInf, -1e300, 0.0})
            v.push_back({"constant " + std::to_string(x), [x](Call& c, Site&) { c.arg(x); }});
        break;
    }
    case kArgNumber:
        for (double x : {kNaN, kInf, -kInf, 1e300, -1e300, 2147483648.0, -2147483649.0, 4294967296.0, 1e9, -1.0,
                         0.0, 0.5, -0.5, kMissing})
            v.push_back({"number " + std::to_string(x), [x](Call& c, Site&) { c.arg(x); }});
        break;
    case kArgText:
    case kArgTextSeries:
        for (const std::string& t : {std::string(), std::string(5000, 'x'), std::string("\xC3\xA9\xFF\x80"),
                                     std::string("%s%s%n%d%F"), std::string("-300|0,13/9Q,0/0S")})
            v.push_back({"text " + t.substr(0, 12), [t, type](Call& c, Site& s) {
                             if (type == kArgText) c.arg(s.add(t));
                             else c.rawPointer(kParamTextSeries, &s.add(t).handle());
                         }});
        break;
    case kArgMarket: {
        const std::pair<const char*, std::function<void(Market&)>> shapes[] = {
            {"daily", [](Market& m) { m.period(0x11000001); }},
            {"odd period", [](Market& m) { m.period(static_cast<int32_t>(0xFF000000u)); }},
            {"NaN ticks", [](Market& m) { m.tick(kNaN, kNaN, kNaN); }},
            {"zero ticks", [](Market& m) { m.tick(0, 0, 0); }},
            {"odd zone", [](Market& m) { m.zone("|||").period(0x03000005); }},
            {"odd session", [](Market& m) { m.session(-1, 2000, 32767).period(0x03000005); }},
        };
        for (const auto& shape : shapes)
            v.push_back({shape.first, [set = shape.second](Call& c, Site& s) {
                             Market& m = s.market(kBars);
                             set(m);
                             c.arg(m);
                         }});
        for (int n : {0, 1, 2})
            v.push_back({std::to_string(n) + " bars", [n](Call& c, Site& s) { c.arg(s.market(n)); }});
        v.push_back({"missing closes", [](Call& c, Site& s) { c.arg(s.market(kBars, kMissing)); }});
        v.push_back({"NaN closes", [](Call& c, Site& s) { c.arg(s.market(kBars, kNaN)); }});
        break;
    }
    default: break;
    }
    return v;
}

// Everything the host passed, as it reads it.
std::vector<std::vector<uint64_t>> inputs(const Site& s) {
    std::vector<std::vector<uint64_t>> all;
    for (const auto& x : s.series) all.push_back(bits(x->values()));
    for (const auto& m : s.markets) {
        BarRecord& r = m->record();
        for (const SeriesHandle* h : {&r.dateTime, &r.open, &r.high, &r.low, &r.close, &r.volume})
            all.push_back(bits(Market::values(*h)));
    }
    std::vector<uint64_t> texts;
    for (const auto& t : s.texts) texts.push_back(std::hash<std::string>{}(t->str()));
    all.push_back(texts);
    return all;
}

// One call site of an export with the Return Value of its type and plain arguments, but for the
// argument at `entry`, which `at` pushes.
struct CallSite {
    Site site;
    Series out;
    Text outText;
    Call call;
    explicit CallSite(const ExportEntry& e, int entry = 0, const Push& at = {}, Push (*plainOf)(char) = plain)
        : call(e, e.entry) {
        if (e.sig.types[0] == kArgTextSeries) call.out(outText);
        else call.out(out);
        for (int i = 2; i <= e.sig.maxCount; ++i) (i == entry ? at : plainOf(e.sig.types[i - 1]))(call, site);
    }
};

// The dump exports write files named by their text arguments: every call here runs in a
// folder of its own, removed at the end.
class HostileArguments : public ::testing::Test {
protected:
    void SetUp() override {
        namespace fs = std::filesystem;
        home_ = fs::current_path();
        folder_ = fs::temp_directory_path() / ("fk-hostile-" + std::to_string(::getpid()));
        fs::create_directories(folder_);
        fs::current_path(folder_);
    }
    void TearDown() override {
        std::filesystem::current_path(home_);
        std::filesystem::remove_all(folder_);
    }

private:
    std::filesystem::path home_, folder_;
};

bool allowed(StatusCode st) { return st == kOk || st == kTooFewBars || st == kDomainError; }

TEST_F(HostileArguments, EveryExportAnswersLeavesItsInputsAndGivesBackItsBlocks) {
    for (const ExportEntry& e : exportTable()) {
        for (int entry = 2; entry <= e.sig.maxCount; ++entry) {
            for (const Variant& variant : hostile(e.sig.types[entry - 1])) {
                SCOPED_TRACE(std::string(e.name) + ", parameter " + std::to_string(entry - 1) + ": " + variant.what);
                const long blocks = host::liveBlocks();
                {
                    CallSite cs(e, entry, variant.push);
                    Call& call = cs.call;
                    const auto before = inputs(cs.site);
                    for (int32_t start : {0, kBars / 2, kBars + 5, INT32_MAX}) {
                        const StatusCode st = call.run(start);
                        EXPECT_TRUE(allowed(st)) << "status " << st << " at start bar " << start;
                    }
                    // an export that ignores the start bar runs as usual on the release call
                    const StatusCode released = call.release();
                    EXPECT_TRUE(e.sig.readsStartBar ? released == kOk : allowed(released)) << "release " << released;
                    EXPECT_EQ(call.block().state, nullptr);
                    EXPECT_TRUE(inputs(cs.site) == before) << "an input was changed";
                }
                EXPECT_EQ(host::liveBlocks(), blocks) << "heap blocks left behind";
            }
        }
    }
}

// Every export with plain arguments while the heap runs out: after each number of blocks the call
// gets before it fails, it must still answer, leave its inputs and give back what it took.
TEST_F(HostileArguments, EveryExportSurvivesAHeapThatRunsOut) {
    using platform::HeapHolder;
    for (const ExportEntry& e : exportTable()) {
        auto run = [&e](int failAfter) {
            CallSite cs(e);
            Call& call = cs.call;
            const auto before = inputs(cs.site);
            const long requests = HeapHolder::requests();
            if (failAfter >= 0) HeapHolder::failAllocations(failAfter, 1 << 20);
            for (int32_t start : {0, kBars / 2}) {
                const StatusCode st = call.run(start);
                EXPECT_TRUE(allowed(st)) << "status " << st << " at start bar " << start;
            }
            HeapHolder::failAllocations(0, 0);
            const long made = HeapHolder::requests() - requests;
            call.release();
            EXPECT_TRUE(inputs(cs.site) == before) << "an input was changed";
            return made;
        };
        const long blocks = host::liveBlocks();
        const long requests = run(-1);
        for (int k = 0; k < requests; ++k) {
            SCOPED_TRACE(std::string(e.name) + ", the heap runs out after " + std::to_string(k) + " blocks");
            run(k);
            EXPECT_EQ(host::liveBlocks(), blocks) << "heap blocks left behind";
        }
    }
}

// Arguments with which every export computes: closes with runs of zeros, a length and then a
// kind, an operator, and daily bars.
Push computing(char type) {
    switch (type) {
    case kArgSeries:
        return [](Call& c, Site& s) {
            std::vector<double> v = closes(kBars);
            for (int i = 0; i < kBars; i += 7) v[i] = v[i + 1] = v[i + 2] = 0;
            c.arg(s.add(Series::of(v)));
        };
    case kArgNumber: return [](Call& c, Site& s) { c.arg(s.numbers++ == 0 ? 14.0 : 1.0); };
    case kArgText: return [](Call& c, Site& s) { c.arg(s.add("+")); };
    case kArgMarket: return [](Call& c, Site& s) { c.arg(s.market(kBars)); };
    default: return [](Call& c, Site& s) { c.rawPointer(kParamTextSeries, &s.add("+").handle()); };
    }
}

// A start bar far past the last bar asks for nothing: every export must answer at once and leave
// its Return Value as the call before made it. Some walked back bar by bar from the start bar to
// the data, two billion steps from a start bar of 2147483647 (MovAvg, CCI, Consecutive,
// MostRecentOccurrence).
TEST(StartBar, FarPastTheEndEveryExportAnswersAtOnceAndWritesNothing) {
    for (const ExportEntry& e : exportTable()) {
        // the dump exports answer the number of lines this call wrote, 0 here (their files are
        // tested with the utilities)
        if (std::string_view(e.name).starts_with("DumpArray")) continue;
        for (int32_t start : {INT32_MAX, 1 << 30, kBars + 1}) {
            SCOPED_TRACE(std::string(e.name) + " from bar " + std::to_string(start));
            CallSite cs(e, 0, {}, computing);
            cs.call.run(0);
            const std::vector<uint64_t> before = bits(cs.out.values());
            const auto began = std::chrono::steady_clock::now();
            cs.call.run(start);
            // a walk of two billion bars takes seconds; a call over 120 bars, microseconds
            EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count(), 1.0);
            EXPECT_EQ(bits(cs.out.values()), before);
        }
    }
}

} // namespace
} // namespace fk
