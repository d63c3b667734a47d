#!/usr/bin/env python3
"""Compares the binary interface with what was promised: exported names, and the layout of every struct.

    check_interface.py LIBRARY CC [--write]

The promise stands in interface.txt; --write renews it, for a change that is meant. Layouts must be those of 32-bit
hosts as well. Programs in C++ must not need C for anything.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

import interface

HERE = Path(__file__).resolve().parent
INCLUDE = HERE.parent.parent / "include"
HEADERS = sorted((INCLUDE / "orqcam").glob("*.h"))
PROMISE = HERE / "interface.txt"
VERSION_NODE = "ORQCAM_"


def exported(library):
    listing = subprocess.run(["nm", "-D", "--defined-only", library], check=True, capture_output=True, text=True).stdout
    names = [line.split()[-1].split("@")[0] for line in listing.splitlines()]
    return sorted(name for name in names if not name.startswith(VERSION_NODE))


def layout(compiler):
    """Lines "struct field offset" and "struct size bytes", as the compiler of this machine lays them out."""
    lines = ["#include <stdio.h>"] + [f"#include <orqcam/{header.name}>" for header in HEADERS] + ["int main(void) {"]
    for header in HEADERS:
        for struct in interface.structs(header):
            for name in struct.fields:
                lines.append(f'printf("{struct.name} {name} %zu\\n", offsetof({struct.name}, {name}));')
            lines.append(f'printf("{struct.name} size %zu\\n", sizeof({struct.name}));')
    lines.append("return 0; }")
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder) / "layout.c"
        source.write_text("\n".join(lines), encoding="utf-8")
        program = Path(folder) / "layout"
        subprocess.run([compiler, "-x", "c", "-std=c99", f"-I{INCLUDE}", source, "-o", program], check=True)
        return subprocess.run([program], check=True, capture_output=True, text=True).stdout.splitlines()


def check_32_bit(compiler, lines):
    """Has the compiler compare the layout of a 32-bit host; nothing of its library is needed for that."""
    asserts = ["#include <stddef.h>"] + [f"#include <orqcam/{header.name}>" for header in HEADERS]
    for line in lines:
        struct, name, number = line.split()
        value = f"sizeof({struct})" if name == "size" and line == last_of(struct, lines) else f"offsetof({struct}, {name})"
        asserts.append(f'_Static_assert({value} == {number}, "{line}");')
    with tempfile.TemporaryDirectory() as folder:
        source = Path(folder) / "layout32.c"
        source.write_text("\n".join(asserts), encoding="utf-8")
        command = [compiler, "-x", "c", "-std=c11", "-m32", "-ffreestanding", "-fsyntax-only", f"-I{INCLUDE}", source]
        return subprocess.run(command, capture_output=True, text=True)


def last_of(struct, lines):
    return [line for line in lines if line.startswith(f"{struct} ")][-1]


def main():
    library, compiler = sys.argv[1], sys.argv[2]
    declared = sorted(one.name for header in HEADERS for one in interface.functions(header))
    names = exported(library)
    if names != declared:
        print("declared but not exported:", sorted(set(declared) - set(names)))
        print("exported but not declared:", sorted(set(names) - set(declared)))
        return 1
    wrapper = (INCLUDE / "orqcam" / "orqcam.hpp").read_text(encoding="utf-8")
    unwrapped = [name for name in names if not re.search(rf"\b{name}\b", wrapper)]
    if unwrapped:
        print("orqcam.hpp has nothing for", *unwrapped)
        return 1
    lines = layout(compiler)
    now = "\n".join([f"function {name}" for name in names] + [f"layout {line}" for line in lines]) + "\n"
    if "--write" in sys.argv:
        PROMISE.write_text(now, encoding="utf-8")
    promised = PROMISE.read_text(encoding="utf-8")
    if now != promised:
        before, after = set(promised.splitlines()), set(now.splitlines())
        print("no longer so:", *sorted(before - after), sep="\n  ")
        print("new:", *sorted(after - before), sep="\n  ")
        print("If that is meant: check_interface.py LIBRARY CC --write")
        return 1
    narrow = check_32_bit(compiler, lines)
    if narrow.returncode != 0:
        print("a 32-bit host lays structs out differently:", narrow.stderr, sep="\n")
        return 1
    print(f"{len(names)} functions and {len(lines)} places as promised, on 32-bit hosts as well")
    return 0


if __name__ == "__main__":
    sys.exit(main())
