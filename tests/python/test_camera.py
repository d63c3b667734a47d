"""Opening, controls, geometry, services, errors."""

import builtins
import os
import subprocess
import sys
import time

import orqcam
import pytest
from conftest import PATIENCE, QUICK, corner

MODELS = [entry.name for entry in orqcam.cameras(usb=False, virtual=True)]


@pytest.mark.parametrize("name", MODELS)
def test_every_model_opens_exposes_and_describes_itself(name):
    with orqcam.open(f"{name},{QUICK}") as camera:
        info = camera.info
        assert camera.region == (0, 0, info.sensor_width, info.sensor_height)
        corner(camera)
        frame = camera.expose(0.005, timeout=PATIENCE)
        assert frame.array.shape[:2] == camera.region[:1:-1]
        for attribute, value in camera.controls.items():
            assert getattr(camera, attribute).min == value.min <= value.max
            if value.writable and not value.auto and attribute not in ("hub_reset", "exposure_us"):
                setattr(camera, attribute, value.min)
                assert getattr(camera, attribute) == value.min, attribute


def test_a_control_is_a_number_that_knows_its_limits(camera):
    camera.gain = 42
    assert camera.gain == 42 and camera.gain + 1 == 43
    assert camera.gain.min == 0 and camera.gain.step == 1 and not camera.gain.auto
    camera.gain = "auto"
    assert camera.gain.auto
    with pytest.raises(orqcam.RangeError) as caught:
        camera.gain = camera.gain.max + 1
    assert isinstance(caught.value, ValueError) and caught.value.status == -11 and str(caught.value)
    with pytest.raises(orqcam.UnsupportedError):
        camera.cooler_on = 1
    with pytest.raises(ValueError):
        camera.gain = "more"


def test_the_geometry_is_set_and_read(camera):
    camera.region = None
    whole = camera.region
    camera.bin = 2
    assert camera.bin == 2
    assert camera.region[2:] == (whole.width // 2, whole.height // 2)
    camera.bin = 1
    assert camera.region[2:] == whole[2:]
    camera.format = "raw16"
    assert camera.format == "raw16"
    with pytest.raises(ValueError):
        camera.format = "jpeg"


def test_the_cooler_cools_and_warms():
    with orqcam.open("virtual:x26m,timescale=0.001") as camera:
        camera.cool(10)
        camera.await_cold(PATIENCE * 2)
        assert camera.cooler.on and camera.cooler.sensor_c == pytest.approx(10, abs=0.5)
        assert camera.temperature.unit == "C" and camera.supply_voltage == pytest.approx(12, abs=0.1)
        camera.warm_up(PATIENCE * 2)
        assert not camera.cooler.on


def test_a_dark_is_taken_and_used(tmp_path):
    with orqcam.open("virtual:h53m,timescale=0.01,scene=dark") as camera:
        corner(camera)
        camera.exposure_us = 20_000
        dark = camera.take_dark(tmp_path / "dark.bmp", frames=2)
        assert dark.frames == 2 and dark.exposure_us == 20_000
        camera.use_dark(tmp_path / "dark.bmp")
        assert camera.expose(timeout=PATIENCE).info.corrections == 1
        camera.use_dark(None)
        assert camera.expose(timeout=PATIENCE).info.corrections == 0


def test_triggers_guide_pulses_and_automatic_control(camera):
    assert "software" in camera.trigger_modes
    camera.guide("north", 5)
    camera.trigger_mode = "software"
    assert camera.trigger_mode == "software"
    with camera.video(timeout=PATIENCE) as video:
        camera.trigger()
        assert next(video).array.shape == (64, 64)
    camera.trigger_mode = "free"
    with pytest.raises(orqcam.StateError):
        camera.await_settled(1)
    camera.gain = "auto"
    with camera.video():
        with pytest.raises(orqcam.TimeoutError):
            camera.await_settled(0)


def test_errors_are_the_builtin_ones_too(camera):
    with pytest.raises(builtins.TimeoutError):
        camera.exposure_us = 60_000_000
        camera.expose(60, timeout=0.1)
    camera.close()
    with pytest.raises(orqcam.StateError):
        camera.expose(0.01)
    camera.close()
    with pytest.raises(LookupError):
        orqcam.open("serial:0000000000000000")
    with pytest.raises(orqcam.InvalidError):
        orqcam.open("virtual:k1c", settings="sometimes")


def test_a_loss_is_told_of_and_mended(camera):
    camera.unplug()
    end = time.monotonic() + PATIENCE
    kinds = []
    while "returned" not in kinds and time.monotonic() < end:
        event = camera.next_event()
        if event is None:
            time.sleep(0.01)
            continue
        kinds.append(event.kind)
        if event.kind == "lost":
            with pytest.raises(ConnectionError):
                camera.expose(0.01)
            camera.replug()
    assert kinds == ["lost", "returned"]
    camera.reopen()
    assert camera.expose(0.01, timeout=PATIENCE).array.shape == (64, 64)


def test_faults_become_errors():
    with orqcam.open(f"virtual:k1c,{QUICK},short@1") as camera:
        corner(camera)
        with pytest.raises(orqcam.RefusedError, match="too short"):
            camera.expose(0.01, timeout=PATIENCE)


def test_settings_are_kept_where_they_are_wanted(tmp_path):
    for wanted in ("keep", "load"):
        with orqcam.open(f"virtual:k1c,{QUICK}", settings=wanted, settings_folder=tmp_path) as camera:
            corner(camera)
            if wanted == "load":
                assert camera.gain == 33
            camera.gain = 33
            with camera.video(timeout=PATIENCE) as video:
                next(video)


def run(program):
    return subprocess.run([sys.executable, "-c", "import orqcam\n" + program], text=True, capture_output=True, timeout=60,
                          check=False)


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
    # The pool's threads still run at the end, at which a sanitizer that looks for leaks itself crashes.
    environment = dict(os.environ, ASAN_OPTIONS=os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0")
    done = subprocess.run([sys.executable, "program.py"], cwd=tmp_path, text=True, capture_output=True, timeout=60, check=False,
                          env=environment)
    assert (done.returncode, done.stderr) == (0, "")


@pytest.mark.parametrize("held", ["camera = orqcam.open('virtual:k1c')",
                                  "video = orqcam.open('virtual:k1c').video()",
                                  "frame = orqcam.open('virtual:k1c').expose(0.01)",
                                  "import threading\ncamera = orqcam.open('virtual:k1c')\ncamera.start = camera.video()\n"
                                  "threading.Thread(target=lambda: list(camera.start), daemon=True).start()"])
def test_the_interpreter_ends_quietly_whatever_is_open(held):
    done = run(held)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_a_forked_child_is_told():
    done = run("""
import os
camera = orqcam.open("virtual:k1c")
child = os.fork()
if child == 0:
    try:
        camera.expose(0.01)
    except orqcam.StateError as error:
        os._exit(7 if "fork" in str(error) else 1)
    os._exit(0)
assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 7
camera.expose(0.01)
""")
    assert (done.returncode, done.stderr) == (0, "")


def test_ctrl_c_ends_a_wait():
    done = run("""
import os, signal, threading, time
camera = orqcam.open("virtual:k1c")
for wait in (lambda: camera.expose(60), lambda: list(camera.video()), lambda: camera.guide("west", 60000)):
    camera.exposure_us = 60_000_000
    threading.Timer(0.3, lambda: os.kill(os.getpid(), signal.SIGINT)).start()
    begin = time.monotonic()
    try:
        wait()
    except KeyboardInterrupt:
        print("ended", time.monotonic() - begin < 20)
""")
    assert (done.stdout, done.stderr) == ("ended True\n" * 3, "")
