#!/usr/bin/env bash
# --seek on on-demand DASH, into each state of the video adaptation set's queue: into a segment
# already buffered, before the buffered range, after it, and into the segment being downloaded.
# The fault server holds back segment 4 (3 s before its status line), so when velar-play seeks,
# right after the start, segments 2 and 3 are queued and 4 is in flight; --ring-size 65536 keeps
# the streamer inside the first segments until the seek. "Before" seeks to 0 on the timeline
# presentation, whose video starts at 80 ms: before the first segment, which is loaded, and before
# the queue. The library's log (--verbose) shows which case the queue took; the output (after
# its one pack header) must be the source's frames from the key frame at or before the target.
# Then key-frame trick play forwards and backwards: only key frames, one per step, in order.
source "$(dirname "$0")/lib.sh"

ABR=$(dash_media abr)
FIXTURES=$(dash_media fixtures)
SITE=$WORK/site
mkdir -p "$SITE/abr"
cp "$ABR"/init-0.m4s "$ABR"/init-3.m4s "$ABR"/chunk-0-*.m4s "$ABR"/chunk-3-*.m4s "$SITE/abr/"
cp -r "$FIXTURES/timeline" "$SITE/"
"${DASH_CHECK[@]}" keep-reps "$ABR/manifest.mpd" "$SITE/abr/single.mpd" 0 3 >/dev/null
"${DASH_CHECK[@]}" keep-reps "$SITE/timeline/manifest.mpd" "$SITE/timeline/single.mpd" 0 2 >/dev/null
representation_source "$SITE/abr" 0 >"$WORK/abr-video.mp4"
representation_source "$SITE/timeline" 0 >"$WORK/timeline-video.mp4"

start_fault_server "$SITE"
cat >"$FAULT_CONTROL" <<'EOF'
{"/abr/chunk-0-00004.m4s": {"delay": 3000}, "/abr/chunk-3-00004.m4s": {"delay": 3000}}
EOF
start_nginx "$SITE"

# name | server port | MPD | target ms | source | frames from (ms, or "all") | log lines of the
# video set that must appear, separated by ';'
CASES=(
    "buffered|$FAULT_PORT|abr/single.mpd|2500|abr-video.mp4|2500|Seeking on video/mp4 within cache to position 2500"
    "downloading|$FAULT_PORT|abr/single.mpd|3500|abr-video.mp4|3500|Seeking on video/mp4 to segment at position 3500 that is downloading already"
    "after|$FAULT_PORT|abr/single.mpd|9500|abr-video.mp4|9500|Seeking on video/mp4 to position 9500, seeking forwards. Remove all segments;Discarding segment at posMs: 3000"
    "before|$NGINX_PORT|timeline/single.mpd|0|timeline-video.mp4|all|Seeking on video/mp4 to position 0, seeking backwards. Remove all segments"
)
for entry in "${CASES[@]}"; do
    IFS='|' read -r name port mpd target src from lines <<<"$entry"
    out=$WORK/seek-$name.mpg
    play "$out" --verbose --ring-size 65536 --seek "$target" "http://127.0.0.1:$port/$mpd"
    expect_played "$name --seek $target"
    [ "$PLAY_STATUS" -eq 0 ] || continue
    IFS=';' read -r -a wanted <<<"$lines"
    for line in "${wanted[@]}"; do
        grep -qF "$line" "$PLAY_STDERR" && ok "$name: log '$line'" || bad "$name: no log '$line'"
    done
    [ "$(head -c 4 "$out" | od -An -tx1 | tr -d ' \n')" = "000001ba" ] && ok "$name: pack header first" \
        || bad "$name: the output does not start with a pack header"
    from_args=(--from-ms "$from")
    [ "$from" = all ] && from_args=()
    same_frames "$name --seek $target video" "$WORK/$src" "$out" "${from_args[@]}"
done

# Key-frame trick play on the 16 s presentation (a key frame every second), stepping 2 s per key
# frame forwards from 0 and backwards from the end: one key frame per positioning, at or just
# before its target, in order.
for rate in 2000 -2000; do
    order=()
    first=0
    if [ "$rate" -lt 0 ]; then
        order=(--backwards)
        first=16000
    fi
    out=$WORK/keys$rate.mpg
    play "$out" --keyframes --rate "$rate" "http://127.0.0.1:$NGINX_PORT/abr/single.mpd"
    expect_played "--keyframes --rate $rate"
    [ "$PLAY_STATUS" -eq 0 ] || continue
    same_frames "--rate $rate key frames" "$WORK/abr-video.mp4" "$out" --keyframes "${order[@]}"
    check "--rate $rate one key frame per step" "${DASH_CHECK[@]}" trick "$out" "$first" "$rate" 16000 1000
done

finish
