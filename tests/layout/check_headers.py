#!/usr/bin/env python3
"""Checks that every header of a source tree compiles by itself.

    check_headers.py SRC COMPILER

Prints the compiler's messages for those that do not and fails if there is any.
"""

import subprocess
import sys
from pathlib import Path


def compiles_alone(source, compiler, name):
    """The compiler's messages for a file that includes only `name`; empty when it compiles."""
    command = [compiler, "-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-I", str(source), "-x", "c++", "-"]
    unit = f'#include "{name}"\n'
    result = subprocess.run(command, input=unit, capture_output=True, text=True, check=False)
    return result.stderr if result.returncode else ""


def check(source, compiler):
    """Name and messages of each header that does not compile, and how many there are in all."""
    names = [path.relative_to(source).as_posix() for path in sorted(source.rglob("*.h"))]
    troubles = {name: compiles_alone(source, compiler, name) for name in names}
    return {name: text for name, text in troubles.items() if text}, len(names)


def main():
    troubles, count = check(Path(sys.argv[1]), sys.argv[2])
    for name, text in troubles.items():
        print(f"{name} does not compile alone:\n{text}")
    print(f"{count - len(troubles)} of {count} headers compile alone")
    return 1 if troubles or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
