#!/usr/bin/env python3
"""A program with the debug log on and a dark in use leaves standard output and standard error empty.

    check_silence.py LIBRARY_FOLDER CC
"""

import sys
import tempfile

import programs


def main():
    with tempfile.TemporaryDirectory() as work:
        ran = programs.run([programs.build("silent", sys.argv[1], sys.argv[2], work), work], work)
    if ran.returncode == 0 and not ran.stdout and not ran.stderr:
        return 0
    print(f"exit code {ran.returncode}\nstandard output: {ran.stdout!r}\nstandard error: {ran.stderr!r}")
    return 1


if __name__ == "__main__":
    sys.exit(main())
