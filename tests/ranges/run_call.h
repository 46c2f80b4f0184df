// Runs an export once over host series made from plain vectors.
#pragma once
#include <deque>
#include <variant>
#include <vector>

#include "host/hostkit.h"

namespace fk::testing {

inline constexpr double F = kMissing;

// A parameter: a series given by its values, or a number (a single constant where the export
// wants a series).
using Arg = std::variant<std::vector<double>, double>;

struct Result {
    StatusCode status;
    std::vector<double> values;
};

inline Result runOnce(const char* name, const std::vector<Arg>& args, int32_t startBar = 0,
                      host::Series out = host::Series()) {
    std::deque<host::Series> inputs;
    host::Call call(name);
    call.out(out);
    for (const Arg& a : args) {
        if (const auto* v = std::get_if<std::vector<double>>(&a)) call.arg(inputs.emplace_back(host::Series::of(*v)));
        else call.arg(std::get<double>(a));
    }
    const StatusCode st = call.run(startBar);
    return {st, out.values()};
}

} // namespace fk::testing
