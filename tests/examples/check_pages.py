#!/usr/bin/env python3
"""Runs the commands of the examples' pages as they stand there, and compares what the first one prints.

    check_pages.py SOURCE BUILT_EXAMPLES LIBRARY_FOLDER

Every example is to have a page that runs it. The lines of a page's `text` block are to be printed in their order; numbers
may differ.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

NUMBER = re.compile(r"\d+(\.\d+)?")


def blocks(page, language):
    found = re.findall(rf"^```{language}\n(.*?)^```$", page, flags=re.MULTILINE | re.DOTALL)
    return [line for block in found for line in block.splitlines()]


def missing_line(expected, printed):
    """The first expected line that is not printed after the ones before it; none: empty."""
    lines = iter(printed)
    for line in expected:
        pattern = "".join(r"\d+(\.\d+)?" if NUMBER.fullmatch(part) else re.escape(part)
                          for part in re.split(r"(\d+(?:\.\d+)?)", line))
        if not any(re.fullmatch(pattern, each) for each in lines):
            return line
    return ""


def run_page(path, work, environment):
    page = path.read_text(encoding="utf-8")
    for number, command in enumerate(blocks(page, "sh")):
        done = subprocess.run(["sh", "-c", command], cwd=work, env=environment, text=True, capture_output=True, timeout=60,
                              stdin=subprocess.DEVNULL, check=False)
        if done.returncode != 0 or done.stderr:
            return f"{command}: ends with {done.returncode}\n{done.stderr}"
        line = missing_line(blocks(page, "text"), done.stdout.splitlines()) if number == 0 else ""
        if line:
            return f"{command}: does not print '{line}', or not in this order:\n{done.stdout}"
    return ""


def main():
    source, built, library = map(Path, sys.argv[1:])
    pages = [page for page in sorted((source / "docs/examples").glob("*.md")) if page.name != "README.md"]
    troubles = []
    with tempfile.TemporaryDirectory(prefix="orqcam-pages-") as folder:
        (Path(folder) / "build").mkdir()
        os.symlink(built, Path(folder) / "build/examples")
        os.symlink(source / "examples", Path(folder) / "examples")
        environment = dict(os.environ, XDG_STATE_HOME=folder, XDG_CONFIG_HOME=folder, LD_LIBRARY_PATH=str(library))
        for page in pages:
            trouble = run_page(page, folder, environment)
            if trouble:
                troubles.append(f"{page.name}: {trouble}")
    shown = "".join(page.read_text(encoding="utf-8") for page in pages)
    index = (source / "docs/examples/README.md").read_text(encoding="utf-8")
    troubles += [f"{page.name} is not in the index" for page in pages if f"({page.name})" not in index]
    for example in sorted(source.glob("examples/c*/*.c*")) + sorted(source.glob("examples/python/*.py")):
        if example.name not in ("CMakeLists.txt", "orq.py") and f"/{example.relative_to(source)})" not in shown:
            troubles.append(f"no page has {example.relative_to(source)}")
    print(f"{len(pages)} pages", *troubles, sep="\n")
    return 1 if troubles or not pages else 0


if __name__ == "__main__":
    sys.exit(main())
