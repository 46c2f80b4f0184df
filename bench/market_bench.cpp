// The cost of one exported call through the parameter block.
#include <benchmark/benchmark.h>

#include "bench_data.h"

namespace {

void BM_TickMove(benchmark::State& state) {
    fk::host::Market m(fk::bench::walkBars(fk::bench::randomWalk(10)));
    fk::host::Series out;
    fk::host::Call call("TickMove");
    call.out(out).arg(m);
    for (auto _ : state) benchmark::DoNotOptimize(call.run(0));
}
BENCHMARK(BM_TickMove);

} // namespace
