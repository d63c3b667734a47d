"""Small C programs on the shared library: built, and run with folders of their own."""

import os
import subprocess
from pathlib import Path

HERE = Path(__file__).resolve().parent
INCLUDE = HERE.parent.parent.parent / "include"


def build(name, library_folder, compiler, work):
    binary = Path(work) / name
    subprocess.run([compiler, "-std=gnu99", "-Wall", "-Wextra", "-Werror", f"-I{INCLUDE}",
                    HERE / f"{name}.c", "-o", binary, f"-L{library_folder}", "-lorqcam",
                    f"-Wl,-rpath,{library_folder}"], check=True)
    return binary


def run(words, work, **environment):
    """Nothing of the user's: settings, state and log go to `work`."""
    own = {"HOME": str(work), "XDG_CONFIG_HOME": str(work), "XDG_STATE_HOME": str(work)}
    return subprocess.run(words, env=os.environ | own | environment, timeout=100, capture_output=True,
                          check=False)
