#!/usr/bin/env bash
# Builds the fuzz targets into build-host/ and runs each in turn for the given seconds
# (default 60), starting from its seeds in tests/fuzz/corpus; what a run adds to the corpus
# stays in build-host/fuzz/run/ for the next run. Prints one line per target:
#   fuzz <target>: <runs> runs, no crash
# A crash (or a leak, a time-out, a failed property) stops it with exit status 1 and keeps
# the input in build-host/fuzz/crashes/<target>/. With HOLLIN_FUZZ_RUNS=N each target runs
# N inputs instead of a time.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
case $seconds in '' | *[!0-9]*) echo "usage: scripts/fuzz.sh [seconds-per-target]" >&2; exit 2 ;; esac

scripts/bootstrap.sh --host
cmake -S tests/host -B build-host -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
cmake --build build-host -j"$(nproc)" >/dev/null

if [ -n "${HOLLIN_FUZZ_RUNS:-}" ]; then
  limit=(-runs="$HOLLIN_FUZZ_RUNS")
else
  limit=(-max_total_time="$seconds")
fi
while read -r target; do
  [ -n "$target" ] || continue
  run=build-host/fuzz/run/$target
  crashes=build-host/fuzz/crashes/$target
  mkdir -p "$run/corpus" "$crashes"
  log=$run/last.log
  if ! build-host/fuzz_"$target" "${limit[@]}" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$crashes/" \
    "$run/corpus" "tests/fuzz/corpus/$target" >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    kept=$(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log" | tail -n 1)
    echo "fuzz $target: crash, input kept in ${kept:-$crashes}" >&2
    exit 1
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *\([0-9]*\).*/\1/p' "$log" | tail -n 1)
  echo "fuzz $target: ${runs:-0} runs, no crash"
done <build-host/fuzz/targets.txt
