// The range searches against a search of every span, and continued calls against one call over
// all bars, on random data with ties, holes and changing lengths.
#include <gtest/gtest.h>

#include <random>

#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

struct Data { Vec values, lengths; };

// Values from a few levels (many ties), holes alone and in runs, and lengths that mostly stay,
// sometimes grow by one bar and sometimes jump (0, negative, fractional and missing among them).
Data randomData(uint32_t seed, int bars) {
    std::mt19937 rng(seed);
    auto uniform = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    Data d;
    double length = uniform(1, 8);
    for (int b = 0, hole = 0; b < bars; ++b) {
        if (hole == 0 && uniform(0, 30) == 0) hole = uniform(1, 12);
        d.values.push_back(hole > 0 || uniform(0, 9) == 0 ? F : uniform(0, 5));
        hole -= hole > 0;
        const int r = uniform(0, 99);
        if (r < 8) length += 1;
        else if (r < 14) length = uniform(-2, 12) + (uniform(0, 3) == 0 ? 0.5 : 0.0);
        d.lengths.push_back(r == 14 ? F : length);
    }
    return d;
}

// The search as a window (lo, b] searched whole on every bar. Once more bars than n have been
// counted, a length that changed other than by growing one bar makes the window the span
// (b - n, b] again; an unchanged length only lets bars leave it.
Vec searchEverySpan(bool highest, const Data& d, bool recent) {
    const int bars = static_cast<int>(d.values.size());
    Vec out(bars, F);
    int64_t lo = -1, prev = -1, counter = 0;
    bool haveBest = false;
    for (int b = 0; b < bars; ++b) {
        if (d.values[b] != F || haveBest) ++counter;
        int64_t n = static_cast<int64_t>(d.lengths[b] + 0.5);
        if (n == 0) n = counter = b + 1;
        if (n >= 0 && n != prev + 1 && counter > n) lo = n == prev ? std::max(lo, b - n) : b - n;
        prev = n;
        int best = -1;
        for (int j = static_cast<int>(std::max<int64_t>(lo + 1, 0)); j <= b; ++j) {
            const double x = d.values[j], y = best < 0 ? 0 : d.values[best];
            if (x != F && (best < 0 || (highest ? x > y : x < y) || (recent && x == y))) best = j;
        }
        haveBest = best >= 0;
        if (haveBest && counter >= n && n >= 1) out[b] = b - best;
    }
    for (int b = bars - 1; b >= 0 && d.values[b] == F; --b) out[b] = F;
    return out;
}

struct Mode { const char* function; bool highest; double tie; };
const Mode kModes[] = {{"HighestIndex", true, 0}, {"HighestIndex", true, 1}, {"LowestIndex", false, 0},
                       {"LowestIndex", false, -3}};

std::string trace(const Mode& m, const std::string& what) {
    return std::string(m.function) + " tie " + std::to_string(m.tie) + ", " + what;
}

class ExtremeTest : public HeapChecked {};

TEST_F(ExtremeTest, MatchesASearchOfEverySpan) {
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        const Data d = randomData(seed, 300);
        const double constant = seed % 4 == 0 ? 0.0 : seed % 5 + 1.0; // a Number for the length
        const Data fixed = {d.values, Vec(d.values.size(), constant)};
        for (const Mode& m : kModes) {
            SCOPED_TRACE(trace(m, "seed " + std::to_string(seed)));
            EXPECT_EQ(runCall(m.function, {d.values, d.lengths, m.tie}).values,
                      searchEverySpan(m.highest, d, m.tie != 0));
            EXPECT_EQ(runCall(m.function, {d.values, constant, m.tie}).values,
                      searchEverySpan(m.highest, fixed, m.tie != 0));
        }
    }
}

// An input seen through a bars-ago offset is read by the element-read rule.
TEST_F(ExtremeTest, ShiftedInputMatchesASearchOfTheShiftedBars) {
    const Data d = randomData(9, 300);
    Data shifted = d;
    shifted.values.insert(shifted.values.begin(), {F, F});
    shifted.values.resize(d.values.size());
    Series values = Series::of(d.values);
    values.setOffset(2);
    for (const Mode& m : kModes)
        EXPECT_EQ(valuesOf(m.function, {&values, d.lengths, m.tie}), searchEverySpan(m.highest, shifted, m.tie != 0))
            << trace(m, "shifted");
}

TEST_F(ExtremeTest, ChunkedCallsMatchOneCall) {
    for (uint32_t seed = 100; seed < 110; ++seed) {
        const Data d = randomData(seed, 500);
        for (const Mode& m : kModes) {
            SCOPED_TRACE(trace(m, "seed " + std::to_string(seed)));
            expectChunksMatchOneCall(m.function, {d.values, d.lengths, m.tie});
        }
    }
}

// The host computes the last bar again as its value changes: the call starts at a bar already
// computed and searches the span there anew.
TEST_F(ExtremeTest, RecomputingTheLastBarMatchesOneCall) {
    const Data d = randomData(3, 200);
    for (const Mode& m : kModes) {
        for (double last : {9.0, F}) {
            SCOPED_TRACE(trace(m, "last bar " + std::to_string(last)));
            Series values = Series::of(d.values), out;
            Call call(m.function);
            call.out(out).arg(values).arg(5.0).arg(m.tie);
            ASSERT_EQ(call.run(0), kOk);
            series::setNumber(values.handle(), values.count() - 1, last);
            ASSERT_EQ(call.run(values.count() - 1), kOk);
            Vec changed = d.values;
            changed.back() = last;
            EXPECT_EQ(out.values(), runCall(m.function, {changed, 5.0, m.tie}).values);
        }
    }
}

} // namespace
} // namespace fk
