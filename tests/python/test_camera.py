"""Opening, controls, geometry, services, errors."""

import asyncio
import builtins
import time

import orqcam
import pytest
from conftest import PATIENCE, QUICK, corner

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
    with pytest.raises(AttributeError, match="a camera has no 'exposure' to set: did you mean 'exposure_us'"):
        camera.exposure = 0.5


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
    with pytest.raises(TypeError, match="x must be a whole number, not 1.5"):
        camera.region = (1.5, 0, 64, 64)
    with pytest.raises(TypeError, match="milliseconds must be a whole number"):
        camera.guide("north", 2.5)
    before, wanted = camera.region, camera.fit((3, 5, 61, 47))
    assert wanted != (3, 5, 61, 47) and camera.region == before
    camera.region = (3, 5, 61, 47)
    assert camera.region == wanted
    steps = camera.info
    assert not any(value % step for value, step in zip(wanted, (steps.start_x_step, steps.start_y_step, steps.width_step,
                                                                steps.height_step)))


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
    with pytest.raises(builtins.TimeoutError, match="no frame came within 0.1 s, and the exposure was ended"):
        camera.expose(60, timeout=0.1)
    with pytest.raises(orqcam.TimeoutError, match="no frame came within 0.1 s, and the exposure was ended"):
        asyncio.run(camera.expose_async(60, timeout=0.1))
    camera.expose(0.01, timeout=PATIENCE)  # nothing runs on
    camera.close()
    with pytest.raises(orqcam.StateError):
        camera.expose(0.01)
    camera.close()
    with pytest.raises(LookupError):
        orqcam.open("serial:0000000000000000")
    with pytest.raises(LookupError):
        orqcam.open(99)
    with pytest.raises(TypeError, match="an index must be a whole number"):
        orqcam.open(None)
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


def test_a_video_goes_on_after_a_loss():
    with orqcam.open(f"virtual:k1c,{QUICK}", resume=True) as camera:
        corner(camera)
        with camera.video(reader="every", timeout=PATIENCE) as video:
            before = next(video)
            camera.unplug()
            with pytest.raises(orqcam.LostError):
                list(video)
            camera.replug()
            end = time.monotonic() + PATIENCE
            while (event := camera.next_event()) is None or event.kind != "returned":
                assert time.monotonic() < end
                time.sleep(0.01)
            frames = [frame for frame, _ in zip(video, range(3))]
    assert [frame.info.after_gap for frame in (before, *frames)] == [False, True, False, False]


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
