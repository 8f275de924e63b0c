#!/usr/bin/env bash
# Local-MP4 benchmark: converts a generated 60 s 1280x720 30 fps clip (H.264 about 3 Mbit/s +
# AAC) and prints, medians of a few interleaved runs, the CPU time and peak memory of
#   velar-play -o FILE clip                           (the library end to end, default 2 MiB ring)
#   read_loop clip                                    (a bare libavformat read loop: the lower bound)
#   ffmpeg -i clip -c copy -f mpegts FILE             (a plain remux, for comparison)
# with the ratios against the targets: CPU at most 2.0x the read loop and 0.8x the ffmpeg remux,
# peak RSS at most the read loop's plus 16 MiB.
#
# Usage: bench_local_mp4.sh BUILD_DIR [RUNS]   (BUILD_DIR: a build with -DVELAR_BUILD_BENCH=ON)
set -euo pipefail

BUILD=$(cd "${1:?usage: $0 BUILD_DIR [RUNS]}" && pwd)
RUNS=${2:-5}
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
WORK=$BUILD/bench-work
CLIP=$WORK/clip_720p30_60s.mp4
mkdir -p "$WORK"

if [ ! -s "$CLIP" ]; then
    echo "making $CLIP (once)..."
    ffmpeg -hide_banner -nostdin -loglevel error -y \
        -f lavfi -i testsrc2=size=1280x720:rate=30:duration=60 \
        -f lavfi -i sine=frequency=440:sample_rate=48000:duration=60 \
        -c:v libx264 -preset veryfast -profile:v high -b:v 3M -maxrate 3500k -bufsize 6M \
        -g 60 -bf 3 -pix_fmt yuv420p -c:a aac -b:a 128k -ac 2 \
        -movflags +faststart "$WORK/.clip.tmp.mp4"
    mv -f "$WORK/.clip.tmp.mp4" "$CLIP"
fi

echo "== local MP4: $(basename "$CLIP"), $(($(stat -c %s "$CLIP") / 1024)) KiB, $(ffprobe -v error \
    -show_entries format=duration,bit_rate -of csv=p=0 "$CLIP" | awk -F, '{printf "%.0f s, %.2f Mbit/s", $1, $2 / 1e6}')"

cat >"$WORK/local_mp4.json" <<JSON
{
  "commands": {
    "velar-play -o FILE": {"argv": ["$BUILD/tools/velar-play", "-o", "$WORK/out.mpg", "$CLIP"],
                           "cleanup": ["$WORK/out.mpg"]},
    "bare read loop": {"argv": ["$BUILD/bench/read_loop", "$CLIP"]},
    "ffmpeg -c copy -f mpegts": {"argv": ["ffmpeg", "-nostdin", "-v", "error", "-y", "-i", "$CLIP",
                                          "-c", "copy", "-f", "mpegts", "$WORK/out.ts"],
                                 "cleanup": ["$WORK/out.ts"]}
  },
  "ratios": [
    {"label": "CPU velar-play / bare read loop", "what": "cpu",
     "of": "velar-play -o FILE", "to": "bare read loop", "target": 2.0},
    {"label": "CPU velar-play / ffmpeg remux", "what": "cpu",
     "of": "velar-play -o FILE", "to": "ffmpeg -c copy -f mpegts", "target": 0.8},
    {"label": "peak RSS velar-play - bare read loop", "what": "rss_extra_mib",
     "of": "velar-play -o FILE", "to": "bare read loop", "target": 16}
  ]
}
JSON
python3 "$HERE/measure.py" "$RUNS" "$WORK/local_mp4.json"
