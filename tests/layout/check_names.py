#!/usr/bin/env python3
"""Checks that tests are named in one way, and that no two headers of the library have one name.

    check_names.py TESTS SRC

A file of C++ tests is called like_this_test.cpp, one of Python tests test_like_this.py; a test says LikeThis what is true.
Prints one line per breach and fails if there is any.
"""

import re
import sys
from collections import defaultdict
from pathlib import Path

TEST = re.compile(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)
CAMEL_CASE = re.compile(r"[A-Z][A-Za-z0-9]*")
CPP_NAME = re.compile(r"[a-z0-9]+(_[a-z0-9]+)*_test\.cpp")

PYTHON_TEST = re.compile(r"^\s*def test_", re.MULTILINE)
PYTHON_NAME = re.compile(r"test(_[a-z0-9]+)+\.py")


def check_tests(tests):
    """Breaches under `tests`, and how many files with tests there are."""
    breaches, count = [], 0
    for path in sorted(tests.rglob("*")):
        if path.suffix not in (".cpp", ".py"):
            continue
        name, text = path.relative_to(tests).as_posix(), path.read_text(encoding="utf-8")
        found = TEST.findall(text) if path.suffix == ".cpp" else PYTHON_TEST.findall(text)
        is_named = (CPP_NAME if path.suffix == ".cpp" else PYTHON_NAME).fullmatch(path.name)
        count += bool(found)
        if found and not is_named:
            breaches.append(f"{name}: holds tests and is not called like the others")
        if path.suffix == ".cpp":
            if is_named and not found:
                breaches.append(f"{name}: holds no test")
            breaches += [f"{name}: {suite}.{test} is no CamelCase" for suite, test in found
                         if not (CAMEL_CASE.fullmatch(suite) and CAMEL_CASE.fullmatch(test))]
    return breaches, count


def check_headers(source):
    """Breaches under `source`."""
    places = defaultdict(list)
    for path in sorted(source.rglob("*.h")):
        places[path.name].append(path.relative_to(source).as_posix())
    return [f"{' and '.join(paths)} have one name" for paths in places.values() if len(paths) > 1]


def main():
    breaches, count = check_tests(Path(sys.argv[1]))
    breaches += check_headers(Path(sys.argv[2]))
    if count == 0:
        breaches.append(f"{sys.argv[1]}: no tests found")
    print("\n".join(breaches) if breaches else f"{count} files of tests are named alike")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
