// Reading bars files: dates in every accepted form, header matching, missing cells, and the file
// and line each problem is reported at.
#include <gtest/gtest.h>

#include <cmath>

#include "calendar/date.h"
#include "cli/bars.h"
#include "cli/errors.h"
#include "cli/table.h"

using namespace fk::cli;

namespace {

TEST(BarDates, ParseAndFormat) {
    const struct {
        const char* text;
        double value; // NAN: not a date
        const char* shown;
    } cases[] = {
        {"2000-01-01", 36526, "2000-01-01"},
        {"2000/01/01", 36526, "2000-01-01"},
        {"2000-01-01 12:00", 36526.5, "2000-01-01 12:00"},
        {"2000-01-01T18:00", 36526.75, "2000-01-01 18:00"},
        {"2000-01-01 09:30:15", 36526 + (9 * 3600 + 30 * 60 + 15) / 86400.0, "2000-01-01 09:30:15"},
        {"36526.5", 36526.5, "2000-01-01 12:00"},
        {"-1", -1, "1899-12-29"},
        {"2000-02-30", NAN, nullptr},      {"2001-02-29", NAN, nullptr},  {"2000-13-01", NAN, nullptr},
        {"2000-01-01 24:00", NAN, nullptr}, {"2000-01-01 9:30", NAN, nullptr}, {"2000-01-01x", NAN, nullptr},
        {"01/02/2000", NAN, nullptr},      {"", NAN, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        double v = 0;
        const bool ok = parseDateTime(c.text, v);
        EXPECT_EQ(ok, !std::isnan(c.value));
        if (!ok) continue;
        EXPECT_DOUBLE_EQ(v, c.value);
        const std::string s(c.shown);
        EXPECT_EQ(formatDateTime(v, s.size() > 10, s.size() > 16), s);
    }
    // a time that rounds up to midnight is the next day
    EXPECT_EQ(formatDateTime(36526.9999999999, true, false), "2000-01-02 00:00");
}

TEST(BarsCsv, ColumnsMissingCellsAndExtras) {
    const BarData b = parseBars("\xEF\xBB\xBF"
                                "date,CLOSE,Open,Signal,\"Adj Close\"\r\n"
                                "2024-01-02,10.5,10,1,\"10.4\"\r\n"
                                "\r\n"
                                "2024-01-03,,NaN,,11\r\n",
                                "x.csv");
    ASSERT_EQ(b.size(), 2u);
    EXPECT_EQ(b.close, (std::vector<double>{10.5, -999999.0}));
    EXPECT_EQ(b.open, (std::vector<double>{10, -999999.0}));
    EXPECT_EQ(b.high, (std::vector<double>{-999999.0, -999999.0})); // no column: every bar missing
    ASSERT_EQ(b.extra.size(), 2u);
    EXPECT_EQ(b.extra[0].name, "Signal");
    EXPECT_EQ(b.extra[0].values, (std::vector<double>{1, -999999.0}));
    EXPECT_EQ(b.extra[1].name, "Adj Close");
    EXPECT_EQ(b.extra[1].values, (std::vector<double>{10.4, 11}));
}

TEST(BarsCsv, DelimitersTimeColumnAndOrder) {
    const BarData semi = parseBars("Date;Time;Close\n2024-01-02;0930;1\n2024-01-02;09:35;2\n2024-01-02;093600;3\n", "s.csv");
    const double day = fk::calendar::civilDayNumber(2024, 1, 2);
    EXPECT_DOUBLE_EQ(semi.dateTime[0], day + 570 / 1440.0);
    EXPECT_DOUBLE_EQ(semi.dateTime[1], day + 575 / 1440.0);
    EXPECT_DOUBLE_EQ(semi.dateTime[2], day + 576 / 1440.0);

    const BarData tab = parseBars("DateTime\tClose\n45000\t1\n", "t.csv");
    EXPECT_EQ(tab.dateTime, (std::vector<double>{45000}));

    // newest first is turned around, extra columns with it
    const BarData rev = parseBars("Date,Close,X\n2024-01-04,3,30\n2024-01-03,2,20\n2024-01-02,1,10\n", "r.csv");
    EXPECT_EQ(rev.close, (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(rev.extra[0].values, (std::vector<double>{10, 20, 30}));
}

TEST(BarsCsv, ErrorsNameFileAndLine) {
    const struct {
        const char* content;
        const char* message;
    } cases[] = {
        {"", "f.csv:1: no header line"}, {"Open,Close\n1,2\n", "f.csv:1: no Date column"},
        {"Date,Open\n2024-01-02,1\n", "f.csv:1: no Close column"}, {"Date,Close,,X\n", "f.csv:1: column 3 has no name"},
        {"Date,Close,close\n", "f.csv:1: two columns named close"},
        {"Date,Close\n2024-01-02,1\n2024-01-03,abc\n", "f.csv:3: Close \"abc\" is not a number"},
        {"Date,Close\n2024-01-02,1\n\n2024-01-03,1,2\n", "f.csv:4: 3 cells where the header has 2"},
        {"Date,Close\n02.01.2024,1\n", "f.csv:2: \"02.01.2024\" is not a date"},
        {"Date,Time,Close\n2024-01-02,25:00,1\n", "f.csv:2: \"25:00\" is not a time"},
        {"Date,Close\n2024-01-02,1\n2024-01-04,1\n2024-01-03,1\n2024-01-05,1\n", "f.csv:4: this bar is older"},
        {"Date,Close\n2024-01-02,inf\n", "f.csv:2: Close \"inf\" is not a number"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.content);
        try {
            parseBars(c.content, "f.csv");
            ADD_FAILURE() << "no error";
        } catch (const UsageError& e) {
            EXPECT_EQ(std::string(e.what()).rfind(c.message, 0), 0u) << e.what();
        }
    }
    EXPECT_THROW(loadBars("/nonexistent/bars.csv"), UsageError);
}

TEST(BarsCsv, GuessedPeriods) {
    const double m5 = 5 / 1440.0;
    EXPECT_EQ(guessPeriod({45000, 45000 + m5, 45000 + 2 * m5, 45001, 45001 + m5}), 0x03000005);
    EXPECT_EQ(guessPeriod({45000, 45001, 45002, 45005, 45006}), 0x11000001);
    EXPECT_EQ(guessPeriod({45000, 45007, 45014, 45021}), 0x12000001);
    EXPECT_EQ(guessPeriod({45000, 45031, 45059, 45090}), 0x13000001);
    EXPECT_EQ(guessPeriod({45000}), 0x11000001);
}

TEST(TableCells, DigitsAndFill) {
    EXPECT_EQ(formatCell(0.1, -999999, false), "0.1");
    EXPECT_EQ(formatCell(0.1, -999999, true), "0.10000000000000001");
    EXPECT_EQ(formatCell(-999999, -999999, false), "");
    EXPECT_EQ(formatCell(-999999, -999999, true), "-999999");
    EXPECT_EQ(formatCell(1.0 / 3, -999999, false), "0.3333333333");
    EXPECT_EQ(formatCell(12345678901.0, -999999, false), "1.23456789e+10");
    EXPECT_EQ(formatCell(0, 0, false), ""); // a result whose fill value is 0
}

TEST(TableCells, WholeTables) {
    BarData b = parseBars("Date,Close\n2024-01-02 09:30,1\n2024-01-02 09:35,2\n2024-01-02 09:40,3\n", "x");
    std::vector<Column> cols(2);
    cols[0].title = "MovAvg(Close, 20, 1)";
    cols[0].values = {1.5, -999999, 1e-20};
    cols[1].title = "Say(\"hi\")";
    cols[1].isText = true;
    cols[1].text = "a \"b\", c";
    auto print = [&](const TableOptions& o) {
        std::FILE* f = std::tmpfile();
        writeTable(f, b, cols, o);
        std::rewind(f);
        std::string s(4096, '\0');
        s.resize(std::fread(s.data(), 1, s.size(), f));
        std::fclose(f);
        return s;
    };
    EXPECT_EQ(print({}), "Date,\"MovAvg(Close, 20, 1)\",\"Say(\"\"hi\"\")\"\n"
                         "2024-01-02 09:30,1.5,\"a \"\"b\"\", c\"\n"
                         "2024-01-02 09:35,,\"a \"\"b\"\", c\"\n"
                         "2024-01-02 09:40,1e-20,\"a \"\"b\"\", c\"\n");
    TableOptions aligned;
    aligned.aligned = true;
    aligned.tail = 2;
    EXPECT_EQ(print(aligned), "Date              MovAvg(Close, 20, 1)  Say(\"hi\")\n"
                              "2024-01-02 09:35                        a \"b\", c\n"
                              "2024-01-02 09:40                 1e-20  a \"b\", c\n");
}

} // namespace
