#!/usr/bin/env bash
# make demo: plays the shipped sample clip through libvelar (with velar-play) into an MPEG-2
# program stream, demo-out/sample.mpg, and prints what came out by reading it back with ffprobe:
# the streams, their frame counts and the duration, beside the source's.
#
# Usage: scripts/demo.sh BUILD_DIR     (run from anywhere; BUILD_DIR relative to the current folder)
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: $0 BUILD_DIR" >&2
    exit 2
fi
BUILD=$(cd "$1" && pwd)
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
PLAY=$BUILD/tools/velar-play
SAMPLE=$ROOT/samples/sample.mp4
OUT_DIR=$ROOT/demo-out
OUT=$OUT_DIR/sample.mpg
PSPARSE=$ROOT/tests/e2e/psparse.py

[ -x "$PLAY" ] || { echo "demo: $PLAY is not built" >&2; exit 1; }
mkdir -p "$OUT_DIR"

echo "== Playing $SAMPLE through libvelar"
timeout 120 "$PLAY" -o "$OUT" --stats "$OUT_DIR/sample.stats.jsonl" "$SAMPLE"
echo "   wrote $OUT ($(stat -c %s "$OUT") bytes)"

# streams FILE [FORMAT]: one line per stream with its codec, frame count and the file's duration.
streams() {
    local file=$1
    shift
    ffprobe -v error "$@" -count_frames -show_entries \
        stream=index,codec_type,codec_name,profile,width,height,sample_rate,channels,nb_read_frames:format=duration \
        -of default=noprint_wrappers=1 "$file" | awk -F= '
        $1 == "index" { if (line != "") print line; line = "   stream " $2 ":" ; next }
        $1 == "duration" { duration = $2; next }
        $2 != "N/A" && $2 != "" && $2 != "0" { line = line " " $1 "=" $2 }
        END { if (line != "") print line; if (duration != "") print "   duration " duration " s" }'
}

echo
echo "== Source: $SAMPLE"
streams "$SAMPLE"

echo
echo "== Output: $OUT (MPEG-2 program stream)"
python3 "$PSPARSE" summary "$OUT" | python3 -c '
import json, sys
s = json.load(sys.stdin)
names = {"e0": "video (E0, H.264)", "c0": "audio (C0, ADTS AAC)"}
print("   %d pack header(s); PES packets: %s" % (len(s["packs"]),
      ", ".join("%d %s" % (n, names.get(k, k)) for k, n in sorted(s["packets"].items(), reverse=True))))'
echo "   video, read back with ffprobe -f mpeg:"
# (-v fatal: ffprobe would also try, and fail, to read the C0 packets as MPEG audio.)
streams "$OUT" -v fatal -f mpeg -select_streams v

# ffprobe takes stream id C0 of a program stream for MPEG audio; the AAC is read from the ADTS
# frames taken out of the PES packets.
ADTS=$OUT_DIR/sample.adts.aac
python3 "$PSPARSE" extract "$OUT" c0 "$ADTS"
echo "   audio, the ADTS stream of the C0 packets read back with ffprobe -f aac:"
streams "$ADTS" -f aac

echo
echo "Play it with: ffplay -f mpeg $OUT   (video; the audio is AAC in ADTS on stream id C0)"
