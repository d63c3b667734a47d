"""The package's type hints say what there is, and what is written by them is well typed."""

import ast
import importlib.util
import inspect
import re
import subprocess
import sys
from pathlib import Path

import orqcam
import pytest

HINTS = Path(orqcam.__file__).with_name("__init__.pyi")
PROGRAM = """
import orqcam
with orqcam.open("virtual:k1c", settings="load") as camera:
    camera.gain = 40
    camera.exposure_us = "auto"
    highest: float = camera.gain.max
    frame: orqcam.Frame = camera.expose(0.5)
    mean: float = float(frame.array.mean())
    width: float = frame.stars((0, 0, 640, 480)).fwhm
    for each in camera.video(reader="every", timeout=5.0):
        each.save("x.fits", overwrite=True)
"""


def public(members):
    return {name for name in members if not name.startswith("_")}


def inherited(kind):
    """What the package itself gives a class by its bases."""
    return {name for base in kind.__mro__ if base.__module__.startswith("orqcam.") for name in vars(base)}


CLASSES = {name: kind for name, kind in vars(orqcam).items() if isinstance(kind, type) and not name.startswith("_")
           and not issubclass(kind, (Exception, tuple, int, float))}


def test_hints_name_what_there_is():
    hinted = {node.name: node for node in ast.parse(HINTS.read_text(encoding="utf-8")).body
              if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
    for name in public(orqcam.__all__) - {"AUTO"}:
        assert name in hinted, name
    for name, kind in CLASSES.items():
        told = public(node.target.id if isinstance(node, ast.AnnAssign) else node.name for node in hinted[name].body)
        assert public(vars(kind)) | public(inherited(kind)) == told, name


def test_controls_are_of_the_kind_that_is_hinted():
    body = next(node.body for node in ast.parse(HINTS.read_text(encoding="utf-8")).body
                if isinstance(node, ast.ClassDef) and node.name == "Camera")
    hinted = {node.target.id: node.annotation.id for node in body if isinstance(node, ast.AnnAssign)}
    seen = set()
    for entry in orqcam.cameras(usb=False, virtual=True):
        with orqcam.open(entry.name) as camera:
            for name, value in camera.controls.items():
                assert "_" + type(value).__name__ == hinted[name], (entry.name, name)
                seen.add(hinted[name])
    assert seen == {"_IntControl", "_FloatControl"}


def test_everything_has_a_docstring():
    for name in public(orqcam.__all__) - {"AUTO"}:
        assert inspect.getdoc(getattr(orqcam, name)), name
    assert len(CLASSES) > 20
    for name, kind in CLASSES.items():
        for field in public(dir(kind)):
            # What a struct's field means is said where all of them are.
            assert inspect.getdoc(getattr(kind, field)) or re.search(rf"\b{field}\b", kind.__doc__), f"{name}.{field}"


@pytest.fixture(name="cache", scope="module")
def make_cache(tmp_path_factory):
    """What NumPy's hints come to takes mypy most of its time."""
    return tmp_path_factory.mktemp("mypy")


@pytest.mark.skipif(importlib.util.find_spec("mypy") is None, reason="needs mypy")
@pytest.mark.parametrize("program, ends", [(PROGRAM, 0), (PROGRAM.replace("= 40", "= []"), 1)], ids=["good", "bad"])
def test_a_program_is_checked_by_its_types(program, ends, tmp_path, cache):
    (tmp_path / "program.py").write_text(program, encoding="utf-8")
    # Where it is installed, mypy finds it by itself, and takes no other word for it.
    places = {} if "site-packages" in HINTS.parts else {"MYPYPATH": str(HINTS.parent.parent)}
    done = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--cache-dir", str(cache), "program.py"],
                          cwd=tmp_path, env=places | {"PATH": "/usr/bin:/bin"}, text=True,
                          capture_output=True, timeout=100, check=False)
    assert done.returncode == ends, done.stdout + done.stderr
