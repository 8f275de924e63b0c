#!/usr/bin/env bash
# Makes the test media of velar with Debian's ffmpeg (lavfi testsrc2/sine sources, libx264, the
# native AAC encoder) into OUTDIR. Every clip is 4 s of 320x180 video at 25 fps with a key frame
# every second (scene-cut key frames off), so that seeks have several key frames to land on.
#
# Usage: make-media.sh OUTDIR
#
# Idempotent and fast when the files exist: a clip is only made when it is missing. A stamp file
# holds a hash of this script; when the script changes, every clip is made again. Each file is
# written under a temporary name and renamed into place, so a reader never sees half a file.
# See README.md beside this script for the list of files.
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: $0 OUTDIR" >&2
    exit 2
fi
OUT=$1
mkdir -p "$OUT"

SELF_HASH=$(md5sum <"${BASH_SOURCE[0]}" | cut -c1-32)
STAMP="$OUT/.make-media.stamp"
if [ "$(cat "$STAMP" 2>/dev/null || true)" != "$SELF_HASH" ]; then
    rm -f "$STAMP"
    for f in high_bframes main baseline level52 audio_only video_only no_faststart fragmented \
             mpeg4part2 high10 empty text truncated; do
        rm -f "$OUT/$f.mp4"
    done
fi

FFMPEG=(ffmpeg -hide_banner -nostdin -loglevel error -y)
DUR=4
VIDEO_SRC=(-f lavfi -i "testsrc2=size=320x180:rate=25:duration=$DUR")
# sine(rate) is a mono 440 Hz tone; -ac 2 makes it stereo.
sine() { echo "sine=frequency=440:sample_rate=$1:duration=$DUR"; }
X264=(-c:v libx264 -preset veryfast -g 25 -keyint_min 25 -sc_threshold 0 -threads 1)
AAC=(-c:a aac -b:a 96k)
COMMON=(-map_metadata -1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact)

# make_clip NAME COMMAND...: runs COMMAND with the output path as its last argument, unless NAME exists.
make_clip() {
    local name=$1
    shift
    [ -e "$OUT/$name" ] && return 0
    local tmp="$OUT/.$name.$$.tmp.mp4"
    "$@" "$tmp"
    mv -f "$tmp" "$OUT/$name"
}

# H.264 High with B-frames + AAC 44.1 kHz stereo.
make_clip high_bframes.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" -f lavfi -i "$(sine 44100)" \
    "${X264[@]}" -profile:v high -bf 3 -pix_fmt yuv420p "${AAC[@]}" -ac 2 \
    "${COMMON[@]}" -movflags +faststart -f mp4
# H.264 Main + AAC 48 kHz mono.
make_clip main.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" -f lavfi -i "$(sine 48000)" \
    "${X264[@]}" -profile:v main -bf 2 -pix_fmt yuv420p "${AAC[@]}" -ac 1 \
    "${COMMON[@]}" -movflags +faststart -f mp4
# H.264 Baseline (no B-frames) + AAC 44.1 kHz stereo.
make_clip baseline.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" -f lavfi -i "$(sine 44100)" \
    "${X264[@]}" -profile:v baseline -pix_fmt yuv420p "${AAC[@]}" -ac 2 \
    "${COMMON[@]}" -movflags +faststart -f mp4
# H.264 High at level 5.2 (level_idc 52, above 4.1) + AAC 48 kHz stereo.
make_clip level52.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" -f lavfi -i "$(sine 48000)" \
    "${X264[@]}" -profile:v high -level:v 5.2 -bf 3 -pix_fmt yuv420p "${AAC[@]}" -ac 2 \
    "${COMMON[@]}" -movflags +faststart -f mp4
# AAC 48 kHz stereo only.
make_clip audio_only.mp4 "${FFMPEG[@]}" -f lavfi -i "$(sine 48000)" \
    "${AAC[@]}" -ac 2 "${COMMON[@]}" -movflags +faststart -f mp4
# H.264 High only.
make_clip video_only.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" \
    "${X264[@]}" -profile:v high -bf 3 -pix_fmt yuv420p "${COMMON[@]}" -movflags +faststart -f mp4
# As high_bframes.mp4 but with the moov box after the mdat box (the muxer's default).
make_clip no_faststart.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" -f lavfi -i "$(sine 44100)" \
    "${X264[@]}" -profile:v high -bf 3 -pix_fmt yuv420p "${AAC[@]}" -ac 2 \
    "${COMMON[@]}" -f mp4
# Fragmented MP4: empty moov, one moof+mdat per key frame.
make_clip fragmented.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" -f lavfi -i "$(sine 44100)" \
    "${X264[@]}" -profile:v high -bf 3 -pix_fmt yuv420p "${AAC[@]}" -ac 2 \
    "${COMMON[@]}" -movflags +frag_keyframe+empty_moov+default_base_moof -f mp4
# MPEG-4 Part 2 video (FFmpeg's native encoder) + AAC 44.1 kHz stereo.
make_clip mpeg4part2.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" -f lavfi -i "$(sine 44100)" \
    -c:v mpeg4 -q:v 5 -g 25 -pix_fmt yuv420p "${AAC[@]}" -ac 2 \
    "${COMMON[@]}" -movflags +faststart -f mp4
# H.264 High 10 (profile_idc 110) + AAC 44.1 kHz stereo. libx264 sets no constraint_set flags for
# High 10, so the SPS carries profile 110 with flags 0, which the codec data refuses.
make_clip high10.mp4 "${FFMPEG[@]}" "${VIDEO_SRC[@]}" -f lavfi -i "$(sine 44100)" \
    "${X264[@]}" -profile:v high10 -bf 3 -pix_fmt yuv420p10le "${AAC[@]}" -ac 2 \
    "${COMMON[@]}" -movflags +faststart -f mp4

# Bad input.
make_empty() { : >"$1"; }
make_text() { printf 'This is a text file, not an MP4 file.\nIt only carries the name of one.\n' >"$1"; }
# The first half of high_bframes.mp4: the moov box (at the front) is whole, the media data is cut,
# so the index promises more bytes than the file holds.
make_truncated() {
    local size
    size=$(stat -c %s "$OUT/high_bframes.mp4")
    head -c $((size / 2)) "$OUT/high_bframes.mp4" >"$1"
}
make_clip empty.mp4 make_empty
make_clip text.mp4 make_text
make_clip truncated.mp4 make_truncated

echo "$SELF_HASH" >"$STAMP"
