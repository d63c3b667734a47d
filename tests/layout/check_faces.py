#!/usr/bin/env python3
"""Checks that faces use the public library and nothing below it.

    check_faces.py FACES

A file of a face includes files of its own face and the installed headers. Prints one line per breach and fails if there
is any.
"""

import re
import sys
from pathlib import Path

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)

# Words and numbers as users write and read them; no device is behind them.
PLAIN_TEXT = {"cli": ("support/Text.h", "session/text/Units.h")}

def below(faces, path):
    """What `path` includes that is neither its face's nor plain text."""
    face = path.relative_to(faces).parts[0]
    found = []
    for target in INCLUDE.findall(path.read_text(encoding="utf-8")):
        own = (faces / face / target).is_file() or (path.parent / target).is_file()
        if not own and target not in PLAIN_TEXT.get(face, ()):
            found.append(target)
    return found


def check(faces):
    """All breaches under `faces`, as lines of text."""
    breaches = []
    seen = False
    for path in sorted(faces.rglob("*")):
        if path.suffix not in (".h", ".hpp", ".cpp", ".c"):
            continue
        seen = True
        name = path.relative_to(faces).as_posix()
        breaches += [f"{name}: must not include {target}: what it needs belongs into the public library"
                     for target in below(faces, path)]
    if not seen:
        breaches.append(f"{faces}: no sources found")
    return breaches


def main():
    breaches = check(Path(sys.argv[1]))
    print("\n".join(breaches) if breaches else "faces use the public library")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
