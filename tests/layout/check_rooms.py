#!/usr/bin/env python3
"""Checks that no folder holds more files than a reader can look through: then it gets rooms.

    check_rooms.py ROOT...

Prints one line per folder that is too full and fails if there is any.
"""

import sys
from pathlib import Path

MOST_FILES = 25  # of a folder's own, without those of the folders in it


def check(root):
    """Name and count of every folder under `root`, itself included, that holds too many; and how many there are."""
    folders = [path for path in [root, *sorted(root.rglob("*"))] if path.is_dir() and path.name != "__pycache__"]
    counts = {path: sum(1 for file in path.iterdir() if file.is_file()) for path in folders}
    full = {path.relative_to(root.parent).as_posix(): count for path, count in counts.items() if count > MOST_FILES}
    return full, sum(counts.values())


def main():
    failed = False
    for root in map(Path, sys.argv[1:]):
        full, count = check(root)
        for name, files in full.items():
            print(f"{name}: {files} files; with more than {MOST_FILES} it needs rooms")
        if count == 0:
            print(f"{root}: no files found")
        failed = failed or bool(full) or count == 0
    print("some folders are too full" if failed else f"no folder holds more than {MOST_FILES} files")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
