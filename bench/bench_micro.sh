#!/usr/bin/env bash
# Microbenchmarks (bench/micro_pipeline.cpp, Google Benchmark): the PES packetiser, the H.264 feeder
# and the AAC feeder in bytes per second of sample payload, beside memcpy of the same sizes in the
# same binary. Medians of REPS repetitions (CPU time of the benchmark thread) are appended to
# BENCH_RESULTS for report.py, which gives the ratios to memcpy.
#
# Usage: bench_micro.sh BUILD_DIR [REPS]   (a build with -DVELAR_BUILD_BENCH=ON)
set -euo pipefail

BUILD=$(cd "${1:?usage: $0 BUILD_DIR [REPS]}" && pwd)
REPS=${2:-5}
WORK=$BUILD/bench-work
RESULTS=${BENCH_RESULTS:-$WORK/results.jsonl}
mkdir -p "$WORK"

echo "== microbenchmarks: medians of $REPS repetitions"
timeout 300 "$BUILD/bench/micro_pipeline" --benchmark_repetitions="$REPS" \
    --benchmark_report_aggregates_only=true --benchmark_min_time=0.2 \
    --benchmark_format=json >"$WORK/micro.json"
python3 - "$WORK/micro.json" "$RESULTS" <<'PY'
import json, sys
report = json.load(open(sys.argv[1]))
with open(sys.argv[2], "a") as out:
    for b in report["benchmarks"]:
        if b.get("aggregate_name") != "median":
            continue
        name, size = b["run_name"].split("/")
        what = name[3:]  # BM_Memcpy -> Memcpy
        peer = "memcpy" if what == "Memcpy" else "velar"
        print("  %-26s %8.2f GB/s" % (b["run_name"], b["bytes_per_second"] / 1e9))
        for figure in ([f + "_" + size for f in ("PesPacketiser", "H264Feeder", "AacFeeder")]
                       if peer == "memcpy" else [what + "_" + size]):
            out.write(json.dumps({"workload": "microbenchmarks", "peer": peer, "command": b["run_name"],
                                  "figure": figure, "value": b["bytes_per_second"]}) + "\n")
PY
