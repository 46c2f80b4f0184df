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
// The running sums of a rolling least-squares line after bars 0 .. bar - 1 (bar -1: none), and
// the bar where its window starts.
struct RegressionMark {
    int32_t bar = -1;
    int32_t n = 0, oldest = 0;
    double sx = 0, sxx = 0, sy = 0, sxy = 0;
};

// Where RegressionValue's last call through one parameter block stopped: its sums after its last
// bar and after the bar before it, with what they were made from. A call that starts at either
// bar, on the same input and length, goes on from there exactly as one call over all bars would.
struct RegressionResume {
    RegressionMark marks[2];
    const void* input = nullptr;
    int32_t word = 0, length = 0;
    double fill = 0;
};

// The rolling least-squares line `offset` bars back, or its slope for a negative length.
// `resume` (may be null) keeps where this call stopped for the next call.
StatusCode regressionValue(SeriesHandle& out, const SeriesHandle& in, double length, double offset,
                           int32_t startBar, RegressionResume* resume = nullptr);
// Rank correlation of the last `length` present values against their order in time, in percent.
StatusCode spearmanRci(SeriesHandle& out, const SeriesHandle& in, double length, int32_t startBar);

} // namespace fk::mathstat
