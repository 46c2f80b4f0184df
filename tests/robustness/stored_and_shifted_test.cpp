// The loops that run over a series' stored elements as plain arrays, against the same loops
// reading through the element rule: an input shifted by one bar reads the same values as a
// stored series that begins with a missing bar, but cannot be read as one array, so every
// export must give the same output either way, also when the host appends bars.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "host/hostkit.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using host::Call;
using host::Series;

constexpr double F = kMissing;

// A walk around 100 with holes (every seventh bar and a run of five) and a flat stretch.
std::vector<double> walkWithHoles(int n) {
    std::vector<double> v(n);
    uint64_t s = 88172645463325252ull;
    double x = 100;
    for (int i = 0; i < n; ++i) {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        x += static_cast<double>(s >> 11) * 0x1.0p-53 - 0.5;
        v[i] = i % 7 == 3 || (i >= 100 && i < 105) ? F : i >= 150 && i < 170 ? 100.0 : x;
    }
    return v;
}

// Bars 0 .. n: the missing value, then the data, stored as they are.
Series stored(const std::vector<double>& data) {
    std::vector<double> v{F};
    v.insert(v.end(), data.begin(), data.end());
    return Series::of(v);
}

// The same bars read through a shift of one bar: element i is bar i + 1, bar 0 reads the fill.
Series shifted(const std::vector<double>& data) {
    std::vector<double> v = data;
    v.push_back(F);
    Series s = Series::of(v);
    s.setOffset(1);
    return s;
}

struct Case {
    std::string name;
    int inputs; // series inputs, before the numbers
    std::vector<double> numbers;
};

// The first input the data and a second one the data reversed, given as `make` builds them; the
// whole output after one call from bar 0, or after calls continued `step` bars at a time.
std::vector<double> run(const Case& c, const std::vector<double>& data, Series (*make)(const std::vector<double>&),
                        int step) {
    const std::vector<double> reversed(data.rbegin(), data.rend());
    std::vector<Series> in;
    for (int k = 0; k < c.inputs; ++k) in.push_back(make(k == 0 ? data : reversed));
    Series out;
    Call call(c.name);
    call.out(out);
    for (Series& s : in) call.arg(s);
    for (double x : c.numbers) call.arg(x);
    const int32_t bars = in.front().count();
    if (step == 0) {
        EXPECT_EQ(call.run(0), kOk);
        return out.values();
    }
    // the host appends bars past the count that the inputs show, and calls from the first new bar
    for (Series& s : in) s.handle().buffer->count = 0;
    for (int32_t b = 0; b < bars; b += step) {
        const int32_t to = std::min(bars, b + step);
        for (Series& s : in) s.handle().buffer->count = to;
        EXPECT_EQ(call.run(b), kOk);
    }
    return out.values();
}

class StoredAndShifted : public testing::HeapChecked {};

TEST_F(StoredAndShifted, PlainLoopsGiveWhatTheElementRuleGives) {
    const Case cases[] = {
        {"MovingSum", 1, {30, 0}},     {"MovingSum", 1, {4, 1}},         {"MovingSum", 1, {4, -1}},
        {"MovAvg", 1, {30, 6}},        {"MovAvg", 1, {7, 6}},            {"MovAvg", 1, {2, 6}},
        {"MovAvg", 1, {3, 6}},         {"MovAvg", 1, {30, 1}},           {"MovAvg", 1, {30, 3}},
        {"RegressionValue", 1, {14, 0}}, {"RegressionValue", 1, {-14, 0}}, {"RegressionValue", 1, {5, -3}},
        {"Correlation", 2, {30}},      {"MovingCorrelation", 1, {20}},
    };
    const std::vector<double> data = walkWithHoles(300);
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.name << " " << ::testing::PrintToString(c.numbers));
        // (continued calls restart sums, so they are compared with continued calls)
        const bool continues = c.name != "Correlation" && c.name != "MovingCorrelation";
        for (int step : continues ? std::vector<int>{0, 1, 13} : std::vector<int>{0})
            EXPECT_EQ(run(c, data, stored, step), run(c, data, shifted, step)) << step;
    }
}

// RegressionValue's sums run from the first bar on every call; a call that starts where the last
// one stopped, or at its last bar again, goes on from the sums it kept, which must come to what
// one call over all bars gives, to the last bit.
TEST_F(StoredAndShifted, RegressionValueContinuedEqualsOneCall) {
    const std::vector<double> data = walkWithHoles(300);
    for (double length : {14.0, -14.0, 3.0}) {
        SCOPED_TRACE(length);
        const Case c{"RegressionValue", 1, {length, 2}};
        const std::vector<double> whole = run(c, data, stored, 0);
        for (int step : {1, 7, 100}) EXPECT_EQ(run(c, data, stored, step), whole);

        // the last bar computed again after its value changed, as while a bar is forming
        std::vector<double> changed = data;
        changed.back() += 1.5;
        Series in = stored(data), out;
        Call call("RegressionValue");
        call.out(out).arg(in).arg(length).arg(2);
        ASSERT_EQ(call.run(0), kOk);
        const int32_t last = in.count() - 1;
        static_cast<double*>(in.handle().buffer->elements)[last] = changed.back();
        ASSERT_EQ(call.run(last), kOk);
        EXPECT_EQ(out.values(), run(c, changed, stored, 0));
    }
}

} // namespace
} // namespace fk
