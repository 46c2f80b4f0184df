#!/usr/bin/env bash
# Robustness: every test under AddressSanitizer and UndefinedBehaviorSanitizer, the thread test
# under ThreadSanitizer, a short fuzz run of every export, and valgrind's memcheck over the
# command line on the bundled samples (when the native build has made the command line).
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

echo "== valgrind"
# Calls of every export that answer 0 on the sample: Close for a series, Bars for the market, and
# each of a few numbers and texts (a length, a kind, a zone, an operation).
# exports whose numbers must differ from one another to answer 0, called as written here
extra=('UpperOscPredictorDLL(Close, 70, 1, 14, 0, 0, 0.01, 1, 0, 0)' 'LowerOscPredictorDLL(Close, 30, 1, 14, 0, 0, 0.01, 1, 0, 0)'
  'CycleAnalysis(Close, 32, 6, 32, 0)' 'TSLineSignificance(Close, 20, 1)')
expressions() {
  local fk=$1 line name params number text k expr any
  local -a kinds args
  declare -A seen=()
  while IFS= read -r line; do
    name=${line%%(*}
    params=${line#*(}
    params=${params%%)*}
    params=${params%%[*}
    any=0
    for number in 14 1 3; do
      for text in '"+"' '"NY"'; do
        args=()
        IFS=',' read -ra kinds <<<"$params"
        for k in "${kinds[@]}"; do
          case ${k// /} in
            series) args+=(Close) ;;
            number) args+=("$number") ;;
            Bars) args+=(Bars) ;;
            *) args+=("$text") ;;
          esac
        done
        expr="$name($(IFS=','; echo "${args[*]}"))"
        [[ -n ${seen[$expr]:-} ]] && continue
        seen[$expr]=1
        if "$fk" eval --tail 1 "$expr" >/dev/null 2>&1; then
          echo "$expr"
          any=1
        fi
      done
    done
    [[ " ${extra[*]}" == *" $name("* ]] && any=1
    ((any)) || echo "valgrind: no plain call of $name answers 0 on the sample (left out)" >&2
  done < <("$fk" list)
}
fk=$PWD/build/native/cli/formulakit
if [[ -x $fk ]]; then
  # in a scratch folder, where the dump exports write the files named by the texts
  scratch=build/valgrind
  rm -rf "$scratch" && mkdir -p "$scratch"
  cd "$scratch"
  mapfile -t exprs < <(expressions "$fk")
  exprs+=("${extra[@]}")
  for sample in daily intraday; do
    # in chunks, so that every call site is called again and released
    valgrind --quiet --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect,possible \
      --errors-for-leak-kinds=definite,indirect,possible \
      "$fk" eval --sample "$sample" --chunk 97 --out /dev/null "${exprs[@]}"
  done
  echo "valgrind: ${#exprs[@]} calls of the exports on the daily and intraday samples, no errors and no leaks"
  cd - >/dev/null
else
  echo "valgrind: no command line in build/native (skipped)"
fi

echo "robustness: passed in $((SECONDS - began)) s"
