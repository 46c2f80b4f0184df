#!/usr/bin/env bash
# Fuzzes every export of the table for SECONDS seconds (default 60): libFuzzer with the address
# and undefined-behaviour sanitizers, starting from one plain valid call per export (made from the
# export table), the inputs kept in fuzz/corpus.tar.gz and the working corpus of earlier runs.
# With `keep` after the seconds, the working corpus is then merged down to the inputs that add
# coverage and packed into fuzz/corpus.tar.gz, for the runs of every other machine to start from.
# Usage: scripts/fuzz.sh [SECONDS [keep]]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
keep=${2:-}
dir=build/fuzz

cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
  -DFK_FUZZ=ON -DFK_TESTS=OFF -DFK_CLI=OFF -DFK_BENCH=OFF >/dev/null
cmake --build "$dir" --target fk_fuzz_exports fk_fuzz_seeds -- --quiet

rm -rf "$dir/seeds" "$dir/kept"
mkdir -p "$dir/seeds" "$dir/kept" "$dir/corpus" "$dir/artifacts"
"$dir/fuzz/fk_fuzz_seeds" "$dir/seeds" >/dev/null
if [[ -f fuzz/corpus.tar.gz ]]; then tar -xzf fuzz/corpus.tar.gz -C "$dir/kept"; fi
# new inputs go to the first directory, the working corpus
corpora=("$dir/corpus" "$dir/seeds" "$dir/kept")

status=0
# The harness itself fails a call that takes more processor time than its function's definition
# asks for; libFuzzer's own limit only stops a run that hangs outright.
UBSAN_OPTIONS=print_stacktrace=1 "$dir/fuzz/fk_fuzz_exports" -max_total_time="$seconds" -timeout=120 -rss_limit_mb=2048 -print_final_stats=1 \
  -artifact_prefix="$dir/artifacts/" "${corpora[@]}" >"$dir/fuzz.log" 2>&1 || status=$?
runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$dir/fuzz.log")
if ((status)); then
  grep -vE '^#[0-9]+|^INFO:' "$dir/fuzz.log" | tail -n 100
  echo "fuzz: FAILED after ${runs:-?} inputs; the input is in $dir/artifacts/ (replay: $dir/fuzz/fk_fuzz_exports FILE)"
  exit 1
fi
echo "fuzz: $runs inputs in ${seconds} s, every check held ($(ls "$dir/corpus" | wc -l) inputs in $dir/corpus)"

if [[ $keep == keep ]]; then
  rm -rf "$dir/merged"
  mkdir -p "$dir/merged"
  # inputs that take seconds (legal but heavy calls) are left out, so that short runs stay short
  "$dir/fuzz/fk_fuzz_exports" -merge=1 -timeout=2 -rss_limit_mb=2048 "$dir/merged" "${corpora[@]}" >"$dir/merge.log" 2>&1
  tar -czf fuzz/corpus.tar.gz -C "$dir/merged" .
  echo "fuzz: $(ls "$dir/merged" | wc -l) inputs kept in fuzz/corpus.tar.gz"
fi
