// The market key: a record sheet of the closes in six columns (secondary rally, natural rally,
// upward trend, downward trend, natural reaction, secondary reaction). Each bar records its close
// in at most one column, by reversal and confirmation amounts; the exports show where.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"
#include "market/bar_record.h"

namespace fk::marketkey {

// The columns an export shows: the upward trend, the downward trend, the rallies (natural and
// secondary) or the reactions (natural and secondary).
enum class Shown { UpTrend, DownTrend, Rally, Reaction };

enum class Unit { Points, Percent, Ticks };

struct Thresholds {
    double reversal;     // a move against the column that opens another one
    double confirmation; // a move past a pivotal point that resumes a trend
    Unit unit;
};

// The plain forms: a reversal in points (0 or less means 6), confirmed by half of it.
Thresholds plainThresholds(double reversal);
// The custom forms: reversal (0 or less means 6), confirmation (0 or less: half the reversal) and
// unit code (1 percent, 2 ticks, anything else points).
Thresholds customThresholds(double reversal, double confirmation, double unit);

// Every bar receives its close where the sheet records it in a shown column, else the fill value
// (a missing close records nothing). A market without bars returns kTooFewBars.
StatusCode marketKey(Shown shown, SeriesHandle& out, const BarRecord& market, const Thresholds& t);

} // namespace fk::marketkey
