#!/usr/bin/env bash
# Robustness: every test under AddressSanitizer and UndefinedBehaviorSanitizer, the thread test
# under ThreadSanitizer and a short fuzz run of every export.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
jobs=$(nproc)
began=$SECONDS

# ctest without a line per passing test; its closing lines and any failure stay.
run_tests() {
  local dir=$1
  shift
  local status=0
  ctest --test-dir "$dir" -j"$jobs" --output-on-failure "$@" >"$dir/ctest.log" 2>&1 || status=$?
  grep -vE '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed|^ +Start +[0-9]+: ' "$dir/ctest.log" || true
  return $status
}

export ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1

echo "== address and undefined-behaviour sanitizers"
cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
  -DFK_SANITIZE=address,undefined >/dev/null
cmake --build build/asan -j"$jobs" -- --quiet
run_tests build/asan

echo "== thread sanitizer"
cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
  -DFK_SANITIZE=thread -DFK_CLI=OFF >/dev/null
cmake --build build/tsan -j"$jobs" --target fk_tests_threads -- --quiet
run_tests build/tsan -L threads

echo "== fuzz"
scripts/fuzz.sh 60

echo "robustness: passed in $((SECONDS - began)) s"
