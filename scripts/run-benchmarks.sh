#!/usr/bin/env bash
# Runs every benchmark of a build folder; expects an X server (make bench
# provides one).
set -euo pipefail
build=${1:-build}
for bench in bench_capture bench_startload bench_backtoback; do
    echo "== $bench"
    "$build/bench/$bench" --benchmark_counters_tabular=true
done
