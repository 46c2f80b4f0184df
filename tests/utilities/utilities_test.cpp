// Regression-slope significance, the random series and the bar lines of the dump functions: the
// worked examples, the probability series against closed forms, restarts, file output in a
// temporary folder (replace and append, a path that cannot be opened), and the status codes.
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#ifdef __linux__
#include <sys/resource.h>
#endif

#include "calendar/date.h"
#include "mathstat/utilities.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

constexpr double M = kMissing;

class UtilitiesTest : public HeapChecked {};

double significance(const Vec& x, double n, double sel) { return valuesOf("TSLineSignificance", {x, n, sel}).back(); }

TEST_F(UtilitiesTest, SignificanceExamples) {
    struct Case { Vec x; double t, p; } cases[] = {
        {{1, 2, 4, 4, 6}, 3 * std::sqrt(6.0), 0.0052078589},
        {{3, 1, 4, 1, 5, 9, 2, 6}, 1.331035, 0.231520},
        {{2, 1, 2, 1, 2, 1}, -0.612372, 0.573392},
        {{1, 2, 3, 4, 5}, 999999, 0},
        {{5, 5, 5, 5}, 0, 1},
        {{5, 4, 3, 2, 1}, -999999, 0},
    };
    for (const Case& c : cases) {
        const double n = static_cast<double>(c.x.size());
        EXPECT_NEAR(significance(c.x, n, 0), c.t, 1e-6) << c.x[0];
        EXPECT_NEAR(significance(c.x, n, 1), c.p, 1e-6) << c.x[0];
        EXPECT_NEAR(significance(c.x, n, 2), 100 * (1 - c.p), 1e-4) << c.x[0];
    }
    // holes take no position; the window fills with the fifth present value
    const Vec got = valuesOf("TSLineSignificance", {Vec{1, M, 2, 4, M, 4, 6}, 5.0, 0.0}, 3);
    EXPECT_EQ(Vec(got.begin() + 3, got.end() - 1), Vec(3, M));
    EXPECT_NEAR(got.back(), 3 * std::sqrt(6.0), 1e-9);
}

// The finite series against closed forms: nu = 1 and 2 directly, larger nu against the
// incomplete-beta identity computed by numerical integration of the density.
TEST_F(UtilitiesTest, StudentProbability) {
    EXPECT_NEAR(utilities::studentTwoSided(2, 1), 1 - 2 * std::atan(2.0) / 3.141592653589793, 1e-12);
    EXPECT_NEAR(utilities::studentTwoSided(2, 2), 1 - std::sqrt(2.0 / 3), 1e-12);
    EXPECT_NEAR(utilities::studentTwoSided(-2, 2), 1 - std::sqrt(2.0 / 3), 1e-12);
    EXPECT_EQ(utilities::studentTwoSided(0, 7), 1.0);
    for (int nu : {3, 4, 9, 30}) {
        for (double t : {0.5, 1.7, 3.2}) {
            // 2 x the integral of the density from t to a far point, by Simpson's rule
            const double c = std::exp(std::lgamma((nu + 1) / 2.0) - std::lgamma(nu / 2.0)) / std::sqrt(nu * 3.141592653589793);
            auto f = [&](double x) { return c * std::pow(1 + x * x / nu, -(nu + 1) / 2.0); };
            const int steps = 200000;
            const double hi = 400, h = (hi - t) / steps;
            double s = f(t) + f(hi);
            for (int k = 1; k < steps; ++k) s += (k % 2 ? 4 : 2) * f(t + k * h);
            EXPECT_NEAR(utilities::studentTwoSided(t, nu), 2 * s * h / 3, 1e-7) << nu << " " << t;
        }
    }
}

Vec random(const Vec& range, double seed, int32_t start = 0, const Vec& before = {}) {
    return valuesOf("Random", {range, seed}, start, before);
}

TEST_F(UtilitiesTest, RandomExamples) {
    EXPECT_EQ(utilities::splitMix(0x9E3779B97F4A7C15ull), 0xE220A8397B1DCDAFull);
    EXPECT_EQ(utilities::splitMix(42 + 0x9E3779B97F4A7C15ull), 0xBDD732262FEB6E95ull);
    const Vec seed42{74.15648787718233, 15.991039287692011, 27.860113025513865};
    EXPECT_EQ(random({100, 100, 100}, 42), seed42);
    EXPECT_EQ(random({100, 100, 100}, 42.9), seed42);
    EXPECT_EQ(random({100}, 1)[0], 56.65615751722809);
    EXPECT_EQ(random({100}, -1)[0], 89.39429202831845);
    EXPECT_EQ(random({100, 100, 100}, 42, 2, {7, 7, 7}), (Vec{7, 7, seed42[2]}));
    EXPECT_EQ(random({100, M, 50}, 42), (Vec{seed42[0], M, 13.930056512756932}));
    EXPECT_EQ(utilities::seedWord(1e30), 0x7FFFFFFFFFFFFFFFull);
    EXPECT_EQ(utilities::seedWord(-1e30), 0x8000000000000000ull);

    // a constant range fills the Return Value the host has sized; an empty one gets one value
    const Vec four = valuesOf("Random", {100.0, 42.0}, 0, Vec(4, 0.0));
    EXPECT_EQ(four, (Vec{seed42[0], seed42[1], seed42[2], four[3]}));
    EXPECT_EQ(valuesOf("Random", {100.0, 42.0}), (Vec{seed42[0]}));

    // a clock seed is drawn once per call site and kept until the release
    Series r2 = Series::of({1, 1, 1}), o2;
    Call clock("Random");
    clock.out(o2).arg(r2).arg(0);
    ASSERT_EQ(clock.run(0), 0);
    const Vec first = o2.values();
    ASSERT_EQ(clock.run(1), 0);
    EXPECT_EQ(o2.values(), first);
    EXPECT_EQ(clock.release(), 0);
}

// The lines of the dump functions, in a fresh temporary folder.
class DumpTest : public HeapChecked {
protected:
    void SetUp() override {
        HeapChecked::SetUp();
        dir = std::filesystem::temp_directory_path() /
              ("fk_dump_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(dir);
        std::filesystem::create_directories(dir);
    }
    void TearDown() override {
        std::filesystem::remove_all(dir);
        HeapChecked::TearDown();
    }
    static std::string read(const std::filesystem::path& p) {
        std::ifstream f(p, std::ios::binary);
        std::stringstream s;
        s << f.rdbuf();
        return s.str();
    }
    std::filesystem::path dir;
};

double stamp(int h = 0, int m = 0, int s = 0) { return calendar::DayNumberFromDate(2014, 3, 14) + (h * 3600 + m * 60 + s) / 86400.0; }

// One call site of a dump export over `market` and `v`, writing to `path`.
struct Dump {
    Series out;
    host::Text file;
    Call call;
    Dump(const char* name, host::Market& market, Series& v, const std::string& path, double mode, Vec before = {})
        : out(before.empty() ? Series() : Series::of(before)), file(path), call(name) {
        call.out(out).arg(market).arg(v).arg(file).arg(mode);
    }
};

TEST_F(DumpTest, LineFormats) {
    host::Market market({{stamp(9, 30, 15), 101.25, 102, 100.5, 101.75, 0},
                         {stamp(9, 31), 1, 2, 0.5, M, 0},
                         {stamp(9, 32), 1, 2, 0.5, 1.5, 0},
                         {stamp(9, 33), 1, 2, 0.5, 1.5, 0},
                         {stamp(9, 34), 1, 2, 0.5, 1.5, 0}});
    Series v = Series::of({3.5, 9, M, 0.000012345, 1234567});
    for (const char* name : {"DumpArray", "DumpArrayB", "DumpArrayT"}) {
        const bool timed = std::string(name) == "DumpArrayT";
        const std::string path = (dir / name).string();
        Dump d(name, market, v, path, 0);
        ASSERT_EQ(d.call.run(0), 0) << d.call.error();
        EXPECT_EQ(d.out.values(), (Vec{4}));
        const std::string want = timed
            ? "2014-03-14 09:30:15, 101.250000,102.000000,100.500000,101.750000, 3.5\n"
              "2014-03-14 09:32:00, 1.000000,2.000000,0.500000,1.500000, -999999\n"
              "2014-03-14 09:33:00, 1.000000,2.000000,0.500000,1.500000, 1.2345e-05\n"
              "2014-03-14 09:34:00, 1.000000,2.000000,0.500000,1.500000, 1.23457e+06\n"
            : "2014-03-14, 101.250000,102.000000,100.500000,101.750000, 3.5\n"
              "2014-03-14, 1.000000,2.000000,0.500000,1.500000, -999999\n"
              "2014-03-14, 1.000000,2.000000,0.500000,1.500000, 1.2345e-05\n"
              "2014-03-14, 1.000000,2.000000,0.500000,1.500000, 1.23457e+06\n";
        EXPECT_EQ(read(path), want) << name;
        EXPECT_EQ(d.call.release(), 0);
    }
}

// Replace mode keeps the file equal to the lines of all bars; append mode adds the bars from the
// start bar on every call.
TEST_F(DumpTest, ReplaceAndAppend) {
    for (int mode : {0, 1}) {
        host::Market market({{stamp(), 1, 2, 0.5, 1, 0}, {stamp() + 1, 1, 2, 0.5, 2, 0}, {stamp() + 2, 1, 2, 0.5, 3, 0}});
        Series v = Series::of({1, 2, 3, 4});
        const std::string path = (dir / ("mode" + std::to_string(mode))).string();
        Dump d("DumpArray", market, v, path, mode);
        Call& call = d.call;
        Series& out = d.out;
        auto lines = [&] {
            const std::string s = read(path);
            return std::count(s.begin(), s.end(), '\n');
        };
        ASSERT_EQ(call.run(0), 0);
        EXPECT_EQ(out.values(), (Vec{3}));
        market.append({stamp() + 3, 1, 2, 0.5, 4, 0});
        ASSERT_EQ(call.run(3), 0);
        EXPECT_EQ(out.values(), (Vec{1}));
        EXPECT_EQ(lines(), 4);
        ASSERT_EQ(call.run(3), 0);
        EXPECT_EQ(out.values(), (Vec{mode ? 1.0 : 4.0}));
        EXPECT_EQ(lines(), mode ? 5 : 4);
        EXPECT_EQ(call.release(), 0);
    }
}

// A path that cannot be opened: -1 with the message, no file, the Return Value as it was, and
// the next good call rewrites the whole file.
TEST_F(DumpTest, Failures) {
    host::Market market({{stamp(), 1, 2, 0.5, 1, 0}, {stamp() + 1, 1, 2, 0.5, 2, 0}});
    Series v = Series::of({1, 2});
    struct Case { const char* name; std::string path; std::string message; } cases[] = {
        {"DumpArray", (dir / "missing" / "f.txt").string(), "DumpArray: cannot open file \"" + (dir / "missing" / "f.txt").string() + "\"."},
        {"DumpArrayT", dir.string(), "DumpArrayT: cannot open file \"" + dir.string() + "\"."},
        {"DumpArray", "", "DumpArray: empty file name."},
        {"DumpArrayT", "", "DumpArrayT: empty file name."},
    };
    for (const Case& c : cases) {
        Dump d(c.name, market, v, c.path, 0, {7});
        EXPECT_EQ(d.call.run(0), -1);
        EXPECT_EQ(d.call.error(), c.message);
        EXPECT_EQ(d.out.values(), (Vec{7}));
        EXPECT_FALSE(std::filesystem::exists(dir / "missing"));
    }
    // a replace-mode call after a failure writes the whole file again
    const std::string good = (dir / "good").string();
    Dump d("DumpArray", market, v, good, 0);
    Call& call = d.call;
    ASSERT_EQ(call.run(0), 0);
    std::filesystem::remove(good);
    std::filesystem::create_directory(good);  // now a folder: the next call fails
    EXPECT_EQ(call.run(2), -1);
    std::filesystem::remove(good);
    ASSERT_EQ(call.run(2), 0);
    EXPECT_EQ(d.out.values(), (Vec{2}));
    EXPECT_EQ(call.release(), 0);
}

#ifdef __linux__
// A write that fails part of the way (here the process may not grow a file past 300 bytes):
// the cannot-write message, and the file as it was before the call.
TEST_F(DumpTest, AWriteCutShortLeavesNothingHalfWritten) {
    std::vector<host::Bar> bars;
    for (int i = 0; i < 20; ++i) bars.push_back({stamp() + i, 1, 2, 0.5, 1.5, 0});
    host::Market market(bars);
    Series v = Series::of(Vec(20, 1.0));
    const std::string path = (dir / "limited").string();
    std::ofstream(path) << "kept\n";
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldSignal = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = old;
    small.rlim_cur = 300;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    for (double mode : {1.0, 0.0}) {
        Dump d("DumpArray", market, v, path, mode, {7});
        EXPECT_EQ(d.call.run(0), -1);
        EXPECT_EQ(d.call.error(), "DumpArray: cannot write file \"" + path + "\".");
        EXPECT_EQ(d.out.values(), (Vec{7}));
        // appending keeps what was there; replacing had already emptied the file
        EXPECT_EQ(read(path), mode ? "kept\n" : "");
    }
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldSignal);
}
#endif

TEST_F(UtilitiesTest, StatusCodes) {
    const Vec x = {1, 2, 3};
    expectStatuses({
        {"TSLineSignificance", {'e', 3.0, 0.0}, kTooFewBars}, {"Random", {'e', 1.0}, kTooFewBars},
        {"TSLineSignificance", {x, 2.0, 0.0}, kDomainError}, {"TSLineSignificance", {x, 3.0, 3.0}, kDomainError},
    });
}

} // namespace
} // namespace fk
