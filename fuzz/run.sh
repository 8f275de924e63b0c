#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang and runs them.
#
#   fuzz/run.sh regress        every corpus file of every target replayed, then each target fuzzed
#                              for a few seconds from its corpus into a scratch folder (the
#                              repository's corpus is only read); part of `make test`
#   fuzz/run.sh run [SECONDS]  every target fuzzed for its share of SECONDS (default 600 in all);
#                              new inputs are kept in $FUZZ_BUILD/fuzz-work/<target>/
#
# Shares: the MPD, MP4 and feeder targets, whose inputs reach far more code and run far slower,
# get three parts each, the small parsers one part each (with 600 s: 138 s and 46 s). A target
# with a dictionary fuzz/<target>.dict gets it.
#
# Environment: FUZZ_BUILD (build folder, default build-fuzz, relative to the repository),
# JOBS (build jobs, default 2), FUZZ_REGRESS_SECONDS (per target in regress mode, default 4).
#
# Prints one line per target: executions, coverage (libFuzzer's cov and ft counters) and the
# outcome. A finding (crash, sanitizer report, leak, failed check, time-out of one input, memory
# limit) names the target and the input's path, and makes the exit status 1.
set -euo pipefail

HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ROOT=$(dirname "$HERE")
BUILD=${FUZZ_BUILD:-build-fuzz}
[[ $BUILD = /* ]] || BUILD=$ROOT/$BUILD
JOBS=${JOBS:-2}
MODE=${1:-}
TIMEOUT_S=20      # one input running longer is a finding (a hang)
RSS_LIMIT_MB=2048

usage() {
    echo "usage: $0 regress | run [SECONDS]" >&2
    exit 2
}
case "$MODE" in
    regress) [ $# -eq 1 ] || usage ;;
    run) [ $# -le 2 ] || usage ;;
    *) usage ;;
esac

TARGETS=()
for source in "$HERE"/*Fuzzer.cpp; do
    TARGETS+=("$(basename "$source" .cpp)")
done
# weight TARGET: its parts of the run time.
weight() {
    case "$1" in
        MpdFuzzer | MemoryFileFuzzer | H264FeederFuzzer) echo 3 ;;
        *) echo 1 ;;
    esac
}

for tool in clang clang++; do
    command -v "$tool" >/dev/null || { echo "$tool not found: run scripts/install-deps.sh" >&2; exit 1; }
done
echo "== building the fuzz targets in $BUILD"
started=$(date +%s)
mkdir -p "$BUILD"
cmake -S "$ROOT" -B "$BUILD" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DVELAR_FUZZ=ON -DVELAR_BUILD_TESTS=OFF -DVELAR_BUILD_BENCH=OFF >"$BUILD/fuzz-configure.log" 2>&1 ||
    { cat "$BUILD/fuzz-configure.log" >&2; exit 1; }
cmake --build "$BUILD" --target velar_fuzzers -j "$JOBS" >"$BUILD/fuzz-build.log" 2>&1 ||
    { tail -50 "$BUILD/fuzz-build.log" >&2; exit 1; }
echo "   built in $(($(date +%s) - started)) s"

export UBSAN_OPTIONS=print_stacktrace=1
FINDINGS=0
COMMON=(-timeout=$TIMEOUT_S -rss_limit_mb=$RSS_LIMIT_MB -print_final_stats=1)

# report TARGET LOG INPUT: a finding of TARGET on INPUT, with the end of its log.
report() {
    FINDINGS=$((FINDINGS + 1))
    echo "FINDING in $1: input $3"
    echo "   log: $2"
    grep -E 'ERROR|SUMMARY|check failed|runtime error|==[0-9]+==' "$2" | head -8 | sed 's/^/   /'
}

# replay TARGET: runs every corpus file once (given one by one, so the log names each file).
replay() {
    local target=$1 log=$OUT/$1.replay.log
    local files=("$HERE/corpus/$target"/*)
    if "$BUILD/fuzz/$target" "${COMMON[@]}" -artifact_prefix="$OUT/$target-" "${files[@]}" >"$log" 2>&1; then
        echo "$target: replayed ${#files[@]} corpus files"
    else
        report "$target" "$log" "$(grep '^Running: ' "$log" | tail -1 | cut -d' ' -f2-)"
    fi
}

# fuzz TARGET SECONDS WORKDIR: fuzzes from WORKDIR (written) and the repository's corpus (read).
fuzz() {
    local target=$1 seconds=$2 work=$3 log=$OUT/$1.fuzz.log
    mkdir -p "$work"
    local status=0 dict=()
    [ ! -f "$HERE/$target.dict" ] || dict=(-dict="$HERE/$target.dict")
    "$BUILD/fuzz/$target" "${COMMON[@]}" "${dict[@]}" -max_total_time="$seconds" -artifact_prefix="$OUT/$target-" \
        "$work" "$HERE/corpus/$target" >"$log" 2>&1 || status=$?
    local runs cov
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    cov=$(grep -o 'cov: [0-9]* ft: [0-9]* corp: [0-9]*' "$log" | tail -1 | sed 's/corp: \([0-9]*\)/corpus \1/')
    if [ "$status" -eq 0 ]; then
        printf '%s: %s s, %s runs, %s: ok\n' "$target" "$seconds" "${runs:-?}" "${cov:-?}"
    else
        report "$target" "$log" "$(sed -n 's/.*Test unit written to //p' "$log" | tail -1)"
    fi
}

if [ "$MODE" = regress ]; then
    OUT=$BUILD/fuzz-regress
    rm -rf "$OUT"
    mkdir -p "$OUT"
    seconds=${FUZZ_REGRESS_SECONDS:-4}
    started=$(date +%s)
    for target in "${TARGETS[@]}"; do
        replay "$target"
    done
    for target in "${TARGETS[@]}"; do
        fuzz "$target" "$seconds" "$OUT/work/$target"
    done
    echo "== regress: ${#TARGETS[@]} targets in $(($(date +%s) - started)) s, $FINDINGS finding(s)"
else
    total=${2:-600}
    [[ $total =~ ^[0-9]+$ ]] && [ "$total" -gt 0 ] || usage
    parts=0
    for target in "${TARGETS[@]}"; do
        parts=$((parts + $(weight "$target")))
    done
    OUT=$BUILD/fuzz-run-$(date +%Y%m%d-%H%M%S)
    mkdir -p "$OUT"
    echo "== fuzzing ${#TARGETS[@]} targets for $total s in all; logs and findings in $OUT"
    for target in "${TARGETS[@]}"; do
        share=$((total * $(weight "$target") / parts))
        fuzz "$target" "$((share > 0 ? share : 1))" "$BUILD/fuzz-work/$target"
    done
    echo "== run: $FINDINGS finding(s)"
fi
[ "$FINDINGS" -eq 0 ]
