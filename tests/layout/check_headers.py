#!/usr/bin/env python3
"""Checks that every header of a source tree compiles by itself.

    check_headers.py SRC COMPILER [INCLUDE...]    INCLUDE: folders of headers beside SRC

Prints the compiler's messages for those that do not and fails if there is any. A header that a source file of the tree
includes before anything else has been shown to do so by the build of that file.
"""

import re
import subprocess
import sys
from pathlib import Path

DIRECTIVE = re.compile(r'^[ \t]*#.*$', re.MULTILINE)
OWN_INCLUDE = re.compile(r'[ \t]*#[ \t]*include[ \t]+"([^"]+)"')


def first_includes(source):
    """The headers of the tree that stand first in one of its source files."""
    found = set()
    for path in source.rglob("*.cpp"):
        directive = DIRECTIVE.search(path.read_text(encoding="utf-8"))
        include = OWN_INCLUDE.match(directive.group()) if directive else None
        if include:
            found.add(include.group(1))
    return found


def compiles_alone(roots, compiler, name):
    """The compiler's messages for a file that includes only `name`; empty when it compiles."""
    command = [compiler, "-std=c++20", "-fsyntax-only", "-Wall", "-Wextra"]
    command += [f"-I{root}" for root in roots] + ["-x", "c++", "-"]
    unit = f'#include "{name}"\n'
    result = subprocess.run(command, input=unit, capture_output=True, text=True, check=False)
    return result.stderr if result.returncode else ""


def check(source, compiler, others=()):
    """Name and messages of each header that does not compile, and how many there are in all."""
    names = [path.relative_to(source).as_posix() for path in sorted(source.rglob("*.h"))]
    shown = first_includes(source)
    # A file may name a header of the tree by the tree's own name as well.
    unseen = [name for name in names if name not in shown and f"{source.name}/{name}" not in shown]
    troubles = {name: compiles_alone([source, *others], compiler, name) for name in unseen}
    return {name: text for name, text in troubles.items() if text}, len(names)


def main():
    troubles, count = check(Path(sys.argv[1]), sys.argv[2], sys.argv[3:])
    for name, text in troubles.items():
        print(f"{name} does not compile alone:\n{text}")
    print(f"{count - len(troubles)} of {count} headers compile alone")
    return 1 if troubles or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
