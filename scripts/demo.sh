#!/usr/bin/env bash
# Shows the command line at work on the bundled daily sample: sets the machine up, builds
# formulakit in Release, evaluates a moving average, RSI, ADX, the parabolic stop and a zigzag
# (those of them the library has; otherwise what it does have), prints the last rows as a table
# and writes out/demo.csv and out/demo.svg.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

echo "== building formulakit (Release)"
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DFK_TESTS=OFF -DFK_BENCH=OFF >/dev/null
cmake --build build/release --target formulakit-cli -- --quiet
fk=build/release/cli/formulakit

# Each showcase item: where it is drawn, then the expression.
showcase=(
  "overlay MovAvg(Close, 50, 1)"
  "overlay Parabolic(Bars, 0, 0.02, 0.2)"
  "overlay ZigZag(Bars, 5)"
  "pane RSI(Close, 14)"
  "pane ADX(Bars, 14)"
)

runs() { "$fk" eval --tail 1 "$1" >/dev/null 2>&1; }

overlays=()
panes=()
for item in "${showcase[@]}"; do
  where=${item%% *}
  expr=${item#* }
  if "$fk" list "${expr%%(*}" >/dev/null 2>&1 && runs "$expr"; then
    if [[ $where == overlay ]]; then overlays+=(--overlay "$expr"); else panes+=("$expr"); fi
  else
    echo "(${expr%%(*} is not in the library yet)"
  fi
done

# None of them yet: up to four functions that are there, called with Close for a series,
# 14 for a number and Bars for the market.
if ((${#overlays[@]} + ${#panes[@]} == 0)); then
  while IFS= read -r line; do
    sig=${line%% -> *}
    name=${sig%%(*}
    params=${sig#*(}
    params=${params%)}
    params=${params%%[*}
    args=()
    IFS=',' read -ra kinds <<<"$params"
    for k in "${kinds[@]}"; do
      case ${k// /} in
        series) args+=("Close") ;;
        number) args+=("14") ;;
        Bars) args+=("Bars") ;;
        *) args+=("\"\"") ;;
      esac
    done
    expr="$name($(IFS=','; echo "${args[*]}" | sed 's/,/, /g'))"
    if runs "$expr"; then panes+=("$expr"); fi
    ((${#panes[@]} < 4)) || break
  done < <("$fk" list)
fi

echo "== showing: ${panes[*]} ${overlays[*]}"
mkdir -p out
"$fk" eval "${panes[@]}" "${overlays[@]}" --out out/demo.csv --chart out/demo.svg --chart-bars 250
"$fk" eval "${panes[@]}" "${overlays[@]}" --tail 15 --table
echo "== wrote out/demo.csv ($(($(wc -l <out/demo.csv) - 1)) rows) and out/demo.svg (the last 250 bars)"
