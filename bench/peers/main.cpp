// fk_peers: FormulaKit against TA-Lib and Tulip Indicators in one process, on the same bars.
//
//   fk_peers [--json=FILE] [Google Benchmark flags]
//
// Every case runs in repetitions that are interleaved in random order, and each keeps its
// fastest repetition, so that the ratios hold on a machine shared with other work. At the end
// the program prints two Markdown tables, the pairs and the updates, and writes them as JSON.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "containers/buffer.h"
#include "peers.h"

#if FK_PEER_TALIB
#include "ta_libc.h"
#endif

namespace fk::peers {
namespace {

using bench::kBars;

const char* const kUs = "FormulaKit";
const char* const kTalib = "TA-Lib";
const char* const kTulip = "Tulip";

// Our outputs with the missing bars as NaN.
std::vector<double> ourValues(const host::Series& out) {
    std::vector<double> v = out.values();
    for (double& x : v)
        if (x == out.fill()) x = kNone;
    v.resize(kBars, kNone);
    return v;
}

// The fastest repetition of every case, in nanoseconds per iteration.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.run_type != Run::RT_Iteration) continue;
            const std::string name = r.run_name.function_name;
            if (r.error_occurred) {
                errors[name] = r.error_message;
                continue;
            }
            const double ns = r.real_accumulated_time * 1e9 / static_cast<double>(r.iterations);
            auto it = best.find(name);
            if (it == best.end() || ns < it->second) best[name] = ns;
            std::fputc('.', stderr);
        }
    }
    // NaN when the case did not run
    double ns(const std::string& name) const {
        auto it = best.find(name);
        return it == best.end() ? kNone : it->second;
    }
    std::map<std::string, double> best;
    std::map<std::string, std::string> errors;
};

std::string key(const char* section, const std::string& row, const char* column) {
    return std::string(section) + "|" + row + "|" + column;
}

// The full exported call over every bar, the same call site each time.
void fullCall(benchmark::State& st, const std::string& name, const std::function<void(host::Call&)>& bind) {
    host::Series out;
    host::Call call(name);
    call.out(out);
    bind(call);
    if (const StatusCode s = call.run(0); s != kOk) {
        st.SkipWithError(("status " + std::to_string(s)).c_str());
        return;
    }
    for (auto _ : st) benchmark::DoNotOptimize(call.run(0));
}

// The call site of an update row with its inputs (and market), all bars computed once. One
// is kept between the runs of one case, so that Google Benchmark's rounds of growing length do
// not each build a million bars again; a new case frees it first.
struct Site {
    std::string key;
    const Update* update;
    std::vector<host::Series> inputs;
    std::unique_ptr<host::Market> market = std::make_unique<host::Market>();
    host::Series out;
    std::unique_ptr<host::Call> call;
    StatusCode status = kOk;
    int32_t next = kBars; // the next bar to append

    Site(std::string k, const Update& u) : key(std::move(k)), update(&u) {
        const bench::Walk& w = Data::get().walk;
        for (Source f : u.inputs) {
            std::vector<double> v(kBars);
            for (int32_t i = 0; i < kBars; ++i) v[i] = f(w, i);
            inputs.push_back(host::Series::of(v));
        }
        if (u.usesMarket) {
            std::vector<host::Bar> bars = bench::walkBars(w);
            bars.resize(kBars);
            for (int32_t i = 0; i < kBars; ++i) bars[i].dateTime = u.stamps(i);
            market = std::make_unique<host::Market>(bars);
        }
        call = std::make_unique<host::Call>(u.exportName);
        call->out(out);
        u.bind(*call, inputs, *market);
        status = call->run(0);
    }

    // Writes the values of bars next .. next + n - 1 past each input's count (the walk goes
    // round when it runs out, the stamps go on), and gives the Return Value room for them.
    void writeAhead(int64_t n) {
        const bench::Walk& w = Data::get().walk;
        auto ahead = [&](SeriesHandle& h, auto at) {
            const auto room = static_cast<int32_t>(next + n + 1);
            if (h.buffer->capacity < room) buffers::setCapacity(h, room, true);
            auto* e = static_cast<double*>(h.buffer->elements);
            for (int64_t j = 0; j < n; ++j) e[next + j] = at(static_cast<int32_t>(next + j));
        };
        auto walked = [](int32_t bar) { return kBars + (bar - kBars) % kExtraBars; };
        for (std::size_t k = 0; k < inputs.size(); ++k)
            ahead(inputs[k].handle(), [&](int32_t bar) { return update->inputs[k](w, walked(bar)); });
        if (update->usesMarket) {
            BarRecord& r = market->record();
            ahead(r.dateTime, [&](int32_t bar) { return update->stamps(bar); });
            ahead(r.open, [&](int32_t bar) { return w.open[walked(bar)]; });
            ahead(r.high, [&](int32_t bar) { return w.high[walked(bar)]; });
            ahead(r.low, [&](int32_t bar) { return w.low[walked(bar)]; });
            ahead(r.close, [&](int32_t bar) { return w.close[walked(bar)]; });
            ahead(r.volume, [&](int32_t bar) { return w.volume[walked(bar)]; });
        }
        const auto room = static_cast<int32_t>(next + n + 1);
        if (out.handle().buffer->capacity < room) buffers::setCapacity(out.handle(), room, true);
    }

    // One bar appended: what the host's append leaves once the value is in place.
    void append() {
        for (host::Series& x : inputs) ++x.handle().buffer->count;
        if (update->usesMarket) {
            BarRecord& r = market->record();
            for (SeriesHandle* h : {&r.dateTime, &r.open, &r.high, &r.low, &r.close, &r.volume}) ++h->buffer->count;
            ++r.barCount;
        }
        ++next;
    }

    static Site& of(const std::string& key, const Update& u) {
        static std::unique_ptr<Site> site;
        if (!site || site->key != key) {
            site.reset();
            site = std::make_unique<Site>(key, u);
        }
        return *site;
    }
};

// All bars computed, then one bar appended and the call made again from it, as the host does
// when a bar arrives. The appended values are written beforehand past each input's count, so
// that appending in the timed loop is the count moving on by one, which is what the host's own
// append leaves; the Return Value has room for them, so no growth is timed either.
void appendCall(benchmark::State& st, const Update& u) {
    Site& site = Site::of("append|" + u.row, u);
    if (site.status != kOk) {
        st.SkipWithError(("status " + std::to_string(site.status)).c_str());
        return;
    }
    site.writeAhead(std::min<int64_t>(st.max_iterations, INT32_MAX / 2 - site.next));
    for (auto _ : st) {
        const int32_t bar = site.next;
        site.append();
        benchmark::DoNotOptimize(site.call->run(bar));
    }
}

// The same call site recomputing every bar.
void recomputeCall(benchmark::State& st, const Update& u) {
    Site& site = Site::of("full|" + u.row, u);
    if (site.status != kOk) {
        st.SkipWithError(("status " + std::to_string(site.status)).c_str());
        return;
    }
    for (auto _ : st) benchmark::DoNotOptimize(site.call->run(0));
}

struct PairResult {
    const Pair* pair;
    Agreement talib, tulip;
    StatusCode status = kOk;
};

PairResult checkValues(const Pair& p, Data& d) {
    PairResult r{&p, {}, {}};
    host::Series out;
    host::Call call(p.exportName);
    call.out(out);
    p.bind(call, d);
    r.status = call.run(0);
    const std::vector<double> ours = ourValues(out);
    if (p.talib) {
        p.talib.run();
        r.talib = compare(ours, p.talib.values(), p.warmUp);
    }
    if (p.tulip) {
        p.tulip.run();
        r.tulip = compare(ours, p.tulip.values(), p.warmUp);
    }
    return r;
}

std::string fixed(double v, int digits) {
    if (std::isnan(v)) return "";
    char b[64];
    std::snprintf(b, sizeof b, "%.*f", digits, v);
    return b;
}

std::string agreement(const Agreement& a, bool present) {
    if (!present) return "";
    if (a.compared == 0) return "no bars to compare";
    char b[96];
    if (a.differing == 0.0) std::snprintf(b, sizeof b, "%.1e", a.maxRelative);
    else std::snprintf(b, sizeof b, "%.1e (%.1f%% of bars)", a.maxRelative, 100.0 * a.differing);
    return b;
}

std::string json(const std::string& s) {
    std::string o = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') o += '\\';
        o += c;
    }
    return o + "\"";
}

std::string jsonNumber(double v) {
    if (std::isnan(v)) return "null";
    char b[64];
    std::snprintf(b, sizeof b, "%.6g", v);
    return b;
}

std::string today() {
    const std::time_t t = std::time(nullptr);
    char b[32];
    std::strftime(b, sizeof b, "%Y-%m-%d", std::localtime(&t));
    return b;
}

double fasterOf(double a, double b) {
    if (std::isnan(a)) return b;
    if (std::isnan(b)) return a;
    return std::min(a, b);
}

int run(int argc, char** argv) {
    std::string jsonPath;
    std::vector<char*> args = {argv[0]};
    static char reps[] = "--benchmark_repetitions=5";
    static char interleave[] = "--benchmark_enable_random_interleaving=true";
    static char minTime[] = "--benchmark_min_time=0.05";
    args.insert(args.end(), {reps, interleave, minTime});
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a.rfind("--json=", 0) == 0) jsonPath = a.substr(7);
        else args.push_back(argv[i]);
    }
    int n = static_cast<int>(args.size());
    benchmark::Initialize(&n, args.data());
#if FK_PEER_TALIB
    TA_Initialize();
#endif

    Data& d = Data::get();
    const std::vector<Pair> pairs = makePairs(d);
    const std::vector<Update> updates = makeUpdates();

    std::vector<PairResult> results;
    std::set<std::string> waiting; // exports not in the export table yet
    for (const Pair& p : pairs) {
        if (!findExport(p.exportName)) {
            waiting.insert(p.exportName);
            continue;
        }
        results.push_back(checkValues(p, d));
        auto bind = [&p, &d](host::Call& c) { p.bind(c, d); };
        benchmark::RegisterBenchmark(key("pair", p.row, kUs).c_str(), [&p, bind](benchmark::State& st) {
            fullCall(st, p.exportName, bind);
        });
        if (p.talib)
            benchmark::RegisterBenchmark(key("pair", p.row, kTalib).c_str(), [&p](benchmark::State& st) {
                for (auto _ : st) p.talib.run();
            });
        if (p.tulip)
            benchmark::RegisterBenchmark(key("pair", p.row, kTulip).c_str(), [&p](benchmark::State& st) {
                for (auto _ : st) p.tulip.run();
            });
    }
    std::map<std::string, const Pair*> pairByRow;
    for (const Pair& p : pairs) pairByRow[p.row] = &p;
    std::vector<const Update*> present;
    for (const Update& u : updates) {
        if (!findExport(u.exportName)) {
            waiting.insert(u.exportName);
            continue;
        }
        present.push_back(&u);
        benchmark::RegisterBenchmark(key("update", u.row, kUs).c_str(), [&u](benchmark::State& st) {
            appendCall(st, u);
        });
        auto it = pairByRow.find(u.pairRow);
        // a row with a pair has its full recomputation measured there
        if (it == pairByRow.end() || !findExport(it->second->exportName))
            benchmark::RegisterBenchmark(key("update", u.row, "full").c_str(), [&u](benchmark::State& st) {
                recomputeCall(st, u);
            });
        if (it != pairByRow.end() && it->second->talib.last) {
            const Pair* p = it->second;
            benchmark::RegisterBenchmark(key("update", u.row, kTalib).c_str(), [p](benchmark::State& st) {
                for (auto _ : st) p->talib.last();
            });
        }
    }

    Collector c;
    if (!results.empty() || !present.empty()) benchmark::RunSpecifiedBenchmarks(&c);
    std::fputc('\n', stderr);
    for (const auto& [name, message] : c.errors) std::printf("error: %s: %s\n", name.c_str(), message.c_str());

    std::ostringstream js;
    js << "{\n  \"date\": " << json(today()) << ",\n  \"bars\": " << kBars << ",\n  \"pairs\": [";

    std::printf("\nFormulaKit against TA-Lib and Tulip Indicators, %s, %d bars, fastest of the repetitions\n\n",
                today().c_str(), kBars);
    std::printf("| function | peers | FormulaKit ns/bar | TA-Lib ns/bar | Tulip ns/bar | ratio to the faster peer | target "
                "| largest rel. difference, TA-Lib | largest rel. difference, Tulip | note |\n");
    std::printf("|---|---|--:|--:|--:|--:|---|---|---|---|\n");
    bool firstRow = true;
    for (const PairResult& r : results) {
        const Pair& p = *r.pair;
        const double us = c.ns(key("pair", p.row, kUs)) / kBars;
        const double ta = c.ns(key("pair", p.row, kTalib)) / kBars;
        const double ti = c.ns(key("pair", p.row, kTulip)) / kBars;
        if (std::isnan(us) && std::isnan(ta) && std::isnan(ti)) continue; // filtered out
        const double ratio = us / fasterOf(ta, ti);
        std::string peersText = p.talib.fn;
        if (p.tulip) peersText += (peersText.empty() ? "" : ", ") + p.tulip.fn;
        std::string note = p.note;
        if (r.status != kOk) note = "status " + std::to_string(r.status) + (note.empty() ? "" : "; ") + note;
        const char* target = std::isnan(ratio) ? "" : ratio <= 1.0 ? "met" : "missed";
        std::printf("| %s | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n", p.row.c_str(), peersText.c_str(),
                    fixed(us, 2).c_str(), fixed(ta, 2).c_str(), fixed(ti, 2).c_str(), fixed(ratio, 2).c_str(), target,
                    agreement(r.talib, bool(p.talib)).c_str(), agreement(r.tulip, bool(p.tulip)).c_str(),
                    note.c_str());
        js << (firstRow ? "\n" : ",\n") << "    {\"function\": " << json(p.row) << ", \"export\": " << json(p.exportName)
           << ", \"peers\": " << json(peersText) << ", \"bars\": " << kBars
           << ", \"formulakit_ns_per_bar\": " << jsonNumber(us) << ", \"talib_ns_per_bar\": " << jsonNumber(ta)
           << ", \"tulip_ns_per_bar\": " << jsonNumber(ti) << ", \"ratio_to_faster_peer\": " << jsonNumber(ratio)
           << ", \"target\": " << json(target)
           << ", \"max_rel_diff_talib\": " << (p.talib ? jsonNumber(r.talib.maxRelative) : "null")
           << ", \"share_differing_talib\": " << (p.talib ? jsonNumber(r.talib.differing) : "null")
           << ", \"max_rel_diff_tulip\": " << (p.tulip ? jsonNumber(r.tulip.maxRelative) : "null")
           << ", \"share_differing_tulip\": " << (p.tulip ? jsonNumber(r.tulip.differing) : "null")
           << ", \"status\": " << r.status << ", \"note\": " << json(note) << "}";
        firstRow = false;
    }
    js << "\n  ],\n  \"updates\": [";

    std::printf("\nOne bar appended to %d and the call made again from it; the target is to cost no more than "
                "TA-Lib's one value and a thousandth of the fastest full recomputation at most\n\n", kBars);
    std::printf("| export | FormulaKit ns per appended bar | TA-Lib one value (start = end) ns | FormulaKit full ms "
                "| TA-Lib full ms | Tulip full ms | fastest full / appended | target |\n");
    std::printf("|---|--:|--:|--:|--:|--:|--:|---|\n");
    firstRow = true;
    for (const Update* u : present) {
        const double one = c.ns(key("update", u->row, kUs));
        const double full = fasterOf(c.ns(key("update", u->row, "full")), c.ns(key("pair", u->pairRow, kUs)));
        const double taOne = c.ns(key("update", u->row, kTalib));
        const double taFull = c.ns(key("pair", u->pairRow, kTalib));
        const double tiFull = c.ns(key("pair", u->pairRow, kTulip));
        if (std::isnan(one) && std::isnan(full)) continue; // filtered out
        const double times = fasterOf(full, fasterOf(taFull, tiFull)) / one;
        const char* target = std::isnan(times) ? "" : times >= 1000.0 && !(one > taOne) ? "met" : "missed";
        std::printf("| %s | %s | %s | %s | %s | %s | %s | %s |\n", u->row.c_str(), fixed(one, 1).c_str(),
                    fixed(taOne, 1).c_str(), fixed(full / 1e6, 2).c_str(), fixed(taFull / 1e6, 2).c_str(),
                    fixed(tiFull / 1e6, 2).c_str(), fixed(times, 0).c_str(), target);
        js << (firstRow ? "\n" : ",\n") << "    {\"export\": " << json(u->row) << ", \"name\": " << json(u->exportName)
           << ", \"bars\": " << kBars << ", \"formulakit_ns_per_appended_bar\": " << jsonNumber(one)
           << ", \"talib_one_value_ns\": " << jsonNumber(taOne) << ", \"formulakit_full_ns\": " << jsonNumber(full)
           << ", \"talib_full_ns\": " << jsonNumber(taFull) << ", \"tulip_full_ns\": " << jsonNumber(tiFull)
           << ", \"fastest_full_per_appended\": " << jsonNumber(times) << ", \"target\": " << json(target) << "}";
        firstRow = false;
    }
    js << "\n  ],\n  \"not_yet_exported\": [";

    // Exports that read the start bar but have no update row, so that a new one is not missed.
    // (the tick functions answer one number for the market, not a series)
    std::set<std::string> covered = {"TickMove", "TickValue", "MinMove"};
    for (const Update& u : updates) covered.insert(u.exportName);
    std::string uncovered;
    for (const ExportEntry& e : exportTable())
        if (e.sig.readsStartBar && e.naming != Naming::Same && !covered.count(e.name))
            uncovered += (uncovered.empty() ? "" : ", ") + std::string(e.name);
    if (!waiting.empty()) {
        std::printf("\nNot in the export table yet:");
        bool first = true;
        for (const std::string& name : waiting) {
            std::printf("%s%s", first ? " " : ", ", name.c_str());
            js << (first ? "" : ", ") << json(name);
            first = false;
        }
        std::printf("\n");
    }
    if (!uncovered.empty())
        std::printf("\nExports that read the start bar and have no update row: %s\n", uncovered.c_str());
    js << "]\n}\n";

    if (!jsonPath.empty()) {
        std::ofstream f(jsonPath);
        f << js.str();
        if (!f) {
            std::fprintf(stderr, "cannot write %s\n", jsonPath.c_str());
            return 1;
        }
    }
    return 0;
}

} // namespace
} // namespace fk::peers

int main(int argc, char** argv) { return fk::peers::run(argc, argv); }
