#!/usr/bin/env bash
# A file that is still being written (a writer appends to it while velar-play plays it) is played
# to its end: the library answers NotEnoughData at the edge (state Buffering) and resumes when
# bytes arrive, and the output is the same as for the whole file. The --stats file written on the
# way has at least two lines per second and shows the Buffering.
source "$(dirname "$0")/lib.sh"

src=$MEDIA/high_bframes.mp4
size=$(stat -c %s "$src")
growing=$WORK/growing.mp4
ready=$WORK/head-written
# The moov box is at the front (faststart); start with 40 % of the file, then 4 KiB every 100 ms
# (about 3 s for the rest, so several once-a-second polls of the streamer find no data).
python3 "$E2E_DIR/grow_file.py" "$src" "$growing" $((size * 2 / 5)) 4096 100 "$ready" &
writer=$!
for _ in $(seq 100); do
    [ -e "$ready" ] && break
    sleep 0.1
done
[ -e "$ready" ] || { bad "the writer did not start"; kill $writer; finish; }

out=$WORK/growing.mpg
stats=$WORK/stats.jsonl
play "$out" --stats "$stats" "$growing"
writer_status=0
wait $writer || writer_status=$?
[ "$writer_status" -eq 0 ] && ok "writer finished" || bad "writer exit $writer_status"

expect_played "growing file"
if [ "$PLAY_STATUS" -eq 0 ]; then
    check "growing file video" "${CHECK[@]}" frames "$src" "$out"
    check "growing file audio" "${CHECK[@]}" audio "$src" "$out"
    check "growing file time stamps" "${CHECK[@]}" timestamps "$src" "$out"
fi

check "stats lines" python3 - "$stats" "$(stat -c %s "$out")" <<'PY'
import json, sys
lines = [json.loads(l) for l in open(sys.argv[1])]
size = int(sys.argv[2])
keys = {"time_ms", "state", "position_ms", "bytes_out"}
assert all(set(l) == keys for l in lines[:-1]), "unexpected keys: %s" % lines[0]
# The last line adds the time from opening to the first byte out.
assert set(lines[-1]) == keys | {"first_byte_ms"}, "unexpected keys: %s" % lines[-1]
assert 0 <= lines[-1]["first_byte_ms"] <= 60000, "first_byte_ms %s" % lines[-1]["first_byte_ms"]
times = [l["time_ms"] for l in lines]
assert times == sorted(times), "time_ms goes backwards"
span = times[-1] / 1000.0
assert span >= 2.0, "playback took only %.1f s: the writer was too fast" % span
assert len(lines) >= 2 * span, "%d lines in %.1f s" % (len(lines), span)
gaps = [b - a for a, b in zip(times, times[1:])]
assert max(gaps) <= 500, "a gap of %d ms between lines" % max(gaps)
states = [l["state"] for l in lines]
assert "Buffering" in states, "never Buffering: %s" % sorted(set(states))
assert states[-1] == "EndOfFile", "last state %s" % states[-1]
assert lines[-1]["bytes_out"] == size, "bytes_out %d, file %d" % (lines[-1]["bytes_out"], size)
assert [l["bytes_out"] for l in lines] == sorted(l["bytes_out"] for l in lines)
print("%d lines over %.1f s, Buffering seen, ends at EndOfFile with %d bytes" % (len(lines), span, size))
PY

finish
