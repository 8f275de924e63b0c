#!/usr/bin/env bash
# Live DASH benchmark: the live simulator (tests/servers/live_server.py, on 127.0.0.1, a fresh one
# per round so that every round starts at the same live edge) over the media of
# tests/data/make-live-segments.sh (320x180 H.264 300 kbit/s + AAC 64 kbit/s, 1 s segments,
# $Number$ template, MPD refreshed every 2 s). In each round the players run at the same time
# (each spends its time waiting for the live edge) and play LIVE_SECONDS of the stream:
#   velar-play -o - --duration     stops once the position passes the live edge at start plus
#                                  LIVE_SECONDS (positions count from the availability start)
#   ffmpeg -i URL -t LIVE_SECONDS -c copy -f mpegts -   (given LIVE_SECONDS + 10 s; in this setup
#                                  its DASH demuxer asks for segments beyond the live edge and moves
#                                  on at every 404, so it runs away and is recorded as failed)
#   gst-launch-1.0 souphttpsrc ! dashdemux ! ... ! mpegpsmux   interrupted (SIGINT; exit 130 or 0)
#                                  after LIVE_SECONDS + 2 s: it has no duration option, and with
#                                  -e the end of stream it sends on SIGINT waits for the next live
#                                  segment that dashdemux never finishes; its wall time is therefore
#                                  fixed, its CPU and RSS count
# CPU time, wall time, peak RSS and first byte out, medians of ROUNDS rounds, are appended to
# BENCH_RESULTS for report.py.
#
# Usage: bench_dash_live.sh BUILD_DIR [ROUNDS [LIVE_SECONDS]]   (a build with -DVELAR_BUILD_BENCH=ON)
set -euo pipefail

BUILD=$(cd "${1:?usage: $0 BUILD_DIR [ROUNDS [LIVE_SECONDS]]}" && pwd)
ROUNDS=${2:-3}
LIVE_SECONDS=${3:-60}
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
ROOT=$(cd "$HERE/.." && pwd)
WORK=$BUILD/bench-work/live
MEDIA=$WORK/media
RESULTS=${BENCH_RESULTS:-$BUILD/bench-work/results.jsonl}
PREROLL=12  # seconds of the live time line already past when a server starts
mkdir -p "$WORK"
# velar-play finds the project's settings file by itself (see tools/).

echo "making the live media in $MEDIA (once)..."
bash "$ROOT/tests/data/make-live-segments.sh" "$MEDIA"

URL="http://127.0.0.1:{port}/template.mpd"
cat >"$WORK/live.json" <<JSON
{
  "workload": "DASH live ${LIVE_SECONDS} s",
  "concurrent": true,
  "server": {"argv": ["timeout", "$((LIVE_SECONDS + 60))", "python3", "$ROOT/tests/servers/live_server.py",
                      "--media", "$MEDIA", "--window", "10", "--update", "2", "--preroll", "$PREROLL",
                      "--lifetime", "$((LIVE_SECONDS + 50))"]},
  "commands": {
    "velar-play -o - --duration": {"peer": "velar", "timeout": $((LIVE_SECONDS + 40)),
        "argv": ["$BUILD/tools/velar-play", "-o", "-", "--stats", "$WORK/stats.jsonl",
                 "--duration", "$(((PREROLL + LIVE_SECONDS) * 1000))", "$URL"],
        "figures": {"path": "$WORK/stats.jsonl", "fields": ["first_byte_ms"]}},
    "ffmpeg -t -c copy -f mpegts": {"peer": "ffmpeg", "timeout": $((LIVE_SECONDS + 10)),
        "argv": ["ffmpeg", "-nostdin", "-v", "error", "-i", "$URL", "-t", "$LIVE_SECONDS",
                 "-map", "0:v:0", "-map", "0:a:0", "-c", "copy", "-f", "mpegts", "pipe:1"]},
    "gst-launch-1.0 dashdemux mpegpsmux": {"peer": "GStreamer", "timeout": $((LIVE_SECONDS + 40)),
        "ok_status": [0, 130],
        "argv": ["timeout", "-s", "INT", "--preserve-status", "$((LIVE_SECONDS + 2))",
                 "gst-launch-1.0", "-q", "souphttpsrc", "location=$URL", "!", "dashdemux", "name=d",
                 "d.video_00", "!", "queue", "!", "qtdemux", "!", "h264parse", "!", "mpegpsmux", "name=m",
                 "!", "fdsink", "fd=1", "d.audio_00", "!", "queue", "!", "qtdemux", "!", "aacparse", "!", "m."]}
  }
}
JSON
python3 "$HERE/measure.py" "$ROUNDS" "$WORK/live.json" "$RESULTS"
