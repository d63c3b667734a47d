#!/usr/bin/env python3
"""Checks that faces use the public library and nothing below it.

    check_faces.py FACES

A file of a face includes files of its own face and the installed headers. What still goes below is listed here, file by
file, and a listed file that has no need of it any more is a breach as well: the list only gets shorter. Prints one line
per breach and fails if there is any.
"""

import re
import sys
from pathlib import Path

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)

# Words and numbers as users write and read them; no device is behind them.
PLAIN_TEXT = {"cli": ("support/Text.h", "session/text/Units.h")}

STILL_BELOW = {
    "cli/camera/ControlAccess.h", "cli/camera/DarkWork.h", "cli/camera/FlashWork.cpp", "cli/camera/FlashWork.h",
    "cli/camera/Session.cpp", "cli/camera/Session.h", "cli/commands/CommandDumpControls.cpp",
    "cli/commands/CommandFlash.cpp", "cli/commands/CommandProfile.cpp", "cli/commands/CommandReport.cpp",
    "cli/commands/CommandSettings.cpp", "cli/commands/frames/CommandHotPixels.cpp",
    "cli/commands/report/KernelLines.cpp", "cli/main.cpp", "cli/output/ExitCodes.h", "cli/output/HotPixelView.cpp",
    "cli/output/HotPixelView.h", "cli/output/Output.h",
}


def below(faces, path):
    """What `path` includes that is neither its face's nor plain text."""
    face = path.relative_to(faces).parts[0]
    found = []
    for target in INCLUDE.findall(path.read_text(encoding="utf-8")):
        own = (faces / face / target).is_file() or (path.parent / target).is_file()
        if not own and target not in PLAIN_TEXT.get(face, ()):
            found.append(target)
    return found


def check(faces, still_below=frozenset(STILL_BELOW)):
    """All breaches under `faces`, as lines of text."""
    breaches = []
    seen = set()
    for path in sorted(faces.rglob("*")):
        if path.suffix not in (".h", ".hpp", ".cpp", ".c"):
            continue
        name = path.relative_to(faces).as_posix()
        seen.add(name)
        found = below(faces, path)
        if name not in still_below:
            breaches += [f"{name}: must not include {target}: what it needs belongs into the public library"
                         for target in found]
        elif not found:
            breaches.append(f"{name}: goes below no more: take it off the list")
    breaches += [f"{name}: is not there any more: take it off the list" for name in sorted(still_below - seen)]
    if not seen:
        breaches.append(f"{faces}: no sources found")
    return breaches


def main():
    breaches = check(Path(sys.argv[1]))
    print("\n".join(breaches) if breaches else "faces use the public library")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
