#!/usr/bin/env bash
# Makes velar's bit-rate switching presentation into OUTDIR with Debian's ffmpeg: three video
# representations of one picture (320x180 at 400 kbit/s, 640x360 at 1.2 Mbit/s, 1280x720 at
# 3 Mbit/s) and AAC audio at 128 kbit/s, 1 s segments named by a $Number$ SegmentTemplate.
#
# Usage: make-abr-dash.sh OUTDIR SECONDS
#
# The picture is testsrc2 with temporal noise, so that every representation really needs its bit
# rate (a clean test pattern would come out far below it and a throttled server could not tell the
# representations apart); maxrate and bufsize equal to the bit rate keep each segment close to
# bandwidth x 1 s. Files in OUTDIR: manifest.mpd, init-<id>.m4s, chunk-<id>-<number>.m4s with the
# ids 0, 1, 2 (video, by rising bandwidth) and 3 (audio).
#
# Idempotent: a stamp holds a hash of this script and SECONDS; nothing is made while it matches.
# Runs are serialised with flock; the files are made in a temporary folder and moved into place,
# manifest.mpd last. About 10 s of a 2-core machine for SECONDS=16.
set -euo pipefail

if [ $# -ne 2 ] || ! [[ $2 =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: $0 OUTDIR SECONDS" >&2
    exit 2
fi
OUT=$1
DURATION=$2
mkdir -p "$OUT"
OUT=$(cd "$OUT" && pwd)

HASH=$( (cat "${BASH_SOURCE[0]}"; echo "$DURATION") | md5sum | cut -c1-32)
# shellcheck source=once.sh
source "$(dirname "${BASH_SOURCE[0]}")/once.sh"
once_begin make-abr-dash

# -b/-maxrate/-bufsize per output stream: v:0 400k, v:1 1200k, v:2 3000k.
RATES=()
i=0
for rate in 400k 1200k 3000k; do
    RATES+=("-b:v:$i" "$rate" "-maxrate:v:$i" "$rate" "-bufsize:v:$i" "$rate")
    i=$((i + 1))
done

ffmpeg -hide_banner -nostdin -loglevel error -y \
    -f lavfi -i "testsrc2=size=1280x720:rate=25:duration=$DURATION" \
    -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=$DURATION" \
    -filter_complex "[0:v]noise=alls=12:allf=t,split=3[a][b][c];[a]scale=320:180[v0];[b]scale=640:360[v1];[c]null[v2]" \
    -map "[v0]" -map "[v1]" -map "[v2]" -map 1:a \
    -c:v libx264 -preset veryfast -profile:v high -g 25 -keyint_min 25 -sc_threshold 0 -threads 2 \
    -pix_fmt yuv420p "${RATES[@]}" \
    -c:a aac -b:a 128k -ac 2 \
    -map_metadata -1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact \
    -f dash -seg_duration 1 -use_template 1 -use_timeline 0 \
    -init_seg_name 'init-$RepresentationID$.m4s' -media_seg_name 'chunk-$RepresentationID$-$Number%05d$.m4s' \
    -adaptation_sets "id=0,streams=v id=1,streams=a" "$WORK/manifest.mpd"

rm -f "$STAMP" "$OUT"/manifest.mpd "$OUT"/init-*.m4s "$OUT"/chunk-*.m4s
mv "$WORK"/*.m4s "$OUT"/
mv "$WORK/manifest.mpd" "$OUT/manifest.mpd"
echo "$HASH" >"$STAMP"
