#!/usr/bin/env python3
"""Seed inputs of the fuzz targets, taken from MP4 files (used by fuzz/make-corpus.sh).

Usage: corpus_tools.py avcC|asc|feeder MP4 OUT

avcC:   the payload of the first avcC box (the AVCDecoderConfigurationRecord, ISO/IEC 14496-15).
asc:    the AudioSpecificConfig of the first esds box: the DecoderSpecificInfo (tag 5) inside the
        DecoderConfigDescriptor (tag 4) of the ES_Descriptor (tag 3), ISO/IEC 14496-1 7.2.6.
        Boxes are found by walking the box tree from the top, not by searching for the type text.
feeder: an input of H264FeederFuzzer (its layout is described in H264FeederFuzzer.cpp) made of the
        first video samples of the file as ffprobe reads them (-show_packets -show_data), the
        first one flagged firstSample, with 4-byte prefixes (the first input byte 0).
"""
import re
import struct
import subprocess
import sys

CONTAINERS = {b"moov", b"trak", b"mdia", b"minf", b"stbl", b"edts", b"dinf"}
SAMPLE_ENTRY_HEADER = {b"avc1": 78, b"mp4a": 28}  # bytes before the child boxes of a sample entry


def boxes(data, start, end):
    pos = start
    while pos + 8 <= end:
        size, kind = struct.unpack(">I4s", data[pos:pos + 8])
        header = 8
        if size == 1:
            size = struct.unpack(">Q", data[pos + 8:pos + 16])[0]
            header = 16
        elif size == 0:
            size = end - pos
        if size < header or pos + size > end:
            return
        yield kind, pos + header, pos + size
        pos += size


def find(data, start, end, wanted):
    for kind, body, stop in boxes(data, start, end):
        if kind == wanted:
            return data[body:stop]
        if kind in CONTAINERS:
            found = find(data, body, stop, wanted)
        elif kind == b"stsd":
            found = find(data, body + 8, stop, wanted)  # version, flags, entry_count
        elif kind in SAMPLE_ENTRY_HEADER:
            found = find(data, body + SAMPLE_ENTRY_HEADER[kind], stop, wanted)
        else:
            continue
        if found is not None:
            return found
    return None


def descriptor(data, pos):
    """(tag, body start, body end) of the descriptor at pos (expandable size, 14496-1 8.3.3)."""
    tag = data[pos]
    pos += 1
    size = 0
    for _ in range(4):
        byte = data[pos]
        pos += 1
        size = (size << 7) | (byte & 0x7F)
        if not byte & 0x80:
            break
    return tag, pos, pos + size


def audio_specific_config(esds):
    tag, pos, _ = descriptor(esds, 4)  # after version and flags
    if tag != 3:
        raise ValueError("no ES_Descriptor")
    flags = esds[pos + 2]
    pos += 3
    if flags & 0x80:
        pos += 2  # dependsOn_ES_ID
    if flags & 0x40:
        pos += 1 + esds[pos]  # URL
    if flags & 0x20:
        pos += 2  # OCR_ES_Id
    tag, pos, _ = descriptor(esds, pos)
    if tag != 4:
        raise ValueError("no DecoderConfigDescriptor")
    tag, pos, end = descriptor(esds, pos + 13)
    if tag != 5:
        raise ValueError("no DecoderSpecificInfo")
    return esds[pos:end]


FEEDER_SAMPLES = 6
HEX_LINE = re.compile(r"^[0-9a-f]{8}: ((?:[0-9a-f]{2,4} ?)+)")


def feeder_input(path):
    """Packets of the first video stream: (pts, dts, key, bytes), as ffprobe prints them."""
    text = subprocess.run(["ffprobe", "-v", "error", "-select_streams", "v:0", "-show_packets", "-show_data",
                           "-read_intervals", "%%+#%d" % FEEDER_SAMPLES, path],
                          check=True, capture_output=True, text=True).stdout
    out = bytearray([0])
    for block in text.split("[PACKET]")[1:]:
        fields = dict(line.split("=", 1) for line in block.splitlines() if "=" in line and ":" not in line[:9])
        data = bytearray()
        for line in block.splitlines():
            match = HEX_LINE.match(line)
            if match:
                data += bytes.fromhex(match.group(1).split("  ")[0].replace(" ", ""))
        flags = (1 if len(out) == 1 else 0) | (2 if "K" in fields["flags"] else 0)
        ticks = lambda name: int(fields[name]) % (1 << 40)
        out += bytes([flags]) + len(data).to_bytes(3, "big") + ticks("pts").to_bytes(5, "big")
        out += ticks("dts").to_bytes(5, "big") + len(data).to_bytes(2, "big") + data
    return bytes(out)


def main():
    if len(sys.argv) != 4 or sys.argv[1] not in ("avcC", "asc", "feeder"):
        sys.exit(__doc__)
    if sys.argv[1] == "feeder":
        result = feeder_input(sys.argv[2])
    else:
        data = open(sys.argv[2], "rb").read()
        box = find(data, 0, len(data), b"avcC" if sys.argv[1] == "avcC" else b"esds")
        if box is None:
            sys.exit("%s: no %s box" % (sys.argv[2], sys.argv[1]))
        result = box if sys.argv[1] == "avcC" else audio_specific_config(box)
    with open(sys.argv[3], "wb") as out:
        out.write(result)


if __name__ == "__main__":
    main()
