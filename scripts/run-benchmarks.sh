#!/usr/bin/env bash
# Runs every benchmark of a build folder; expects an X server (make bench
# provides one).
set -euo pipefail
build=${1:-build}
for bench in "$build"/bench/bench_*; do
    [ -x "$bench" ] && [ -f "$bench" ] || continue
    echo "== $(basename "$bench")"
    "$bench" --benchmark_counters_tabular=true
done
