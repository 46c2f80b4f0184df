// Digital filters: each against a direct evaluation of its equation on random data with holes,
// the host's chunked calls against one call, the first bars of each stage, and the status codes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/call_builder.h"
#include "support/series_checks.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

constexpr double M = kMissing;
constexpr double kPi = 3.141592653589793;

class FiltersTest : public HeapChecked {};

// The input, the highest and lowest series (for the normalising stage) and the output so far,
// all read by bar with a read outside them giving the missing value.
struct History {
    Vec x, h, l, y;
    double gamma;
    double period;
    static double at(const Vec& v, int i) { return i < 0 || i >= static_cast<int>(v.size()) ? M : v[i]; }
    double X(int i) const { return at(x, i); }
    double Y(int i) const { return at(y, i); }
    // A term that is left out where it is missing.
    double Xz(int i) const { return X(i) == M ? 0 : X(i); }
    double Yz(int i) const { return Y(i) == M ? 0 : Y(i); }
};
using Step = double (*)(const History&, int);

// Each equation evaluated directly, term by term, from the history.
double laguerreFirst(const History& r, int i) {
    return r.X(i) == M ? M : r.X(i) * (1 - r.gamma) + r.gamma * r.Yz(i - 1);
}
double laguerreLater(const History& r, int i) {
    return r.X(i) == M ? M : -r.gamma * r.X(i) + r.Xz(i - 1) + r.gamma * r.Yz(i - 1);
}
double decycler(const History& r, int i) {
    if (r.X(i) == M || r.X(i - 1) == M) return M;
    const double c = std::cos(2 * kPi / r.period), s = std::sin(2 * kPi / r.period);
    const double alpha = (c + s - 1) / c;
    return (alpha / 2) * (r.X(i) - r.X(i - 1)) + (1 - alpha) * r.Yz(i - 1);
}
double sinewave(const History& r, int i) {
    if (r.X(i) == M || r.X(i - 1) == M) return M;
    const double alpha = (1 - std::sin(2 * kPi / r.period)) / std::cos(2 * kPi / r.period);
    return ((1 + alpha) / 2) * (r.X(i) - r.X(i - 1)) + alpha * r.Yz(i - 1);
}
double roofing(const History& r, int i) {
    if (r.X(i) == M || r.X(i - 1) == M || r.X(i - 2) == M) return M;
    const double w = 2 * 0.707 * kPi / r.period;
    const double alpha = (std::cos(w) + std::sin(w) - 1) / std::cos(w);
    return (1 - alpha / 2) * (1 - alpha / 2) * (r.X(i) - 2 * r.X(i - 1) + r.X(i - 2)) +
           2 * (1 - alpha) * r.Yz(i - 1) - (1 - alpha) * (1 - alpha) * r.Yz(i - 2);
}
double superSmoother(const History& r, int i) {
    if (r.X(i) == M || r.X(i - 1) == M || r.X(i - 2) == M) return M;
    const double a = std::exp(-1.414 * kPi / r.period);
    const double c2 = 2 * a * std::cos(1.414 * kPi / r.period), c3 = -a * a, c1 = 1 - c2 - c3;
    const double y1 = r.Y(i - 1) != M ? r.Y(i - 1) : r.X(i - 1);
    const double y2 = r.Y(i - 2) != M ? r.Y(i - 2) : r.X(i - 2);
    return c1 * (r.X(i) + r.X(i - 1)) / 2 + c2 * y1 + c3 * y2;
}
double fisher1(const History& r, int i) {
    const double x = r.X(i), h = History::at(r.h, i), l = History::at(r.l, i);
    return x == M || h == M || l == M || !(h > l) ? M : 0.66 * ((x - l) / (h - l) - 0.5) + 0.67 * r.Yz(i - 1);
}
double fisher2(const History& r, int i) {
    const double v = std::clamp(r.X(i), -0.999, 0.999);
    return r.X(i) == M ? M : 0.5 * std::log((1 + v) / (1 - v)) + 0.5 * r.Yz(i - 1);
}
// Not recursive: the span of trunc(N) bars ending at i, from the first full span after the
// first present input; an unwritten bar reads as missing.
double centreOfGravity(const History& r, int i) {
    const int n = static_cast<int>(r.period);
    int first = 0;
    while (first < static_cast<int>(r.x.size()) && r.X(first) == M) ++first;
    if (n + first - 1 >= static_cast<int>(r.x.size()) - 1 || i < n + first - 1) return M;
    if (r.X(i) == M) return M;
    double num = 0, den = 0;
    for (int k = 0; k < n; ++k)
        if (r.X(i - k) != M) num += (k + 1) * r.X(i - k), den += r.X(i - k);
    return den != 0 ? (r.period + 1) / 2 - num / den : M;
}

struct FilterCase {
    const char* name;
    Step step;
    double gamma;  // Laguerre: gamma; others: unused
    double period; // the period or length; Laguerre: the stage selector
};
const FilterCase kFilters[] = {
    {"Laguerre_Func", laguerreFirst, 0.8, 1},
    {"Laguerre_Func", laguerreLater, 0.8, 0},
    {"Ehlers_Decycler", decycler, 0, 10},
    {"Ehlers_Decycler", decycler, 0, 48.5},
    {"Ehlers_SinewaveBase", sinewave, 0, 12.5},
    {"Ehlers_RoofingBase", roofing, 0, 48},
    {"Ehlers_SuperSmoother", superSmoother, 0, 10},
    {"Ehlers_SuperSmoother", superSmoother, 0, 3.7},
    {"Ehlers_Fisher1", fisher1, 0, 0},
    {"Ehlers_Fisher2", fisher2, 0, 0},
    {"CGOscillator", centreOfGravity, 0, 10.5},
};

// Inputs for a case, a walk with about one bar in twenty missing: Fisher2 reads values around
// the clamp; Fisher1 gets a range around the input, flat every 13th bar, with holes of its own.
History inputs(const FilterCase& c, int n) {
    History r{randomSeries(n, 7, 20), {}, {}, {}, c.gamma, c.period};
    for (int i = 0; i < n && c.step == fisher2; ++i) r.x[i] = r.x[i] == M ? M : (r.x[i] - 100) * 0.4;
    for (int i = 0; i < n && c.step == fisher1; ++i) {
        const bool present = r.x[i] != M, flat = i % 13 == 0;
        r.h.push_back(present ? r.x[i] + (flat ? 0 : 1.5) : M);
        r.l.push_back(present && i % 17 != 5 ? r.x[i] - (flat ? 0 : 0.5 + (i % 5) * 0.2) : M);
    }
    return r;
}

// The parameters of a call for a case.
std::vector<Arg> argsOf(const FilterCase& c, const History& r) {
    if (c.step == fisher1) return {r.x, r.h, r.l};
    if (c.step == laguerreFirst || c.step == laguerreLater) return {r.x, c.gamma, c.period};
    if (c.step == fisher2) return {r.x};
    return {r.x, c.period};
}

TEST_F(FiltersTest, MatchDirectEvaluationOnDataWithHoles) {
    const int n = 600;
    for (const FilterCase& c : kFilters) {
        SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.period));
        History r = inputs(c, n);
        for (int i = 0; i < n; ++i) r.y.push_back(c.step(r, i));
        EXPECT_EQ(valuesOf(c.name, argsOf(c, r)), r.y);
    }
}

TEST_F(FiltersTest, ChunkedHostCallsGiveTheSeriesOfOneCall) {
    const int n = 450;
    for (const FilterCase& c : kFilters) {
        SCOPED_TRACE(c.period);
        expectChunksMatchOneCall(c.name, argsOf(c, inputs(c, n)));
    }
}

TEST_F(FiltersTest, CentreOfGravityStartsAfterLeadingHolesAndSkipsZeroSums) {
    // three leading holes and length 10: the first span is bars 3..12
    Vec v(20, 2.0);
    v[0] = v[1] = v[2] = M;
    const Vec got = valuesOf("CGOscillator", {v, 10.0}, 5, Vec(20, 7.0));
    for (int i = 0; i < 20; ++i) EXPECT_EQ(got[i], i < 12 ? 7.0 : 0.0) << i;

    // spans summing to zero stay unwritten; a missing input is written missing
    EXPECT_EQ(valuesOf("CGOscillator", {Vec{1, -1, 1, 3, M, 2}, 2.0}, 0, Vec(6, 7.0)),
              (Vec{7, 7, 7, 1.5 - 5.0 / 4, M, 1.5 - 2.0 / 2}));
}

TEST_F(FiltersTest, StatusCodes) {
    const Vec x = {1, 2, 3};
    expectStatuses({
        {"Ehlers_SuperSmoother", {x, 0.0}, kDomainError}, {"Ehlers_SuperSmoother", {x, -5.0}, kDomainError},
        {"Ehlers_Decycler", {x, 0.0}, kDomainError},      {"Ehlers_RoofingBase", {x, -5.0}, kDomainError},
        {"Ehlers_SinewaveBase", {x, 0.0}, kDomainError},  {"Laguerre_Func", {'e', 0.5, 1.0}, kDomainError},
        {"Ehlers_Fisher2", {'e'}, kDomainError},          {"CGOscillator", {'e', 10.0}, kDomainError},
        {"Ehlers_Fisher1", {x, x, 'e'}, kDomainError},
    });
}

} // namespace
} // namespace fk
