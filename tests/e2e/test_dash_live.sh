#!/usr/bin/env bash
# Live DASH: 30 s of play from the live simulator (tests/servers/live_server.py), in its
# $Number$ form and its SegmentTimeline form at once, each from a server of its own. The MPD is
# refreshed every 2 s; across the refreshes the output's video and audio time stamps must run on
# without a gap, a repeat or a step (one frame apart, in presentation order), and the first
# segment played must lie inside the time-shift window the MPD announced.
source "$(dirname "$0")/lib.sh"

LIVE_MEDIA=$(dash_media live)
LIVE_SECONDS=${LIVE_SECONDS:-30}
WINDOW=10
PREROLL=12  # seconds of the live time line already past when a server starts
FORMS=(template timeline)

declare -A PID AST LOG
for form in "${FORMS[@]}"; do
    start_live_server "$LIVE_MEDIA" --window "$WINDOW" --update 2 --preroll "$PREROLL" --lifetime 240
    AST[$form]=$LIVE_AST
    LOG[$form]=$LIVE_LOG
    # Both players run at once: each spends its time waiting for the live edge. Positions count
    # from the availability start, so play stops LIVE_SECONDS after the server's start.
    timeout $((PLAY_TIMEOUT + LIVE_SECONDS)) "$PLAY" -o "$WORK/$form.mpg" \
        --duration $(((PREROLL + LIVE_SECONDS) * 1000)) \
        "http://127.0.0.1:$LIVE_PORT/$form.mpd" 2>"$WORK/$form.stderr.txt" &
    PID[$form]=$!
done

for form in "${FORMS[@]}"; do
    status=0
    wait "${PID[$form]}" || status=$?
    if [ "$status" -ne 0 ]; then
        bad "$form: exit $status: $(tail -n 3 "$WORK/$form.stderr.txt")"
        continue
    fi
    ok "$form: exit 0"
    out=$WORK/$form.mpg
    check "$form strict program stream" "${PSPARSE[@]}" summary "$out"
    check "$form continuity and window" "${DASH_CHECK[@]}" live "$out" "${LOG[$form]}" \
        --ast "${AST[$form]}" --window "$WINDOW"
done

finish
