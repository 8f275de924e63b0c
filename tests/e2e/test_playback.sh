#!/usr/bin/env bash
# Every playable generated clip, played whole through velar-play, decodes to the source's video
# frames (framemd5, output read with -f mpeg forced) and audio (ADTS taken out of the C0 packets,
# decoded with -f aac), and its PES time stamps are the source's packet time stamps at 90 kHz.
source "$(dirname "$0")/lib.sh"

# clip: what it has (v = video, a = audio)
declare -A CLIPS=(
    [high_bframes]=va   # High, B-frames, AAC 44.1 kHz stereo
    [main]=va           # Main, AAC 48 kHz mono (ADTS says stereo: right channel silent)
    [baseline]=va       # Baseline, no B-frames
    [level52]=va        # level 5.2, rewritten to 4.1 in the SPS: must still decode the same
    [audio_only]=a
    [video_only]=v
    [no_faststart]=va   # moov after mdat
    [fragmented]=va     # moof/mdat fragments
)

for clip in high_bframes main baseline level52 audio_only video_only no_faststart fragmented; do
    src=$MEDIA/$clip.mp4
    out=$WORK/$clip.mpg
    play "$out" "$src"
    expect_played "$clip"
    [ "$PLAY_STATUS" -eq 0 ] || continue
    check "$clip strict program stream" "${PSPARSE[@]}" summary "$out"
    case ${CLIPS[$clip]} in *v*) check "$clip video" "${CHECK[@]}" frames "$src" "$out" ;; esac
    case ${CLIPS[$clip]} in *a*) check "$clip audio" "${CHECK[@]}" audio "$src" "$out" ;; esac
    check "$clip time stamps" "${CHECK[@]}" timestamps "$src" "$out"
done

# The output starts with the pack header exactly as the library writes it (SCR 0, mux rate all
# ones, reserved bits zero), and holds exactly one: the stream was positioned once.
head_bytes=$(head -c 14 "$WORK/high_bframes.mpg" | od -An -tx1 | tr -d ' \n')
if [ "$head_bytes" = "000001ba440004000401ffffff00" ]; then
    ok "pack header bytes at the start"
else
    bad "pack header bytes at the start: $head_bytes"
fi
packs=$("${PSPARSE[@]}" summary "$WORK/high_bframes.mpg" | python3 -c 'import json,sys; print(json.load(sys.stdin)["packs"])')
[ "$packs" = "[0]" ] && ok "one pack header" || bad "pack headers at $packs"

finish
