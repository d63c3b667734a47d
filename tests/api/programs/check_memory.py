#!/usr/bin/env python3
"""The memory of an open camera of 26 megapixels: what its operations require, and little more.

    check_memory.py LIBRARY_FOLDER CC [ORQ_EMULATE]

The camera is on an emulated bus, in a process of its own, so that no memory of a virtual camera is counted. Exit code
77: there is no such bus here.
"""

import sys
import tempfile
from pathlib import Path

import programs

SKIPPED = 77
CAMERA = "x26m,timescale=0,scene=dark"
FRAME_MEMORY_MB = 60  # room for one frame of 16 bits
MB = 1000_000
MORE = 64 * MB
PIXELS = 6248 * 4176
# Of what operations require: two frames on their way from the bus, and the one that is worked on.
FRAMES_UNDER_WAY = 3


def required(step, frame_bytes):
    """Bytes that the camera's operations up to `step` need beside the frame memory."""
    # The dark of the whole sensor, and what is cut from it for the region.
    dark = 2 * PIXELS if step == "dark" else 0
    return FRAMES_UNDER_WAY * frame_bytes + dark


def main():
    if len(sys.argv) < 4 or not Path(sys.argv[3]).is_file():
        print("skipped: the emulated USB bus is off")
        return SKIPPED
    with tempfile.TemporaryDirectory() as work:
        program = programs.build("memory", sys.argv[1], sys.argv[2], work)
        ran = programs.run([sys.argv[3], CAMERA, "--", program, work, "", str(FRAME_MEMORY_MB)], work)
    if ran.returncode != 0:
        print(f"exit code {ran.returncode}: {ran.stdout.decode()}{ran.stderr.decode()}")
        return 1
    steps = [line.split() for line in ran.stdout.decode().splitlines()]
    before = int(steps[0][1]) * 1024
    good = len(steps) == 6
    for step, kilobytes, frame_bytes in steps[1:]:
        taken = int(kilobytes) * 1024 - before
        frames = FRAME_MEMORY_MB * 1024 * 1024 if int(frame_bytes) else 0
        most = required(step, int(frame_bytes)) + frames + MORE
        print(f"{step}: {taken / MB:.1f} MB, at most {most / MB:.1f} MB")
        good = good and 0 <= taken <= most
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
