#!/usr/bin/env bash
# DASH presentations velar-play cannot play end with exit status 1 and one line
# "velar-play: <why>" on standard error, in bounded time, without a crash or a sanitizer report:
# an MPD that is not there, an MPD that is not XML, a presentation without video, a segment that
# is not there, a segment cut short (on every attempt, so the client's resumed retries cannot
# complete it) and a server that stops sending in the middle of a segment (the client gives up
# after its stall time-out and retries: 3 x 10 s). The presentation is the 4 s template fixture
# with one video representation, served by the fault server; each fault has a copy of its own.
source "$(dirname "$0")/lib.sh"

FIXTURES=$(dash_media fixtures)
SITE=$WORK/site
mkdir -p "$SITE"
for copy in ok t404 tcut tstall; do
    cp -r "$FIXTURES/template" "$SITE/$copy"
    "${DASH_CHECK[@]}" keep-reps "$SITE/$copy/manifest.mpd" "$SITE/$copy/single.mpd" 0 2 >/dev/null
done
"${DASH_CHECK[@]}" keep-reps "$SITE/ok/manifest.mpd" "$SITE/ok/novideo.mpd" 2 >/dev/null
printf 'This is not an MPD.\nNot even XML.\n' >"$SITE/ok/notxml.mpd"

start_fault_server "$SITE"
cat >"$FAULT_CONTROL" <<'EOF'
{"/t404/chunk-0-00002.m4s": {"status": 404},
 "/tcut/chunk-0-00004.m4s": {"truncate": 1000},
 "/tstall/chunk-0-00004.m4s": {"stall": 1000}}
EOF
BASE=http://127.0.0.1:$FAULT_PORT

# name | seconds it may take | text the error line must hold | path
CASES=(
    "mpd_404|20|ok/missing.mpd: Invalid MPD|ok/missing.mpd"
    "not_xml|20|ok/notxml.mpd: Invalid MPD|ok/notxml.mpd"
    "no_video|20|ok/novideo.mpd: Invalid Adaptation|ok/novideo.mpd"
    "segment_404|20|t404/single.mpd: Bad connection|t404/single.mpd"
    "segment_cut|20|tcut/single.mpd: Bad connection|tcut/single.mpd"
    "server_stops|50|tstall/single.mpd: Bad connection|tstall/single.mpd"
)
for entry in "${CASES[@]}"; do
    IFS='|' read -r name within wanted path <<<"$entry"
    FAIL_WITHIN=$within expect_failure "$name" "$wanted" "$BASE/$path"
done

# The same presentation without a fault plays: the failures above are the faults'.
play "$WORK/ok.mpg" "$BASE/ok/single.mpd"
expect_played "no fault"

finish
