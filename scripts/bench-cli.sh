#!/usr/bin/env bash
# Times formulakit on a file of 1,000,000 one-minute bars: loading the CSV alone, and loading it
# and evaluating MovAvg(Close, 20, 1) (TickMove(Bars) where the library has no MovAvg yet), each
# writing its whole table. Uses hyperfine when it is installed, else bash's time.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DFK_TESTS=OFF -DFK_BENCH=OFF >/dev/null
cmake --build build/release --target formulakit-cli -- --quiet
fk=build/release/cli/formulakit

big=build/bench-1m.csv
if [[ ! -s $big ]]; then
  echo "== making $big"
  python3 - "$big" <<'PY'
import datetime, random, sys
rng = random.Random(1)
t = datetime.datetime(2020, 1, 1)
step = datetime.timedelta(minutes=1)
price = 100.0
with open(sys.argv[1], "w") as f:
    f.write("Date,Open,High,Low,Close,Volume\n")
    for _ in range(1_000_000):
        o = price
        price = max(1.0, price + rng.gauss(0, 0.05))
        h = max(o, price) + abs(rng.gauss(0, 0.02))
        l = min(o, price) - abs(rng.gauss(0, 0.02))
        f.write(f"{t:%Y-%m-%d %H:%M},{o:.2f},{h:.2f},{l:.2f},{price:.2f},{rng.randint(100, 5000)}\n")
        t += step
PY
fi

expr="MovAvg(Close, 20, 1)"
if ! "$fk" list MovAvg >/dev/null 2>&1; then
  echo "(no MovAvg in the library yet: timing TickMove(Bars) instead)"
  expr="TickMove(Bars)"
fi

echo "== $(wc -l <"$big") lines, $(du -h "$big" | cut -f1)"
if command -v hyperfine >/dev/null; then
  hyperfine --warmup 1 --runs 5 \
    "$fk eval --bars $big Close --out /dev/null" \
    "$fk eval --bars $big '$expr' --out /dev/null"
else
  echo "-- load and print Close"
  time "$fk" eval --bars "$big" Close --out /dev/null
  echo "-- $expr"
  time "$fk" eval --bars "$big" "$expr" --out /dev/null
fi
