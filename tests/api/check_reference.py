#!/usr/bin/env python3
"""Makes the reference of the public headers: without a warning, and with words about every function and struct of C.

    check_reference.py DOXYGEN    DOXYGEN may be missing: then it is skipped (77)
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
WORDLESS = re.compile(r"orqcam(-expert)?\.h:\d+: warning: (Compound .*|Member .* \(function\) .*) is not documented")


def warnings(doxygen, more):
    """What the generator says with docs/Doxyfile and more of its settings, and whether it is content."""
    with tempfile.TemporaryDirectory(prefix="orqcam-reference-") as folder:
        settings = f"@INCLUDE = docs/Doxyfile\nOUTPUT_DIRECTORY = {folder}\n{more}\n"
        done = subprocess.run([doxygen, "-"], cwd=ROOT, input=settings, text=True, capture_output=True, check=False)
        made = (Path(folder) / "reference" / "index.html").exists()
    return done.stderr.splitlines(), done.returncode == 0 and made


def main():
    if not Path(sys.argv[1]).is_file():
        print("skipped: doxygen is not installed")
        sys.exit(77)
    said, content = warnings(sys.argv[1], "")
    if said or not content:
        sys.exit("\n".join(said) or "there is no reference")
    every, _ = warnings(sys.argv[1], "EXTRACT_ALL = NO\nGENERATE_XML = YES\nWARN_AS_ERROR = NO")
    if not any("is not documented" in line for line in every):
        sys.exit("it does not tell what has no words")
    wordless = [line for line in every if WORDLESS.search(line)]
    if wordless:
        sys.exit("\n".join(wordless))


if __name__ == "__main__":
    main()
