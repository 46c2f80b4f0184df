// Recursive filters (the Laguerre stages and the Ehlers filters) and the centre-of-gravity
// oscillator. Each writes the Return Value from the start bar to the input's last element and
// reads its own past outputs back from the Return Value, so that a host that calls again with
// the start bar at the first new bar pays one step per new bar.
#pragma once
#include <cstdint>

#include "containers/buffer.h"
#include "frame/status.h"

namespace fk::filters {

// All take the start bar as the calling sequence leaves it (0 or more). An input series without
// elements, and a period of 0 or less where one is asked for, return kDomainError and write nothing.

// One stage of a Laguerre filter: the first stage when `stage` is not 0, else an all-pass stage
// whose input is the output of the stage before.
StatusCode laguerre(SeriesHandle& out, const SeriesHandle& x, double gamma, double stage, int32_t start);
// One-pole high-pass; the decycled price is the price minus it.
StatusCode decycler(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start);
// The high-pass stage of the sinewave indicator.
StatusCode sinewaveBase(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start);
// The two-pole high-pass stage of the roofing filter.
StatusCode roofingBase(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start);
// Two-pole smoother; a missing past output is stood in for by the input of that bar.
StatusCode superSmoother(SeriesHandle& out, const SeriesHandle& x, double period, int32_t start);
// The normalising stage of the Fisher transform over the caller's highest and lowest series.
StatusCode fisher1(SeriesHandle& out, const SeriesHandle& x, const SeriesHandle& highest,
                   const SeriesHandle& lowest, int32_t start);
// The Fisher transform of the normalised series.
StatusCode fisher2(SeriesHandle& out, const SeriesHandle& x, int32_t start);
// Centre of gravity over `length` bars, recomputed from its first full span on every call.
StatusCode cgOscillator(SeriesHandle& out, const SeriesHandle& x, double length);

} // namespace fk::filters
