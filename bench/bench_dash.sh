#!/usr/bin/env bash
# DASH benchmark: a 30 s on-demand presentation (three H.264 representations, about 400 kbit/s
# 320x180, 1.2 Mbit/s 640x360 and 3 Mbit/s 1280x720, plus AAC audio, 1 s segments) made here with
# ffmpeg by the end-to-end tests' tests/data/make-abr-dash.sh and served by a private nginx on
# 127.0.0.1. Prints, as medians of RUNS interleaved runs,
#   velar-play -o FILE URL       the whole presentation into a program stream: CPU time, peak RSS,
#                                and the time from just before openPath to the first PES byte out
#                                (first_byte_ms of its --stats file)
#   ffmpeg -i URL -c copy -f mpegts FILE   the highest video representation and the audio, remuxed
# with the targets: first PES byte within 500 ms, CPU at most 1.0x ffmpeg's. Then the idle cost
# (bench/dash_idle.cpp): CPU per second of wall time while the queues are full and nobody reads,
# after every segment has been downloaded, and at the end of the stream (medians of IDLE_RUNS).
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
# One run first: it warms the page cache and shows which representations velar played (the
# heights of the decoded frames, in order: the bit-rate strategy starts low and climbs).
timeout 120 "$PLAY" -o "$WORK/out.mpg" --stats "$WORK/stats.jsonl" "$URL"
HEIGHTS=$(ffprobe -v fatal -f mpeg -select_streams v -show_entries frame=height -of csv=p=0 "$WORK/out.mpg" |
    tr -d , | awk 'NF { if ($1 != last) { if (n) { printf "%s%d frames at %sp", sep, n, last; sep = ", " } n = 0 } last = $1; n++ }
                   END { if (n) printf "%s%d frames at %sp", sep, n, last }')
echo "velar-play: $(stat -c %s "$WORK/out.mpg") bytes out; video: $HEIGHTS; last status" \
    "$(tail -n 1 "$WORK/stats.jsonl" | python3 -c 'import json, sys; print(json.load(sys.stdin)["dash"]["status"])')"

cat >"$WORK/dash.json" <<JSON
{
  "commands": {
    "velar-play -o FILE URL": {"argv": ["$PLAY", "-o", "$WORK/out.mpg", "--stats", "$WORK/stats.jsonl", "$URL"],
                               "cleanup": ["$WORK/out.mpg"],
                               "figures": {"path": "$WORK/stats.jsonl", "fields": ["first_byte_ms"]}},
    "ffmpeg -c copy -f mpegts": {"argv": ["ffmpeg", "-nostdin", "-v", "error", "-y", "-i", "$URL",
                                          "-map", "0:$VIDEO", "-map", "0:$AUDIO", "-c", "copy",
                                          "-f", "mpegts", "$WORK/out.ts"],
                                 "cleanup": ["$WORK/out.ts"]}
  },
  "ratios": [
    {"label": "first PES byte after openPath, velar-play (ms)", "what": "figure",
     "of": "velar-play -o FILE URL", "field": "first_byte_ms", "target": 500},
    {"label": "CPU velar-play / ffmpeg remux", "what": "cpu",
     "of": "velar-play -o FILE URL", "to": "ffmpeg -c copy -f mpegts", "target": 1.0}
  ]
}
JSON
python3 "$HERE/measure.py" "$RUNS" "$WORK/dash.json"

echo "== idle cost: a 64 KiB ring that nobody reads, $IDLE_RUNS runs of 3 phases x 5 s"
: >"$WORK/idle.jsonl"
for _ in $(seq 1 "$IDLE_RUNS"); do
    timeout 300 "$IDLE" "$URL" 5 >>"$WORK/idle.jsonl"
done
python3 - "$WORK/idle.jsonl" <<'PY'
import json, statistics, sys
runs = [json.loads(l) for l in open(sys.argv[1]) if l.strip()]
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
