// Status codes of the stops, trends, pivots and bands: each export's own checks of its market and
// its inputs.
#include <vector>

#include "market_data.h"
#include "support/heap_check.h"

namespace fk {
namespace {

using namespace testing;

class StopsStatusTest : public HeapChecked {};

TEST_F(StopsStatusTest, MarketAndInputChecks) {
    const auto flat = [](int n) { return std::vector<Bar>(static_cast<std::size_t>(n), Bar{41640, 1, 2, 1, 1.5, 10}); };
    const Vec levels = {1, 2, 3};
    expectStatuses({
        {"WaveVolume_DLL", {flat(0), 1.0}, kTooFewBars},
        {"WaveVolume_DLL", {flat(1), 1.0}, kOk},
        {"AgTrend", {flat(8), 10.0}, kTooFewBars},
        {"AgTrend", {flat(8), 7.0}, kOk},
        // the look-back is tested as given: 0 stands for 3 only in the computation
        {"AgTrend", {flat(3), 0.0}, kOk},
        {"AgTrend", {flat(3), 3.0}, kTooFewBars},
        {"AgTrend", {flat(0), 0.0}, kTooFewBars},
        {"AgTrend", {flat(0), -1.0}, kOk},
        {"WillStopCustom", {flat(3), levels, levels, 0.0}, kTooFewBars},
        {"WillStopCustom", {flat(4), levels, levels, 0.0}, kOk},
        {"BullishPivot", {flat(5), 5.0}, kTooFewBars},
        {"BearishPivot", {flat(5), 5.0}, kTooFewBars},
        {"BullishPivot", {flat(2), 0.0}, kOk},
        {"BullishPivot", {flat(1), 0.0}, kTooFewBars},
        {"EaseOfMove", {flat(0), 1.0}, kTooFewBars},
        {"EaseOfMove", {flat(1), 100.0}, kOk},
        // an empty input
        {"BomarUpper", {'e', 3.0, 4.0, 50.0}, kDomainError},
        {"BomarLower", {'e', 3.0, 4.0, 50.0}, kDomainError},
        {"WillStopCustom", {flat(5), 'e', levels, 2.0}, kDomainError},
        {"WillStopCustom", {flat(5), levels, 'e', 2.0}, kDomainError},
    });
}

} // namespace
} // namespace fk
