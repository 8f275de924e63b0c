#!/usr/bin/env bash
# Input velar-play cannot play ends with exit status 1 and one line "velar-play: <why>" on
# standard error, in bounded time, without a crash or a core dump; a command line it cannot run
# ends with exit status 2 and the usage text. FFmpeg's own complaints go to the library's log,
# so that line is all there is on standard error.
source "$(dirname "$0")/lib.sh"

mkdir -p "$WORK/a-directory.mp4"
# name | text the error line must hold | arguments
expect_failure missing "Failed to open file $WORK/missing.mp4" "$WORK/missing.mp4"
expect_failure empty "Ffmpeg failed to open file $MEDIA/empty.mp4" "$MEDIA/empty.mp4"
expect_failure text "Ffmpeg failed to open file $MEDIA/text.mp4" "$MEDIA/text.mp4"
expect_failure directory "failed to open file $WORK/a-directory.mp4" "$WORK/a-directory.mp4"
expect_failure unknown_mime 'MIME type "video/x-unknown" is not supported' \
    --mime video/x-unknown "$MEDIA/main.mp4"
expect_failure mime_case 'MIME type "Video/MP4" is not supported' --mime Video/MP4 "$MEDIA/main.mp4"
expect_failure mpeg4part2 "track 0 is video in a codec velar cannot play" "$MEDIA/mpeg4part2.mp4"
# The index promises more bytes than the file holds and nobody writes them: after the stall
# time-out (5 s without growth) velar-play gives up instead of waiting for ever.
expect_failure truncated "the file ends before the end its index announces" "$MEDIA/truncated.mp4"
# High 10 without constraint flags: the codec data is refused, the H.264 feeder throws on the
# streamer thread, the exception ends the process through velar-play's terminate handler.
expect_failure high10 "No AVC Data, cannot feed" "$MEDIA/high10.mp4"
expect_failure output_unwritable "cannot open $WORK/no/such/dir.mpg for writing" \
    -o "$WORK/no/such/dir.mpg" "$MEDIA/main.mp4"
expect_failure stats_unwritable "cannot open the statistics file $WORK/no/stats.jsonl" \
    --stats "$WORK/no/stats.jsonl" "$MEDIA/main.mp4"

# No core dump, no "terminate called" text from the runtime: the handler took over.
if grep -q "terminate called" "$WORK"/stderr.*.txt; then
    bad "the runtime's terminate text was printed"
else
    ok "no runtime terminate text"
fi

# expect_usage NAME WANTED ARGS...: exit 2, the reason and the usage text on standard error.
expect_usage() {
    local name=$1 wanted=$2
    shift 2
    local err=$WORK/usage.$name.txt status=0
    timeout 10 "$PLAY" "$@" >/dev/null 2>"$err" || status=$?
    if [ "$status" -eq 2 ] && grep -q "^velar-play: .*$wanted" "$err" && grep -q '^usage: velar-play' "$err"; then
        ok "usage $name: $(head -n 1 "$err")"
    else
        bad "usage $name: exit $status: $(cat "$err")"
    fi
}
expect_usage no_input "no INPUT given"
expect_usage unknown_option "unknown option --bogus" --bogus "$MEDIA/main.mp4"
expect_usage two_inputs "only one INPUT" "$MEDIA/main.mp4" "$MEDIA/baseline.mp4"
expect_usage seek_text "--seek needs a whole number" --seek soon "$MEDIA/main.mp4"
expect_usage seek_negative "--seek needs a whole number" --seek -5 "$MEDIA/main.mp4"
expect_usage seek_trailing "--seek needs a whole number" --seek=10ms "$MEDIA/main.mp4"
expect_usage rate_text "--rate needs a whole number" --rate fast "$MEDIA/main.mp4"
expect_usage ring_small "--ring-size must be at least 65536" --ring-size 1000 "$MEDIA/main.mp4"
expect_usage ring_huge "--ring-size needs a whole number up to" --ring-size 99999999999 "$MEDIA/main.mp4"
expect_usage missing_value "option -o needs a value" "$MEDIA/main.mp4" -o
expect_usage flag_value "option --keyframes takes no value" --keyframes=1 "$MEDIA/main.mp4"

status=0
help=$(timeout 10 "$PLAY" --help 2>/dev/null) || status=$?
if [ "$status" -eq 0 ] && [[ "$help" == usage:* ]]; then
    ok "--help: usage on standard output, exit 0"
else
    bad "--help: exit $status: $help"
fi

finish
