// Four threads call every export at once, each through its own parameter blocks on its own
// buffers, and each must get exactly what a lone caller gets. Built with ThreadSanitizer this also
// shows any unguarded process-wide state (date caches, the host's time-zone rule).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "exports/export_def.h"
#include "host/hostkit.h"

namespace fk {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 5;
constexpr int kBars = 240;

// Zone names, so that threads convert between different zones at the same time.
const char* const kZones[] = {"LOCAL", "GMT", "NY", "CHI"};

struct Result {
    StatusCode status = 0;
    std::vector<uint64_t> values; // bit patterns, so that NaN compares equal to itself
    std::string text;
    bool operator==(const Result&) const = default;
};

// The host side of one thread: its own market, series and texts. Every thread gets the same
// bars; `seed` picks the zones and the numbers.
class Caller {
public:
    explicit Caller(int seed) : seed_(seed) {
        std::vector<host::Bar> bars;
        double t = 43900.375; // spring 2020: the bars cross daylight-saving changes
        double p = 100;
        for (int i = 0; i < kBars; ++i) {
            t += 13.0 / 24; // every 13 hours: each bar on another date and clock time
            p += std::sin(i * 0.7) * 1.5;
            bars.push_back({t, p, p + 1.25, p - 1, p + 0.5, 1000.0 + i * 7});
        }
        market_.append(bars);
        market_.zone(kZones[(seed + 1) % 4]).tick(0.25, 12.5).period(0x03000005);
        for (const host::Bar& b : bars) {
            series_[0].push(b.close);
            series_[1].push(b.dateTime);
            series_[2].push(b.volume);
            series_[3].push(std::fmod(b.close, 2) > 1 ? 1 : 0);
        }
    }

    // One call site of the export: a call on all bars, one from the middle, the release call.
    Result run(const ExportEntry& e) {
        host::Call call(e, e.entry);
        host::Series out;
        host::Text outText;
        std::vector<host::Text> texts;
        texts.reserve(kMaxEntries);
        int numbers = 0;
        if (e.sig.types[0] == kArgTextSeries) call.out(outText);
        else call.out(out);
        for (int i = 2; i <= e.sig.maxCount; ++i) {
            switch (e.sig.types[i - 1]) {
            case kArgSeries: call.arg(series_[(i - 2) % 4]); break;
            case kArgNumber: call.arg(kNumbers[(seed_ + numbers++) % 4]); break;
            case kArgMarket: call.arg(market_); break;
            case kArgText: call.arg(texts.emplace_back(kZones[(seed_ + i) % 4])); break;
            default: call.rawPointer(kParamTextSeries, &texts.emplace_back(kZones[(seed_ + i) % 4]).handle()); break;
            }
        }
        Result r;
        r.status = call.run(0);
        if (r.status == kOk) r.status = call.run(kBars / 2);
        call.release();
        for (double v : out.values()) {
            uint64_t bits;
            std::memcpy(&bits, &v, sizeof bits);
            r.values.push_back(bits);
        }
        r.text = outText.str();
        return r;
    }

private:
    // a length, a property code with a text, small kinds and counts
    static constexpr double kNumbers[] = {14, 105, 1, 2};
    int seed_;
    host::Market market_;
    host::Series series_[4] = {host::Series::of({}), host::Series::of({}), host::Series::of({}),
                               host::Series::of({})};
};

TEST(Threads, EveryExportGivesEachThreadWhatALoneCallerGets) {
    const auto table = exportTable();
    // The threads go first, so that process-wide state is first built while they race.
    std::vector<std::vector<std::vector<Result>>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &table, &seen] {
            Caller caller(t);
            for (int round = 0; round < kRounds; ++round) {
                std::vector<Result>& results = seen[t].emplace_back();
                for (const ExportEntry& e : table) results.push_back(caller.run(e));
            }
        });
    }
    for (std::thread& th : threads) th.join();

    for (int t = 0; t < kThreads; ++t) {
        Caller alone(t);
        for (std::size_t k = 0; k < table.size(); ++k) {
            const Result want = alone.run(table[k]);
            for (int round = 0; round < kRounds; ++round)
                EXPECT_TRUE(seen[t][round][k] == want)
                    << table[k].name << " in thread " << t << ", round " << round << ": status "
                    << seen[t][round][k].status << " vs " << want.status;
        }
    }
}

} // namespace
} // namespace fk
