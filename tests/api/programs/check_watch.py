#!/usr/bin/env python3
"""Who watches the bus is told of cameras that are there, pulled out and plugged in again.

    check_watch.py LIBRARY_FOLDER CC [ORQ_EMULATE]

Exit code 77: there is no emulated bus here.
"""

import sys
import tempfile
from pathlib import Path

import programs

SKIPPED = 77


def main():
    if len(sys.argv) < 4 or not Path(sys.argv[3]).is_file():
        print("skipped: the emulated USB bus is off")
        return SKIPPED
    with tempfile.TemporaryDirectory() as work:
        program = programs.build("watch", sys.argv[1], sys.argv[2], work)
        bus = f"{work}/bus"
        ran = programs.run([sys.argv[3], "k1c,timescale=0", "--control", bus, "--", program, bus], work)
    print(ran.stdout.decode(), ran.stderr.decode(), sep="")
    return ran.returncode


if __name__ == "__main__":
    sys.exit(main())
