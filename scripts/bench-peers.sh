#!/usr/bin/env bash
# FormulaKit side by side with TA-Lib and Tulip Indicators: builds in Release mode, fetches the
# two libraries' C sources with npm into the build folder, runs the comparison and prints its
# tables; they are written as JSON to out/bench.json too. Arguments go to the benchmark program
# (Google Benchmark flags, e.g. --benchmark_filter=MovAvg or --benchmark_repetitions=9).
#   scripts/bench-peers.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
if ! command -v npm >/dev/null; then
  echo "bench-peers: installing npm"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends npm >/dev/null
fi

build=build/bench-peers
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DFK_TESTS=OFF -DFK_CLI=OFF \
  -DFK_BENCH=ON -DFK_BENCH_PEERS=ON >/dev/null
cmake --build "$build" -j"$(nproc)" --target fk_peers -- --quiet
mkdir -p out
"$build/bench/peers/fk_peers" --json=out/bench.json "$@"
