#!/usr/bin/env bash
# Download benchmark: a loopback nginx (tests/servers/nginx.conf.in) serves a generated 50 MiB file
# and 200 segment files of 64 KiB. Prints, as medians of RUNS interleaved runs, the throughput of
#   HttpDownload          bench/download_bench whole: timed in-process, bytes kept in memory
#   HttpTransfer discard  bench/download_bench discard: the same transport, bytes only counted
#   curl -o /dev/null     timed by curl itself (%{time_total}); bytes thrown away
#   curl -o /dev/shm/...  the same, bytes kept in memory (tmpfs)
# and the ratios: transport / curl -o /dev/null (the like-for-like figure; target at least 0.8),
# HttpDownload / curl -o /dev/null (target at least 0.8; on loopback this mostly measures the cost
# of 50 MiB of fresh memory, which curl -o /dev/null does not pay) and HttpDownload / curl into
# memory. Then the number of TCP connections nginx saw for 200 sequential segment downloads by one
# process (target: reused, at most a handful). The figures are appended to BENCH_RESULTS for
# report.py.
#
# Usage: bench_download.sh BUILD_DIR [RUNS]   (BUILD_DIR: a build with -DVELAR_BUILD_BENCH=ON)
set -euo pipefail

BUILD=$(cd "${1:?usage: $0 BUILD_DIR [RUNS]}" && pwd)
RUNS=${2:-7}
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ROOT=$(cd "$HERE/.." && pwd)
WORK=$BUILD/bench-work/download
WWW=$WORK/www
DRIVER=$BUILD/bench/download_bench
RESULTS=${BENCH_RESULTS:-$BUILD/bench-work/results.jsonl}
mkdir -p "$WWW/seg"
# shellcheck source=../scripts/nginx_loopback.sh
source "$ROOT/scripts/nginx_loopback.sh"

if [ ! -x "$DRIVER" ]; then
    echo "missing $DRIVER (configure with -DVELAR_BUILD_BENCH=ON)" >&2
    exit 1
fi
if [ ! -x /usr/sbin/nginx ]; then
    echo "nginx is not installed: download benchmark skipped"
    exit 0
fi
if [ "$(stat -c %s "$WWW/big.bin" 2>/dev/null || echo 0)" != 52428800 ]; then
    head -c 52428800 /dev/urandom >"$WWW/.big.tmp" && mv -f "$WWW/.big.tmp" "$WWW/big.bin"
fi
for i in $(seq -f %03g 0 199); do
    [ -s "$WWW/seg/$i.m4s" ] || head -c 65536 /dev/urandom >"$WWW/seg/$i.m4s"
done

# nginx on a free loopback port, in the foreground, stopped on exit.
PREFIX=$WORK/nginx
trap nginx_stop EXIT
nginx_start "$WWW" "$PREFIX"
BASE=http://127.0.0.1:$NGINX_PORT

echo "== download: 50 MiB over loopback HTTP from nginx, $RUNS interleaved runs"
: >"$WORK/velar.txt"
: >"$WORK/discard.txt"
: >"$WORK/curl.txt"
: >"$WORK/curlmem.txt"
SHM=/dev/shm/velar-bench-$$.bin
trap 'rm -f "$SHM"; nginx_stop' EXIT
"$DRIVER" whole "$BASE/big.bin" 1 >/dev/null  # warm the page cache and the connection path
for _ in $(seq 1 "$RUNS"); do
    "$DRIVER" whole "$BASE/big.bin" 1 >>"$WORK/velar.txt"
    "$DRIVER" discard "$BASE/big.bin" 1 >>"$WORK/discard.txt"
    curl -s -o /dev/null -w '%{time_total} %{size_download}\n' "$BASE/big.bin" >>"$WORK/curl.txt"
    curl -s -o "$SHM" -w '%{time_total} %{size_download}\n' "$BASE/big.bin" >>"$WORK/curlmem.txt"
    rm -f "$SHM"
done

python3 - "$WORK" "$RESULTS" <<'PY'
import json, statistics, sys
def load(name):
    rows = [line.split() for line in open(sys.argv[1] + "/" + name) if line.strip()]
    for seconds, size in rows:
        if int(size) != 52428800:
            sys.exit("short download in %s: %s bytes" % (name, size))
    return [float(s) for s, _ in rows]
figures = [("HttpDownload (in memory)", load("velar.txt")),
           ("HttpTransfer (discard)", load("discard.txt")),
           ("curl -o /dev/null", load("curl.txt")),
           ("curl -o /dev/shm (in memory)", load("curlmem.txt"))]
med = {}
for label, runs in figures:
    m = statistics.median(runs)
    med[label] = m
    print("  %-30s median %7.1f ms %8.1f MiB/s   (runs, ms: %s)"
          % (label, m * 1e3, 50.0 / m, " ".join("%.0f" % (x * 1e3) for x in runs)))
def ratio(label, of, to, target):
    r = med[to] / med[of]
    verdict = "" if target is None else (" (target >= %.1f: %s)" % (target, "met" if r >= target else "NOT met"))
    print("  throughput %s: %.2f%s" % (label, r, verdict))
ratio("transport / curl -o /dev/null", "HttpTransfer (discard)", "curl -o /dev/null", 0.8)
ratio("HttpDownload / curl -o /dev/null", "HttpDownload (in memory)", "curl -o /dev/null", 0.8)
ratio("HttpDownload / curl into memory", "HttpDownload (in memory)", "curl -o /dev/shm (in memory)", None)
with open(sys.argv[2], "a") as out:
    for label, peer, figure in (("HttpTransfer (discard)", "velar", "mibps_discard"),
                                ("curl -o /dev/null", "curl", "mibps_discard"),
                                ("HttpDownload (in memory)", "velar", "mibps_memory"),
                                ("curl -o /dev/shm (in memory)", "curl", "mibps_memory")):
        out.write(json.dumps({"workload": "download 50 MiB", "peer": peer, "command": label,
                              "figure": figure, "value": 50.0 / med[label]}) + "\n")
PY

echo "== connection reuse: 200 sequential 64 KiB segment downloads in one process"
BEFORE=$(wc -l <"$PREFIX/access.log")
RESULT=$("$DRIVER" segments "$BASE/seg/" 200)
# nginx logs a request after answering it: wait (bounded) for all 200 lines.
for _ in $(seq 1 100); do
    [ $(($(wc -l <"$PREFIX/access.log") - BEFORE)) -ge 200 ] && break
    sleep 0.05
done
CONNECTIONS=$(tail -n +"$((BEFORE + 1))" "$PREFIX/access.log" | awk '{print $1}' | sort -u | wc -l)
REQUESTS=$(tail -n +"$((BEFORE + 1))" "$PREFIX/access.log" | wc -l)
read -r SECONDS_ALL BYTES_ALL <<<"$RESULT"
python3 -c "import sys; s=float(sys.argv[1]); print('  %d requests, %d bytes in %.1f ms (%.2f ms per segment)' % (int(sys.argv[2]), int(sys.argv[3]), s*1e3, s*1e3/200))" \
    "$SECONDS_ALL" "$REQUESTS" "$BYTES_ALL"
echo "{\"workload\": \"download 50 MiB\", \"peer\": \"velar\", \"command\": \"download_bench segments\", \"figure\": \"connections\", \"value\": $CONNECTIONS}" >>"$RESULTS"
echo "  TCP connections seen by nginx: $CONNECTIONS (target: at most a handful) $([ "$CONNECTIONS" -le 5 ] && echo met || echo NOT met)"
