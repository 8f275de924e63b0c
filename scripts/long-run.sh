#!/usr/bin/env bash
# make long-run: the library's resource use over a long run. Not a test (not part of make test).
#
# Builds the Release tree build-longrun (benchmarks on, tests off; velar-play and bench/SoakSeeks
# only), then runs two phases of LONG_RUN_SECONDS (default 600) each:
#   live   velar-play -o /dev/null plays the live simulator (tests/servers/live_server.py, its
#          SegmentTimeline MPD, refreshed every 2 s) until the stream position is LONG_RUN_SECONDS
#          past the server's start; the simulator's media (tests/data/make-live-segments.sh, 320x180
#          at 300 kbit/s, 1 s segments) lasts LONG_RUN_SECONDS + 72 s and is made once into
#          build-longrun/live-<seconds>;
#   seeks  bench/SoakSeeks positions one streamer over a 120 s local MP4 (320x180, B-frames, AAC,
#          made once into build-longrun/soak-media) at pseudo-random positions, with trick play and
#          play-throughs, for LONG_RUN_SECONDS, checking that every positioning starts with a pack
#          header (see SoakSeeks.cpp; the seed is printed, LONG_RUN_SEED repeats a run).
# Every 5 s the script samples the process: resident memory (VmRSS of /proc/PID/status, KiB), its
# thread count (entries of /proc/PID/task) and its open descriptors (entries of /proc/PID/fd), and
# prints one line per sample. The samples are also kept in build-longrun/long-run/<phase>.samples
# (seconds, KiB, threads, descriptors).
#
# Verdict per figure and phase, on the samples taken after a warm-up (60 s; a quarter of the phase
# when LONG_RUN_SECONDS is under 240): the median of the last quarter of the samples against the
# median of the first quarter, and the maximum against that first median.
#   resident memory   flat when last - first <= 4 MiB and max <= first + 16 MiB
#   threads           flat when last - first <= 2     and max <= first + 8
#   descriptors       flat when last - first <= 4     and max <= first + 16
# Medians make the rule robust against the short-lived threads and sockets of segment downloads;
# the bound on the maximum catches a figure that balloons and comes back. A phase also fails when
# its process exits with a status other than 0, dies, ends before 90 % of its time, or does not end
# within LONG_RUN_SECONDS + 120 s (it is then killed). Exit status 0 when both phases are flat.
#
# Usage: bash scripts/long-run.sh   (LONG_RUN_SECONDS=60 for a short try; JOBS for the build)
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD=$ROOT/build-longrun
PHASE_SECONDS=${LONG_RUN_SECONDS:-600}
if ! [[ $PHASE_SECONDS =~ ^[0-9]+$ ]] || [ "$PHASE_SECONDS" -lt 20 ]; then
    echo "LONG_RUN_SECONDS must be a whole number of seconds, at least 20" >&2
    exit 2
fi
SAMPLE_SECONDS=5
WARMUP=$((PHASE_SECONDS >= 240 ? 60 : PHASE_SECONDS / 4))
PREROLL=12  # seconds of the live time line already past when the simulator starts
LIVE_MEDIA_SECONDS=$((PHASE_SECONDS + PREROLL + 60))
KILL_AFTER=$((PHASE_SECONDS + 120))

cmake -S "$ROOT" -B "$BUILD" -DCMAKE_BUILD_TYPE=Release -DVELAR_BUILD_BENCH=ON \
    -DVELAR_BUILD_TESTS=OFF >/dev/null
cmake --build "$BUILD" --target velar-play SoakSeeks -j "${JOBS:-2}"

# The end-to-end helpers: servers bounded in time and stopped on exit, ok/bad/finish, WORK.
export VELAR_BUILD_DIR=$BUILD VELAR_TEST_WORK_DIR=$BUILD/work
export SERVER_LIFETIME=$((KILL_AFTER + 60))
mkdir -p "$VELAR_TEST_WORK_DIR"
# shellcheck source=../tests/e2e/lib.sh
source "$ROOT/tests/e2e/lib.sh"
SAMPLES=$BUILD/long-run
mkdir -p "$SAMPLES"

MEASURED_PID=
stop_measured() {
    if [ -n "$MEASURED_PID" ]; then
        kill "$MEASURED_PID" 2>/dev/null || true
        wait "$MEASURED_PID" 2>/dev/null || true
        MEASURED_PID=
    fi
}
trap 'stop_measured; stop_servers' EXIT

echo "== media (made once)"
LIVE_MEDIA=$BUILD/live-$LIVE_MEDIA_SECONDS
bash "$ROOT/tests/data/make-live-segments.sh" "$LIVE_MEDIA" "$LIVE_MEDIA_SECONDS" </dev/null
CLIP=$BUILD/soak-media/clip_320x180_120s.mp4
if [ ! -s "$CLIP" ]; then
    mkdir -p "$(dirname "$CLIP")"
    ffmpeg -hide_banner -nostdin -loglevel error -y \
        -f lavfi -i testsrc2=size=320x180:rate=25:duration=120 \
        -f lavfi -i sine=frequency=440:sample_rate=48000:duration=120 \
        -c:v libx264 -preset veryfast -profile:v high -bf 3 -g 25 -keyint_min 25 -sc_threshold 0 \
        -b:v 300k -pix_fmt yuv420p -c:a aac -b:a 64k -ac 2 -movflags +faststart \
        "$CLIP.tmp.mp4"
    mv -f "$CLIP.tmp.mp4" "$CLIP"
fi

# measure PHASE COMMAND...: runs COMMAND in the background and samples it every SAMPLE_SECONDS
# until it ends (killed after KILL_AFTER s); then the verdict. One ok/bad line per outcome.
measure() {
    local phase=$1
    shift
    local out=$SAMPLES/$phase.samples start=$SECONDS status=0 killed=0 rss threads fds t
    : >"$out"
    "$@" >"$WORK/$phase.stdout" 2>"$WORK/$phase.stderr" &
    MEASURED_PID=$!
    echo "== $phase: pid $MEASURED_PID, $PHASE_SECONDS s: $*"
    while :; do
        rss=$(awk '$1 == "VmRSS:" { print $2 }' "/proc/$MEASURED_PID/status" 2>/dev/null || true)
        [ -n "$rss" ] || break  # ended (a zombie has no VmRSS line)
        threads=$(find "/proc/$MEASURED_PID/task" -mindepth 1 -maxdepth 1 2>/dev/null | wc -l)
        fds=$(find "/proc/$MEASURED_PID/fd" -mindepth 1 -maxdepth 1 2>/dev/null | wc -l)
        t=$((SECONDS - start))
        printf '%s %4d s  rss %7d KiB  threads %3d  fds %3d\n' "$phase" "$t" "$rss" "$threads" "$fds"
        echo "$t $rss $threads $fds" >>"$out"
        if [ "$t" -ge "$KILL_AFTER" ]; then
            killed=1
            kill "$MEASURED_PID" 2>/dev/null || true
            break
        fi
        sleep "$SAMPLE_SECONDS"
    done
    wait "$MEASURED_PID" || status=$?
    MEASURED_PID=
    local elapsed=$((SECONDS - start))
    sed "s/^/$phase: /" "$WORK/$phase.stdout"
    if [ "$killed" -eq 1 ]; then
        bad "$phase: still running after $KILL_AFTER s, killed"
    elif [ "$status" -ne 0 ]; then
        bad "$phase: exit $status after $elapsed s: $(tail -n 3 "$WORK/$phase.stderr")"
    elif [ $((elapsed * 10)) -lt $((PHASE_SECONDS * 9)) ]; then
        bad "$phase: ended after $elapsed s, before 90 % of $PHASE_SECONDS s"
    else
        ok "$phase: exit 0 after $elapsed s"
    fi
    local figures
    if figures=$(verdict "$out"); then
        ok "$phase: flat"
        echo "$figures"
    else
        echo "$figures"
        bad "$phase: a figure grows"
    fi
}

# verdict SAMPLES_FILE: the rule of the header, one line per figure; status 1 when one grows.
verdict() {
    python3 - "$1" "$WARMUP" <<'PY'
import statistics, sys

path, warmup = sys.argv[1], int(sys.argv[2])
rows = [tuple(int(x) for x in line.split()) for line in open(path) if line.strip()]
kept = [r for r in rows if r[0] >= warmup]
# (column, name, unit, divisor, allowed growth of the median, allowed excess of the maximum)
figures = [(1, "rss", "MiB", 1024.0, 4, 16), (2, "threads", "", 1.0, 2, 8),
           (3, "fds", "", 1.0, 4, 16)]
if len(kept) < 8:
    print("  only %d samples after the %d s warm-up: no verdict" % (len(kept), warmup))
    sys.exit(1)
quarter = max(1, len(kept) // 4)
grows = False
for col, name, unit, div, growth, excess in figures:
    every = [r[col] / div for r in rows]
    values = [r[col] / div for r in kept]
    first = statistics.median(values[:quarter])
    last = statistics.median(values[-quarter:])
    top = max(values)
    flat = last - first <= growth and top <= first + excess
    grows = grows or not flat
    fmt = "%.1f" if div != 1.0 else "%.0f"
    text = lambda v: (fmt % v) + (" " + unit if unit else "")
    print("  %-7s first %s, last %s, min %s, max %s | after %d s: first-quarter median %s, "
          "last-quarter median %s, max %s -> %s"
          % (name, text(every[0]), text(every[-1]), text(min(every)), text(max(every)), warmup,
             text(first), text(last), text(top), "flat" if flat else "GROWING"))
sys.exit(1 if grows else 0)
PY
}

echo "== warm-up $WARMUP s, a sample every $SAMPLE_SECONDS s"
start_live_server "$LIVE_MEDIA" --window 10 --update 2 --preroll "$PREROLL" --lifetime "$KILL_AFTER"
measure live "$PLAY" -o /dev/null --duration $(((PREROLL + PHASE_SECONDS) * 1000)) \
    "http://127.0.0.1:$LIVE_PORT/timeline.mpd"
stop_servers

measure seeks "$BUILD/bench/SoakSeeks" "$CLIP" "$PHASE_SECONDS" ${LONG_RUN_SEED:+"$LONG_RUN_SEED"}

finish
