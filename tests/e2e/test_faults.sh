#!/usr/bin/env bash
# DASH over a misbehaving network, one table: the faults of the fault server
# (tests/servers/fault_server.py) on the MPD, the initialisation segment and a media segment, the
# refresh faults of the live simulator (tests/servers/live_server.py) and a host name that never
# resolves (.invalid). velar-play runs every case with --release-check and must end within the
# row's time with the row's outcome:
#   TEXT       exit 1 and exactly one line "velar-play: <URL>: TEXT" on standard error (no crash,
#              no sanitizer report, no second line);
#   play       exit 0, the output equal byte for byte to that of the same presentation without a
#              fault (itself checked frame for frame against the source);
#   skips N    exit 0, the video frames those of the source without media segment N;
#   live       exit 0 at --duration, the live output continuous across the MPD refreshes;
#   starves    still waiting (Buffering, no error) when the row's time runs out: velar-play is
#              killed by its time-out.
# Except for "starves", the release afterwards must leave no thread and no descriptor behind (the
# network layer keeps one transfer handle for reuse: its wake-up socket pair and its kept-alive
# connection) and take at most RELEASE_MS (the streamer thread polls once a second after an error).
#
# The on-demand presentation is the 4 s template fixture with one video and one audio
# representation; each case has a copy of its own and each live case a live server of its own, so
# the cases run at once (the stall case costs three 10 s transfer time-outs).
source "$(dirname "$0")/lib.sh"

RELEASE_MS=${RELEASE_MS:-2000}
FIXTURES=$(dash_media fixtures)
LIVE_MEDIA=$(dash_media live)
PARSE_FAIL="single.mpd: Ffmpeg failed to open file AvFileFfmpegMemory"

# name | URL (@F: the case's folder on the fault server, @L: its live server) | fault path under
# the case's folder (a trailing * covers every path with that start; - none) | fault parameters
# | outcome | seconds it may take | further velar-play options
CASES=(
    "mpd_404|@F/single.mpd|single.mpd|{\"status\": 404}|single.mpd: Invalid MPD|15"
    "mpd_500|@F/single.mpd|single.mpd|{\"status\": 500}|single.mpd: Invalid MPD|15"
    "mpd_not_xml|@F/notxml.mpd|-|-|notxml.mpd: Invalid MPD|15"
    "mpd_no_video|@F/novideo.mpd|-|-|novideo.mpd: Invalid Adaptation|15"
    "init_404|@F/single.mpd|init-0.m4s|{\"status\": 404}|$PARSE_FAIL|15"
    "init_500|@F/single.mpd|init-0.m4s|{\"status\": 500}|$PARSE_FAIL|15"
    "init_garbage|@F/single.mpd|init-0.m4s|{\"garbage\": 1}|$PARSE_FAIL|15"
    "segment_404|@F/single.mpd|chunk-0-00002.m4s|{\"status\": 404}|single.mpd: Bad connection|15"
    "segment_500|@F/single.mpd|chunk-0-00002.m4s|{\"status\": 500}|single.mpd: Bad connection|15"
    "segment_garbage|@F/single.mpd|chunk-0-00002.m4s|{\"garbage\": 1}|skips 2|15"
    "segment_reset|@F/single.mpd|chunk-0-00002.m4s|{\"reset\": 1000}|single.mpd: Bad connection|15"
    "segment_reset_once|@F/single.mpd|chunk-0-00002.m4s|{\"reset\": 1000, \"times\": 1}|play|15"
    "segment_cut|@F/single.mpd|chunk-0-00004.m4s|{\"truncate\": 1000}|single.mpd: Bad connection|15"
    "segment_stall|@F/single.mpd|chunk-0-00004.m4s|{\"stall\": 1000}|single.mpd: Bad connection|50"
    "throttle|@F/single.mpd|*|{\"rate\": 40000}|play|30"
    "dns_failure|http://velar-faults.invalid/single.mpd|-|-|single.mpd: Invalid MPD|10"
    "refresh_404|@L/template.mpd?status=404|-|-|template.mpd?status=404: Invalid MPD|15"
    "refresh_500|@L/timeline.mpd?status=500|-|-|timeline.mpd?status=500: Invalid MPD|15"
    "refresh_back|@L/template.mpd?back=6|-|-|live|40|--duration 32000"
    "refresh_back_timeline|@L/timeline.mpd?back=6|-|-|live|40|--duration 32000"
    "refresh_drop_video|@L/template.mpd?drop=0|-|-|starves|30|--duration 32000"
    "refresh_drop_audio|@L/timeline.mpd?drop=1|-|-|starves|30|--duration 32000"
)
CLEAN_CASE="clean|@F/single.mpd|-|-|play|15"

SITE=$WORK/site
mkdir -p "$SITE"
CONTROL='{'
for entry in "${CASES[@]}" "$CLEAN_CASE"; do
    IFS='|' read -r name url fpath params _ <<<"$entry"
    [[ $url == @F/* ]] || continue
    cp -r "$FIXTURES/template" "$SITE/$name"
    "${DASH_CHECK[@]}" keep-reps "$SITE/$name/manifest.mpd" "$SITE/$name/single.mpd" 0 2 >/dev/null
    if [ "$fpath" != - ]; then
        CONTROL+="\"/$name/$fpath\": $params,"
    fi
done
"${DASH_CHECK[@]}" keep-reps "$SITE/mpd_no_video/manifest.mpd" "$SITE/mpd_no_video/novideo.mpd" 2 >/dev/null
printf 'This is not an MPD.\nNot even XML.\n' >"$SITE/mpd_not_xml/notxml.mpd"
start_fault_server "$SITE"
echo "${CONTROL%,}}" >"$FAULT_CONTROL"
F=http://127.0.0.1:$FAULT_PORT
SRC=$WORK/video-source.mp4
representation_source "$SITE/clean" 0 >"$SRC"

# One live server per live case: the continuity check reads its request log.
declare -A LIVE_URL LIVE_LOGS LIVE_ASTS
for entry in "${CASES[@]}"; do
    IFS='|' read -r name url _ <<<"$entry"
    [[ $url == @L/* ]] || continue
    start_live_server "$LIVE_MEDIA" --window 10 --update 2 --preroll 12 --lifetime 240
    LIVE_URL[$name]=http://127.0.0.1:$LIVE_PORT
    LIVE_LOGS[$name]=$LIVE_LOG
    LIVE_ASTS[$name]=$LIVE_AST
done

# released NAME STATS: the release figures on the last line of STATS (velar-play --release-check).
released() {
    python3 - "$1" "$2" "$RELEASE_MS" <<'EOF'
import json, sys
name, path, limit = sys.argv[1], sys.argv[2], int(sys.argv[3])
with open(path) as f:
    r = json.loads(f.read().splitlines()[-1])["release"]
other = lambda w: r["fds_" + w] - r["sockets_" + w] - r["anon_" + w]
kept = r["sockets_after"] + r["anon_after"] - r["sockets_before"] - r["anon_before"]
problems = []
if r["threads_after"] != r["threads_before"]:
    problems.append("threads %d -> %d" % (r["threads_before"], r["threads_after"]))
if other("after") != other("before"):
    problems.append("other descriptors %d -> %d" % (other("before"), other("after")))
if not 0 <= kept <= 4:  # the kept handle: its socket pair and at most two connections
    problems.append("sockets and anonymous inodes grew by %d" % kept)
if r["ms"] > limit:
    problems.append("release took %d ms" % r["ms"])
print("%s: %s" % (name, "; ".join(problems) or "released in %d ms, threads %d, descriptors %d -> %d"
                  % (r["ms"], r["threads_after"], r["fds_before"], r["fds_after"])))
sys.exit(1 if problems else 0)
EOF
}

# last_state STATS: the streamer state on the last line of STATS.
last_state() { tail -n 1 "$1" | sed -n 's/.*"state":"\([A-Za-z]*\)".*/\1/p'; }

# run_case ENTRY: one row, in a folder of its own; run in a subshell, its FAILURES is its status.
run_case() {
    local name url fpath params outcome within extra
    IFS='|' read -r name url fpath params outcome within extra <<<"$1"
    WORK=$WORK/case-$name
    mkdir -p "$WORK"
    url=${url/#@F/$F/$name}
    url=${url/#@L/${LIVE_URL[$name]:-}}
    local args=(--stats "$WORK/stats.jsonl" --release-check)
    # shellcheck disable=SC2206
    [ -z "$extra" ] || args+=($extra)
    local out=$WORK/$name.mpg
    case $outcome in
    play | skips* | live)
        play "$out" "${args[@]}" "$url"
        expect_played "$name"
        [ "$PLAY_SECONDS" -le "$within" ] || bad "$name: took ${PLAY_SECONDS}s, more than ${within}s"
        if grep -q "Sanitizer\|runtime error:" "$PLAY_STDERR"; then
            bad "$name: $(grep -m 3 "Sanitizer\|runtime error:" "$PLAY_STDERR")"
        fi
        ;;
    starves)
        PLAY_TIMEOUT=$within play "$out" "${args[@]}" "$url"
        if [ "$PLAY_STATUS" -eq 124 ] && [ "$(last_state "$WORK/stats.jsonl")" = Buffering ] &&
            ! [ -s "$PLAY_STDERR" ]; then
            ok "$name: still Buffering after ${within}s, no error"
        else
            bad "$name: exit $PLAY_STATUS, state $(last_state "$WORK/stats.jsonl"): $(head -c 500 "$PLAY_STDERR")"
        fi
        exit "$FAILURES"
        ;;
    *)
        FAIL_WITHIN=$within expect_failure "$name" "$outcome" "${args[@]}" "$url"
        [[ $(cat "$PLAY_STDERR") == *"/$outcome" ]] || bad "$name: the error line does not end with '$outcome'"
        ;;
    esac
    check "$name release" released "$name" "$WORK/stats.jsonl"
    case $outcome in
    play) [ "$name" = clean ] || check "$name: output equals the clean play's" cmp "$CLEAN" "$out" ;;
    skips*)
        local skipped segment parts=("$SITE/$name/init-0.m4s")
        skipped=$SITE/$name/chunk-0-$(printf %05d "${outcome#skips }").m4s
        for segment in "$SITE/$name"/chunk-0-*.m4s; do
            [ "$segment" = "$skipped" ] || parts+=("$segment")
        done
        cat "${parts[@]}" >"$WORK/src.mp4"
        same_frames "$name: the source without segment ${outcome#skips }" "$WORK/src.mp4" "$out"
        ;;
    live)
        check "$name: continuity and window" "${DASH_CHECK[@]}" live "$out" "${LIVE_LOGS[$name]}" \
            --ast "${LIVE_ASTS[$name]}" --window 10
        ;;
    esac
    exit "$FAILURES"
}

# The presentation without a fault: the reference of the cases that recover.
CLEAN=$WORK/case-clean/clean.mpg
(run_case "$CLEAN_CASE") >"$WORK/clean.log" 2>&1 || FAILURES=$((FAILURES + 1))
cat "$WORK/clean.log"
same_frames "clean: frames of the source" "$SRC" "$CLEAN"

declare -A PIDS
for entry in "${CASES[@]}"; do
    name=${entry%%|*}
    (run_case "$entry") >"$WORK/$name.log" 2>&1 &
    PIDS[$name]=$!
done
for entry in "${CASES[@]}"; do
    name=${entry%%|*}
    wait "${PIDS[$name]}" || FAILURES=$((FAILURES + 1))
    cat "$WORK/$name.log"
done

finish
