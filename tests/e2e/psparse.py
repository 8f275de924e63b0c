#!/usr/bin/env python3
"""Reads an MPEG-2 program stream (ISO/IEC 13818-1, 2.5) as velar writes it: pack headers and PES
packets, video on stream id E0 (H.264, PTS and DTS), audio on C0 (ADTS AAC, PTS).

Used by the end-to-end tests to check what velar-play wrote:
  psparse.py summary FILE            JSON: pack offsets, packet counts per stream id
  psparse.py timestamps FILE         JSON: per stream id, the list of [pts, dts] of the packets
                                     that carry time stamps (dts = pts when absent), 90 kHz
  psparse.py extract FILE SID OUT    writes the concatenated PES payloads of stream id SID (hex,
                                     e.g. e0 or c0) to OUT: the H.264 Annex B or the ADTS stream
  psparse.py after-last-pack FILE OUT  copies the bytes from the last pack header to the end

Standard library only. The parser is strict: anything that is neither a pack header nor a PES
packet with a length, or a packet that runs past the end of the file, is an error (exit 1).
"""

import json
import sys

PACK_START = 0xBA
SYSTEM_HEADER = 0xBB
PROGRAM_END = 0xB9


class PsError(Exception):
    pass


class PesPacket:
    """One PES packet: where it starts, its stream id, its header flags and its payload."""

    def __init__(self, offset, stream_id, pts, dts, aligned, payload):
        self.offset = offset        # byte offset of the start code in the file
        self.stream_id = stream_id  # 0xE0 video, 0xC0 audio
        self.pts = pts              # 33-bit 90 kHz time stamp, None when absent
        self.dts = dts              # None when absent
        self.aligned = aligned      # data_alignment_indicator
        self.payload = payload      # bytes after the PES header


def read_timestamp(b):
    """The 33-bit time stamp of the 5-byte PTS/DTS field (ISO/IEC 13818-1, 2.4.3.7); checks the
    marker bits."""
    if not (b[0] & 1 and b[2] & 1 and b[4] & 1):
        raise PsError("time stamp marker bit not set in %s" % b.hex())
    return (((b[0] >> 1) & 7) << 30) | (b[1] << 22) | ((b[2] >> 1) << 15) | (b[3] << 7) | (b[4] >> 1)


def parse(data):
    """Returns (pack_offsets, packets) for the whole stream."""
    packs = []
    packets = []
    pos = 0
    n = len(data)
    while pos < n:
        if pos + 4 > n or data[pos:pos + 3] != b"\x00\x00\x01":
            raise PsError("no start code at offset %d" % pos)
        code = data[pos + 3]
        if code == PACK_START:
            if pos + 14 > n:
                raise PsError("pack header cut at offset %d" % pos)
            if data[pos + 4] >> 6 != 1:
                raise PsError("not an MPEG-2 pack header at offset %d" % pos)
            stuffing = data[pos + 13] & 7
            packs.append(pos)
            pos += 14 + stuffing
            continue
        if code == PROGRAM_END:
            pos += 4
            continue
        if code < SYSTEM_HEADER:
            raise PsError("unexpected start code %02x at offset %d" % (code, pos))
        if pos + 6 > n:
            raise PsError("packet header cut at offset %d" % pos)
        length = (data[pos + 4] << 8) | data[pos + 5]
        if length == 0:
            raise PsError("PES packet without length at offset %d" % pos)
        end = pos + 6 + length
        if end > n:
            raise PsError("packet at offset %d runs past the end (%d > %d)" % (pos, end, n))
        if code in (0xBC, 0xBE, 0xBF, SYSTEM_HEADER) or code < 0xC0 or code > 0xEF:
            pos = end  # stream map, padding, private: no PES header of the 2.4.3.6 kind
            continue
        flags6 = data[pos + 6]
        flags7 = data[pos + 7]
        header_len = data[pos + 8]
        if flags6 >> 6 != 2:
            raise PsError("PES marker bits '10' missing at offset %d" % pos)
        body = pos + 9
        pts = dts = None
        pts_dts = flags7 >> 6
        if pts_dts == 1:
            raise PsError("forbidden PTS_DTS_flags 01 at offset %d" % pos)
        if pts_dts & 2:
            pts = read_timestamp(data[body:body + 5])
        if pts_dts == 3:
            dts = read_timestamp(data[body + 5:body + 10])
        payload_start = body + header_len
        if payload_start > end:
            raise PsError("PES header longer than the packet at offset %d" % pos)
        packets.append(PesPacket(pos, code, pts, dts, bool(flags6 & 4), data[payload_start:end]))
        pos = end
    return packs, packets


def load(path):
    with open(path, "rb") as f:
        return parse(f.read())


def timestamps(packets):
    """{stream id: [[pts, dts], ...]} for the packets that carry a PTS."""
    out = {}
    for p in packets:
        if p.pts is None:
            continue
        out.setdefault("%02x" % p.stream_id, []).append([p.pts, p.dts if p.dts is not None else p.pts])
    return out


def main(argv):
    if len(argv) < 3:
        sys.stderr.write(__doc__)
        return 2
    command, path = argv[1], argv[2]
    try:
        packs, packets = load(path)
    except (OSError, PsError) as e:
        sys.stderr.write("psparse: %s: %s\n" % (path, e))
        return 1
    if command == "summary":
        counts = {}
        for p in packets:
            key = "%02x" % p.stream_id
            counts[key] = counts.get(key, 0) + 1
        json.dump({"packs": packs, "packets": counts}, sys.stdout)
        sys.stdout.write("\n")
    elif command == "timestamps":
        json.dump(timestamps(packets), sys.stdout)
        sys.stdout.write("\n")
    elif command == "extract" and len(argv) == 5:
        sid = int(argv[3], 16)
        with open(argv[4], "wb") as f:
            for p in packets:
                if p.stream_id == sid:
                    f.write(p.payload)
    elif command == "after-last-pack" and len(argv) == 4:
        if not packs:
            sys.stderr.write("psparse: %s: no pack header\n" % path)
            return 1
        with open(path, "rb") as f:
            data = f.read()
        with open(argv[3], "wb") as f:
            f.write(data[packs[-1]:])
    else:
        sys.stderr.write(__doc__)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
