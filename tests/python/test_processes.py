"""Processes: their end, whatever is open, forks, spawned ones, signals."""

import os
import subprocess
import sys

import pytest


# For programs at whose end a sanitizer that looks for leaks finds what is nobody's fault, or itself crashes.
NO_LEAKS = dict(os.environ, ASAN_OPTIONS=os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0")


def run(program, environment=None):
    return subprocess.run([sys.executable, "-c", "import orqcam\n" + program], text=True, capture_output=True, timeout=100,
                          check=False, env=environment)


def test_processes_that_are_spawned_have_cameras_of_their_own(tmp_path):
    (tmp_path / "program.py").write_text("""
import multiprocessing, orqcam
def mean(name):
    with orqcam.open(name) as camera:
        return float(camera.expose(0.01).array.mean())
if __name__ == "__main__":
    here = mean("virtual:k1c,timescale=0.01,seed=3")
    with multiprocessing.get_context("spawn").Pool(1) as pool:
        assert pool.map(mean, ["virtual:k1c,timescale=0.01,seed=3"]) == [here]
""", encoding="utf-8")
    # The pool's threads still run at the end.
    done = subprocess.run([sys.executable, "program.py"], cwd=tmp_path, text=True, capture_output=True, timeout=60, check=False,
                          env=NO_LEAKS)
    assert (done.returncode, done.stderr) == (0, "")


@pytest.mark.parametrize("held", ["camera = orqcam.open('virtual:k1c')",
                                  "video = orqcam.open('virtual:k1c').video()",
                                  "frame = orqcam.open('virtual:k1c').expose(0.01)",
                                  "import threading\nvideo = orqcam.open('virtual:k1c').video()\n"
                                  "threading.Thread(target=lambda: list(video), daemon=True).start()"])
def test_the_interpreter_ends_quietly_whatever_is_open(held):
    done = run(held)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_a_forked_child_is_told():
    done = run("""
import os
camera = orqcam.open("virtual:k1c")
video = camera.video()
frame = next(video)
for use in (lambda: camera.gain, lambda: next(video), lambda: list(video), lambda: frame.array, lambda: orqcam.open("virtual:k1m")):
    child = os.fork()
    if child == 0:
        try:
            use()
        except orqcam.StateError as error:
            os._exit(7 if "fork" in str(error) else 1)
        os._exit(0)
    print(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
child = os.fork()
if child == 0:
    raise SystemExit(8)  # the child's interpreter ends with what it has been born with
print(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
next(video)
""", NO_LEAKS)  # a child has its parent's camera, which it may not close
    assert (done.stdout, done.returncode, done.stderr) == ("7\n" * 5 + "8\n", 0, "")


INTERRUPTED = """
import os, signal, threading, time
camera = orqcam.open("virtual:k1c")
camera.exposure_us = 60_000_000

def interrupt():
    while not waits():
        time.sleep(0.01)
    time.sleep(PAUSE)
    os.kill(os.getpid(), signal.SIGINT)

begin = time.monotonic()
try:
    waits = lambda: WAITS
    threading.Thread(target=interrupt).start()
    WORK
except KeyboardInterrupt:
    print("ended", time.monotonic() - begin < 40)
camera.expose(0.01, timeout=30)  # nothing runs on
"""


# Each would take a minute by itself.
@pytest.mark.parametrize("work, waits", [("camera.expose(60)", "camera.progress.running"),
                                         ("list(camera.video())", "camera.progress.running"),
                                         ("asyncio.run(camera.expose_async(60))", "camera.progress.running"),
                                         ("camera.guide('west', 60000)", "True"),
                                         ("x = orqcam.open('virtual:x26m'); x.cool(-10); x.await_cold(60)", "True")],
                         ids=["expose", "video", "asyncio", "guide", "cooler"])
@pytest.mark.parametrize("pause", [0, 0.2], ids=["at once", "later"])
def test_ctrl_c_ends_a_wait(work, waits, pause):
    done = run("import asyncio\n" + INTERRUPTED.replace("WAITS", waits).replace("WORK", work).replace("PAUSE", str(pause)))
    assert (done.stdout, done.stderr) == ("ended True\n", "")
