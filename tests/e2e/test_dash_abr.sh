#!/usr/bin/env bash
# Bit-rate adaptation over the 16 s presentation of make-abr-dash.sh (video at 400 kbit/s
# 320x180, 1.2 Mbit/s 640x360 and 3 Mbit/s 1280x720, 1 s segments). Play starts on the lowest
# representation. From nginx on the loopback every download is far faster than real time, so the
# video set climbs to the highest representation (the --stats lines show its bandwidth at the
# end). From the fault server throttled to about 2.2 Mbit/s a 720p segment would take longer than
# it plays and a 360p one about half of that, so the set settles on the middle representation
# and never takes the highest. Either way the output decodes without a message across the
# switches, every new segment's first picture has SPS and PPS in front of it, the frames are
# those of the representations' segments in time order, and the audio is the source's up to the
# end of the video. tools/plot-stats draws each --stats file; in the throttled run (several
# readings a second over 9 s) it finds the switch of the representation being played.
source "$(dirname "$0")/lib.sh"

# plotted STATS SWITCHES: plot-stats read every reading of STATS and wrote a PNG of it; with
# SWITCHES "switch", it also found the video being played switch at least once.
plotted() {
    local report
    report=$("$VELAR_SOURCE_DIR/tools/plot-stats" "$1" -o "${1%.jsonl}.png") || return 1
    [ -s "${1%.jsonl}.png" ] && grep "^wrote .* ($(wc -l <"$1") readings)" <<<"$report" || return 1
    [ "$2" != switch ] || grep "^switch .* video/mp4 " <<<"$report"
}

ABR=$(dash_media abr)
representation_source "$ABR" 3 >"$WORK/audio.mp4"

start_nginx "$ABR"
start_fault_server "$ABR"
echo '{"*": {"rate": 275000}}' >"$FAULT_CONTROL"

# name | server port | --stats checks | representations of the first and the last segment |
# a played switch the plot must show
CASES=(
    "fast|$NGINX_PORT|--final 3000000|0 2|-"
    "throttled|$FAULT_PORT|--final 1200000 --never 3000000|0 1|switch"
)
for entry in "${CASES[@]}"; do
    IFS='|' read -r name port want reps switch <<<"$entry"
    out=$WORK/$name.mpg
    play "$out" --stats "$WORK/$name.stats.jsonl" "http://127.0.0.1:$port/manifest.mpd"
    expect_played "$name"
    [ "$PLAY_STATUS" -eq 0 ] || continue
    # shellcheck disable=SC2086
    check "$name representation choice" "${DASH_CHECK[@]}" video-stats "$WORK/$name.stats.jsonl" $want
    # shellcheck disable=SC2086
    check "$name video across switches" "${DASH_CHECK[@]}" switches "$out" "$ABR" $reps
    check "$name audio" "${DASH_CHECK[@]}" audio-prefix "$WORK/audio.mp4" "$out"
    check "$name plot" plotted "$WORK/$name.stats.jsonl" "$switch"
done

finish
