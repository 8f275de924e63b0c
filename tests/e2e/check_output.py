#!/usr/bin/env python3
"""Compares a program stream written by velar-play with the MP4 it was played from, using
Debian's ffmpeg/ffprobe as the reference decoder. Standard library only.

  check_output.py frames SRC OUT [--from-ms MS] [--keyframes]
      Video: the frames decoded from OUT (read with -f mpeg forced) equal those decoded from SRC,
      frame for frame (framemd5). --from-ms: SRC's frames from the key frame at or before MS (the
      seek rule). --keyframes: every frame of OUT is one of SRC's key frames, in increasing order
      (decreasing with --backwards), and there are at least two.
  check_output.py audio SRC OUT
      Audio: the ADTS stream taken out of OUT's C0 packets, decoded with -f aac, equals SRC's
      decoded audio (SRC's decoder drops the encoder delay its edit list names; OUT carries it, so
      SRC's samples must appear in OUT's at one offset of whole AAC frames).
  check_output.py timestamps SRC OUT [--from-ms MS] [--keyframes]
      The PTS/DTS of OUT's PES packets equal SRC's packet time stamps rescaled to 90 kHz (33 bits),
      packet for packet, per stream (video E0, audio C0). --from-ms: video from the seek key frame,
      audio as a run of SRC's packets. --keyframes: video packets are SRC's key frames, increasing.

Prints one line per check; exit 0 when all pass, 1 otherwise.
"""

import array
import json
import os
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import psparse  # noqa: E402

WRAP = 1 << 33
AAC_FRAME = 1024


class CheckFailed(Exception):
    pass


def run(cmd):
    result = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    if result.returncode != 0:
        raise CheckFailed("%s failed: %s" % (" ".join(cmd), result.stderr.decode(errors="replace")[-500:]))
    return result.stdout


def rescale_90k(value, time_base):
    """av_rescale_q(value, time_base, 1/90000) with FFmpeg's default rounding (half away from
    zero), then the low 33 bits as the PES header keeps them."""
    num, den = (int(x) for x in time_base.split("/"))
    a = value * num * 90000
    q = (a + den // 2) // den if a >= 0 else -((-a + den // 2) // den)
    return q % WRAP


def probe(src):
    """Streams and packets of SRC in file order."""
    out = run(["ffprobe", "-v", "error", "-show_entries",
               "stream=index,codec_type,time_base:packet=stream_index,pts,dts,flags",
               "-of", "json", src])
    info = json.loads(out)
    streams = {s["index"]: s for s in info["streams"]}
    packets = []
    for p in info.get("packets", []):
        s = streams[p["stream_index"]]
        pts = rescale_90k(int(p["pts"]), s["time_base"])
        dts = rescale_90k(int(p["dts"]), s["time_base"])
        packets.append({"type": s["codec_type"], "pts": pts, "dts": dts,
                        "key": "K" in p.get("flags", ""), "raw_pts": int(p["pts"]),
                        "raw_dts": int(p["dts"]), "time_base": s["time_base"]})
    return packets


def framemd5(path, forced_format=None):
    cmd = ["ffmpeg", "-v", "error", "-nostdin"]
    if forced_format:
        cmd += ["-f", forced_format]
    cmd += ["-i", path, "-map", "0:v:0", "-fps_mode", "passthrough", "-f", "framemd5", "-"]
    lines = run(cmd).decode().splitlines()
    return [line.split(",")[-1].strip() for line in lines if line and not line.startswith("#")]


def seek_key_index(packets, from_ms, kind="video"):
    """Index (in SRC's packets of `kind`, file order) of the key frame a seek to from_ms lands on.

    The file positions on the timing track's (video, else audio) first index time stamp (its first decode time) plus
    from_ms, and FFmpeg's MP4 seek takes that target as a presentation time: the seek lands on the
    last key frame presented at or before it. With B-frames the first decode time lies before 0,
    so a seek to exactly a key frame's presentation time lands one key frame earlier."""
    video = [p for p in packets if p["type"] == kind]
    num, den = (int(x) for x in video[0]["time_base"].split("/"))
    first = min(p["raw_dts"] for p in video)
    target = first + (from_ms * den) // (1000 * num)
    best = None
    for i, p in enumerate(video):
        if p["key"] and p["raw_pts"] <= target:
            best = i
    if best is None:
        raise CheckFailed("no key frame at or before %d ms in the source" % from_ms)
    return video, best


def in_order(ranks, backwards):
    """True when the ranks strictly increase (strictly decrease with backwards)."""
    return ranks == sorted(set(ranks), reverse=backwards)


def check_frames(src, out, from_ms=None, keyframes=False, backwards=False):
    expected = framemd5(src)
    got = framemd5(out, "mpeg")
    if keyframes:
        packets = probe(src)
        video = [p for p in packets if p["type"] == "video"]
        # Frames in display order; the key frames' display ranks pick their hashes.
        order = sorted(range(len(video)), key=lambda i: video[i]["raw_pts"])
        rank = {i: r for r, i in enumerate(order)}
        key_hashes = [expected[rank[i]] for i, p in enumerate(video) if p["key"]]
        if len(got) < 2:
            raise CheckFailed("only %d frame(s) in the output" % len(got))
        positions = []
        for h in got:
            if h not in key_hashes:
                raise CheckFailed("output frame %s is not a key frame of the source" % h)
            positions.append(key_hashes.index(h))
        if not in_order(positions, backwards):
            raise CheckFailed("key frames out of order or repeated: %s" % positions)
        return "frames: %d key frames of %d, in %s order" % (
            len(got), len(key_hashes), "backward" if backwards else "forward")
    if from_ms is not None:
        video, key = seek_key_index(probe(src), from_ms)
        key_pts = video[key]["raw_pts"]
        skipped = sum(1 for p in video if p["raw_pts"] < key_pts)
        expected = expected[skipped:]
    if got != expected:
        first_diff = next((i for i, (a, b) in enumerate(zip(got, expected)) if a != b),
                          min(len(got), len(expected)))
        raise CheckFailed("video differs: %d frames out, %d expected, first difference at frame %d"
                          % (len(got), len(expected), first_diff))
    return "frames: %d video frames identical" % len(got)


def decode_pcm(path, forced_format=None):
    cmd = ["ffprobe", "-v", "error", "-select_streams", "a:0", "-show_entries",
           "stream=channels", "-of", "csv=p=0"]
    if forced_format:
        cmd += ["-f", forced_format]
    channels = int(run(cmd + [path]).decode().split()[0])
    cmd = ["ffmpeg", "-v", "error", "-nostdin"]
    if forced_format:
        cmd += ["-f", forced_format]
    cmd += ["-i", path, "-map", "0:a:0", "-f", "f32le", "-"]
    pcm = array.array("f")
    pcm.frombytes(run(cmd))
    return channels, pcm


def decode_output_audio(out):
    """(channels, float PCM) of the ADTS stream carried in OUT's C0 packets."""
    _, packets = psparse.load(out)
    with tempfile.NamedTemporaryFile(suffix=".aac") as adts:
        for p in packets:
            if p.stream_id == 0xC0:
                adts.write(p.payload)
        adts.flush()
        if adts.tell() == 0:
            raise CheckFailed("no audio packets in the output")
        return decode_pcm(adts.name, "aac")


def check_audio(src, out):
    out_channels, out_pcm = decode_output_audio(out)
    src_channels, src_pcm = decode_pcm(src)
    # The ADTS header always announces two channels (a kept quirk of the AAC feeder); FFmpeg then
    # decodes a mono stream's single channel as the left one and leaves the right one silent.
    # Compare the mono source with the left channel and insist that the right one is silent.
    if out_channels != src_channels:
        if not (src_channels == 1 and out_channels == 2):
            raise CheckFailed("channels: %d out, %d in the source" % (out_channels, src_channels))
        right = out_pcm[1::2]
        if any(x != 0.0 for x in right):
            raise CheckFailed("mono source: the right channel of the output is not silent")
        out_pcm = out_pcm[0::2]
    ch = src_channels
    frames_src = len(src_pcm) // ch
    frames_out = len(out_pcm) // ch
    for skip in range(0, 4 * AAC_FRAME + 1, AAC_FRAME):
        if skip + frames_src > frames_out:
            break
        if out_pcm[skip * ch:(skip + frames_src) * ch] == src_pcm:
            return "audio: %d samples x %d channels identical (output carries %d samples of " \
                   "encoder delay)" % (frames_src, ch, skip)
    raise CheckFailed("audio differs: %d sample frames out, %d in the source" % (frames_out, frames_src))


def check_timestamps(src, out, from_ms=None, keyframes=False, backwards=False):
    packets = probe(src)
    _, pes = psparse.load(out)
    got = psparse.timestamps(pes)
    got_video = [tuple(x) for x in got.get("e0", [])]
    got_audio = [x[0] for x in got.get("c0", [])]
    video = [(p["pts"], p["dts"]) for p in packets if p["type"] == "video"]
    audio = [p["pts"] for p in packets if p["type"] == "audio"]
    notes = []
    if keyframes:
        keys = [(p["pts"], p["dts"]) for p in packets if p["type"] == "video" and p["key"]]
        for ts in got_video:
            if ts not in keys:
                raise CheckFailed("video PES time stamps %s are not a source key frame's" % (ts,))
        ranks = [keys.index(ts) for ts in got_video]
        if not in_order(ranks, backwards):
            raise CheckFailed("key frame time stamps out of order: %s" % ranks)
        notes.append("%d key frame PES" % len(got_video))
    elif from_ms is not None and not video:
        # Audio alone: the audio track times the stream and the seek lands on its frame.
        _, key = seek_key_index(packets, from_ms, "audio")
        if got_audio != audio[key:]:
            raise CheckFailed("audio time stamps after the seek differ from the source's from "
                              "packet %d" % key)
        notes.append("%d audio PES from source packet %d" % (len(got_audio), key))
    elif from_ms is not None:
        _, key = seek_key_index(packets, from_ms)
        if got_video != video[key:]:
            raise CheckFailed("video time stamps after the seek differ from the source's from "
                              "packet %d" % key)
        notes.append("%d video PES from source packet %d" % (len(got_video), key))
        if got_audio:
            start = audio.index(got_audio[0]) if got_audio[0] in audio else -1
            if start < 0 or audio[start:start + len(got_audio)] != got_audio:
                raise CheckFailed("audio time stamps are not a run of the source's")
            if start + len(got_audio) != len(audio):
                raise CheckFailed("audio stops %d packets early" % (len(audio) - start - len(got_audio)))
            notes.append("%d audio PES from source packet %d" % (len(got_audio), start))
    else:
        if got_video != video:
            first = next((i for i, (a, b) in enumerate(zip(got_video, video)) if a != b),
                         min(len(got_video), len(video)))
            raise CheckFailed("video time stamps differ: %d out, %d in the source, first "
                              "difference at packet %d" % (len(got_video), len(video), first))
        if got_audio != audio:
            first = next((i for i, (a, b) in enumerate(zip(got_audio, audio)) if a != b),
                         min(len(got_audio), len(audio)))
            raise CheckFailed("audio time stamps differ: %d out, %d in the source, first "
                              "difference at packet %d" % (len(got_audio), len(audio), first))
        notes.append("%d video and %d audio PES" % (len(video), len(audio)))
    return "timestamps: " + ", ".join(notes) + " match the source at 90 kHz"


def main(argv):
    if len(argv) < 4:
        sys.stderr.write(__doc__)
        return 2
    command, src, out = argv[1], argv[2], argv[3]
    rest = argv[4:]
    from_ms = None
    keyframes = False
    backwards = False
    while rest:
        if rest[0] == "--from-ms" and len(rest) > 1:
            from_ms = int(rest[1])
            rest = rest[2:]
        elif rest[0] == "--keyframes":
            keyframes = True
            rest = rest[1:]
        elif rest[0] == "--backwards":
            backwards = True
            rest = rest[1:]
        else:
            sys.stderr.write(__doc__)
            return 2
    try:
        if command == "frames":
            print(check_frames(src, out, from_ms, keyframes, backwards))
        elif command == "audio":
            print(check_audio(src, out))
        elif command == "timestamps":
            print(check_timestamps(src, out, from_ms, keyframes, backwards))
        else:
            sys.stderr.write(__doc__)
            return 2
    except (CheckFailed, psparse.PsError, subprocess.TimeoutExpired) as e:
        print("FAIL %s %s: %s" % (command, os.path.basename(src), e))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
