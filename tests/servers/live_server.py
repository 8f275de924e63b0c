#!/usr/bin/env python3
"""A live DASH simulator for velar's end-to-end tests: a dynamic MPD computed from the wall clock
over segments made beforehand by tests/data/make-live-segments.sh.

Started by the tests on 127.0.0.1 only; it prints "PORT <n>" once it listens, then
"AST <epoch seconds>" (the availabilityStartTime it announces), and ends by itself after
--lifetime seconds. Standard library only.

The live time line: segment n (startNumber 1) of the media covers [n - 1, n) seconds after the
availability start time (AST). AST is the server's start, rounded down to a whole second, minus
--preroll seconds, so that a whole time-shift window is on the server from the first request on.
A segment is available once its end has passed; one whose end lies in the future answers 404, as
does a segment past the end of the media.

  /template.mpd   SegmentTemplate with $Number$ and a fixed duration (ISO/IEC 23009-1, 5.3.9.4.2)
  /timeline.mpd   SegmentTemplate with a SegmentTimeline and $Time$ (5.3.9.6); every S carries
                  its t and d, and only the segments that are available and end inside the
                  time-shift window are listed
  /init-<id>.m4s, /template/chunk-<id>-<number>.m4s, /timeline/chunk-<id>-<t>.m4s   the media

Refresh faults, chosen by the query of the MPD URL (the client fetches the same URL again on every
refresh): the first `after` fetches of that URL (default 1) are answered normally, later ones
  status=CODE     answer CODE with a short text body
  drop=ID,ID...   leave those Representations out (and an AdaptationSet left without one)
  back=S          describe the presentation as it was S seconds earlier: publishTime and the
                  segments listed lie S seconds behind the previous MPD's (the segments themselves
                  stay on the server)
for example /template.mpd?after=2&status=500. Fetches are counted per path and query.

Both MPDs are type="dynamic" with publishTime = now (whole seconds), minimumUpdatePeriod,
timeShiftBufferDepth, suggestedPresentationDelay and minBufferTime. Times in the MPD are written
as whole UTC seconds ("2024-05-01T12:00:00Z").

Every request is appended to the request log (--log), one line
"<epoch milliseconds><TAB><path><TAB><status>", written before the answer.
"""

import argparse
import http.server
import json
import os
import re
import sys
import threading
import time
import urllib.parse

MPD_NS = "urn:mpeg:dash:schema:mpd:2011"
PROFILE = "urn:mpeg:dash:profile:isoff-live:2011"


def utc_text(epoch_seconds):
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(epoch_seconds))


class Timeline:
    """The live clock and the media: which segments exist and which are available now."""

    def __init__(self, media, window, update, preroll, delay):
        with open(os.path.join(media, "live.json"), "r", encoding="utf-8") as f:
            description = json.load(f)
        self.media = media
        self.segment_seconds = int(description["segment_seconds"])
        self.reps = description["representations"]
        for rep in self.reps:
            rep["by_time"] = {t: i for i, (t, _) in enumerate(rep["segments"])}
        self.window = window
        self.update = update
        self.delay = delay
        self.ast = int(time.time()) - preroll

    def elapsed(self, now=None):
        """Seconds since AST."""
        return (time.time() if now is None else now) - self.ast

    def number_available(self, rep, number, now=None):
        """True when segment `number` of `rep` exists and its nominal end has passed."""
        index = number - rep["startNumber"]
        return (0 <= index < len(rep["segments"]) and
                (index + 1) * self.segment_seconds <= self.elapsed(now))

    def time_index(self, rep, t, now=None):
        """Index of the segment starting at `t` (timescale units) when it is available, else None."""
        index = rep["by_time"].get(t)
        if index is None:
            return None
        start, duration = rep["segments"][index]
        return index if (start + duration) / rep["timescale"] <= self.elapsed(now) else None

    def mpd(self, form, now, drop=()):
        lines = ['<?xml version="1.0" encoding="utf-8"?>',
                 '<MPD xmlns="%s" profiles="%s" type="dynamic" availabilityStartTime="%s" '
                 'publishTime="%s" minimumUpdatePeriod="PT%dS" timeShiftBufferDepth="PT%dS" '
                 'suggestedPresentationDelay="PT%dS" minBufferTime="PT2S">'
                 % (MPD_NS, PROFILE, utc_text(self.ast), utc_text(int(now)), self.update,
                    self.window, self.delay),
                 '  <Period id="0" start="PT0S">']
        elapsed = self.elapsed(now)
        for set_id, rep in enumerate(self.reps):
            if rep["id"] in drop:
                continue
            attrs = 'id="%s" mimeType="%s" codecs="%s" bandwidth="%s"' % (
                rep["id"], rep["mimeType"], rep["codecs"], rep["bandwidth"])
            if "height" in rep:
                attrs += ' width="%s" height="%s" frameRate="25"' % (rep["width"], rep["height"])
            if "audioSamplingRate" in rep:
                attrs += ' audioSamplingRate="%s"' % rep["audioSamplingRate"]
            lines.append('    <AdaptationSet id="%d" contentType="%s" mimeType="%s" '
                         'segmentAlignment="true" startWithSAP="1">'
                         % (set_id, rep["contentType"], rep["mimeType"]))
            lines.append('      <Representation %s>' % attrs)
            scale = rep["timescale"]
            if form == "template":
                lines.append('        <SegmentTemplate timescale="%d" duration="%d" startNumber="%d" '
                             'initialization="init-$RepresentationID$.m4s" '
                             'media="template/chunk-$RepresentationID$-$Number%%05d$.m4s" />'
                             % (scale, self.segment_seconds * scale, rep["startNumber"]))
            else:
                lines.append('        <SegmentTemplate timescale="%d" '
                             'initialization="init-$RepresentationID$.m4s" '
                             'media="timeline/chunk-$RepresentationID$-$Time$.m4s">' % scale)
                lines.append('          <SegmentTimeline>')
                for t, d in rep["segments"]:
                    end = (t + d) / scale
                    if elapsed - self.window < end <= elapsed:
                        lines.append('            <S t="%d" d="%d" />' % (t, d))
                lines.append('          </SegmentTimeline>')
                lines.append('        </SegmentTemplate>')
            lines.append('      </Representation>')
            lines.append('    </AdaptationSet>')
        lines.append('  </Period>')
        lines.append('</MPD>')
        return ("\n".join(lines) + "\n").encode()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "live_server/1"

    def log_message(self, *args):
        pass

    def do_HEAD(self):
        self.answer(head=True)

    def do_GET(self):
        self.answer(head=False)

    def mpd_fetch_index(self):
        """How many fetches of this path and query came before this one."""
        with self.server.log_lock:
            index = self.server.counts.get(self.path, 0)
            self.server.counts[self.path] = index + 1
        return index

    def resolve(self, path, query, now):
        """(status, content type, body or file path) for `path`."""
        timeline = self.server.timeline
        m = re.fullmatch(r"/(template|timeline)\.mpd", path)
        if m:
            faulty = self.mpd_fetch_index() >= int(query.get("after", "1"))
            if faulty and "status" in query:
                return int(query["status"]), "text/plain", b"live_server refresh fault\n"
            drop = query.get("drop", "").split(",") if faulty else ()
            back = int(query.get("back", "0")) if faulty else 0
            return 200, "application/dash+xml", timeline.mpd(m.group(1), now - back, drop)
        m = re.fullmatch(r"/init-(\w+)\.m4s", path)
        if m and any(r["id"] == m.group(1) for r in timeline.reps):
            return 200, "video/mp4", os.path.join(timeline.media, path[1:])
        m = re.fullmatch(r"/(template|timeline)/chunk-(\w+)-(\d+)\.m4s", path)
        rep = next((r for r in timeline.reps if m and r["id"] == m.group(2)), None)
        if rep is not None:
            if m.group(1) == "template":
                number = int(m.group(3))
                if timeline.number_available(rep, number, now):
                    return 200, "video/mp4", os.path.join(
                        timeline.media, "chunk-%s-%05d.m4s" % (rep["id"], number))
            else:
                index = timeline.time_index(rep, int(m.group(3)), now)
                if index is not None:
                    return 200, "video/mp4", os.path.join(
                        timeline.media, "chunk-%s-%05d.m4s" % (rep["id"], index + rep["startNumber"]))
        return 404, "text/plain", b"not found\n"

    def answer(self, head):
        now = time.time()
        path, _, query = self.path.partition("?")
        params = {k: v[-1] for k, v in urllib.parse.parse_qs(query).items()}
        status, kind, body = self.resolve(path, params, now)
        if isinstance(body, str):
            with open(body, "rb") as f:
                body = f.read()
        with self.server.log_lock:
            if self.server.log_file:
                with open(self.server.log_file, "a", encoding="utf-8") as f:
                    f.write("%d\t%s\t%d\n" % (int(now * 1000), path, status))
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(body)))
        self.send_header("Cache-Control", "no-cache")
        self.end_headers()
        if not head:
            self.wfile.write(body)


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True

    def handle_error(self, request, client_address):
        pass  # clients that go away


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--media", required=True, help="folder made by make-live-segments.sh")
    parser.add_argument("--port", type=int, default=0)
    parser.add_argument("--window", type=int, default=10, help="timeShiftBufferDepth, seconds")
    parser.add_argument("--update", type=int, default=2, help="minimumUpdatePeriod, seconds")
    parser.add_argument("--delay", type=int, default=3, help="suggestedPresentationDelay, seconds")
    parser.add_argument("--preroll", type=int, default=12,
                        help="seconds of the live time line already past at start")
    parser.add_argument("--lifetime", type=float, default=180.0, help="seconds until the server ends")
    parser.add_argument("--log", default="")
    args = parser.parse_args()

    server = Server(("127.0.0.1", args.port), Handler)
    server.timeline = Timeline(os.path.abspath(args.media), args.window, args.update, args.preroll,
                               args.delay)
    server.log_file = args.log
    server.log_lock = threading.Lock()
    server.counts = {}
    print("PORT %d" % server.server_address[1], flush=True)
    print("AST %d" % server.timeline.ast, flush=True)
    stopper = threading.Timer(args.lifetime, server.shutdown)
    stopper.daemon = True
    stopper.start()
    try:
        server.serve_forever(poll_interval=0.1)
    except KeyboardInterrupt:
        pass
    return 0


if __name__ == "__main__":
    sys.exit(main())
