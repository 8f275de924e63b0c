#!/usr/bin/env bash
# Makes the media of velar's live DASH simulator (tests/servers/live_server.py) into OUTDIR with
# Debian's ffmpeg: SECONDS (default 90) of 320x180 H.264 at 25 fps (key frame every second) and
# AAC 48 kHz stereo, cut by the dash muxer into 1 s segments whose decode times run on without a
# break from 0, so that segment n (from 1) starts at (n - 1) s on the live time line.
#
# Usage: make-live-segments.sh OUTDIR [SECONDS]
#
# Files in OUTDIR: init-<id>.m4s and chunk-<id>-<number, 5 digits>.m4s (id 0 video, 1 audio),
# ffmpeg's static manifest.mpd, and live.json, which the simulator reads: per representation its
# attributes, timescale and the (t, d) of every segment in timescale units as ffmpeg's
# SegmentTimeline states them (audio segments are whole AAC frames, so they are not all exactly
# 1 s long; video segments are exactly 12800 ticks of 12800 Hz).
#
# Idempotent: a stamp holds a hash of this script, of dash_fixtures.py (whose MPD readers are
# used) and of SECONDS; runs are serialised with flock; everything is made in a temporary folder
# and moved into place. About 5 s on a 2-core machine for 90 s of media.
set -euo pipefail

if [ $# -lt 1 ] || [ $# -gt 2 ] || ! [[ ${2:-90} =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: $0 OUTDIR [SECONDS]" >&2
    exit 2
fi
OUT=$1
DUR=${2:-90}
HERE=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
mkdir -p "$OUT"
OUT=$(cd "$OUT" && pwd)

HASH=$( (cat "$HERE/make-live-segments.sh" "$HERE/dash_fixtures.py"; echo "$DUR") | md5sum | cut -c1-32)
# shellcheck source=once.sh
source "$HERE/once.sh"
once_begin make-live-segments

ffmpeg -hide_banner -nostdin -loglevel error -y \
    -f lavfi -i "testsrc2=size=320x180:rate=25:duration=$DUR" \
    -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=$DUR" \
    -map 0:v -map 1:a \
    -c:v libx264 -preset veryfast -profile:v high -g 25 -keyint_min 25 -sc_threshold 0 -threads 1 \
    -pix_fmt yuv420p -b:v 300k -maxrate 300k -bufsize 300k \
    -c:a aac -b:a 64k -ac 2 \
    -map_metadata -1 -fflags +bitexact -flags:v +bitexact -flags:a +bitexact \
    -f dash -seg_duration 1 -use_template 1 -use_timeline 1 \
    -init_seg_name 'init-$RepresentationID$.m4s' -media_seg_name 'chunk-$RepresentationID$-$Number%05d$.m4s' \
    -adaptation_sets "id=0,streams=v id=1,streams=a" "$WORK/manifest.mpd"

python3 - "$HERE" "$WORK" "$DUR" <<'PY'
import json, os, sys
sys.path.insert(0, sys.argv[1])
import dash_fixtures as fx

work, duration = sys.argv[2], int(sys.argv[3])
text = fx.expand_timelines(fx.read(os.path.join(work, "manifest.mpd")))
items = fx.timeline_entries(text)
reps = []
for rep in fx.representations(text):
    rid = rep["id"]
    segments = items[rid]
    for number, (t, _) in enumerate(segments, start=int(rep["template"].get("startNumber", "1"))):
        if not os.path.exists(os.path.join(work, "chunk-%s-%05d.m4s" % (rid, number))):
            raise SystemExit("segment file missing for representation %s number %d" % (rid, number))
    keep = ("id", "mimeType", "codecs", "bandwidth", "width", "height", "audioSamplingRate", "contentType")
    entry = {k: rep[k] for k in keep if k in rep}
    entry["timescale"] = int(rep["template"]["timescale"])
    entry["startNumber"] = int(rep["template"].get("startNumber", "1"))
    entry["segments"] = segments
    reps.append(entry)
with open(os.path.join(work, "live.json"), "w", encoding="utf-8") as f:
    json.dump({"segment_seconds": 1, "duration_seconds": duration, "representations": reps}, f, indent=1)
PY

rm -f "$STAMP" "$OUT"/manifest.mpd "$OUT"/live.json "$OUT"/init-*.m4s "$OUT"/chunk-*.m4s
mv "$WORK"/*.m4s "$WORK/manifest.mpd" "$OUT"/
mv "$WORK/live.json" "$OUT/live.json"
echo "$HASH" >"$STAMP"
