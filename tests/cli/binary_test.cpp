// The real formulakit binary on small files: its output byte for byte, its exit statuses, and the
// one line it prints for each kind of problem.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/evaluate.h"

namespace fs = std::filesystem;

namespace {

struct Outcome {
    int status = -1;
    std::string out, err;
};

std::string slurp(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream s;
    s << f.rdbuf();
    return s.str();
}

class Binary : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/fk-cli-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        write("bars.csv",
              "Date,Open,High,Low,Close,Volume,Signal\n"
              "2024-01-02,10,11,9,10.5,1000,1\n"
              "2024-01-03,10.5,12,10,11.25,1200,\n"
              "2024-01-04,11.5,12.5,11,12,900,-3\n");
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string write(const std::string& name, const std::string& content) {
        std::ofstream(dir_ / name, std::ios::binary) << content;
        return (dir_ / name).string();
    }
    std::string path(const std::string& name) const { return (dir_ / name).string(); }

    Outcome run(std::vector<std::string> args) {
        std::vector<std::string> argv;
        if (std::string(FK_CLI_EMULATOR).size() > 0) argv.push_back(FK_CLI_EMULATOR);
        argv.push_back(FK_CLI_BINARY);
        argv.insert(argv.end(), args.begin(), args.end());
        const fs::path out = dir_ / "stdout", err = dir_ / "stderr";
        const pid_t pid = fork();
        if (pid == 0) {
            const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(o, 1);
            dup2(e, 2);
            std::vector<char*> cargs;
            for (auto& a : argv) cargs.push_back(a.data());
            cargs.push_back(nullptr);
            execvp(cargs[0], cargs.data());
            _exit(127);
        }
        int st = 0;
        waitpid(pid, &st, 0);
        return {WIFEXITED(st) ? WEXITSTATUS(st) : -1, slurp(out), slurp(err)};
    }

    fs::path dir_;
};

TEST_F(Binary, TableAsPrintedAndRaw) {
    const std::string bars = path("bars.csv");
    Outcome r = run({"eval", "--bars", bars, "--tick-size", "0.1", "TickMove(Bars)", "Close", "signal", "MinMove(Bars)"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "Date,TickMove(Bars),Close,signal,MinMove(Bars)\n"
              "2024-01-02,0.1,10.5,1,0.1\n"
              "2024-01-03,0.1,11.25,,0.1\n"
              "2024-01-04,0.1,12,-3,0.1\n");
    r = run({"eval", "--raw", "--bars", bars, "--tick-size", "0.1", "--min-move", "3", "TickMove(Bars)", "Signal", "MinMove(Bars)"});
    EXPECT_EQ(r.out,
              "Date,TickMove(Bars),Signal,MinMove(Bars)\n"
              "2024-01-02,0.10000000000000001,1,0.30000000000000004\n"
              "2024-01-03,0.10000000000000001,-999999,0.30000000000000004\n"
              "2024-01-04,0.10000000000000001,-3,0.30000000000000004\n");
}

TEST_F(Binary, HeaderAsWrittenTailOutAndChunks) {
    const std::string bars = path("bars.csv"), out = path("t.csv");
    Outcome r = run({"eval", "--bars", bars, "--tail", "2", "--out", out, "TickValue( Bars )", "TickMove(Bars)"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(slurp(out), "Date,TickValue( Bars ),TickMove(Bars)\n2024-01-03,0.01,0.01\n2024-01-04,0.01,0.01\n");

    // further columns by their names without case, spaces or punctuation
    const std::string csv = write("q.csv", "Date,Close,\"A,B\"\n2024-01-02,1,2\n");
    r = run({"eval", "--bars", csv, "--period", "daily", "TickMove(Bars)", "A_B", "ab"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "Date,TickMove(Bars),A_B,ab\n2024-01-02,0.01,2,2\n");

    const Outcome whole = run({"eval", "--sample", "daily", "--raw", "TickMove(Bars)", "Close"});
    const Outcome chunked = run({"eval", "--sample", "daily", "--raw", "--chunk", "500", "TickMove(Bars)", "Close"});
    EXPECT_EQ(whole.status, 0) << whole.err;
    EXPECT_EQ(std::count(whole.out.begin(), whole.out.end(), '\n'), 2518); // the header and ten years of days
    EXPECT_EQ(chunked.out, whole.out);
}

TEST_F(Binary, ListsTheExportTable) {
    Outcome r = run({"list"});
    EXPECT_EQ(r.status, 0);
    for (const fk::ExportEntry& e : fk::exportTable())
        EXPECT_NE(r.out.find(std::string(e.name) + "("), std::string::npos) << e.name;
    r = run({"list", "minmove"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("MinMove(Bars) -> series\n  count 2", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("?MinMove@@YGHPAVCParmBlock@@@Z"), std::string::npos);
}

TEST_F(Binary, EveryProblemIsOneLineAndAStatus) {
    const std::string bars = path("bars.csv");
    const struct {
        std::vector<std::string> args;
        int status;
        std::string start; // of the message
    } cases[] = {
        {{"eval", "--bars", bars, "TickMove(Bars"}, 2, "formulakit: in \"TickMove(Bars\" at column 9: \"(\" without its \")\""},
        {{"eval", "--bars", bars, "Close", "TickMove(Bars, 2)"}, 2, "formulakit: in \"TickMove(Bars, 2)\" at column 1: TickMove takes 1"},
        {{"eval", "--bars", bars, "--overlay", "Clos"}, 2, "formulakit: in \"Clos\" at column 1: unknown name"},
        {{"eval", "--bars", path("none.csv"), "Close"}, 2, "formulakit: " + path("none.csv") + ": cannot read"},
        {{"eval", "--bars", bars, "--period", "fortnightly", "Close"}, 2, "formulakit: --period fortnightly"},
        {{"eval", "--bars", bars, "--session", "9-16", "Close"}, 2, "formulakit: --session 9-16"},
        {{"eval", "--bars", bars, "--chunk", "0", "Close"}, 2, "formulakit: --chunk"},
        {{"eval", "--bars", bars, "--bogus", "Close"}, 2, "formulakit: "},
        {{"eval", "--bars", bars}, 2, "formulakit: eval needs at least one expression"},
        {{"list", "NoSuch"}, 2, "formulakit: no function named NoSuch"},
        {{}, 2, "formulakit: "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.start);
        const Outcome r = run(c.args);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err.rfind(c.start, 0), 0u) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
}

// A non-zero status from an export (RSI takes a period below 1 as too few bars, which on the
// last bars is a failure): its line as the evaluator words it, and nothing on standard output.
TEST_F(Binary, AnExportsStatusEndsWithStatusOne) {
    const Outcome r = run({"eval", "--bars", path("bars.csv"), "Close", "RSI(Close, 0.5)"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "RSI: status 65280 (0xFF00): too few bars\n");
}

TEST_F(Binary, ChartHasEveryExpression) {
    const std::string svg = path("c.svg");
    const Outcome r = run({"eval", "--sample", "intraday", "--chart", svg, "--overlay", "High", "--out", path("c.csv"),
                           "Volume", "TickMove(Bars)"});
    EXPECT_EQ(r.status, 0) << r.err;
    const std::string s = slurp(svg);
    EXPECT_EQ(s.rfind("<svg", 0), 0u);
    for (const char* legend : {">Close ", ">High ", ">Volume ", ">TickMove(Bars) "}) EXPECT_NE(s.find(legend), std::string::npos) << legend;
    EXPECT_NE(s.find("</svg>"), std::string::npos);
}

} // namespace
