// The element-wise math exports: ArrayOperation, the one-operand functions, Round, Square, the
// two-operand functions, Max and Min, and the tick conversions of money amounts and prices.
#pragma once
#include <cstdint>
#include <span>

#include "containers/buffer.h"
#include "frame/status.h"
#include "mathstat/element_ops.h"

namespace fk {
struct BarRecord;
}

namespace fk::mathstat {

// The keyword's operation from the start bar on; the output then takes A's element count.
StatusCode arrayOperation(SeriesHandle& out, const SeriesHandle& a, const char* keyword, const SeriesHandle& b,
                          int32_t startBar);
// A one-operand code (IsNull, AbsoluteValue, Sine, ...) over the input.
StatusCode applyUnary(SeriesHandle& out, const SeriesHandle& in, OpCode code, int32_t startBar);
// A two-operand code (Mod, Power, XOR) over two series.
StatusCode applyBinary(SeriesHandle& out, const SeriesHandle& a, OpCode code, const SeriesHandle& b,
                       int32_t startBar);
StatusCode roundSeries(SeriesHandle& out, const SeriesHandle& in, double decimals, int32_t startBar);
StatusCode squareSeries(SeriesHandle& out, const SeriesHandle& in, int32_t startBar);
// The largest (or smallest) of 2 to 9 inputs on every bar.
StatusCode extremeOf(SeriesHandle& out, std::span<const SeriesHandle* const> inputs, bool largest, int32_t startBar);
// Money amounts to price distances (divided by tick value / tick size), or back (multiplied).
StatusCode tickConvert(SeriesHandle& out, const BarRecord& market, const SeriesHandle& in, bool toPrice);

} // namespace fk::mathstat
