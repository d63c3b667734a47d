"""docs/python.md: its programs are those in faces/python/examples, which run and make its pictures."""

import ast
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(os.environ["ORQ_ROOT"])
PAGE = (ROOT / "docs/python.md").read_text(encoding="utf-8")
EXAMPLES = sorted((ROOT / "faces/python/examples").glob("*.py"))
BLOCKS = re.findall(r"^```python\n(.*?)^```$", PAGE, flags=re.MULTILINE | re.DOTALL)


def test_the_page_has_every_example_and_every_picture():
    assert len(EXAMPLES) >= 5
    for example in EXAMPLES:
        assert example.read_text(encoding="utf-8") in BLOCKS, f"{example.name} is not on the page as it is"
    for picture in re.findall(r"!\[[^]]*\]\(([^)]+)\)", PAGE):
        assert (ROOT / "docs" / picture).is_file(), picture


def test_the_other_programs_are_programs():
    for block in BLOCKS:
        ast.parse(block)


# Short programs of the page, one after the other as a reader tries them.
def test_the_short_programs_run(tmp_path):
    texts = {example.read_text(encoding="utf-8") for example in EXAMPLES}
    program = "import orqcam\n" + "".join(block for block in BLOCKS if block not in texts)
    run(program, tmp_path)


@pytest.mark.parametrize("example", EXAMPLES, ids=lambda path: path.stem)
def test_an_example_runs_and_makes_its_picture(example, tmp_path):
    pytest.importorskip("matplotlib")
    printed = run(example.read_text(encoding="utf-8"), tmp_path)
    picture = f"{example.stem.replace('_', '-')}.png"
    assert (tmp_path / picture).stat().st_size > 1000
    assert f"(python/{picture})" in PAGE
    if example.stem == "photon_transfer":
        gain, told = map(float, re.match(r"([\d.]+) electrons per unit \(the camera says ([\d.]+)\)", printed).groups())
        assert gain == pytest.approx(told, rel=0.1)
    if example.stem == "occultation":
        found = re.findall(r"(?:out|back) 2030-01-01T00:00:([\d.]+) \+- ([\d.]+) ms", printed)
        assert "occult=2030-01-01T00:00:04.5043/800ms" in example.read_text(encoding="utf-8")
        for (seconds, uncertainty), instant in zip(found, (4.5043, 5.3043), strict=True):
            assert float(uncertainty) < 200  # a busy computer may lose frames; it knows which
            assert abs(float(seconds) - instant) < 2e-3 + float(uncertainty) / 1e3
    if example.stem == "focus_curve":
        check_focus(printed, 537)
        assert "focus=537" in example.read_text(encoding="utf-8")


def check_focus(printed, wanted):
    best, uncertainty, radius = map(float, re.match(
        r"best position ([\d.]+) \+- ([\d.]+), half-flux radius there ([\d.]+) px$", printed).groups())
    assert abs(best - wanted) < 5  # steps, of which each makes stars wider by 0.02 pixels far from there
    assert 0 < uncertainty < 5
    assert 1.25 <= radius < 1.6  # stars that are 2.5 pixels wide, on pixels


def test_the_focus_curve_follows_the_camera(tmp_path):
    pytest.importorskip("matplotlib")
    program = (ROOT / "faces/python/examples/focus_curve.py").read_text(encoding="utf-8")
    check_focus(run(program, tmp_path, "virtual:h53m,timescale=0.01,focus=733"), 733)
    for camera, reason in (("focus=100", "The stars are not sharpest between 300 and 900; try other positions.\n"),
                           ("scene=flat", "Stars are seen at 0 positions, at least 4 are needed; expose longer, "
                                          "or raise the gain.\n")):
        run(program, tmp_path, f"virtual:h53m,timescale=0.01,{camera}", ends=(1, reason))


def run(program, folder, *arguments, ends=(0, "")):
    environment = dict(os.environ, MPLBACKEND="Agg", MPLCONFIGDIR=str(folder / "mpl"), HOME=str(folder))
    done = subprocess.run([sys.executable, "-c", program, *arguments], cwd=folder, env=environment, text=True, capture_output=True,
                          timeout=100, check=False)
    assert (done.returncode, done.stderr) == ends
    return done.stdout
