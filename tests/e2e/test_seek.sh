#!/usr/bin/env bash
# --seek (a second positioning right after the start) and --keyframes (key-frame trick play).
# After a seek the output is one pack header followed by the stream from the key frame at or
# before the target: its frames and time stamps are the source's from there on. With --keyframes
# only key frames reach the output, each once, in playing order (backwards for a negative rate).
source "$(dirname "$0")/lib.sh"

one_pack_at_start() {
    local packs
    packs=$("${PSPARSE[@]}" summary "$1" | python3 -c 'import json,sys; print(json.load(sys.stdin)["packs"])')
    [ "$packs" = "[0]" ] && echo "one pack header, at the start" || { echo "pack headers at $packs"; return 1; }
}

# Targets: between key frames, exactly on a key frame's time (lands on the one before when the
# clip has B-frames: the target counts from the first decode time), on the last key frame, and
# past the end (lands on the last key frame).
for clip in high_bframes baseline main; do
    src=$MEDIA/$clip.mp4
    for target in 1500 2000 60000; do
        out=$WORK/$clip.seek$target.mpg
        play "$out" --seek "$target" "$src"
        expect_played "$clip --seek $target"
        [ "$PLAY_STATUS" -eq 0 ] || continue
        check "$clip --seek $target packs" one_pack_at_start "$out"
        check "$clip --seek $target video" "${CHECK[@]}" frames "$src" "$out" --from-ms "$target"
        check "$clip --seek $target time stamps" "${CHECK[@]}" timestamps "$src" "$out" --from-ms "$target"
    done
done

# Audio only: the audio track times the stream; the output ends with the source's last frame.
out=$WORK/audio_only.seek.mpg
play "$out" --seek 2500 "$MEDIA/audio_only.mp4"
expect_played "audio_only --seek 2500"
check "audio_only --seek 2500 packs" one_pack_at_start "$out"
check "audio_only --seek 2500 time stamps" "${CHECK[@]}" timestamps "$MEDIA/audio_only.mp4" "$out" --from-ms 2500

# Key-frame trick play, forwards from the start, forwards from a seek, and backwards from the end.
for clip in high_bframes baseline video_only; do
    src=$MEDIA/$clip.mp4
    for mode in forward seek backward; do
        out=$WORK/$clip.keys.$mode.mpg
        case $mode in
            forward) args=(--keyframes); order=() ;;
            seek) args=(--keyframes --seek 1500); order=() ;;
            backward) args=(--keyframes --rate -2000); order=(--backwards) ;;
        esac
        play "$out" "${args[@]}" "$src"
        expect_played "$clip ${args[*]}"
        [ "$PLAY_STATUS" -eq 0 ] || continue
        check "$clip ${args[*]} video" "${CHECK[@]}" frames "$src" "$out" --keyframes "${order[@]}"
        check "$clip ${args[*]} time stamps" "${CHECK[@]}" timestamps "$src" "$out" --keyframes "${order[@]}"
    done
done

# Without video the key-frame filter lets every (key) audio frame through: the whole audio.
out=$WORK/audio_only.keys.mpg
play "$out" --keyframes "$MEDIA/audio_only.mp4"
expect_played "audio_only --keyframes"
check "audio_only --keyframes audio" "${CHECK[@]}" audio "$MEDIA/audio_only.mp4" "$out"

finish
