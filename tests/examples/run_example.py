#!/usr/bin/env python3
"""Runs a program in a folder of its own and looks for lines in what it prints.

    run_example.py LINE... -- COMMAND...

LINEs are regular expressions, found in lines of its standard output in this order, while standard error stays empty and
the program succeeds. One LINE that begins with "!" is to be its one line on standard error, and the program fails.
"""

import os
import re
import subprocess
import sys
import tempfile


def trouble_with(done, lines):
    """What is not as it should be; empty: nothing."""
    if lines[0].startswith("!"):
        if done.returncode != 1 or done.stdout or done.stderr.count("\n") != 1:
            return "it does not fail with one line"
        return "" if re.search(lines[0][1:], done.stderr) else f"it does not say {lines[0][1:]}"
    if done.returncode != 0 or done.stderr:
        return f"it ends with {done.returncode}"
    printed = iter(done.stdout.splitlines())
    for line in lines:
        if not any(re.search(line, each) for each in printed):
            return f"it does not print {line}, or not in this order"
    return ""


def main():
    middle = sys.argv.index("--")
    lines, command = sys.argv[1:middle], sys.argv[middle + 1:]
    with tempfile.TemporaryDirectory(prefix="orqcam-example-") as folder:
        environment = dict(os.environ, XDG_STATE_HOME=folder, XDG_CONFIG_HOME=folder)
        done = subprocess.run(command, cwd=folder, env=environment, text=True, capture_output=True, timeout=100,
                              stdin=subprocess.DEVNULL, check=False)
    print(done.stdout, done.stderr, sep="")
    trouble = trouble_with(done, lines)
    if trouble:
        sys.exit(f"{' '.join(command)}: {trouble}")


if __name__ == "__main__":
    main()
