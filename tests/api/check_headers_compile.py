#!/usr/bin/env python3
"""Compiles the public headers alone, in every language that promises to take them.

    check_headers_compile.py CC CXX
"""

import subprocess
import sys
from pathlib import Path

INCLUDE = Path(__file__).resolve().parent.parent.parent / "include"
WARNINGS = ["-Wall", "-Wextra", "-pedantic", "-Wshadow", "-Wconversion", "-Werror"]


def compiles(compiler, language, standard, header):
    command = [compiler, "-x", language, f"-std={standard}", *WARNINGS, f"-I{INCLUDE}", "-fsyntax-only", "-"]
    ran = subprocess.run(command, input=f"#include <orqcam/{header}>\n", text=True, capture_output=True, check=False)
    if ran.returncode != 0:
        print(f"{header} as {standard}:", ran.stderr, sep="\n")
    return ran.returncode == 0


def main():
    c, cxx = sys.argv[1], sys.argv[2]
    good = True
    for path in sorted((INCLUDE / "orqcam").iterdir()):
        if path.suffix == ".h":
            for standard in ("c99", "c11"):
                good = compiles(c, "c", standard, path.name) and good
        for standard in ("c++17", "c++20"):
            good = compiles(cxx, "c++", standard, path.name) and good
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
