#!/usr/bin/env python3
"""Checks that the includes of a source tree run downward only and never in circles.

    check_includes.py SRC

Prints one line per breach and fails if there is any.
"""

import re
import sys
from pathlib import Path

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)

# What a folder's headers may include beside their own folder's: what stands below it.
SUBSYSTEMS = ("controls", "settings", "image", "autoctl", "devices", "gps")
HEADERS_MAY_INCLUDE = {
    "support": (),
    "link": ("support",),
    "virtual": ("link", "support"),
    **{folder: SUBSYSTEMS + ("support",) for folder in SUBSYSTEMS},
    "camera": SUBSYSTEMS + ("link", "support"),
    "models": ("camera", "link", "support") + SUBSYSTEMS,
    "session": ("models", "virtual", "camera", "link", "support") + SUBSYSTEMS,
    "api": ("session", "models", "virtual", "camera", "link", "support") + SUBSYSTEMS,
}

# The installed headers stand beside the source tree; only what implements them may include them.
PUBLIC_HEADERS = "orqcam/"
IMPLEMENTS_PUBLIC_HEADERS = "api"

# A source file of a subsystem defines members of the camera class, and talks to the device by its wire numbers.
SOURCES_MAY_INCLUDE = {
    **HEADERS_MAY_INCLUDE,
    **{folder: SUBSYSTEMS + ("camera", "link", "support") for folder in SUBSYSTEMS},
}

CAMERA_CLASS = "camera/CameraBase.h"

# A terminal, signals and command lines are a program's, not the library's.
SYSTEM_INCLUDE = re.compile(r"^\s*#\s*include\s+<([^>]+)>", re.MULTILINE)
OF_PROGRAMS = ("csignal", "signal.h", "iostream", "termios.h", "getopt.h", "CLI/CLI.hpp")


def includes_of(path):
    return INCLUDE.findall(path.read_text(encoding="utf-8"))


def folder_of(name):
    return name.split("/", 1)[0]


def may_include(name, target):
    """Whether the file `name` may include `target`, both relative to the source folder."""
    table = HEADERS_MAY_INCLUDE if name.endswith(".h") else SOURCES_MAY_INCLUDE
    folder = folder_of(name)
    if folder not in table:
        return False
    if target == CAMERA_CLASS and name.endswith(".h") and folder not in ("camera", "models", "session", "api"):
        return False
    return folder_of(target) == folder or folder_of(target) in table[folder] or target in table[folder]


def circles(graph):
    """Every include circle, as a list of file names that starts and ends with the same one."""
    found, done, path = [], set(), []

    def visit(name):
        if name in path:
            found.append(path[path.index(name):] + [name])
            return
        if name in done:
            return
        path.append(name)
        for target in graph.get(name, ()):
            visit(target)
        path.pop()
        done.add(name)

    for name in sorted(graph):
        visit(name)
    return found


def check(source):
    """All breaches under `source`, as lines of text."""
    breaches = []
    graph = {}
    for path in sorted(source.rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        name = path.relative_to(source).as_posix()
        graph[name] = includes_of(path)
        used = SYSTEM_INCLUDE.findall(path.read_text(encoding="utf-8"))
        breaches += [f"{name}: must not include <{header}>" for header in used if header in OF_PROGRAMS]
        for target in graph[name]:
            if target.startswith(PUBLIC_HEADERS):
                if folder_of(name) != IMPLEMENTS_PUBLIC_HEADERS:
                    breaches.append(f"{name}: must not include {target}")
                graph[name] = [other for other in graph[name] if other != target]
            elif not (source / target).is_file():
                breaches.append(f"{name}: no such file in the source tree: {target}")
            elif not may_include(name, target):
                breaches.append(f"{name}: must not include {target}")
    breaches += ["include circle: " + " -> ".join(circle) for circle in circles(graph)]
    if not graph:
        breaches.append(f"{source}: no sources found")
    return breaches


def main():
    breaches = check(Path(sys.argv[1]))
    print("\n".join(breaches) if breaches else "includes run downward")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
