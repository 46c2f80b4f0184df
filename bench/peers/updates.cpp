// The update rows: every export that computes only from the start bar, with its parameters.
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

// An export of the market and numbers.
Update ofMarket(std::string row, const char* name, std::vector<double> numbers = {}) {
    return {std::move(row), name, {},
            [numbers](host::Call& c, Inputs, host::Market& m) {
                c.arg(m);
                for (double n : numbers) c.arg(n);
            },
            "", true};
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
    u.push_back(ofMarket("ZigZag (5)", "ZigZag", {5}));
    u.push_back(ofMarket("LWZigZag (5)", "LWZigZag", {5}));
    return u;
}

} // namespace fk::peers
