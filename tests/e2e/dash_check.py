#!/usr/bin/env python3
"""Checks of the DASH end-to-end tests on what velar-play wrote, with Debian's ffmpeg as the
reference decoder. Standard library only; builds on check_output.py and psparse.py.

  dash_check.py keep-reps MPD OUT ID...
      Writes OUT: MPD without the Representations whose id is not listed, and without the
      AdaptationSets left empty (the files the MPD names keep their relative paths when OUT lies
      beside MPD).
  dash_check.py timestamps OUT VIDEO AUDIO
      The PTS/DTS of OUT's video PES packets are those of the MP4 VIDEO's packets at 90 kHz, packet
      for packet, and the PTS of its audio PES packets those of the MP4 AUDIO's up to the first
      packet after the video's last decode time (a DASH file ends with its lowest track).
  dash_check.py audio-prefix AUDIO OUT
      The audio decoded from OUT's C0 packets (ADTS) is the start of AUDIO's decoded audio.
  dash_check.py switches OUT SRCDIR [FIRST LAST]
      The video of OUT across representation switches (sources: SRCDIR/init-<id>.m4s and
      chunk-<id>-<number>.m4s, ids 0, 1, 2): OUT's video stream decodes without a decoder
      message; every access unit with an IDR slice carries SPS and
      PPS in front of it; cut at every change of SPS, each run decodes (-f h264) without a
      message and its frames are, frame for frame, those of the same segments (1 s each) of the
      representation with its picture size (from SRCDIR/manifest.mpd); the runs follow one
      another without a gap and cover the whole presentation. FIRST and LAST: the representations of the first and the last segment.
  dash_check.py video-stats STATS [--final BANDWIDTH] [--never BANDWIDTH]
      The --stats file: the bandwidth of the video set on the last line is BANDWIDTH (--final),
      and no line shows BANDWIDTH (--never).
  dash_check.py trick OUT FIRST STEP END GOP
      Key-frame trick play by rate (velar-play --keyframes --rate R, R != 1000): the positioning
      targets are FIRST, FIRST + STEP, ... (STEP negative backwards) while they stay inside
      [0, END) forwards, or down to 0 backwards; the video of OUT is one key frame per target, the
      i-th within [target - GOP, target] (GOP: the key frame interval, ms): the key frame at or
      before the target, or the one before it when the target is a segment boundary that the
      segment queue reads as the end of its front segment.
  dash_check.py live OUT LOG --ast SECONDS --window SECONDS
      Live play from tests/servers/live_server.py (LOG: its request log): the video and audio PTS
      of OUT, in presentation order, follow one another at one frame (no gap, no repeat, no step)
      over at least three MPD fetches; the
      first video segment played is the first one requested, and it ended inside the time-shift
      window of the first MPD fetched and before it was requested.

Prints one line per check; exit 0 when all pass, 1 otherwise.
"""

import json
import os
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import check_output  # noqa: E402
import psparse  # noqa: E402

FRAME_90K = 3600  # 25 fps
AAC_FRAME_90K = 1920  # 1024 samples at 48 kHz


class CheckFailed(check_output.CheckFailed):
    pass


def keep_reps(mpd, out, ids):
    with open(mpd, "r", encoding="utf-8") as f:
        text = f.read()

    def drop(m):
        rid = re.search(r'\bid="([^"]*)"', m.group(1)).group(1)
        return m.group(0) if rid in ids else ""

    text, count = re.subn(r'[ \t]*<Representation\b([^>]*)>.*?</Representation>[ \t]*\n?', drop, text,
                          flags=re.S)
    if not count:
        raise CheckFailed("no Representation in %s" % mpd)
    # An AdaptationSet left without Representations goes too.
    text = re.sub(r'[ \t]*<AdaptationSet\b[^>]*>(?:(?!<Representation\b|</AdaptationSet>).)*</AdaptationSet>'
                  r'[ \t]*\n?', "", text, flags=re.S)
    with open(out, "w", encoding="utf-8") as f:
        f.write(text)
    return "kept representations %s of %s" % (", ".join(ids), os.path.basename(mpd))


def first_difference(a, b):
    return next((i for i, (x, y) in enumerate(zip(a, b)) if x != y), min(len(a), len(b)))


def audio_until_video_end(video, audio):
    """The source's audio packets that a DASH file delivers: the file ends when its lowest track
    ends, so after the video's last decode time only the first audio packet still comes out."""
    last_video_dts = max(dts for _, dts in video)
    later = [i for i, (_, dts) in enumerate(audio) if dts > last_video_dts]
    return audio[:later[0] + 1] if later else audio


def check_timestamps(out, video_src, audio_src):
    _, pes = psparse.load(out)
    got = psparse.timestamps(pes)
    video = [(p["pts"], p["dts"]) for p in check_output.probe(video_src) if p["type"] == "video"]
    audio = [(p["pts"], p["dts"]) for p in check_output.probe(audio_src) if p["type"] == "audio"]
    audio = audio_until_video_end(video, audio)
    have_video = [tuple(x) for x in got.get("e0", [])]
    have_audio = [tuple(x)[0] for x in got.get("c0", [])]
    for kind, have, want in (("video", have_video, video), ("audio", have_audio, [p for p, _ in audio])):
        if have != want:
            i = first_difference(have, want)
            raise CheckFailed("%s time stamps differ: %d out, %d expected, first difference at packet %d: "
                              "%s / %s" % (kind, len(have), len(want), i, have[i:i + 1], want[i:i + 1]))
    return "timestamps: %d video and %d audio PES match the sources at 90 kHz (audio to the first " \
           "packet after the video's end)" % (len(have_video), len(have_audio))


def check_audio_prefix(src, out):
    """The audio decoded from OUT's ADTS stream is the start of SRC's decoded audio (OUT carries the
    encoder delay that SRC's edit list drops: whole AAC frames in front)."""
    out_channels, out_pcm = check_output.decode_output_audio(out)
    channels, src_pcm = check_output.decode_pcm(src)
    if out_channels != channels:
        raise CheckFailed("channels: %d out, %d in the source" % (out_channels, channels))
    frames_out = len(out_pcm) // channels
    for skip in range(0, 4 * check_output.AAC_FRAME + 1, check_output.AAC_FRAME):
        n = frames_out - skip
        if n > 0 and out_pcm[skip * channels:] == src_pcm[:n * channels]:
            return "audio: the first %d of %d sample frames of the source, identical" % (
                n, len(src_pcm) // channels)
    raise CheckFailed("audio differs: %d sample frames out, %d in the source"
                      % (frames_out, len(src_pcm) // channels))


# --- H.264 access units of the program stream -------------------------------------------------

def nal_units(data):
    """[(type, bytes with start code)] of an Annex B byte string."""
    starts = [m.start() for m in re.finditer(b"\x00\x00\x01", data)]
    units = []
    for i, s in enumerate(starts):
        begin = s - 1 if s > 0 and data[s - 1] == 0 else s
        end = starts[i + 1] if i + 1 < len(starts) else len(data)
        if i + 1 < len(starts) and data[end - 1] == 0:
            end -= 1
        units.append((data[s + 3] & 0x1F, data[begin:end]))
    return units


def access_units(packets):
    """Video access units of the PES packets: a packet with a PTS starts a new one."""
    units = []
    for p in packets:
        if p.stream_id != 0xE0:
            continue
        if p.pts is not None or not units:
            units.append({"pts": p.pts, "data": bytearray()})
        units[-1]["data"] += p.payload
    return units


def decode(path, forced_format):
    """framemd5 hashes and frame sizes of the video of `path`; a decoder message is a failure."""
    cmd = ["ffmpeg", "-v", "error", "-nostdin"]
    if forced_format:
        cmd += ["-f", forced_format]
    cmd += ["-i", path, "-map", "0:v:0", "-fps_mode", "passthrough", "-f", "framemd5", "-"]
    result = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
    if result.returncode != 0 or result.stderr:
        raise CheckFailed("ffmpeg decoding %s: %s" % (os.path.basename(path),
                                                      result.stderr.decode(errors="replace")[-300:]))
    frames = []
    for line in result.stdout.decode().splitlines():
        if line and not line.startswith("#"):
            fields = [x.strip() for x in line.split(",")]
            frames.append((fields[-1], int(fields[-2])))
    return frames


def frame_bytes(srcdir):
    """{decoded frame size in bytes (yuv420p): representation id} from SRCDIR/manifest.mpd."""
    with open(os.path.join(srcdir, "manifest.mpd"), "r", encoding="utf-8") as f:
        text = f.read()
    sizes = {}
    for attrs in re.findall(r"<Representation ([^>]*)>", text):
        a = dict(re.findall(r'(\w+)="([^"]*)"', attrs))
        if "height" in a:
            sizes[int(a["width"]) * int(a["height"]) * 3 // 2] = a["id"]
    return sizes


def segment_frames(srcdir, rid, first, count):
    """Decoded frames of segments first .. first + count - 1 (0-based) of representation rid."""
    names = sorted(n for n in os.listdir(srcdir) if re.fullmatch(r"chunk-%s-\d+\.m4s" % rid, n))
    with tempfile.NamedTemporaryFile(suffix=".mp4") as part:
        for name in ["init-%s.m4s" % rid] + names[first:first + count]:
            with open(os.path.join(srcdir, name), "rb") as f:
                part.write(f.read())
        part.flush()
        return [h for h, _ in decode(part.name, None)], len(names)


def check_switches(out, srcdir, first_rep=None, last_rep=None):
    _, packets = psparse.load(out)
    units = access_units(packets)
    if not units:
        raise CheckFailed("no video in the output")
    with tempfile.NamedTemporaryFile(suffix=".h264") as whole:
        for unit in units:
            whole.write(unit["data"])
        whole.flush()
        decode(whole.name, "h264")  # the whole video across the switches: no decoder message
    runs = []  # [sps bytes, annex b bytes, IDR count, PTS of the first IDR]
    for i, unit in enumerate(units):
        nals = nal_units(bytes(unit["data"]))
        types = [t for t, _ in nals]
        if 5 in types:
            first_idr = types.index(5)
            if 7 not in types[:first_idr] or 8 not in types[:first_idr]:
                raise CheckFailed("access unit %d (PTS %s): IDR slice without SPS and PPS in front: "
                                  "NAL types %s" % (i, unit["pts"], types))
            sps = next(n for t, n in nals if t == 7).lstrip(b"\x00")
            if not runs or runs[-1][0] != sps:
                runs.append([sps, bytearray(), 0, unit["pts"]])
            runs[-1][2] += 1
        elif not runs:
            raise CheckFailed("the video does not start with an IDR access unit")
        runs[-1][1] += unit["data"]

    # Each run: the segments [first IDR's second, + IDR count) of the representation whose
    # picture size its frames have (1 s segments, each starting with its IDR).
    sizes = frame_bytes(srcdir)
    segment = 0
    total = None
    story = []
    with tempfile.TemporaryDirectory() as tmp:
        for n, (_, data, idrs, pts) in enumerate(runs):
            path = os.path.join(tmp, "run%d.h264" % n)
            with open(path, "wb") as f:
                f.write(data)
            decoded = decode(path, "h264")
            rid = sizes.get(decoded[0][1]) if decoded else None
            if rid is None:
                raise CheckFailed("run %d: no representation has its picture size" % n)
            first = pts // 90000
            if first != segment:
                raise CheckFailed("run %d (representation %s) starts at segment %d, the previous run "
                                  "ended at %d" % (n, rid, first, segment))
            want, total = segment_frames(srcdir, rid, first, idrs)
            if [h for h, _ in decoded] != want:
                raise CheckFailed("run %d: frames differ from segments %d to %d of representation %s"
                                  % (n, first + 1, first + idrs, rid))
            segment = first + idrs
            story.append("%sx%d" % (rid, idrs))
    if segment != total:
        raise CheckFailed("the output ends at segment %d of %d" % (segment, total))
    if first_rep is not None and (story[0].split("x")[0], story[-1].split("x")[0]) != (first_rep, last_rep):
        raise CheckFailed("segments by representation %s, want %s first and %s last"
                          % (" ".join(story), first_rep, last_rep))
    return "switches: %d segments identical to the sources' frame for frame, by representation %s" % (
        total, " ".join(story))


# --- statistics ---------------------------------------------------------------------------------

def video_set(line):
    for s in line.get("dash", {}).get("sets", []):
        if s.get("mime") == "video/mp4":
            return s
    return None


def check_video_stats(path, final, never):
    with open(path, "r", encoding="utf-8") as f:
        lines = [json.loads(x) for x in f if x.strip()]
    sets = [video_set(x) for x in lines]
    sets = [s for s in sets if s is not None]
    if not sets:
        raise CheckFailed("no video set in the statistics")
    seen = []
    for s in sets:
        if not seen or seen[-1] != s["bandwidth"]:
            seen.append(s["bandwidth"])
    if final is not None and sets[-1]["bandwidth"] != final:
        raise CheckFailed("video bandwidth at the end %d, want %d (sequence %s)"
                          % (sets[-1]["bandwidth"], final, seen))
    if never is not None and never in seen:
        raise CheckFailed("video bandwidth %d was chosen (sequence %s)" % (never, seen))
    if "first_byte_ms" not in lines[-1]:
        raise CheckFailed("the last statistics line has no first_byte_ms")
    return "stats: video bandwidth %s over %d lines, last rate %s bit/s, first byte after %s ms" % (
        " -> ".join(str(b) for b in seen), len(lines), sets[-1].get("rate_bps"), lines[-1]["first_byte_ms"])


# --- trick play ---------------------------------------------------------------------------------

def trick_targets(first, step, end):
    targets = [first]
    while True:
        t = targets[-1]
        if step > 0 and t + step >= end:
            return targets
        if step < 0 and t < -step:
            return targets
        targets.append(t + step)


def check_trick(out, first, step, end, gop):
    _, packets = psparse.load(out)
    keys = [p.pts // 90 for p in packets if p.stream_id == 0xE0 and p.pts is not None]
    targets = trick_targets(first, step, end)
    wrong = [(t, k) for t, k in zip(targets, keys) if not t - gop <= k <= t]
    if len(keys) != len(targets) or wrong:
        raise CheckFailed("key frames at %s ms for the targets %s ms" % (keys, targets))
    return "trick: %d key frames at %s ms for the targets %s ms" % (len(keys), keys, targets)


# --- live ---------------------------------------------------------------------------------------

def check_live(out, log, ast, window):
    _, packets = psparse.load(out)
    # The play is stopped at some sample in decode order; of the video frames only those presented
    # by the last decode time are sure to be complete (a frame's DTS is at most its PTS).
    last_dts = max(p.dts if p.dts is not None else p.pts for p in packets if p.stream_id == 0xE0 and p.pts is not None)
    for sid, kind, step in ((0xE0, "video", FRAME_90K), (0xC0, "audio", AAC_FRAME_90K)):
        stamps = sorted(p.pts for p in packets if p.stream_id == sid and p.pts is not None
                        and (sid != 0xE0 or p.pts <= last_dts))
        if len(stamps) < 50:
            raise CheckFailed("only %d %s PES in the output" % (len(stamps), kind))
        bad = [(a, b - a) for a, b in zip(stamps, stamps[1:]) if b - a != step]
        if bad:
            raise CheckFailed("%s PTS step of %d ticks after %d (%.3f s), %d bad steps in all"
                              % (kind, bad[0][1], bad[0][0], bad[0][0] / 90000.0, len(bad)))
    pts = sorted(p.pts for p in packets if p.stream_id == 0xE0 and p.pts is not None)
    requests = []
    with open(log, "r", encoding="utf-8") as f:
        for line in f:
            ms, path, status = line.rstrip("\n").split("\t")
            requests.append((int(ms), path, int(status)))
    mpd_ms = next(ms for ms, path, _ in requests if path.endswith(".mpd"))
    first = None
    for ms, path, status in requests:
        m = re.fullmatch(r"/template/chunk-0-(\d+)\.m4s", path)
        if m:
            first = (ms, int(m.group(1)) - 1, status)  # numbers start at 1
            break
        m = re.fullmatch(r"/timeline/chunk-0-(\d+)\.m4s", path)
        if m:
            first = (ms, int(m.group(1)) // 12800, status)  # video timescale 12800, 1 s segments
            break
    if first is None:
        raise CheckFailed("no video segment was requested")
    asked_ms, segment, status = first
    played = pts[0] // 90000
    if played != segment:
        raise CheckFailed("first segment played starts at %d s, first requested at %d s" % (played, segment))
    end = segment + 1
    window_start = mpd_ms / 1000.0 - ast - window
    if status != 200 or not window_start < end <= asked_ms / 1000.0 - ast:
        raise CheckFailed("first segment [%d, %d) s (status %d) is not inside the window (%.1f, %.1f] s"
                          % (segment, end, status, window_start, asked_ms / 1000.0 - ast))
    refreshes = sum(1 for _, path, _ in requests if path.endswith(".mpd"))
    if refreshes < 3:
        raise CheckFailed("only %d MPD fetches: the play did not run across refreshes" % refreshes)
    return "live: %d video frames one frame apart from %.2f s to %.2f s after the availability start, " \
           "%d MPD fetches; first segment [%d, %d) s inside the window (%.1f, %.1f] s" % (
               len(pts), pts[0] / 90000.0, pts[-1] / 90000.0, refreshes, segment, end, window_start,
               asked_ms / 1000.0 - ast)


def main(argv):
    if len(argv) < 3:
        sys.stderr.write(__doc__)
        return 2
    command, args = argv[1], argv[2:]
    try:
        if command == "keep-reps" and len(args) >= 3:
            print(keep_reps(args[0], args[1], args[2:]))
        elif command == "timestamps" and len(args) == 3:
            print(check_timestamps(*args))
        elif command == "audio-prefix" and len(args) == 2:
            print(check_audio_prefix(*args))
        elif command == "switches" and len(args) in (2, 4):
            print(check_switches(*args))
        elif command == "video-stats" and len(args) in (1, 3, 5):
            opts = dict(zip(args[1::2], (int(x) for x in args[2::2])))
            print(check_video_stats(args[0], opts.get("--final"), opts.get("--never")))
        elif command == "trick" and len(args) == 5:
            print(check_trick(args[0], *(int(x) for x in args[1:])))
        elif command == "live" and len(args) == 6 and args[2] == "--ast" and args[4] == "--window":
            print(check_live(args[0], args[1], int(args[3]), int(args[5])))
        else:
            sys.stderr.write(__doc__)
            return 2
    except (CheckFailed, check_output.CheckFailed, psparse.PsError, subprocess.TimeoutExpired,
            OSError, ValueError, StopIteration) as e:
        print("FAIL %s: %s" % (command, e))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
