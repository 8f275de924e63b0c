#!/usr/bin/env bash
# make demo: plays the shipped sample clip through libvelar (with velar-play) into an MPEG-2
# program stream twice, and prints what came out by reading it back with ffprobe (the streams,
# their frame counts and the duration) beside the source's:
#   1. the local file samples/sample.mp4            -> demo-out/sample.mpg
#   2. the same clip as an on-demand DASH presentation, packaged here with ffmpeg's dash muxer
#      (2 s segments addressed by a $Number$ template, one adaptation set per stream) into
#      demo-out/dash/, served by a private nginx on a free 127.0.0.1 port that this script starts
#      and stops itself                             -> demo-out/sample-dash.mpg
# Each run also writes its --stats file beside the stream (demo-out/*.stats.jsonl); the DASH run's
# is drawn as demo-out/sample-dash.stats.png (tools/plot-stats). Then
#   3. bit-rate switching: a generated 16 s presentation with three video representations
#      (tests/data/make-abr-dash.sh, into demo-out/abr/) served by the test fault server throttled
#      to about 2.2 Mbit/s, so that the client climbs from 400 kbit/s to 1.2 Mbit/s and stays
#      there; its --stats file is drawn as demo-out/abr.stats.png, which shows the switch.
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
PSPARSE=$ROOT/tests/e2e/psparse.py
# shellcheck source=nginx_loopback.sh
source "$ROOT/scripts/nginx_loopback.sh"

[ -x "$PLAY" ] || { echo "demo: $PLAY is not built" >&2; exit 1; }
mkdir -p "$OUT_DIR"

# streams FILE [FFPROBE OPTIONS]: one line per stream with its codec, frame count and the file's
# duration.
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

# read_back OUT: what an output program stream holds, read back with ffprobe.
read_back() {
    local out=$1
    echo "== Output: $out (MPEG-2 program stream)"
    python3 "$PSPARSE" summary "$out" | python3 -c '
import json, sys
s = json.load(sys.stdin)
names = {"e0": "video (E0, H.264)", "c0": "audio (C0, ADTS AAC)"}
print("   %d pack header(s); PES packets: %s" % (len(s["packs"]),
      ", ".join("%d %s" % (n, names.get(k, k)) for k, n in sorted(s["packets"].items(), reverse=True))))'
    echo "   video, read back with ffprobe -f mpeg:"
    # (-v fatal: ffprobe would also try, and fail, to read the C0 packets as MPEG audio.)
    streams "$out" -v fatal -f mpeg -select_streams v
    # ffprobe takes stream id C0 of a program stream for MPEG audio; the AAC is read from the ADTS
    # frames taken out of the PES packets.
    local adts=${out%.mpg}.adts.aac
    python3 "$PSPARSE" extract "$out" c0 "$adts"
    echo "   audio, the ADTS stream of the C0 packets read back with ffprobe -f aac:"
    streams "$adts" -f aac
}

echo "== Playing $SAMPLE through libvelar"
OUT=$OUT_DIR/sample.mpg
timeout 120 "$PLAY" -o "$OUT" --stats "$OUT_DIR/sample.stats.jsonl" "$SAMPLE"
echo "   wrote $OUT ($(stat -c %s "$OUT") bytes)"
echo
echo "== Source: $SAMPLE"
streams "$SAMPLE"
echo
read_back "$OUT"

# The same clip over DASH. The clip has a key frame every 2 s, so the streams are copied as they
# are and cut into 2 s segments.
echo
DASH_DIR=$OUT_DIR/dash
rm -rf "$DASH_DIR"
mkdir -p "$DASH_DIR"
echo "== Packaging $SAMPLE as an on-demand DASH presentation in $DASH_DIR"
ffmpeg -hide_banner -nostdin -loglevel error -y -i "$SAMPLE" -map 0:v -map 0:a -c copy \
    -f dash -seg_duration 2 -use_template 1 -use_timeline 0 \
    -init_seg_name 'init-$RepresentationID$.m4s' -media_seg_name 'chunk-$RepresentationID$-$Number$.m4s' \
    "$DASH_DIR/manifest.mpd"
echo "   $(ls "$DASH_DIR" | wc -l) files: manifest.mpd, $(ls "$DASH_DIR" | grep -c '^init-') initialisation and $(ls "$DASH_DIR" | grep -c '^chunk-') media segments"


trap nginx_stop EXIT
nginx_start "$DASH_DIR" "$OUT_DIR/nginx"
URL=http://127.0.0.1:$NGINX_PORT/manifest.mpd
OUT=$OUT_DIR/sample-dash.mpg
echo "== Playing $URL through libvelar (nginx on 127.0.0.1:$NGINX_PORT)"
timeout 120 "$PLAY" -o "$OUT" --stats "$OUT_DIR/sample-dash.stats.jsonl" "$URL"
nginx_stop
echo "   wrote $OUT ($(stat -c %s "$OUT") bytes); last --stats line:"
echo "   $(tail -n 1 "$OUT_DIR/sample-dash.stats.jsonl")"
echo "   drawn with tools/plot-stats: $("$ROOT/tools/plot-stats" "$OUT_DIR/sample-dash.stats.jsonl" | tail -n 1)"
echo
read_back "$OUT"
# The same pictures either way: compare the decoded video frame for frame.
framemd5() { ffmpeg -hide_banner -nostdin -v fatal -f mpeg -i "$1" -map 0:v -f framemd5 - | grep -v '^#'; }
if cmp -s <(framemd5 "$OUT_DIR/sample.mpg") <(framemd5 "$OUT"); then
    echo "   the decoded video equals that of demo-out/sample.mpg, frame for frame"
else
    echo "   the decoded video DIFFERS from that of demo-out/sample.mpg"
fi
echo "   (a DASH stream ends as soon as its first track ends, so its last audio frames may be missing)"


echo
echo "== Bit-rate switching: a 16 s presentation in three representations behind a throttled server"
bash "$ROOT/tests/data/make-abr-dash.sh" "$OUT_DIR/abr" 16
echo '{"*": {"rate": 275000}}' >"$OUT_DIR/abr.control.json"
coproc THROTTLED { exec python3 "$ROOT/tests/servers/fault_server.py" --root "$OUT_DIR/abr" \
    --control "$OUT_DIR/abr.control.json"; }
ABR_SERVER_PID=$THROTTLED_PID
trap 'nginx_stop; kill "$ABR_SERVER_PID" 2>/dev/null || true' EXIT
read -r -t 10 _ PORT <&"${THROTTLED[0]}"
URL=http://127.0.0.1:$PORT/manifest.mpd
echo "   playing $URL (about 2.2 Mbit/s) into demo-out/abr.mpg"
timeout 120 "$PLAY" -o "$OUT_DIR/abr.mpg" --stats "$OUT_DIR/abr.stats.jsonl" "$URL"
kill "$ABR_SERVER_PID" 2>/dev/null || true
"$ROOT/tools/plot-stats" "$OUT_DIR/abr.stats.jsonl" --title "throttled to about 2.2 Mbit/s" |
    grep -E '^(switch|wrote)' | sed 's/^/   /'

echo
echo "Play them with: ffplay -f mpeg demo-out/sample.mpg (or sample-dash.mpg, abr.mpg)   (video; the"
echo "audio is AAC in ADTS on stream id C0)"
