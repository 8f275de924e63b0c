#!/usr/bin/env python3
"""Turns the records that the benchmarks of one `make bench` run appended to RESULTS.jsonl (see
measure.py) into one Markdown table: per workload and figure the library's median, each peer's
median from the same run with the ratio velar / peer, and the targets with their verdicts. Prints
it and writes it, headed by the date, the machine and the commit, to OUT_DIR/YYYY-MM-DD.md (a
second run on the same day writes YYYY-MM-DD-2.md, and so on: earlier results are never
overwritten). Standard library only.

  report.py RESULTS.jsonl OUT_DIR COMMIT
"""

import datetime
import json
import os
import platform
import sys

WORKLOADS = ["local MP4 720p 60 s", "local MP4 1080p 10 min", "DASH on demand 30 s",
             "DASH live 60 s", "download 50 MiB", "microbenchmarks"]
PEERS = ["read loop", "ffmpeg", "GStreamer", "curl", "memcpy"]

# figure key -> (label, format of a value)
FIGURES = [
    ("cpu_s", "CPU s (user+sys)", "%.3f"),
    ("wall_s", "wall s", "%.2f"),
    ("rss_mib", "peak RSS MiB", "%.1f"),
    ("switches", "context switches", "%.0f"),
    ("first_out_ms", "first byte on stdout, ms from process start", "%.0f"),
    ("first_byte_ms", "first PES byte (read loop: packet), ms from open", "%.1f"),
    ("seek_ms", "seek latency ms (median of all seeks)", "%.1f"),
    ("idle_full", "idle CPU ms/s, queues full", "%.1f"),
    ("idle_finished", "idle CPU ms/s, all segments downloaded", "%.1f"),
    ("idle_ended", "idle CPU ms/s, after end of stream", "%.1f"),
    ("mibps_discard", "MiB/s, bytes discarded (curl -o /dev/null)", "%.0f"),
    ("mibps_memory", "MiB/s, bytes kept in memory (curl -o /dev/shm)", "%.0f"),
    ("connections", "TCP connections, 200 segments", "%.0f"),
]
for what, label in (("PesPacketiser", "PES packetiser"), ("H264Feeder", "H.264 feeder"),
                    ("AacFeeder", "AAC feeder (ADTS)")):
    for size in (371, 1500, 12500, 100000):
        FIGURES.append(("%s_%d" % (what, size), "%s, %d B units, GB/s" % (label, size), "gb"))
ALIASES = {"first_packet_ms": "first_byte_ms"}

LEGEND = """Workloads (bench/bench_*.sh say more):
- local MP4: generated clips, 60 s 1280x720 30 fps H.264 3 Mbit/s + AAC, and 10 min 1920x1080
  25 fps H.264 4 Mbit/s + AAC. velar: velar-play -o - (2 MiB ring); read loop: bench/read_loop.cpp
  (av_read_frame over the file, nothing else); ffmpeg: -c copy -f mpegts to a pipe; GStreamer:
  filesrc ! qtdemux ! h264parse ! mpegpsmux ! fdsink, audio through aacparse into the same muxer.
- DASH on demand: 30 s, three H.264 representations (180p, 360p, 720p) + AAC, 1 s segments, from a
  loopback nginx. ffmpeg remuxes the 720p representation and the audio; velar and GStreamer
  (souphttpsrc ! dashdemux) play what their bit-rate strategies choose.
- DASH live: the live simulator (tests/servers/live_server.py, $Number$ template, 1 s segments,
  MPD refreshed every 2 s); all clients run at once for 60 s of stream per round. GStreamer has no
  duration option and is interrupted after 62 s, so its wall time is fixed. ffmpeg's DASH demuxer
  does not follow this stream: it asks for segments past the live edge and moves on at every 404,
  so it never ends and is recorded as failed.
- Seek latency: from setPosition to the first byte after the pack header (bench/seek_bench.cpp,
  every seek made with a full ring, as during playback); read loop: av_seek_frame to the first
  packet read. Medians over all seeks of all runs.
- Idle CPU: bench/dash_idle.cpp, the whole process while nobody reads the ring.
- Download: 50 MiB from a loopback nginx; velar's transport (bytes discarded) and HttpDownload
  (bytes kept) beside curl -o /dev/null and curl -o /dev/shm.
- Microbenchmarks: bench/micro_pipeline.cpp, bytes of sample payload per second of CPU time, the
  ring drained with clear(); memcpy of the same sizes in the same binary."""

LOCAL = ["local MP4 720p 60 s", "local MP4 1080p 10 min"]
# (workload, figure, comparison, peer or None, peer figure or None, limit)
#   "max_ratio"/"min_ratio": velar / peer; "max_diff": velar - peer; "max": velar's value alone.
TARGETS = ([(w, "cpu_s", "max_ratio", "read loop", None, 1.5) for w in LOCAL] +
           [(w, "cpu_s", "max_ratio", "ffmpeg", None, 0.8) for w in LOCAL] +
           [(w, "rss_mib", "max_diff", "read loop", None, 16.0) for w in LOCAL] +
           [("DASH on demand 30 s", "first_byte_ms", "max", None, None, 500.0),
            ("DASH on demand 30 s", "cpu_s", "max_ratio", "ffmpeg", None, 1.0),
            ("download 50 MiB", "mibps_discard", "min_ratio", "curl", None, 0.8),
            ("download 50 MiB", "mibps_memory", "min_ratio", "curl", "mibps_discard", 0.8),
            ("download 50 MiB", "connections", "max", None, None, 5.0)] +
           [("microbenchmarks", "PesPacketiser_%d" % s, "min_ratio", "memcpy", None, 0.5)
            for s in (1500, 12500, 100000)])


def fmt(value, style):
    if style == "gb":
        return "%.2f" % (value / 1e9)
    return style % value


def cpu_model():
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return platform.processor() or "unknown"


def target_text(values, workload, figure, how, peer, peer_figure, limit):
    """'<= 1.5x read loop: 3.2x MISSED' or None when a value is missing."""
    mine = values.get((workload, figure, "velar"))
    theirs = values.get((workload, peer_figure or figure, peer)) if peer else None
    if mine is None or (peer and not theirs):
        return "%s: no figure" % describe(how, peer, peer_figure, limit)
    if how == "max":
        value, met, shown = mine, mine <= limit, "%g" % round(mine, 1)
    elif how == "max_diff":
        value = mine - theirs
        met, shown = value <= limit, "%+.1f MiB" % value
    else:
        value = mine / theirs
        met = value <= limit if how == "max_ratio" else value >= limit
        shown = "%.3fx" % value
    return "%s: %s %s" % (describe(how, peer, peer_figure, limit), shown, "met" if met else "MISSED")


def describe(how, peer, peer_figure, limit):
    if how == "max":
        return "<= %g" % limit
    if how == "max_diff":
        return "<= %s + %g MiB" % (peer, limit)
    other = peer + (" -o /dev/null" if peer_figure else "")
    return "%s %gx %s" % ("<=" if how == "max_ratio" else ">=", limit, other)


def main(argv):
    if len(argv) != 4:
        sys.stderr.write(__doc__)
        return 2
    values, errors = {}, {}
    with open(argv[1]) as f:
        for line in f:
            if not line.strip():
                continue
            r = json.loads(line)
            if not isinstance(r, dict) or "workload" not in r:
                continue  # not a benchmark record
            if "error" in r:
                errors[(r["workload"], r["peer"])] = "%s: %s" % (r["command"], r["error"])
            elif isinstance(r.get("value"), (int, float)):
                values[(r["workload"], ALIASES.get(r["figure"], r["figure"]), r["peer"])] = r["value"]

    targets = {}
    for t in TARGETS:
        targets.setdefault((t[0], t[1]), []).append(target_text(values, *t))

    notes = []
    rows = []
    header = "| Workload | Figure | velar | " + " | ".join(PEERS) + " | Target |"
    rows.append(header)
    rows.append("|" + "---|" * (len(PEERS) + 4))
    workloads = WORKLOADS + sorted({k[0] for k in values} - set(WORKLOADS))
    for workload in workloads:
        for key, label, style in FIGURES:
            mine = values.get((workload, key, "velar"))
            if mine is None:
                continue
            cells = [fmt(mine, style)]
            for peer in PEERS:
                theirs = values.get((workload, key, peer))
                if theirs is not None:
                    ratio = ""
                    if theirs:
                        r = mine / theirs
                        ratio = " (%.2fx)" % r if r < 100 else " (%.0fx)" % r
                    cells.append(fmt(theirs, style) + ratio)
                elif (workload, peer) in errors:
                    note = errors[(workload, peer)]
                    if note not in notes:
                        notes.append(note)
                    cells.append("failed [%d]" % (notes.index(note) + 1))
                else:
                    cells.append("n/a")
            rows.append("| %s | %s | %s | %s |" % (workload, label, " | ".join(cells),
                                                   "; ".join(targets.get((workload, key), []))))

    now = datetime.datetime.now(datetime.timezone.utc)
    verdicts = [t for ts in targets.values() for t in ts]
    missed = sum(1 for t in verdicts if not t.endswith(" met"))
    text = ["# make bench, %s" % now.strftime("%Y-%m-%d %H:%M UTC"), "",
            "Machine: %d cores (nproc), %s. Commit %s." % (os.cpu_count() or 0, cpu_model(), argv[3]),
            "",
            "Medians of several interleaved runs in one `make bench` run; in brackets velar's value "
            "divided by the peer's (for CPU, time, memory and latency below 1 is better for velar; "
            "for throughput above 1 is). n/a: the peer has no such figure.",
            ""] + rows + [""]
    for i, note in enumerate(notes):
        text.append("[%d] %s" % (i + 1, note))
    text.append("")
    text.append("Targets: %d of %d met." % (len(verdicts) - missed, len(verdicts)))
    text.append("")
    text.append(LEGEND)
    report = "\n".join(text) + "\n"
    print(report)

    os.makedirs(argv[2], exist_ok=True)
    day = now.strftime("%Y-%m-%d")
    path = os.path.join(argv[2], day + ".md")
    n = 2
    while os.path.exists(path):
        path = os.path.join(argv[2], "%s-%d.md" % (day, n))
        n += 1
    with open(path, "w") as f:
        f.write(report)
    print("written to %s" % path)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
