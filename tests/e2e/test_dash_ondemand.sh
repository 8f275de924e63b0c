#!/usr/bin/env bash
# On-demand DASH through velar-play, one presentation per addressing scheme (SegmentTemplate with
# $Number$, SegmentTimeline with $Time$, SegmentList, SegmentList with media ranges, SegmentBase),
# served by nginx. Each MPD is cut down to one video representation, so the output must decode to
# exactly the frames of that representation's segments (init + media, concatenated), with their
# time stamps, and to the audio of the audio segments up to the end of the video: the DASH file
# ends as soon as its lowest track ends, so of the audio after the video's last decode time only
# the first packet comes out. On SegmentBase, whose addressing writes "Range..." lines on standard
# output, the stream on standard output is byte for byte the stream written to a file.
source "$(dirname "$0")/lib.sh"

FIXTURES=$(dash_media fixtures)
SITE=$WORK/site
SRC=$WORK/src
mkdir -p "$SITE" "$SRC"
cp -r "$FIXTURES/template" "$FIXTURES/timeline" "$FIXTURES/onefile" "$SITE/"

# The sources: the video representation at 320x180 and the audio, as one fragmented MP4 each.
representation_source "$SITE/template" 0 >"$SRC/template-video.mp4"
representation_source "$SITE/template" 2 >"$SRC/template-audio.mp4"
representation_source "$SITE/timeline" 0 >"$SRC/timeline-video.mp4"
representation_source "$SITE/timeline" 2 >"$SRC/timeline-audio.mp4"

# name | MPD | kept representation ids | video source | audio source
CASES=(
    "template|template/manifest.mpd|0 2|$SRC/template-video.mp4|$SRC/template-audio.mp4"
    "timeline|timeline/manifest.mpd|0 2|$SRC/timeline-video.mp4|$SRC/timeline-audio.mp4"
    "segmentlist|template/segmentlist.mpd|0 2|$SRC/template-video.mp4|$SRC/template-audio.mp4"
    "segmentlist-ranges|onefile/segmentlist-ranges.mpd|v180 a_en|$SITE/onefile/v180.mp4|$SITE/onefile/a_en.mp4"
    "segmentbase|onefile/segmentbase.mpd|v180 a_en|$SITE/onefile/v180.mp4|$SITE/onefile/a_en.mp4"
)

start_nginx "$SITE"
for entry in "${CASES[@]}"; do
    IFS='|' read -r name mpd keep video audio <<<"$entry"
    single=$(dirname "$mpd")/single-$name.mpd
    # shellcheck disable=SC2086
    "${DASH_CHECK[@]}" keep-reps "$SITE/$mpd" "$SITE/$single" $keep >/dev/null
    url=http://127.0.0.1:$NGINX_PORT/$single
    out=$WORK/$name.mpg
    play "$out" "$url"
    expect_played "$name"
    [ "$PLAY_STATUS" -eq 0 ] || continue
    check "$name strict program stream" "${PSPARSE[@]}" summary "$out"
    same_frames "$name video" "$video" "$out"
    check "$name audio" "${DASH_CHECK[@]}" audio-prefix "$audio" "$out"
    check "$name time stamps" "${DASH_CHECK[@]}" timestamps "$out" "$video" "$audio"
done

# Standard output against -o FILE on SegmentBase.
url=http://127.0.0.1:$NGINX_PORT/onefile/single-segmentbase.mpd
status=0
timeout "$PLAY_TIMEOUT" "$PLAY" "$url" >"$WORK/stdout.mpg" 2>"$WORK/stdout-err.txt" || status=$?
if [ "$status" -eq 0 ] && [ -s "$WORK/segmentbase.mpg" ] && cmp -s "$WORK/stdout.mpg" "$WORK/segmentbase.mpg"; then
    ok "segmentbase -o - equals -o FILE ($(stat -c %s "$WORK/stdout.mpg") bytes)"
else
    bad "segmentbase -o -: exit $status, $(cmp "$WORK/stdout.mpg" "$WORK/segmentbase.mpg" 2>&1 | head -n 1)"
fi

finish
