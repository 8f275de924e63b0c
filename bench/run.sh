#!/usr/bin/env bash
# make bench: configures a Release build with the benchmarks in build-bench, builds it, then runs
# every bench/bench_*.sh in turn with the build folder as argument. Figures are medians and ratios
# against peers measured in the same run (the machines are shared and noisy).
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD=$ROOT/build-bench
JOBS=${JOBS:-$(nproc)}

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DVELAR_BUILD_BENCH=ON -DVELAR_BUILD_TESTS=OFF
cmake --build "$BUILD" -j "$JOBS"

status=0
for bench in "$ROOT"/bench/bench_*.sh; do
    echo
    echo "######## $(basename "$bench")"
    bash "$bench" "$BUILD" || status=1
done
exit $status
