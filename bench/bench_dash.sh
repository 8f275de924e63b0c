#!/usr/bin/env bash
# DASH benchmark: a 30 s on-demand presentation (three H.264 representations, about 400 kbit/s
# 320x180, 1.2 Mbit/s 640x360 and 3 Mbit/s 1280x720, plus AAC audio, 1 s segments) made here with
# ffmpeg by the end-to-end tests' tests/data/make-abr-dash.sh and served by a private nginx on
# 127.0.0.1. Measures, as medians of RUNS interleaved runs (all writing to standard output),
#   velar-play -o - URL          the whole presentation into a program stream: CPU time, wall time,
#                                peak RSS, first byte out, and the time from just before openPath to
#                                the first PES byte (first_byte_ms of its --stats file)
#   ffmpeg -i URL -c copy -f mpegts -      the highest video representation and the audio, remuxed
#   gst-launch-1.0 souphttpsrc ! dashdemux ! qtdemux ! h264parse ! mpegpsmux ! fdsink (audio
#                                through qtdemux ! aacparse): GStreamer's own DASH client
#   seek_bench URL               the library's seek latency over the presentation (SEEKS seeks)
# Then the idle cost (bench/dash_idle.cpp): CPU per second of wall time while the queues are full
# and nobody reads, after every segment has been downloaded, and at the end of the stream (medians
# of IDLE_RUNS). Everything is appended to BENCH_RESULTS for report.py.
#
# Usage: bench_dash.sh BUILD_DIR [RUNS [IDLE_RUNS]]   (BUILD_DIR: a build with -DVELAR_BUILD_BENCH=ON)
set -euo pipefail

BUILD=$(cd "${1:?usage: $0 BUILD_DIR [RUNS [IDLE_RUNS]]}" && pwd)
RUNS=${2:-5}
IDLE_RUNS=${3:-3}
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ROOT=$(cd "$HERE/.." && pwd)
WORK=$BUILD/bench-work/dash
WWW=$WORK/www
PLAY=$BUILD/tools/velar-play
IDLE=$BUILD/bench/dash_idle
SECONDS_LONG=30
SEEKS=5
RESULTS=${BENCH_RESULTS:-$BUILD/bench-work/results.jsonl}
# dash_idle, a host of its own, is given the project's settings file unless one is set.
export VELAR_DASH_SETTINGS=${VELAR_DASH_SETTINGS:-$ROOT/dash/dash_settings.xml}
# shellcheck source=../scripts/nginx_loopback.sh
source "$ROOT/scripts/nginx_loopback.sh"

for binary in "$PLAY" "$IDLE"; do
    if [ ! -x "$binary" ]; then
        echo "missing $binary (configure with -DVELAR_BUILD_BENCH=ON)" >&2
        exit 1
    fi
done
if [ ! -x "$NGINX_BIN" ]; then
    echo "nginx is not installed: DASH benchmark skipped"
    exit 0
fi
mkdir -p "$WORK"

echo "making the ${SECONDS_LONG} s presentation in $WWW (once)..."
bash "$ROOT/tests/data/make-abr-dash.sh" "$WWW" "$SECONDS_LONG"


trap nginx_stop EXIT
nginx_start "$WWW" "$WORK/nginx"
URL=http://127.0.0.1:$NGINX_PORT/manifest.mpd

# ffmpeg's streams of the MPD: the tallest video and the audio.
read -r VIDEO AUDIO < <(ffprobe -v error -show_entries stream=index,codec_type,height -of json "$URL" |
    python3 -c '
import json, sys
streams = json.load(sys.stdin)["streams"]
video = max((s for s in streams if s["codec_type"] == "video"), key=lambda s: s.get("height", 0))
audio = next(s for s in streams if s["codec_type"] == "audio")
print(video["index"], audio["index"])')

echo "== DASH on demand: $URL, $(du -sm "$WWW" | cut -f1) MB, ${SECONDS_LONG} s, 1 s segments"
# heights FILE: the heights of the decoded video frames of a program stream, as runs
# ("75 frames at 180p, 150 frames at 360p, ..."): which representations a client played.
heights() {
    ffprobe -v fatal -f mpeg -select_streams v -show_entries frame=height -of csv=p=0 "$1" |
        tr -d , | awk 'NF { if ($1 != last) { if (n) { printf "%s%d frames at %sp", sep, n, last; sep = ", " } n = 0 } last = $1; n++ }
                       END { if (n) printf "%s%d frames at %sp", sep, n, last }'
}

# One run of each client first: it warms the page cache and shows which representations each
# played (the bit-rate strategies start low and climb).
timeout 120 "$PLAY" -o "$WORK/out.mpg" --stats "$WORK/stats.jsonl" "$URL"
echo "velar-play: $(stat -c %s "$WORK/out.mpg") bytes out; video: $(heights "$WORK/out.mpg"); last status" \
    "$(tail -n 1 "$WORK/stats.jsonl" | python3 -c 'import json, sys; print(json.load(sys.stdin)["dash"]["status"])')"
timeout 120 gst-launch-1.0 -q souphttpsrc location="$URL" ! dashdemux name=d \
    d.video_00 ! queue ! qtdemux ! h264parse ! mpegpsmux name=m ! filesink location="$WORK/gst.mpg" \
    d.audio_00 ! queue ! qtdemux ! aacparse ! m. || echo "gst-launch-1.0 dashdemux failed"
echo "GStreamer dashdemux: $(stat -c %s "$WORK/gst.mpg" 2>/dev/null || echo 0) bytes out; video: $(heights "$WORK/gst.mpg")"
rm -f "$WORK/out.mpg" "$WORK/gst.mpg"

cat >"$WORK/dash.json" <<JSON
{
  "workload": "DASH on demand 30 s",
  "commands": {
    "velar-play -o - URL": {"peer": "velar", "argv": ["$PLAY", "-o", "-", "--stats", "$WORK/stats.jsonl", "$URL"],
                            "figures": {"path": "$WORK/stats.jsonl", "fields": ["first_byte_ms"]}},
    "ffmpeg -c copy -f mpegts": {"peer": "ffmpeg", "argv": ["ffmpeg", "-nostdin", "-v", "error", "-i", "$URL",
                                 "-map", "0:$VIDEO", "-map", "0:$AUDIO", "-c", "copy", "-f", "mpegts", "pipe:1"]},
    "gst-launch-1.0 dashdemux mpegpsmux": {"peer": "GStreamer", "argv": ["gst-launch-1.0", "-q",
        "souphttpsrc", "location=$URL", "!", "dashdemux", "name=d",
        "d.video_00", "!", "queue", "!", "qtdemux", "!", "h264parse", "!", "mpegpsmux", "name=m", "!", "fdsink", "fd=1",
        "d.audio_00", "!", "queue", "!", "qtdemux", "!", "aacparse", "!", "m."], "timeout": 120},
    "seek_bench URL": {"peer": "velar", "process": false, "stdout_json": ["seek_ms"], "timeout": 300,
                       "argv": ["$BUILD/bench/seek_bench", "$URL", "application/dash+xml", "$SEEKS"]}
  }
}
JSON
python3 "$HERE/measure.py" "$RUNS" "$WORK/dash.json" "$RESULTS"

echo "== idle cost: a 64 KiB ring that nobody reads, $IDLE_RUNS runs of 3 phases x 5 s"
: >"$WORK/idle.jsonl"
for _ in $(seq 1 "$IDLE_RUNS"); do
    timeout 300 "$IDLE" "$URL" 5 >>"$WORK/idle.jsonl"
done
python3 - "$WORK/idle.jsonl" "$RESULTS" <<'PY'
import json, statistics, sys
runs = [json.loads(l) for l in open(sys.argv[1]) if l.strip()]
with open(sys.argv[2], "a") as out:
    for key in ("full", "finished", "ended"):
        values = [r[key] for r in runs]
        out.write(json.dumps({"workload": "DASH on demand 30 s", "peer": "velar", "command": "dash_idle",
                              "figure": "idle_" + key, "value": statistics.median(values),
                              "runs": values}) + "\n")
labels = {"full": "queues full, nobody reads",
          "finished": "every segment downloaded, nobody reads",
          "ended": "end of stream reached"}
for key, label in labels.items():
    values = [r[key] for r in runs]
    print("  %-40s median %7.2f ms CPU per s (%.2f%% of one core)   (runs: %s)"
          % (label, statistics.median(values), statistics.median(values) / 10.0,
             " ".join("%.2f" % v for v in values)))
print("  buffered segments per set: full %s, finished %s"
      % (runs[-1]["buffered_full"], runs[-1]["buffered_finished"]))
PY
