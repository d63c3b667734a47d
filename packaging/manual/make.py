#!/usr/bin/env python3
"""Makes the manual page and the shells' completions from what orqcam tells of itself; or checks that they are so.

    make.py ORQCAM [--write] [--help-of PROGRAM PURPOSE ...]

Without --write nothing is changed, and what differs is shown: exit status 1. The pages of other programs, made from
their --help, come with --help-of. The files lie in packaging/ as they are installed: a build for another processor
cannot ask the program.
"""

import argparse
import difflib
import subprocess
import sys
from pathlib import Path

import shells
from page import Page, page_of_help
from table import Table

HERE = Path(__file__).resolve().parent
PACKAGING = HERE.parent


def made(program, others):
    """Name and content of every file."""
    table = Table(program)
    files = {"orqcam.1": Page(table).expand((HERE / "orqcam.1.in").read_text(encoding="utf-8")),
             "orqcam.bash": shells.bash(table), "orqcam.zsh": shells.zsh(table), "orqcam.fish": shells.fish(table)}
    for path, purpose in others:
        text = subprocess.run([path, "--help"], check=True, capture_output=True, text=True).stdout
        name = Path(path).name
        files[name + ".1"] = page_of_help(name, purpose, text)
    return files


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program")
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--help-of", nargs=2, action="append", default=[], metavar=("PROGRAM", "PURPOSE"))
    arguments = parser.parse_args()
    wrong = []
    for name, content in made(arguments.program, arguments.help_of).items():
        path = PACKAGING / name
        if arguments.write:
            path.write_text(content, encoding="utf-8")
            continue
        present = path.read_text(encoding="utf-8") if path.exists() else ""
        if present != content:
            wrong.append(name)
            sys.stdout.writelines(difflib.unified_diff(present.splitlines(True), content.splitlines(True),
                                                       f"packaging/{name}", "as the program tells it", n=1))
    if wrong:
        sys.exit(f"not as the program tells it: {', '.join(wrong)}; make them anew: cmake --build build/release "
                 "--target manual")


if __name__ == "__main__":
    main()
