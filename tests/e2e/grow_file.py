#!/usr/bin/env python3
"""Writes SRC to DEST the way a download beside the player would: the first HEAD bytes at once,
then CHUNK bytes every INTERVAL_MS milliseconds until the file is whole. Creates READY_FLAG (an
empty file) once the head is written, so the caller knows when the player may start.

  grow_file.py SRC DEST HEAD CHUNK INTERVAL_MS READY_FLAG
"""

import os
import sys
import time


def main(argv):
    if len(argv) != 7:
        sys.stderr.write(__doc__)
        return 2
    src, dest, head, chunk, interval_ms, ready = argv[1], argv[2], int(argv[3]), int(argv[4]), \
        int(argv[5]), argv[6]
    with open(src, "rb") as f:
        data = f.read()
    with open(dest, "wb") as out:
        out.write(data[:head])
        out.flush()
        open(ready, "wb").close()
        pos = head
        while pos < len(data):
            time.sleep(interval_ms / 1000.0)
            out.write(data[pos:pos + chunk])
            out.flush()
            pos += chunk
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
