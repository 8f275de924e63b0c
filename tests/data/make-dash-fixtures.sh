#!/usr/bin/env bash
# Makes the DASH test presentations of velar into OUTDIR with Debian's ffmpeg (lavfi sources,
# libx264, the native AAC encoder; its dash muxer and its mp4 muxer), then writes the MPDs that
# ffmpeg does not (dash_fixtures.py beside this script). 4 s of media, 1 s segments.
#
# Usage: make-dash-fixtures.sh OUTDIR
#
# Idempotent and quick when the files exist: a stamp holds a hash of this script and of
# dash_fixtures.py; nothing is made while it matches. Runs are serialised with flock, and the
# presentations are built in a temporary folder and moved into place, so a reader never sees
# half a presentation. See README.md beside this script for the list of fixtures.
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: $0 OUTDIR" >&2
    exit 2
fi
OUT=$1
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
mkdir -p "$OUT"
OUT=$(cd "$OUT" && pwd)

HASH=$(cat "$HERE/make-dash-fixtures.sh" "$HERE/dash_fixtures.py" | md5sum | cut -c1-32)
# shellcheck source=once.sh
source "$HERE/once.sh"
once_begin make-dash-fixtures
FF=(ffmpeg -hide_banner -nostdin -loglevel error -y)
DUR=4
COMMON=(-map_metadata -1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact)
X264=(-c:v libx264 -preset veryfast -g 25 -keyint_min 25 -sc_threshold 0 -threads 1 -pix_fmt yuv420p)

# Elementary encodes: video WxH at a bit rate, audio tones with a language tag.
mkdir -p "$WORK/src"
video() {  # NAME SIZE BITRATE [X264 OPTION...]
    local name=$1 size=$2 rate=$3
    shift 3
    "${FF[@]}" -f lavfi -i "testsrc2=size=$size:rate=25:duration=$DUR" "${X264[@]}" "$@" -b:v "$rate" \
        -maxrate "$rate" -bufsize "$rate" "${COMMON[@]}" "$WORK/src/$name.mp4"
}
audio() {  # NAME FREQUENCY LANGUAGE
    "${FF[@]}" -f lavfi -i "sine=frequency=$2:sample_rate=48000:duration=$DUR" -c:a aac -b:a 64k \
        -ac 2 "${COMMON[@]}" -metadata:s:a:0 "language=$3" "$WORK/src/$1.mp4"
}
video v144 256x144 100k
video v180 320x180 200k
video v360 640x360 600k
video v1152 2048x1152 800k -preset ultrafast  # taller than 1080 lines; ultrafast keeps it quick
audio a_en 440 eng
audio a_fr 660 fra
audio a_de 880 deu

# dash muxer runs: FOLDER MEDIA-NAME ADAPTATION-SETS INPUT...
dash() {
    local folder=$1 media=$2 sets=$3
    shift 3
    local inputs=() maps=() i=0
    for name in "$@"; do
        inputs+=(-i "$WORK/src/$name.mp4")
        maps+=(-map "$i")
        i=$((i + 1))
    done
    mkdir -p "$WORK/$folder"
    local timeline=0
    [[ $media == *'$Time$'* ]] && timeline=1
    "${FF[@]}" "${inputs[@]}" "${maps[@]}" -c copy -avoid_negative_ts make_zero -f dash \
        -seg_duration 1 -use_template 1 -use_timeline "$timeline" \
        -init_seg_name 'init-$RepresentationID$.m4s' -media_seg_name "$media" \
        -adaptation_sets "$sets" "$WORK/$folder/manifest.mpd"
}
dash template 'chunk-$RepresentationID$-$Number%05d$.m4s' "id=0,streams=0,1 id=1,streams=2" v180 v360 a_en
dash timeline 'chunk-$RepresentationID$-$Time$.m4s' "id=0,streams=0,1 id=1,streams=2" v180 v360 a_en
dash multilang 'chunk-$RepresentationID$-$Number%05d$.m4s' "id=0,streams=0 id=1,streams=1 id=2,streams=2 id=3,streams=3" \
    v180 a_en a_fr a_de
dash heights 'chunk-$RepresentationID$-$Number%05d$.m4s' "id=0,streams=0,1,2,3 id=1,streams=4" \
    v144 v180 v360 v1152 a_en

# One fragmented file per representation, a global sidx in front, one fragment per second.
mkdir -p "$WORK/onefile"
for name in v180 v360 a_en; do
    "${FF[@]}" -i "$WORK/src/$name.mp4" -c copy -movflags +dash+global_sidx -frag_duration 1000000 \
        "${COMMON[@]}" -f mp4 "$WORK/onefile/$name.mp4"
done

python3 "$HERE/dash_fixtures.py" "$WORK"

rm -rf "$WORK/src"
for folder in template timeline multilang heights onefile baseurls; do
    rm -rf "${OUT:?}/$folder"
    mv "$WORK/$folder" "$OUT/$folder"
done
mv -f "$WORK/expected.json" "$OUT/expected.json"
echo "$HASH" >"$STAMP"
