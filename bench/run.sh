#!/usr/bin/env bash
# make bench: configures a Release build with the benchmarks in build-bench, builds it, runs every
# benchmark of the project (bench/bench_*.sh, each given the build folder; the known ones in the
# order below, any other after them) and ends with ONE table (bench/report.py): per workload and
# figure the library's median, each peer's median from the same run and the ratio, with the
# targets. The table is also written, with the date, the machine and the commit, to
# bench/results/YYYY-MM-DD.md (a second run on the same day adds -2, -3...). The machines are
# shared and noisy: every figure is a median of interleaved runs and is compared only with peers
# measured in the same run. About 15 minutes on 2 cores, clip generation (cached in build-bench)
# included.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD=$ROOT/build-bench
JOBS=${JOBS:-2}
START=$SECONDS

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DVELAR_BUILD_BENCH=ON -DVELAR_BUILD_TESTS=OFF
# The programs of the benchmarks below first (they must build), then everything else; a program
# of another benchmark that does not build fails that benchmark only.
cmake --build "$BUILD" -j "$JOBS" --target velar-play read_loop seek_bench dash_idle download_bench \
    micro_pipeline
status=0
cmake --build "$BUILD" -j "$JOBS" || { echo "some benchmark programs did not build"; status=1; }

export BENCH_RESULTS=$BUILD/bench-work/results.jsonl
mkdir -p "$BUILD/bench-work"
: >"$BENCH_RESULTS"

ORDER=(bench_local_mp4.sh bench_dash.sh bench_dash_live.sh bench_download.sh bench_micro.sh)
BENCHES=()
for name in "${ORDER[@]}"; do BENCHES+=("$ROOT/bench/$name"); done
for bench in "$ROOT"/bench/bench_*.sh; do
    [[ " ${ORDER[*]} " == *" $(basename "$bench") "* ]] || BENCHES+=("$bench")
done

for bench in "${BENCHES[@]}"; do
    echo
    echo "######## $(basename "$bench")"
    bash "$bench" "$BUILD" || { echo "$(basename "$bench") failed"; status=1; }
done

echo
echo "######## all benchmarks ($(((SECONDS - START) / 60)) min $(((SECONDS - START) % 60)) s)"
python3 "$ROOT/bench/report.py" "$BENCH_RESULTS" "$ROOT/bench/results" \
    "$(git -C "$ROOT" describe --always --dirty 2>/dev/null || echo unknown)"
exit $status
