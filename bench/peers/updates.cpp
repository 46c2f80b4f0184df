// The update rows: every export that reads the start bar, with its parameters.
#include <unistd.h>

#include <filesystem>

#include "peers.h"

namespace fk::peers {

namespace {

using Inputs = std::vector<host::Series>&;

// The series in order, then the numbers.
auto args(std::vector<double> numbers) {
    return [numbers](host::Call& c, Inputs s, host::Market&) {
        for (host::Series& x : s) c.arg(x);
        for (double n : numbers) c.arg(n);
    };
}

// An export of the market, then of series and numbers. `setup` gives the market the properties
// the export reads (tick, period, session, zone, symbol) where the defaults (daily bars, a tick
// of 0.01, a session from 09:30 to 16:00) do not do.
using Setup = void (*)(host::Market&);
Update ofMarket(std::string row, const char* name, std::vector<Source> inputs = {}, std::vector<double> numbers = {},
                Stamp stamps = stamp::daily, Setup setup = nullptr) {
    return {std::move(row), name, std::move(inputs),
            [numbers, setup](host::Call& c, Inputs s, host::Market& m) {
                if (setup) setup(m);
                c.arg(m);
                for (host::Series& x : s) c.arg(x);
                for (double n : numbers) c.arg(n);
            },
            "", true, stamps};
}

// minute bars, each of its own minute
void minuteBars(host::Market& m) { m.period(0x03000001); }
// bars of 100 trades
void tradeBars(host::Market& m) { m.period(0x02000064); }
// a contract of 12.50 a quarter point
void quarters(host::Market& m) { m.symbol("ESH14").tick(0.25, 12.5); }

// A file in the temporary folder for an export that writes a line for every bar, removed when
// the rows are, so that the program leaves nothing behind.
class TempFile {
public:
    explicit TempFile(const std::string& name)
        : path_(std::filesystem::temp_directory_path() / ("fk_peers_" + std::to_string(getpid()) + "_" + name + ".txt")),
          text_(path_.string()) {}
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    ~TempFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    host::Text& name() { return text_; }

private:
    std::filesystem::path path_;
    host::Text text_;
};

// The close dumped in replace mode: an appended bar adds its line to the file, a call from bar 0
// writes the whole file again.
Update dump(std::string row, const char* name, Stamp stamps) {
    auto file = std::make_shared<TempFile>(name);
    return {std::move(row), name, {src::close},
            [file](host::Call& c, Inputs s, host::Market& m) { c.arg(m).arg(s[0]).arg(file->name()).arg(0); },
            "", true, stamps};
}

} // namespace

std::vector<Update> makeUpdates() {
    std::vector<Update> u = {
        {"MovAvg kind 1 (30)", "MovAvg", {src::close}, args({30, 1}), "MovAvg kind 1 (30)"},
        {"MovAvg kind 2 (30)", "MovAvg", {src::close}, args({30, 2}), "MovAvg kind 2 (30)"},
        {"MovAvg kind 3 (30)", "MovAvg", {src::close}, args({30, 3}), "MovAvg kind 3 (30)"},
        {"MovAvg kind 4 (30)", "MovAvg", {src::close}, args({30, 4}), ""},
        {"MovAvg kind 5 (10: 2, 30)", "MovAvg", {src::close}, args({10, 5}), "MovAvg kind 5 (10: 2, 30)"},
        {"MovAvg kind 6 (30)", "MovAvg", {src::close}, args({30, 6}), "MovAvg kind 6 (30)"},
        {"MovingSum (30)", "MovingSum", {src::close}, args({30, 0}), "MovingSum (30)"},
        {"CCI (20) of the typical price", "CCI", {src::typical}, args({20}), "CCI (20) of the typical price"},
        {"HighestIndex (30)", "HighestIndex", {src::close}, args({30, 0}), "HighestIndex (30)"},
        {"LowestIndex (30)", "LowestIndex", {src::close}, args({30, 0}), ""},
        {"Occurrences (20) of up bars", "Occurrences", {src::up}, args({20}), ""},
        {"Consecutive up bars", "Consecutive", {src::up}, args({}), ""},
        {"MostRecentOccurrence (3, 100)", "MostRecentOccurrence", {src::up}, args({3, 100}), ""},
        {"NumberTrue of nine", "NumberTrue", {src::up, src::up, src::up, src::up, src::up, src::up, src::up, src::up, src::up},
         args({}), ""},
        {"IsBitTrueDLL (3) of volume", "IsBitTrueDLL", {src::volume}, args({3}), ""},
        {"ArrayOperation \"+\" of close and open", "ArrayOperation", {src::close, src::open},
         [](host::Call& c, Inputs s, host::Market&) {
             static host::Text plus("+");
             c.arg(s[0]).arg(plus).arg(s[1]);
         },
         "ArrayOperation \"+\" of close and open"},
        {"Round (2)", "Round", {src::close}, args({2}), ""},
        {"Max of close and open", "Max", {src::close, src::open}, args({}), ""},
        {"Min of close and open", "Min", {src::close, src::open}, args({}), ""},
        {"IfElse of up bars, close, open", "IfElse", {src::up, src::close, src::open}, args({}), ""},
        {"RegressionValue (14, 0)", "RegressionValue", {src::close}, args({14, 0}), "RegressionValue (14, 0)"},
        {"Correlation (30) of close and volume", "Correlation", {src::close, src::volume}, args({30}),
         "Correlation (30) of close and volume"},
        {"MovingCorrelation (30)", "MovingCorrelation", {src::close}, args({30}), ""},
        {"StdDevsAsPercentBelow of the change", "StdDevsAsPercentBelow", {src::change}, args({}), ""},
        {"StdDevsForPercent of the place in the range", "StdDevsForPercent", {src::stoch}, args({}), ""},
        {"SpearmanRCI (9)", "SpearmanRCI", {src::close}, args({9}), ""},
        {"IsSwingHighPoint (5)", "IsSwingHighPoint", {src::close}, args({5}), ""},
        {"SwingHighBarsAgo (first)", "SwingHighBarsAgo", {src::swings}, args({0, 1}), ""},
        {"SwingCustomHigh (5, 5)", "SwingCustomHigh", {src::close}, args({5, 5}), ""},
        {"CGOscillator (10)", "CGOscillator", {src::close}, args({10}), ""},
        {"Laguerre_Func (0.5, first stage)", "Laguerre_Func", {src::close}, args({0.5, 1}), ""},
        {"Ehlers_Decycler (60)", "Ehlers_Decycler", {src::close}, args({60}), ""},
        {"Ehlers_SuperSmoother (10)", "Ehlers_SuperSmoother", {src::close}, args({10}), ""},
        {"Ehlers_RoofingBase (48)", "Ehlers_RoofingBase", {src::close}, args({48}), ""},
        {"Ehlers_SinewaveBase (40)", "Ehlers_SinewaveBase", {src::close}, args({40}), ""},
        {"Ehlers_Fisher1 of close in the bar's range", "Ehlers_Fisher1", {src::close, src::high, src::low}, args({}), ""},
        {"Ehlers_Fisher2", "Ehlers_Fisher2", {src::centred}, args({}), ""},
        {"SuperTrend_DLL", "SuperTrend_DLL", {src::close, src::upperBand, src::lowerBand}, args({}), ""},
        {"QQE_Trailer (band 5)", "QQE_Trailer", {src::stoch}, args({5}), ""},
        {"TTM_Trend (6) of close and open", "TTM_Trend", {src::close, src::open}, args({6}), ""},
    };
    // the element-wise exports of one and of two series
    for (const char* name : {"AbsoluteValue", "Sine", "Cosine", "Arctan", "Fraction", "Integer", "Floor", "Ceiling",
                             "NaturalLog", "Sign", "SquareRoot", "Square"})
        u.push_back({name, name, {src::close}, args({}), ""});
    for (const char* name : {"Mod", "Power", "XOR"})
        u.push_back({std::string(name) + " of close and open", name, {src::close, src::open}, args({}), ""});
    for (const char* name : {"DateTime", "Day", "Month", "Year", "DayOfWeek", "DayOfYear", "Hour", "Minute", "Seconds",
                             "SecondsInBar", "GannTrend"})
        u.push_back(ofMarket(name, name));
    u.push_back(ofMarket("ZigZag (5)", "ZigZag", {}, {5}));
    u.push_back(ofMarket("LWZigZag (5)", "LWZigZag", {}, {5}));

    // the trading calendar on daily bars, and the bars left in the day on minute and trade bars
    for (const char* name : {"TradingDayOfWeek", "TradingDayOfMonth", "TradingDayOfYear", "RemainTDaysOfMonth",
                             "TDaysAfterHoliday", "RemainTDaysToHoliday", "WeekDayOfMonth"})
        u.push_back(ofMarket(name, name));
    u.push_back(ofMarket("RemainingBarsInDay of minute bars", "RemainingBarsInDay", {}, {}, stamp::minutes, minuteBars));
    u.push_back(ofMarket("RemainingBarsInDay of 100-trade bars", "RemainingBarsInDay", {}, {}, stamp::minutes, tradeBars));
    u.push_back({"TimeConvert of minute bars to \"GMT\"", "TimeConvert", {},
                 [](host::Call& c, Inputs, host::Market& m) {
                     static host::Text gmt("GMT");
                     c.arg(m.period(0x03000001).zone("CHI")).arg(gmt);
                 },
                 "", true, stamp::minutes});

    // the market key, the swings and the divergences
    for (const char* name : {"JLUpTrend", "JLDownTrend", "JLRally", "JLReaction"})
        u.push_back(ofMarket(std::string(name) + " (2 points)", name, {}, {2}));
    for (const char* name : {"JLUpTrendCust", "JLDownTrendCust", "JLRallyCust", "JLReactionCust"})
        u.push_back(ofMarket(std::string(name) + " (2 and 1 percent)", name, {}, {2, 1, 1}));
    u.push_back({"IsSwingLowPoint (5)", "IsSwingLowPoint", {src::close}, args({5}), ""});
    u.push_back({"SwingCustomLow (5, 5)", "SwingCustomLow", {src::close}, args({5, 5}), ""});
    u.push_back(ofMarket("SwingSystemHigh (3, mode 0, 1 tick)", "SwingSystemHigh", {}, {3, 0, 1}, stamp::daily, quarters));
    u.push_back(ofMarket("SwingSystemLow (1, mode 1, 1 tick)", "SwingSystemLow", {}, {1, 1, 1}, stamp::daily, quarters));
    u.push_back({"BullDivergence (3) of close and momentum", "BullDivergence", {src::close, src::momentum}, args({3}), ""});
    u.push_back({"BearDivergence (3) of close and momentum", "BearDivergence", {src::close, src::momentum}, args({3}), ""});
    u.push_back({"LWIntSwing", "LWIntSwing", {src::close}, args({}), ""});

    // stops, waves, trends, pivots and bands
    u.push_back(ofMarket("WaveVolume_DLL (0.5)", "WaveVolume_DLL", {}, {0.5}));
    u.push_back(ofMarket("AgTrend (3)", "AgTrend", {}, {3}));
    u.push_back(ofMarket("WillStopCustom (3) of high and low", "WillStopCustom", {src::high, src::low}, {3}));
    u.push_back(ofMarket("BullishPivot (3)", "BullishPivot", {}, {3}));
    u.push_back(ofMarket("BearishPivot (3)", "BearishPivot", {}, {3}));
    u.push_back(ofMarket("EaseOfMove (14)", "EaseOfMove", {}, {14}));
    u.push_back({"BomarUpper (21, 250, 85)", "BomarUpper", {src::close}, args({21, 250, 85}), ""});
    u.push_back({"BomarLower (21, 250, 85)", "BomarLower", {src::close}, args({21, 250, 85}), ""});

    // filters, predictors, ranges, ranks and statistics
    u.push_back({"EhlersCyberCycle (0.07)", "EhlersCyberCycle", {src::close}, args({0.07, 0}), ""});
    u.push_back({"UpperOscPredictorDLL (RSI 14 to 70)", "UpperOscPredictorDLL", {src::close},
                 args({70, 1, 14, 0, 0, 0.01, 1, 0, 0}), ""});
    u.push_back({"LowerOscPredictorDLL (RSI 14 to 30)", "LowerOscPredictorDLL", {src::close},
                 args({30, 1, 14, 0, 0, 0.01, 1, 0, 0}), ""});
    u.push_back({"LateralMovement (2 percent, 10)", "LateralMovement", {src::close}, args({2, 1, 10}), ""});
    u.push_back({"LateralBox (2 percent, 10, middle)", "LateralBox", {src::close}, args({2, 1, 10, 3}), ""});
    u.push_back({"EquityRankForBar (20)", "EquityRankForBar", {src::close}, args({20}), ""});
    u.push_back({"PercentileDLL (20, 75)", "PercentileDLL", {src::close}, args({20, 75}), ""});
    u.push_back({"TSBarMedian (20)", "TSBarMedian", {src::close}, args({20}), ""});
    u.push_back({"TSLineSignificance (20, p-value)", "TSLineSignificance", {src::close}, args({20, 1}), ""});
    u.push_back({"Random (seed 42) of the close", "Random", {src::close}, args({42}), ""});
    u.push_back({"IsNull of the close", "IsNull", {src::close}, args({}), ""});

    // seasonal paths and cycles
    u.push_back(ofMarket("Seasonal (10 years)", "Seasonal", {src::close}, {10}));
    u.push_back(ofMarket("SeasonalPct (10 years)", "SeasonalPct", {src::close}, {10}));
    u.push_back(ofMarket("SeasonalDevUp (10 years, 2, percent)", "SeasonalDevUp", {src::close}, {10, 2, 1}));
    u.push_back(ofMarket("SeasonalDevDown (10 years, 2, percent)", "SeasonalDevDown", {src::close}, {10, 2, 1}));
    u.push_back({"CycleAnalysis (32: 6 to 32, period)", "CycleAnalysis", {src::close}, args({32, 6, 32, 0}), ""});
    u.push_back({"CycleCalc (32: 6 to 32, 5 ahead)", "CycleCalc", {src::close}, args({32, 6, 32, 5}), ""});
    u.push_back(ofMarket("AvgOfSameBarTime (10) of minute volume", "AvgOfSameBarTime", {src::volume}, {10}, stamp::minutes));
    u.push_back(ofMarket("PartialDayData (pivot) of minute bars", "PartialDayData", {}, {7}, stamp::minutes));

    // trade plans on a position that follows a crossing of two averages, and the tick conversions
    u.push_back(ofMarket("PTF_DLL (10 ticks, rung 2)", "PTF_DLL", {src::entry, src::direction}, {10, 2}));
    u.push_back(ofMarket("PyramidTP (10 ticks, 4 units, stop)", "PyramidTP", {src::entry, src::direction}, {10, 4, 3}));
    u.push_back(ofMarket("ReverseBarTP (5, 1.5, 10, target)", "ReverseBarTP", {}, {5, 1.5, 10, 0}));
    u.push_back(ofMarket("DollarsToPrice of the range in money", "DollarsToPrice", {src::rangeDollars}, {}, stamp::daily,
                         quarters));
    u.push_back(ofMarket("PriceToDollars of the range", "PriceToDollars", {src::range}, {}, stamp::daily, quarters));

    // bar lines to a file
    u.push_back(dump("DumpArray of the close", "DumpArray", stamp::daily));
    u.push_back(dump("DumpArrayT of the close on minute bars", "DumpArrayT", stamp::minutes));
    return u;
}

} // namespace fk::peers
