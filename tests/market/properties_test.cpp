// The numbered and text properties of a market, the period descriptions and contract symbols.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "calendar/date.h"
#include "host/hostkit.h"
#include "market/properties.h"
#include "support/call_builder.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class PropertiesTest : public HeapChecked {};

// A record with a distinct value in every field that a property reads.
void fillRecord(Market& m) {
    BarRecord& r = m.record();
    r.offsetMinutes = 30;
    r.flags = 0x89; // bits 0, 3 and 7
    r.prop9 = -9;
    r.prop17 = 0x80000001u;
    r.periodWord = 0x1100000A;
    r.prop14 = 14;
    r.prop15 = 3;
    r.prop13 = -13;
    r.prop1 = 101;
    r.prop2 = 0;
    r.tickSize = 0.25;
    r.tickValue = 12.5;
    r.minMoveFactor = 4;
    r.prop6 = 6.5;
    r.prop7 = -7.5;
    r.prop8 = 8;
    r.prop26 = -26;
    r.sessionStart = 570;
    r.sessionEnd = 960;
    r.dayEnd = 1020;
    r.offsetHours = -5;
    r.prop21 = 21;
    r.prop22 = -22;
    r.prop23 = 23;
    r.prop28 = -5;
    r.session2Start = 480;
    r.session2End = 1200;
    m.source("*SYN");
}

TEST_F(PropertiesTest, EveryNumberedProperty) {
    Market m;
    fillRecord(m);
    const double p99 = static_cast<int32_t>(reinterpret_cast<uintptr_t>(m.record().holidays));
    const std::vector<std::pair<int, double>> want = {
        {1, 101},   {2, 0},     {3, 0.25},  {4, 12.5},  {5, 4},    {6, 6.5},          {7, -7.5},
        {8, 8},     {9, -9},    {10, 0x1100000A},       {11, 0x11000000},            {12, 10},
        {13, -13},  {14, 14},   {15, -1},   {16, -4.5}, {17, 2147483649.0},          {18, 1020},
        {19, 570},  {20, 960},  {21, 21},   {22, -22},  {23, 23},  {24, -1},         {25, -1},
        {26, -26},  {27, 0},    {28, 500},  {29, -1},   {30, 0},   {31, 0},          {32, 480},
        {33, 1200}, {34, 1},    {99, p99},  {0, 0},     {35, 0},   {98, 0},          {100, 0},
        {-1, 0},
    };
    for (const auto& [number, value] : want) EXPECT_EQ(numericProperty(m.record(), number), value) << number;

    // the other sides of the flags and the signed fields
    BarRecord& r = m.record();
    r.flags = 0x70; // bits 4, 5, 6
    r.prop2 = 1;
    r.prop15 = 0;
    r.prop28 = 7;
    r.periodWord = static_cast<int32_t>(0x9300000Au);
    const std::vector<std::pair<int, double>> other = {
        {2, -1}, {15, 0}, {24, 0}, {25, 0}, {27, -1}, {28, 7}, {30, -1}, {31, -1}, {34, 0},
        {11, static_cast<int32_t>(0x93000000u)}, {12, 10},
    };
    for (const auto& [number, value] : other) EXPECT_EQ(numericProperty(r, number), value) << number;
}

TEST_F(PropertiesTest, PeriodDescriptions) {
    const std::vector<std::pair<uint32_t, const char*>> want = {
        {0x01000000, "EachTick"},        {0x02000064, "100 trades"},     {0x03000005, "5 minute"},
        {0x04000000, "Undefined"},       {0x04004F5B, "3/15/2 smp"},     {0x04049782, "9/30 smp"},
        {0x0500271A, "10 tick breakout"},
        {0x06030005, "6613/19 renko"},   {0x06000005, "5 renko"},         {0x07002713, "3 kagi"},
        {0x080186A3, "3/1 p&f"},         {0x08000003, "3 p&f"},           {0x090003E8, "1000 vol"},
        {0x11000001, "Daily"},           {0x11000000, "Daily"},           {0x11000005, "5 days"},
        {0x12000001, "Weekly"},          {0x12000002, "2 weeks"},         {0x13000001, "Monthly"},
        {0x13000003, "3 months"},        {0x14000001, "Quarterly"},       {0x14000002, "2 qtrs"},
        {0x15000001, "Yearly"},          {0x15000002, "2 years"},         {0x160186A5, "5 renko*"},
        {0x170186A7, "7 kagi*"},         {0x180186A3, "3/1 p&f*"},        {0x18000003, "3 p&f*"},
        {0x19000002, "2k vol"},          {0x200186A4, "4 tick breakout*"}, {0x0A000001, "Undefined"},
        {0x10000001, "Undefined"},       {0xFF000001, "Undefined"},       {0x00000000, "Undefined"},
    };
    for (const auto& [word, text] : want)
        EXPECT_STREQ(periodDescription(static_cast<int32_t>(word)).text, text) << std::hex << word;
}

TEST_F(PropertiesTest, ContractSymbols) {
    const struct {
        const char* symbol;
        int32_t reference;
        const char* root;
        int32_t month, year;
    } cases[] = {
        {"ZBH14", 2014, "ZB", 3, 2014},   {"@ESZ3", 2023, "ES", 12, 2023},  {"@ESZ3", 2014, "ES", 12, 2023},
        {"@ESZ3", 2013, "ES", 12, 2013},  {"clf15", 2014, "CL", 1, 2015},   {"ZB1", 2014, "ZB1", 0, 0},
        {"US", 2014, "US", 0, 0},         {"MSFT", 2014, "MSFT", 0, 0},     {"BRK.B", 2014, "BRK", 0, 0},
        {"CLF115", 2014, "CL", 1, 2015},  {"GCQ2016", 2014, "GC", 8, 2016}, {"ESZ12345", 2014, "ESZ12345", 0, 0},
        {"Z14", 2014, "Z14", 0, 0},       {"~^$", 2014, "", 0, 0},          {"", 2014, "", 0, 0},
        {"$NGV99 x", 2000, "NG", 10, 2099}, {"NGV99", 2001, "NG", 10, 2099}, {"NGV00", 2001, "NG", 10, 2100},
    };
    for (const auto& c : cases) {
        const ContractSymbol s = parseContractSymbol(c.symbol, c.reference);
        EXPECT_EQ(s.root, c.root) << c.symbol;
        EXPECT_EQ(s.month, c.month) << c.symbol;
        EXPECT_EQ(s.year, c.year) << c.symbol;
    }
}

std::string stringProperty(Market& m, double code) {
    Text out;
    Call call("BarsStringProperty");
    call.out(out).arg(m).arg(code);
    EXPECT_EQ(call.run(0), 0);
    return out.str();
}

TEST_F(PropertiesTest, BarsStringProperty) {
    Market m(std::vector<host::Bar>{{calendar::DayNumberFromDate(2014, 5, 1) + 0.5, 1, 1, 1, 1, 1}});
    m.symbol("ZBH14").description("30 Year US Treasury Bond").exchange("CBOT").source("*ZB").currency("USD");
    m.period(0x03000005).zone("CHI");
    const std::vector<std::pair<double, std::string>> want = {
        {13, "09:30"}, {101, "ZBH14"}, {102, "30 Year US Treasury Bond"}, {103, "CBOT"}, {104, "*ZB"},
        {105, "5 minute"}, {106, "ZB"}, {107, "H2014"}, {108, "201403"}, {109, "USD"}, {110, "CHI"},
        {110.7, "CHI"}, {7, ""}, {0, ""}, {111, ""},
    };
    for (const auto& [code, text] : want) EXPECT_EQ(stringProperty(m, code), text) << code;

    using Session = std::pair<int16_t, const char*>;
    for (auto [start, text] : {Session{0, "00:00"}, Session{1439, "23:59"}, Session{-60, "-60"}, Session{1440, "1440"}}) {
        m.session(start, 960, 1020);
        EXPECT_EQ(stringProperty(m, 13), text);
    }
}

} // namespace
} // namespace fk
