#!/usr/bin/env python3
"""Checks that the page about threads tells every lock of the code with its place in the order, and none that is gone.

    check_locks.py PAGE ROOT...

On the page a lock stands in a row of a table: | words | `Class::mutex_` (or several) | place in the order | what it guards |.
Prints one line per breach and fails if there is any.
"""

import re
import sys
from pathlib import Path

LOCK = re.compile(r"^\s*(?:mutable\s+|static\s+)*"
                  r"(?:(?:std|orq)::)?(?:(?:recursive_|shared_|timed_)*mutex|Mutex|CMutex|RecursiveMutex|pthread_mutex_t)"
                  r"\s+(\w+)\s*(?:=[^;]*)?;")
CLASS = re.compile(r"^\s*(?:class|struct)\s+(?:\w+\(.*?\)\s+)?([\w:]+)(?![^{]*;)")
FUNCTION = re.compile(r"^\S.*?([\w:~]+)\([^;]*\{\s*$")
NAME = re.compile(r"`([\w:]+::\w+)`")
LINE_OF_ORDER = re.compile(r"^(\d+)\. ")

# A lock in them is what they are made of.
KINDS_OF_LOCKS = ("Mutex.h", "CMutex.h", "RecursiveMutex.h")


def locks_of(text):
    """The locks that a file declares, each with the class or function that it stands in."""
    found, scopes, depth, name = [], [], 0, None
    for line in text.splitlines():
        code = re.sub(r'"(?:\\.|[^"\\])*"', '""', line.split("//", 1)[0])
        lock = LOCK.match(code)
        if lock:
            found.append("::".join([scope for _, scope in scopes] + [lock.group(1)]))
        opens = CLASS.match(code) or FUNCTION.match(code)
        name = opens.group(1) if opens else name
        if name and code.count("{") > code.count("}"):
            scopes.append((depth, name))
        if "{" in code or ";" in code:
            name = None
        depth += code.count("{") - code.count("}")
        while scopes and depth <= scopes[-1][0]:
            scopes.pop()
    return found


def told_on(page):
    """The locks of the page's tables, each with whether the order below its table has the place that its row names."""
    told, waiting, is_table, places = {}, {}, False, set()

    def settle():
        told.update({name: place in places for name, place in waiting.items()})
        waiting.clear()
        places.clear()

    for line in page.splitlines():
        if line.startswith("| Lock |"):
            settle()
            is_table = True
        elif not line.startswith("|"):
            is_table = False
        elif is_table:
            cells = [cell.strip() for cell in line.strip("|").split("|")]
            waiting.update({name: cells[2] for name in NAME.findall(cells[1])})
        number = LINE_OF_ORDER.match(line)
        if number:
            places.add(number.group(1))
    settle()
    return told


def check(page, roots):
    """All breaches as lines of text, and how many locks there are."""
    told = told_on(page.read_text(encoding="utf-8"))
    places, breaches = {}, []
    for root in roots:
        for path in sorted(root.rglob("*")):
            if path.suffix not in (".h", ".hpp", ".cpp") or path.name in KINDS_OF_LOCKS:
                continue
            name = path.relative_to(root.parent).as_posix()
            for lock in locks_of(path.read_text(encoding="utf-8")):
                if lock in places:
                    breaches.append(f"{name}: {lock} has the name of one in {places[lock]}")
                places[lock] = name
    breaches += [f"{name}: {lock} is not told of" for lock, name in places.items() if lock not in told]
    breaches += [f"{lock} has no place in the order" for lock, is_placed in told.items() if not is_placed]
    breaches += [f"{lock} is told of and not in the code" for lock in told if lock not in places]
    return breaches, len(places)


def main():
    breaches, count = check(Path(sys.argv[1]), [Path(name) for name in sys.argv[2:]])
    if count == 0:
        breaches.append("no locks found")
    print("\n".join(breaches) if breaches else f"all {count} locks are told of")
    return 1 if breaches else 0


if __name__ == "__main__":
    sys.exit(main())
