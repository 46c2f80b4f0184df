// Entry points of the rolling statistics and utilities.
#include <string>

#include "containers/series.h"
#include "containers/text.h"
#include "exports/export_def.h"
#include "frame/format.h"
#include "indicators/ranks.h"
#include "market/market_view.h"
#include "mathstat/utilities.h"
#include "platform/clock.h"

using namespace fk;

namespace {

// The seed word drawn from the clock on a call site's first call, so that its bars keep their
// values on later calls.
struct RandomState : HeapCallState {
    uint64_t seed = 0;
};

uint64_t randomSeed(Args& a, double seed) {
    if (seed != 0 && seed == seed) return utilities::seedWord(seed);
    RandomState* st = a.state<RandomState>();
    if (st && st->seed != 0) return st->seed;
    uint64_t s = platform::performanceCounter();
    if (s == 0) s = 1;
    if (st) st->seed = s;
    return s;
}

// The last bar a replace-mode call site has written to its file.
struct DumpState : HeapCallState {
    int32_t lastBar = -1;
};

StatusCode dump(Args& a, utilities::DumpStyle style, const char* who) {
    const std::string path(text::view(*a.text(4)));
    if (path.empty()) {
        writeError(a.errorText(), "%s: empty file name.", who);
        return kDomainError;
    }
    const bool append = a.number(5) != 0;
    CParmBlock& pb = a.block();
    const int32_t s = a.startBar();
    int32_t from = s;
    bool appendFile = append;
    if (append) {
        releaseState(pb);
    } else {
        auto* st = static_cast<DumpState*>(pb.state);
        appendFile = st && s > st->lastBar;
        from = appendFile ? st->lastBar + 1 : 0;
    }
    const utilities::DumpResult r =
        utilities::dumpBars(*a.market(2), *a.series(3), path.c_str(), appendFile, from, style, who, a.errorText());
    if (r.status != kOk) {
        releaseState(pb);
        return r.status;
    }
    if (!append) {
        if (DumpState* st = a.state<DumpState>()) st->lastBar = MarketView(*a.market(2)).bars - 1;
    }
    series::setConstantNumber(*a.out(), r.lines, 1);
    return kOk;
}

} // namespace

FK_ENTRY(TSBarMedian) { return ranks::median(*a.out(), *a.series(2), a.number(3), a.startBar()); }

FK_ENTRY(TSLineSignificance) {
    return utilities::lineSignificance(*a.out(), *a.series(2), a.number(3), a.number(4), a.startBar());
}

FK_ENTRY(Random) { return utilities::randomSeries(*a.out(), *a.series(2), randomSeed(a, a.number(3)), a.startBar()); }

FK_ENTRY(DumpArray) { return dump(a, utilities::DumpStyle::date, "DumpArray"); }

FK_ENTRY(DumpArrayT) { return dump(a, utilities::DumpStyle::dateTime, "DumpArrayT"); }
