#!/usr/bin/env python3
"""A video that runs allocates nothing for its frames, however many readers they have.

    check_allocations.py LIBRARY_FOLDER CC [ORQ_EMULATE]

The camera is on an emulated bus, in a process of its own. Exit code 77: there is no such bus here.
"""

import sys
import tempfile
from pathlib import Path

import programs

SKIPPED = 77
CAMERA = "k1c,timescale=0,scene=dark"


def main():
    if len(sys.argv) < 4 or not Path(sys.argv[3]).is_file():
        print("skipped: the emulated USB bus is off")
        return SKIPPED
    with tempfile.TemporaryDirectory() as work:
        program = programs.build("allocations", sys.argv[1], sys.argv[2], work)
        ran = programs.run([sys.argv[3], CAMERA, "--", program], work)
    lines = ran.stdout.decode().splitlines()
    print(*lines, ran.stderr.decode(), sep="\n")
    if ran.returncode != 0 or len(lines) != 3:
        return 1
    if int(lines[2].split()[-1]) < 100:
        print("opening a camera allocates more than that: nothing was counted")
        return 1
    # Some things come once a second, and take a moment's memory: temperatures, for one.
    few = [int(line.split()[1]) * 10 <= int(line.split()[0]) for line in lines[:2]]
    return 0 if all(few) else 1


if __name__ == "__main__":
    sys.exit(main())
