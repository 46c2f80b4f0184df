// Statistics over series: the normal distribution and its inverse, rolling Pearson correlations,
// the rolling least-squares line and Spearman's rank correlation index.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"

namespace fk::mathstat {

// Percent of a normal population below x standard deviations.
double NormalPercentBelow(double x);
// The number of standard deviations below which p percent of a normal population lies.
double NormalInverse(double p);

StatusCode stdDevsAsPercentBelow(SeriesHandle& out, const SeriesHandle& in, int32_t startBar);
StatusCode stdDevsForPercent(SeriesHandle& out, const SeriesHandle& in, int32_t startBar);
// Rolling Pearson r of y against x (against time when x is a single constant).
StatusCode correlation(SeriesHandle& out, const SeriesHandle& y, const SeriesHandle& x, double length);
// Rolling Pearson r of the last `length` present values against a straight line.
StatusCode movingCorrelation(SeriesHandle& out, const SeriesHandle& in, double length);
// The rolling least-squares line `offset` bars back, or its slope for a negative length.
StatusCode regressionValue(SeriesHandle& out, const SeriesHandle& in, double length, double offset,
                           int32_t startBar);
// Rank correlation of the last `length` present values against their order in time, in percent.
StatusCode spearmanRci(SeriesHandle& out, const SeriesHandle& in, double length, int32_t startBar);

} // namespace fk::mathstat
