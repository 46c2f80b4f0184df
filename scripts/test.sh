#!/usr/bin/env bash
# Builds every variant and runs every test: native x86-64, 32-bit (-m32), the Windows DLL
# (cross-built, its export table checked), then the sanitizers, a short fuzz run and valgrind.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

jobs=$(nproc)

# ctest without a line per passing test; its closing lines and any failure stay.
run_tests() {
  local status=0
  ctest --test-dir "$1" -j"$jobs" --output-on-failure >"$1/ctest.log" 2>&1 || status=$?
  grep -vE '^ *[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed|^ +Start +[0-9]+: ' "$1/ctest.log" || true
  return $status
}

echo "== native"
cmake -S . -B build/native -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/native -j"$jobs" -- --quiet
run_tests build/native

echo "== 32-bit"
cmake -S . -B build/m32 -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/linux-i686.cmake" >/dev/null
cmake --build build/m32 -j"$jobs" -- --quiet
run_tests build/m32

echo "== Windows DLL"
scripts/check-dll.sh build/native/fk-gendef build/win32

scripts/robustness.sh
echo "test: passed in $SECONDS s"
