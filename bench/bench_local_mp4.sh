#!/usr/bin/env bash
# Local-MP4 benchmark: two clips made here once with ffmpeg (cached in the build folder),
#   clip_720p30_60s.mp4      60 s 1280x720 30 fps, H.264 about 3 Mbit/s + AAC
#   clip_1080p25_600s.mp4    10 min 1920x1080 25 fps, H.264 about 4 Mbit/s + AAC (one minute
#                            encoded, then joined ten times without re-encoding)
# each converted to a program or transport stream on standard output by
#   velar-play -o - --stats FILE clip      the library end to end (default 2 MiB ring)
#   read_loop clip                          a bare libavformat read loop: the lower bound
#   ffmpeg -i clip -c copy -f mpegts -      a plain remux
#   gst-launch-1.0 filesrc ! qtdemux ! h264parse ! mpegpsmux ! fdsink, audio through aacparse
# (CPU, wall time, peak RSS, context switches, first byte on standard output), plus the seek
# latency of the library (bench/seek_bench.cpp) and of the read loop (read_loop clip SEEKS).
# Medians of RUNS interleaved runs (RUNS_LONG for the long clip) are appended to BENCH_RESULTS
# for report.py.
#
# Usage: bench_local_mp4.sh BUILD_DIR [RUNS [RUNS_LONG]]   (a build with -DVELAR_BUILD_BENCH=ON)
set -euo pipefail

BUILD=$(cd "${1:?usage: $0 BUILD_DIR [RUNS [RUNS_LONG]]}" && pwd)
RUNS=${2:-5}
RUNS_LONG=${3:-3}
SEEKS=10
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
WORK=$BUILD/bench-work
RESULTS=${BENCH_RESULTS:-$WORK/results.jsonl}
mkdir -p "$WORK"

# make_clip NAME SIZE RATE SECONDS BITRATE: NAME in WORK, made once (a temporary file moved in).
make_clip() {
    local name=$1 size=$2 rate=$3 seconds=$4 bitrate=$5
    [ -s "$WORK/$name" ] && return 0
    echo "making $name (once)..."
    ffmpeg -hide_banner -nostdin -loglevel error -y \
        -f lavfi -i "testsrc2=size=$size:rate=$rate:duration=$seconds" \
        -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=$seconds" \
        -c:v libx264 -preset veryfast -profile:v high -b:v "$bitrate" -maxrate "$bitrate" \
        -bufsize "$bitrate" -g "$((rate * 2))" -bf 3 -pix_fmt yuv420p -c:a aac -b:a 128k -ac 2 \
        -movflags +faststart "$WORK/.$name.tmp.mp4"
    mv -f "$WORK/.$name.tmp.mp4" "$WORK/$name"
}

make_clip clip_720p30_60s.mp4 1280x720 30 60 3M
if [ ! -s "$WORK/clip_1080p25_600s.mp4" ]; then
    make_clip piece_1080p25_60s.mp4 1920x1080 25 60 4M
    for _ in $(seq 1 10); do echo "file 'piece_1080p25_60s.mp4'"; done >"$WORK/.pieces.txt"
    ffmpeg -hide_banner -nostdin -loglevel error -y -f concat -safe 0 -i "$WORK/.pieces.txt" \
        -c copy -movflags +faststart "$WORK/.clip_1080p25_600s.tmp.mp4"
    mv -f "$WORK/.clip_1080p25_600s.tmp.mp4" "$WORK/clip_1080p25_600s.mp4"
    rm -f "$WORK/.pieces.txt"
fi

# plan WORKLOAD CLIP: the measure.py plan of one clip.
plan() {
    local workload=$1 clip=$2 stats=$WORK/stats-$(basename "$2" .mp4).jsonl
    cat <<JSON
{
  "workload": "$workload",
  "commands": {
    "velar-play -o -": {"peer": "velar", "argv": ["$BUILD/tools/velar-play", "-o", "-", "--stats", "$stats", "$clip"],
                        "figures": {"path": "$stats", "fields": ["first_byte_ms"]}},
    "read_loop": {"peer": "read loop", "first_out": false, "argv": ["$BUILD/bench/read_loop", "$clip"]},
    "ffmpeg -c copy -f mpegts": {"peer": "ffmpeg", "argv": ["ffmpeg", "-nostdin", "-v", "error", "-i", "$clip",
                                 "-map", "0", "-c", "copy", "-f", "mpegts", "pipe:1"]},
    "gst-launch-1.0 qtdemux mpegpsmux": {"peer": "GStreamer", "argv": ["gst-launch-1.0", "-q",
        "filesrc", "location=$clip", "!", "qtdemux", "name=d",
        "d.video_0", "!", "queue", "!", "h264parse", "!", "mpegpsmux", "name=m", "!", "fdsink", "fd=1",
        "d.audio_0", "!", "queue", "!", "aacparse", "!", "m."]},
    "seek_bench": {"peer": "velar", "process": false, "stdout_json": ["seek_ms"],
                   "argv": ["$BUILD/bench/seek_bench", "$clip", "video/mp4", "$SEEKS"]},
    "read_loop SEEKS": {"peer": "read loop", "process": false, "stdout_json": ["first_packet_ms", "seek_ms"],
                        "argv": ["$BUILD/bench/read_loop", "$clip", "$SEEKS"]}
  }
}
JSON
}

plan "local MP4 720p 60 s" "$WORK/clip_720p30_60s.mp4" >"$WORK/local_720p.json"
python3 "$HERE/measure.py" "$RUNS" "$WORK/local_720p.json" "$RESULTS"
plan "local MP4 1080p 10 min" "$WORK/clip_1080p25_600s.mp4" >"$WORK/local_1080p.json"
python3 "$HERE/measure.py" "$RUNS_LONG" "$WORK/local_1080p.json" "$RESULTS"
