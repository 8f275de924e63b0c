#!/usr/bin/env python3
"""Writes the MPDs of velar's DASH fixtures that ffmpeg does not write, and expected.json.

Run by make-dash-fixtures.sh with the folder that holds ffmpeg's output (template/, timeline/,
multilang/, heights/, onefile/). Standard library only.

- timeline/manifest.mpd: every S of every SegmentTimeline rewritten to carry its own t (and no r).
- template/segmentlist.mpd: the template presentation as SegmentList, one SegmentURL per segment.
- template/protected.mpd: the template presentation with ContentProtection descriptors
  (mp4protection, PlayReady with mspr:pro and cenc:pssh, Widevine with cenc:pssh).
- onefile/segmentlist-ranges.mpd: SegmentList with mediaRange over one file per representation.
- onefile/segmentbase.mpd: SegmentBase with indexRange (the sidx box) and Initialization@range.
- baseurls/relative.mpd, baseurls/absolute.mpd(.in): BaseURL on all four levels.
- expected.json: what the MPDs hold, for tests (ranges, segment names, heights, languages...).
"""

import base64
import json
import os
import re
import struct
import sys
import uuid

PLAYREADY = "9a04f079-9840-4286-ab92-e65be0885f95"
WIDEVINE = "edef8ba9-79d6-4ace-a3c8-27dcd51d21ed"
KID = "10000000-1000-1000-1000-100000000001"
BASE_EXAMPLE = "http://media.example.invalid/velar/"


def read(path):
    with open(path, "r", encoding="utf-8") as f:
        return f.read()


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


# --- ISO/IEC 14496-12 boxes -------------------------------------------------------------------

def top_level_boxes(data):
    """[(type, offset, size)] of the top-level boxes (32-bit and 64-bit sizes)."""
    boxes, pos = [], 0
    while pos + 8 <= len(data):
        size, kind = struct.unpack(">I4s", data[pos:pos + 8])
        if size == 1:
            size = struct.unpack(">Q", data[pos + 8:pos + 16])[0]
        elif size == 0:
            size = len(data) - pos
        boxes.append((kind.decode("latin-1"), pos, size))
        pos += size
    return boxes


def parse_sidx(box):
    """timescale, earliest presentation time and [(referenced size, duration)] of a sidx box
    (ISO/IEC 14496-12 8.16.3): version, flags, reference_ID, timescale, then 32- or 64-bit times."""
    version = box[8]
    pos = 12
    _, timescale = struct.unpack(">II", box[pos:pos + 8])
    pos += 8
    if version == 0:
        earliest, first_offset = struct.unpack(">II", box[pos:pos + 8])
        pos += 8
    else:
        earliest, first_offset = struct.unpack(">QQ", box[pos:pos + 16])
        pos += 16
    _, count = struct.unpack(">HH", box[pos:pos + 4])
    pos += 4
    refs = []
    for _ in range(count):
        word, duration, _sap = struct.unpack(">III", box[pos:pos + 12])
        refs.append((word & 0x7FFFFFFF, duration))
        pos += 12
    return timescale, earliest, first_offset, refs


def one_file_layout(path):
    data = open(path, "rb").read()
    boxes = top_level_boxes(data)
    kinds = [b[0] for b in boxes]
    moov = boxes[kinds.index("moov")]
    sidx = boxes[kinds.index("sidx")]
    timescale, earliest, first_offset, refs = parse_sidx(data[sidx[1]:sidx[1] + sidx[2]])
    media, pos = [], sidx[1] + sidx[2] + first_offset
    for size, _ in refs:
        media.append("%d-%d" % (pos, pos + size - 1))
        pos += size
    # The sidx references must be the moof+mdat pairs found by walking the boxes.
    pairs = []
    for i, (kind, off, size) in enumerate(boxes):
        if kind == "moof" and i + 1 < len(boxes) and boxes[i + 1][0] == "mdat":
            pairs.append("%d-%d" % (off, boxes[i + 1][1] + boxes[i + 1][2] - 1))
    if pairs != media:
        raise SystemExit("sidx of %s does not match its fragments: %s / %s" % (path, media, pairs))
    return {
        "file": os.path.basename(path),
        "size": len(data),
        "init": "0-%d" % (moov[1] + moov[2] - 1),
        "index": "%d-%d" % (sidx[1], sidx[1] + sidx[2] - 1),
        "timescale": timescale,
        "earliest": earliest,
        "media": media,
        "durations": [d for _, d in refs],
    }


# --- ffmpeg's MPDs --------------------------------------------------------------------------

def representations(mpd_text):
    """[{id, attrs..., template}] of the Representations of an ffmpeg MPD, in document order."""
    reps = []
    for m in re.finditer(r'<AdaptationSet ([^>]*)>(.*?)</AdaptationSet>', mpd_text, re.S):
        set_attrs = dict(re.findall(r'(\w+)="([^"]*)"', m.group(1)))
        for r in re.finditer(r'<Representation ([^>]*)>(.*?)</Representation>', m.group(2), re.S):
            attrs = dict(re.findall(r'(\w+)="([^"]*)"', r.group(1)))
            tmpl = re.search(r'<SegmentTemplate ([^>]*)>', r.group(2))
            attrs["template"] = dict(re.findall(r'(\w+)="([^"]*)"', tmpl.group(1))) if tmpl else {}
            attrs["contentType"] = set_attrs.get("contentType", "")
            attrs["lang"] = set_attrs.get("lang", "")
            reps.append(attrs)
    return reps


def expand_timelines(text):
    """Every S gets its own t; r is written out as repeated S elements."""
    def rewrite(block):
        indent = re.search(r'\n(\s*)<S ', block.group(0)).group(1)
        out, t, entries = [], 0, []
        for s in re.finditer(r'<S ([^>]*)/>', block.group(0)):
            a = dict(re.findall(r'(\w+)="([^"]*)"', s.group(1)))
            if "t" in a:
                t = int(a["t"])
            d = int(a["d"])
            for _ in range(int(a.get("r", "0")) + 1):
                out.append('%s<S t="%d" d="%d" />' % (indent, t, d))
                entries.append((t, d))
                t += d
        return "<SegmentTimeline>\n" + "\n".join(out) + "\n" + indent[:-1] + "</SegmentTimeline>"
    return re.sub(r'<SegmentTimeline>.*?</SegmentTimeline>', rewrite, text, flags=re.S)


def timeline_entries(text):
    """{representation id: [(t, d)]} of an MPD whose S all carry t."""
    out = {}
    for r in re.finditer(r'<Representation id="([^"]*)"(.*?)</Representation>', text, re.S):
        out[r.group(1)] = [(int(t), int(d)) for t, d in re.findall(r'<S t="(\d+)" d="(\d+)"', r.group(2))]
    return out


def segment_files(folder, rep_id):
    names = sorted(n for n in os.listdir(folder) if re.fullmatch(r"chunk-%s-\d{5}\.m4s" % rep_id, n))
    return names


# --- content protection (ISO/IEC 23001-7 pssh, PlayReady object) ------------------------------

def pssh_box(system_id, payload):
    # size, 'pssh', version 0 and flags 0, SystemID (16 bytes), DataSize, Data
    body = b"\0\0\0\0" + uuid.UUID(system_id).bytes + struct.pack(">I", len(payload)) + payload
    return struct.pack(">I", 8 + len(body)) + b"pssh" + body


def playready_object():
    kid_b64 = base64.b64encode(uuid.UUID(KID).bytes_le).decode()
    header = ('<WRMHEADER xmlns="http://schemas.microsoft.com/DRM/2007/03/PlayReadyHeader" '
              'version="4.0.0.0"><DATA><PROTECTINFO><KEYLEN>16</KEYLEN><ALGID>AESCTR</ALGID>'
              '</PROTECTINFO><KID>%s</KID><LA_URL>http://license.example.invalid/pr</LA_URL>'
              '</DATA></WRMHEADER>' % kid_b64).encode("utf-16-le")
    # PlayReady Object: length (LE32), record count (LE16), record type 1 (LE16), length (LE16)
    record = struct.pack("<HH", 1, len(header)) + header
    return struct.pack("<IH", 4 + 2 + len(record), 1) + record


def widevine_data():
    # Widevine's own data is opaque here: a key id field (1, 16 bytes) and a content id field (4).
    kid = uuid.UUID(KID).bytes
    return b"\x12\x10" + kid + b"\x22\x05velar"


def protection_xml(indent, with_playready):
    pro = base64.b64encode(playready_object()).decode()
    pr_pssh = base64.b64encode(pssh_box(PLAYREADY, playready_object())).decode()
    wv_pssh = base64.b64encode(pssh_box(WIDEVINE, widevine_data())).decode()
    lines = ['<ContentProtection schemeIdUri="urn:mpeg:dash:mp4protection:2011" value="cenc" '
             'cenc:default_KID="%s" />' % KID]
    if with_playready:
        lines.append('<ContentProtection schemeIdUri="urn:uuid:%s" value="MSPR 2.0">' % PLAYREADY)
        lines.append('\t<mspr:pro>%s</mspr:pro>' % pro)
        lines.append('\t<cenc:pssh>%s</cenc:pssh>' % pr_pssh)
        lines.append('</ContentProtection>')
    lines.append('<ContentProtection schemeIdUri="urn:uuid:%s">' % WIDEVINE)
    lines.append('\t<cenc:pssh>%s</cenc:pssh>' % wv_pssh)
    lines.append('</ContentProtection>')
    return "".join("\n" + indent + l for l in lines), {"mspr:pro": pro, "playready pssh": pr_pssh,
                                                        "widevine pssh": wv_pssh}


# --- writers ----------------------------------------------------------------------------------

MPD_HEAD = ('<?xml version="1.0" encoding="utf-8"?>\n'
            '<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static" '
            'profiles="%s" mediaPresentationDuration="PT4.0S" minBufferTime="PT2.0S">\n')


def rep_open(rep, rid, indent):
    attrs = 'id="%s" mimeType="%s" codecs="%s" bandwidth="%s"' % (rid, rep["mimeType"], rep["codecs"], rep["bandwidth"])
    if "width" in rep:
        attrs += ' width="%s" height="%s" frameRate="25"' % (rep["width"], rep["height"])
    if "audioSamplingRate" in rep:
        attrs += ' audioSamplingRate="%s"' % rep["audioSamplingRate"]
    return '%s<Representation %s>\n' % (indent, attrs)


def set_open(rep, sid, indent):
    kind = rep["contentType"]
    lang = ' lang="%s"' % rep["lang"] if kind == "audio" else ""
    return ('%s<AdaptationSet id="%s" contentType="%s" mimeType="%s" segmentAlignment="true" '
            'startWithSAP="1"%s>\n' % (indent, sid, kind, rep["mimeType"], lang))


def main(root):
    expected = {"playready": PLAYREADY, "widevine": WIDEVINE, "kid": KID}

    # timeline/: t on every S.
    tl_path = os.path.join(root, "timeline", "manifest.mpd")
    tl_text = expand_timelines(read(tl_path))
    write(tl_path, tl_text)
    entries = timeline_entries(tl_text)
    for rid, items in entries.items():
        for t, _ in items:
            name = os.path.join(root, "timeline", "chunk-%s-%d.m4s" % (rid, t))
            if not os.path.exists(name):
                raise SystemExit("timeline segment missing: " + name)
    expected["timeline"] = {rid: {"t": [t for t, _ in items], "d": [d for _, d in items]}
                            for rid, items in entries.items()}

    # template/: ffmpeg's MPD, then SegmentList and protected variants of it.
    tdir = os.path.join(root, "template")
    t_text = read(os.path.join(tdir, "manifest.mpd"))
    t_reps = representations(t_text)
    expected["template"] = {}
    for rep in t_reps:
        expected["template"][rep["id"]] = {
            "segments": segment_files(tdir, rep["id"]),
            "height": int(rep.get("height", "0")),
            "bandwidth": int(rep["bandwidth"]),
            "contentType": rep["contentType"],
        }

    def to_segment_list(m):
        rid = m.group(1)
        tmpl = re.search(r'<SegmentTemplate ([^>]*)>\s*</SegmentTemplate>', m.group(0), re.S)
        a = dict(re.findall(r'(\w+)="([^"]*)"', tmpl.group(1)))
        indent = re.search(r'\n(\s*)<SegmentTemplate', m.group(0)).group(1)
        lines = ['%s<SegmentList timescale="%s" duration="%s">' % (indent, a["timescale"], a["duration"]),
                 '%s\t<Initialization sourceURL="init-%s.m4s" />' % (indent, rid)]
        for name in segment_files(tdir, rid):
            lines.append('%s\t<SegmentURL media="%s" />' % (indent, name))
        lines.append('%s</SegmentList>' % indent)
        return m.group(0)[:tmpl.start()] + "\n".join(lines).lstrip("\t") + m.group(0)[tmpl.end():]
    sl_text = re.sub(r'<Representation id="([^"]*)".*?</Representation>', to_segment_list, t_text, flags=re.S)
    write(os.path.join(tdir, "segmentlist.mpd"), sl_text)

    pr_text = t_text.replace('xmlns="urn:mpeg:dash:schema:mpd:2011"',
                             'xmlns="urn:mpeg:dash:schema:mpd:2011"\n\txmlns:cenc="urn:mpeg:cenc:2013"'
                             '\n\txmlns:mspr="urn:microsoft:playready"', 1)
    blobs = {}

    def protect(m):
        video = 'contentType="video"' in m.group(0)
        xml, found = protection_xml(m.group(1) + "\t", video)
        blobs.update(found)
        return m.group(0) + xml
    pr_text = re.sub(r'\n(\s*)<AdaptationSet [^>]*>', protect, pr_text)
    write(os.path.join(tdir, "protected.mpd"), pr_text)
    expected["protected"] = blobs

    # multilang/ and heights/: ffmpeg's MPDs as they are.
    for folder in ("multilang", "heights"):
        reps = representations(read(os.path.join(root, folder, "manifest.mpd")))
        expected[folder] = [{"id": r["id"], "contentType": r["contentType"], "lang": r["lang"],
                             "height": int(r.get("height", "0")), "bandwidth": int(r["bandwidth"])}
                            for r in reps]

    # onefile/: SegmentList with mediaRange and SegmentBase over one file per representation.
    odir = os.path.join(root, "onefile")
    layouts = {}
    for rep, name in zip(t_reps, ("v180", "v360", "a_en")):
        layouts[name] = (rep, one_file_layout(os.path.join(odir, name + ".mp4")))
    expected["onefile"] = {name: layout for name, (_, layout) in layouts.items()}
    for kind in ("segmentlist-ranges", "segmentbase"):
        out = [MPD_HEAD % ("urn:mpeg:dash:profile:isoff-on-demand:2011" if kind == "segmentbase"
                           else "urn:mpeg:dash:profile:full:2011"), '\t<Period id="0" start="PT0S">\n']
        for sid, names in enumerate((("v180", "v360"), ("a_en",))):
            out.append(set_open(layouts[names[0]][0], sid, "\t\t"))
            for name in names:
                rep, lay = layouts[name]
                out.append(rep_open(rep, name, "\t\t\t"))
                out.append('\t\t\t\t<BaseURL>%s</BaseURL>\n' % lay["file"])
                if kind == "segmentbase":
                    out.append('\t\t\t\t<SegmentBase timescale="%d" indexRange="%s" indexRangeExact="true">\n'
                               % (lay["timescale"], lay["index"]))
                    out.append('\t\t\t\t\t<Initialization range="%s" />\n' % lay["init"])
                    out.append('\t\t\t\t</SegmentBase>\n')
                else:
                    out.append('\t\t\t\t<SegmentList timescale="%d" duration="%d">\n'
                               % (lay["timescale"], lay["durations"][0]))
                    out.append('\t\t\t\t\t<Initialization range="%s" />\n' % lay["init"])
                    for r in lay["media"]:
                        out.append('\t\t\t\t\t<SegmentURL mediaRange="%s" />\n' % r)
                    out.append('\t\t\t\t</SegmentList>\n')
                out.append('\t\t\t</Representation>\n')
            out.append('\t\t</AdaptationSet>\n')
        out.append('\t</Period>\n</MPD>\n')
        write(os.path.join(odir, kind + ".mpd"), "".join(out))

    # baseurls/: BaseURL on MPD, Period, AdaptationSet and Representation level. All resolve to
    # the media of template/ (see expected.json "baseurls").
    v0, v1, a2 = t_reps[0], t_reps[1], t_reps[2]
    tmpl = ('<SegmentTemplate timescale="1000000" duration="1000000" '
            'initialization="init-$RepresentationID$.m4s" '
            'media="chunk-$RepresentationID$-$Number%05d$.m4s" startNumber="1" />')

    def baseurl_mpd(mpd_base, rep1_base, audio_base):
        return "".join([
            MPD_HEAD % "urn:mpeg:dash:profile:isoff-live:2011",
            '\t<BaseURL>%s</BaseURL>\n' % mpd_base,
            '\t<Period id="0" start="PT0S">\n',
            '\t\t<BaseURL>template/</BaseURL>\n',
            set_open(v0, 0, "\t\t"),
            '\t\t\t<BaseURL>./</BaseURL>\n',
            '\t\t\t%s\n' % tmpl,
            rep_open(v0, "0", "\t\t\t"), '\t\t\t</Representation>\n',
            rep_open(v1, "1", "\t\t\t"), '\t\t\t\t<BaseURL>%s</BaseURL>\n' % rep1_base,
            '\t\t\t</Representation>\n',
            '\t\t</AdaptationSet>\n',
            set_open(a2, 1, "\t\t"),
            '\t\t\t<BaseURL>%s</BaseURL>\n' % audio_base,
            '\t\t\t%s\n' % tmpl,
            rep_open(a2, "2", "\t\t\t"), '\t\t\t</Representation>\n',
            '\t\t</AdaptationSet>\n',
            '\t</Period>\n</MPD>\n'])
    bdir = os.path.join(root, "baseurls")
    write(os.path.join(bdir, "relative.mpd"), baseurl_mpd("../", "../template/", "../timeline/../template/"))
    write(os.path.join(bdir, "absolute.mpd.in"), baseurl_mpd("@BASE@", "@BASE@template/", "./"))
    write(os.path.join(bdir, "absolute.mpd"),
          baseurl_mpd(BASE_EXAMPLE, BASE_EXAMPLE + "template/", "./"))
    expected["baseurls"] = {
        "relative.mpd": {"0": "template/", "1": "template/", "2": "template/"},
        "absolute.mpd": {"0": BASE_EXAMPLE + "template/", "1": BASE_EXAMPLE + "template/",
                         "2": BASE_EXAMPLE + "template/"},
    }

    write(os.path.join(root, "expected.json"), json.dumps(expected, indent=1, sort_keys=True) + "\n")


if __name__ == "__main__":
    main(sys.argv[1])
