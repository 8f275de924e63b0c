#!/usr/bin/env bash
# The rest of velar-play's command line: standard output as the default output (and nothing but
# the stream on it, even with the library's log on), options that must not change the stream
# (--ring-size, --rate for a local file, the MP4 MIME types), key-frame stepping by rate, --duration,
# the progress line on a terminal only, and the library search through VELAR_LIBRARY.
source "$(dirname "$0")/lib.sh"

src=$MEDIA/high_bframes.mp4
ref=$WORK/ref.mpg
play "$ref" "$src"
expect_played "reference run"

same_bytes() { cmp "$1" "$2" && echo "identical ($(stat -c %s "$1") bytes)"; }

# Standard output: "-" is the default; with --verbose the log goes to standard error only.
status=0
timeout "$PLAY_TIMEOUT" "$PLAY" --verbose "$src" >"$WORK/stdout.mpg" 2>"$WORK/verbose.txt" || status=$?
[ "$status" -eq 0 ] && ok "stdout run: exit 0" || bad "stdout run: exit $status"
check "stdout stream equals -o FILE" same_bytes "$ref" "$WORK/stdout.mpg"
for line in "Registering  Mp4Service..." "Changing state from Starting to Playing" \
            "Changing state from Playing to EndOfFile"; do
    grep -qF "$line" "$WORK/verbose.txt" && ok "--verbose shows '$line'" \
        || bad "--verbose lacks '$line'"
done

# Quiet without --verbose when standard error is not a terminal: no progress line, no log.
play "$WORK/quiet.mpg" "$src"
[ ! -s "$PLAY_STDERR" ] && ok "nothing on standard error" || bad "standard error: $(cat "$PLAY_STDERR")"

# On a terminal (a pseudo-terminal from script(1)) the progress line shows the final state.
progress=$(timeout "$PLAY_TIMEOUT" script -qec "'$PLAY' -o '$WORK/tty.mpg' '$src'" /dev/null </dev/null | tr '\r' '\n')
if grep -q "^EndOfFile .* / 4.0 s .* MB .* Mbit/s" <<<"$progress"; then
    ok "progress line on a terminal: $(grep EndOfFile <<<"$progress" | head -n 1 | tr -d '\033')"
else
    bad "progress line on a terminal: $progress"
fi

# Options that must not change the stream of a local file.
for opts in "--ring-size 65536" "--rate 2000" "--rate -1000" "--mime audio/mp4" "--mime media/mp4"; do
    # shellcheck disable=SC2086
    play "$WORK/opt.mpg" $opts "$src"
    expect_played "$opts"
    check "$opts stream equals the reference" same_bytes "$ref" "$WORK/opt.mpg"
done

# Key-frame trick play at a rate other than 1000 steps the target by |rate| ms per key frame from
# the start (0, --seek, or the video's end backwards) and stops at the video's end (3960 ms here)
# or below 0. baseline.mp4 (no B-frames) has key frames at 0, 1, 2 and 3 s and a positioning lands
# on the one at or before the target; a landing that repeats the last key frame written is dropped
# whole, so every key frame comes once, each behind its own pack header.
base=$MEDIA/baseline.mp4
while read -r name want args; do
    # shellcheck disable=SC2086
    play "$WORK/$name.mpg" --keyframes $args "$base"
    expect_played "--keyframes $args"
    check "--keyframes $args key frames" python3 - "$WORK/$name.mpg" "$want" "$E2E_DIR" <<'PY'
import sys
sys.path.insert(0, sys.argv[3])
import psparse
packs, packets = psparse.load(sys.argv[1])
got = [p.pts // 90 for p in packets if p.stream_id == 0xE0 and p.pts is not None]
want = [int(x) for x in sys.argv[2].split(",")]
assert got == want, "video PTS (ms) %s, want %s" % (got, want)
assert len(packs) == len(want), "%d pack headers for %d key frames" % (len(packs), len(want))
print("key frames at %s ms, one pack header each" % got)
PY
done <<'TABLE'
fwd2000      0,2000             --rate 2000
fwd500       0,1000,2000,3000   --rate 500
back2000     3000,1000          --rate -2000
back1500     3000,1000,0        --rate -1500 --seek 3000
fwdseek      1000,3000          --rate 2000 --seek 1500
TABLE
status=0
timeout 10 "$PLAY" --keyframes --rate 0 "$base" >/dev/null 2>"$WORK/rate0.txt" || status=$?
[ "$status" -eq 2 ] && grep -q "^velar-play: --keyframes needs a rate other than 0" "$WORK/rate0.txt" \
    && ok "--keyframes --rate 0: usage error" || bad "--keyframes --rate 0: exit $status: $(head -n 1 "$WORK/rate0.txt")"

# --duration stops once the streamer's position passes the limit. The streamer runs ahead of the
# output by at most the ring's content, so with the smallest ring the output ends between the limit
# and one ring later; without B-frames it decodes to a prefix of the source's frames.
play "$WORK/duration.mpg" --duration 1000 --ring-size 65536 "$base"
expect_played "--duration 1000"
check "--duration 1000 output" python3 - "$base" "$WORK/duration.mpg" "$E2E_DIR" <<'PY'
import sys
sys.path.insert(0, sys.argv[3])
import check_output, psparse
src, out = sys.argv[1], sys.argv[2]
got = check_output.framemd5(out, "mpeg")
want = check_output.framemd5(src)
assert got == want[:len(got)], "not a prefix of the source's frames"
assert 25 <= len(got) < len(want), "%d frames of %d" % (len(got), len(want))
_, packets = psparse.load(out)
video = [p.pts for p in packets if p.stream_id == 0xE0 and p.pts is not None]
print("%d of %d frames, a prefix of the source, last PTS %d ms" % (len(got), len(want), max(video) // 90))
PY

# A reader that goes away: a write error, exit 1, not a silent SIGPIPE death.
set +e
timeout "$PLAY_TIMEOUT" "$PLAY" "$src" 2>"$WORK/pipe.txt" | head -c 100 >/dev/null
status=${PIPESTATUS[0]}
set -e
if [ "$status" -eq 1 ] && grep -q "^velar-play: cannot write to standard output: Broken pipe" "$WORK/pipe.txt"; then
    ok "closed pipe: exit 1, $(cat "$WORK/pipe.txt")"
else
    bad "closed pipe: exit $status: $(cat "$WORK/pipe.txt")"
fi

# The library is found through VELAR_LIBRARY when it is set.
status=0
VELAR_LIBRARY=$WORK/no-such-libvelar.so timeout 10 "$PLAY" -o "$WORK/x.mpg" "$src" 2>"$WORK/lib.txt" || status=$?
if [ "$status" -eq 1 ] && grep -q "^velar-play: cannot load the library named by VELAR_LIBRARY" "$WORK/lib.txt"; then
    ok "VELAR_LIBRARY missing file: exit 1"
else
    bad "VELAR_LIBRARY missing file: exit $status: $(cat "$WORK/lib.txt")"
fi
lib=$(find "$VELAR_BUILD_DIR/velar" -maxdepth 1 -name libvelar.so | head -n 1)
VELAR_LIBRARY=$lib play "$WORK/lib.mpg" "$src"
expect_played "VELAR_LIBRARY=$lib"
check "VELAR_LIBRARY stream equals the reference" same_bytes "$ref" "$WORK/lib.mpg"

finish
