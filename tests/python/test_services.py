"""What a camera does beside frames: focus, outputs, GPS lines, hot pixels, what its flash keeps, registers."""

import re
import struct
from pathlib import Path

import numpy
import orqcam
import pytest
from conftest import PATIENCE, QUICK, corner
from orqcam import expert
from orqcam._controls import CONTROLS

HEADER = (Path(__file__).resolve().parents[2] / "include/orqcam/orqcam.h").read_text(encoding="utf-8")


def test_the_lens_is_moved_and_stays_where_it_is():
    with orqcam.open(f"virtual:h53m,{QUICK}") as camera:
        assert camera.focus.position == 0
        camera.move_focus(600)
        assert camera.focus.position == 600 and not camera.focus.moving
        assert 0 < camera.focus.lower_mark < camera.focus.upper_mark < 1024
        with pytest.raises(orqcam.RangeError):
            camera.move_focus(1024)
        assert camera.focus.position == 600
    with orqcam.open(f"virtual:k1c,{QUICK}") as camera, pytest.raises(orqcam.UnsupportedError):
        camera.move_focus(1)


def test_the_outputs_have_pulses_of_their_own(camera):
    camera.set_trigger_output("a", 250, delay_us=30, active_high=False)
    camera.set_trigger_output("b", 0)
    pulse = camera.trigger_output("a")
    assert (pulse.active_high, pulse.delay_us, pulse.length_us) == (False, 30, 250)
    pulse = camera.trigger_output("b")
    assert (pulse.active_high, pulse.delay_us, pulse.length_us) == (True, 0, 0)
    with pytest.raises(orqcam.RangeError):
        camera.set_trigger_output("a", -1)
    with pytest.raises(orqcam.InvalidError, match="a, b"):
        camera.trigger_output("c")
    with orqcam.open(f"virtual:h53m,{QUICK}") as other, pytest.raises(orqcam.UnsupportedError):
        other.trigger_output("a")


def test_gps_lines_follow_the_region_until_they_are_set(camera):
    with pytest.raises(orqcam.UnsupportedError):
        camera.gps_lines
    with orqcam.open(f"virtual:t46c,{QUICK}") as timed:
        timed.format = "raw8"
        timed.region = (64, 128, 64, 32)
        assert timed.gps_lines == (128, 159)
        timed.gps_lines = (130, 150)
        timed.check_gps()
        told = timed.expose(0.01, timeout=PATIENCE).gps
        assert (told.start_line, told.end_line) == (130, 150)
        assert told.end_unix_ns - told.start_unix_ns == pytest.approx(10e6 * 0.01 + 20 * told.row_ns, abs=1e6)
        timed.region = (0, 0, 64, 32)
        assert timed.gps_lines == (130, 150)
        with pytest.raises(orqcam.StateError):
            timed.check_gps()
        timed.gps_lines = None
        assert timed.gps_lines == (0, 31)


def test_hot_pixels_are_stored_and_repaired(tmp_path):
    with orqcam.open("virtual:h53m,timescale=0.001,scene=dark,temp=30") as camera:
        with pytest.raises(orqcam.StateError):
            camera.repair_hot_pixels()
        camera.exposure_us = 5_000_000
        assert camera.take_dark(tmp_path / "dark.bmp", frames=2).hot_pixels > 10
        with pytest.raises(orqcam.NotFoundError):
            camera.hot_pixels
        found = camera.find_hot_pixels(frames=2)
        camera.save_hot_pixels(backup_folder=tmp_path / "backups")
        kept = camera.hot_pixels
        assert len(kept) == len(kept.pixels) == len(found) > 10
        assert kept.shape == (camera.info.sensor_height, camera.info.sensor_width)
        assert (kept.pixels == found.pixels).all() and kept.pixels.max(axis=0).tolist() < [kept.shape[1], kept.shape[0]]
        kept.save(tmp_path / "hot.csv")
        rows = (tmp_path / "hot.csv").read_text(encoding="ascii").splitlines()
        places = {tuple(map(int, row.split(",")[:2])) for row in rows[1:]}
        assert rows[0] == "x_px,y_px,value" and set(map(tuple, kept.pixels.tolist())) <= places
        with pytest.raises(orqcam.FileError):
            kept.save(tmp_path / "hot.csv")
        with pytest.raises(orqcam.InvalidError):
            kept.save(tmp_path / "hot.txt")
        assert len(list((tmp_path / "backups").iterdir())) == 1
        camera.format = "raw8"
        frames = []
        for repaired in (False, True):
            camera.repair_hot_pixels(repaired)
            assert camera.repairs_hot_pixels == repaired
            frame = camera.expose(5, timeout=PATIENCE)
            assert frame.info.corrections == (2 if repaired else 0)
            frames.append(frame.array)
        before, after = (numpy.count_nonzero(array > 80) for array in frames)  # the noise ends far below
    assert before > 100 and after < before / 20


def test_a_camera_keeps_its_name_and_gets_its_flash_back(tmp_path):
    name = f"virtual:k1c,{QUICK},state={tmp_path}/camera.state"
    with orqcam.open(name) as camera:
        assert camera.user_id == ""
        camera.set_user_id("guider", backup_folder=tmp_path / "backups")
        camera.save_flash(tmp_path / "kept.orqflash")
    with orqcam.open(name) as camera:
        assert camera.user_id == camera.info.user_id == "guider"
        camera.set_user_id("", backup_folder=tmp_path / "backups")
        assert camera.user_id == ""
        camera.restore_flash(tmp_path / "kept.orqflash", backup_folder=tmp_path / "backups")
        assert camera.user_id == "guider"
        with pytest.raises(orqcam.InvalidError):
            camera.set_user_id("ninechars", backup_folder=tmp_path / "backups")
        with pytest.raises(orqcam.FileError):
            camera.save_flash(tmp_path / "kept.orqflash")
        camera.save_flash(tmp_path / "kept.orqflash", overwrite=True)
        assert re.fullmatch("[0-9a-f]+", camera.sensor_id)
    with orqcam.open(f"virtual:k1m,{QUICK}") as other, pytest.raises(orqcam.InvalidError):
        other.restore_flash(tmp_path / "kept.orqflash", backup_folder=tmp_path / "backups")
    assert len(list((tmp_path / "backups").iterdir())) >= 3


def test_a_video_is_recorded_whole(camera, tmp_path):
    camera.region = (0, 0, 64, 48)
    with camera.video(timeout=PATIENCE) as video:
        with camera.record(tmp_path / "a.ser", frames=20) as recording:
            recording.wait(PATIENCE)
        assert (recording.end, recording.state.frames, recording.state.trouble) == ("frames", 20, "")
        with pytest.raises(orqcam.FileError):
            camera.record(tmp_path / "a.ser")
        with camera.record(tmp_path / "b.ser") as recording:
            with pytest.raises(orqcam.TimeoutError):
                recording.wait(0.01)
            assert recording.end is None and next(video)
        assert recording.end == "stopped"
    content = (tmp_path / "a.ser").read_bytes()
    width, height, depth, frames = struct.unpack_from("<4i", content, 26)
    assert (content[:14], width, height, depth, frames) == (b"LUCAM-RECORDER", 64, 48, 8, 20)
    assert len(content) == 178 + 20 * (64 * 48 + 8)
    assert (tmp_path / "a.ser.txt").is_file()


def test_engineers_read_and_write_registers(camera):
    expert.write_register(camera, "sensor", 0x300, 0xA5)
    assert expert.read_register(camera, "sensor", 0x300) == 0xA5
    assert expert.request_in(camera, 0xD2, value=0x300, size=1) == b"\xa5"
    expert.request_out(camera, 0xD3, value=0x300, index=0x5A)
    assert expert.read_register(camera, "sensor", 0x300) == 0x5A
    version = expert.request_in(camera, 0xD4, size=4)
    assert camera.info.firmware == ".".join(str(byte) for byte in version[:3])
    with pytest.raises(orqcam.RefusedError):
        expert.request_in(camera, 0xEE, size=1)
    with pytest.raises(orqcam.RangeError):
        expert.read_register(camera, "fpga", 65536)
    with pytest.raises(orqcam.RangeError):
        expert.request_in(camera, 0xD4, size=4097)
    with pytest.raises(orqcam.InvalidError, match="fpga, sensor"):
        expert.read_register(camera, "cooler", 0)


def test_every_control_is_an_attribute():
    there = {int(number) for number in re.findall(r"ORQ_CONTROL_\w+ = (\d+)", HEADER)}
    assert len(there) >= 30 and {number for _, number, _ in CONTROLS} == there
    with orqcam.open(f"virtual:d6m,{QUICK}") as camera:
        camera.readout_mode = 1
        assert camera.readout_mode == 1 == camera.readout_mode.max and camera.readout_mode.description
        assert corner(camera).expose(0.01, timeout=PATIENCE).info.readout_mode == 1


def test_every_status_has_its_exception():
    there = {name.replace("_", "").lower(): int(number)
             for name, number in re.findall(r"ORQ_ERROR_(\w+) = (-\d+)", HEADER)}
    classes = {kind.__name__.removesuffix("Error").lower(): kind.status for kind in vars(orqcam).values()
               if isinstance(kind, type) and issubclass(kind, orqcam.Error) and kind is not orqcam.Error}
    assert len(there) >= 14 and classes == there


def test_recordings_take_every_form_and_tell_their_gaps(tmp_path):
    with orqcam.open(f"virtual:k1m,{QUICK},drop=0.2,seed=4") as camera:
        camera.format = "raw16"
        camera.region = (0, 0, 64, 48)
        plan = camera.plan_recording(tmp_path / "a.fits", ring_mb=1)
        assert (plan.file, plan.frame_bytes, plan.ring_frames) == (str(tmp_path / "a.fits"), 64 * 48 * 2, 2**20 // (64 * 48 * 2))
        assert plan.free_frames < plan.free_bytes // plan.frame_bytes
        with camera.video(timeout=PATIENCE), camera.record(tmp_path / "a.fits", frames=30) as cube:
            with camera.record(tmp_path / "b", frames=4, form="folder") as folder:
                cube.wait(PATIENCE)
                folder.wait(PATIENCE)
        gaps = cube.missing
        assert gaps and {gap.cause for gap in gaps} == {"camera"}
        assert sum(gap.last - gap.first + 1 for gap in gaps) == cube.state.lost
        with pytest.raises(orqcam.InvalidError):
            camera.record(tmp_path / "c.ser", form="cube")
        with pytest.raises(orqcam.InvalidError):
            camera.plan_recording(tmp_path / "c.ser", form="tape")
    assert sorted(path.name for path in (tmp_path / "b").iterdir()) == [f"00000{i}.fits" for i in range(1, 5)]
    assert b"NAXIS3  =                   30" in (tmp_path / "a.fits").read_bytes()[:2880]


def test_ser_files_are_looked_at_mended_and_taken_apart(camera, tmp_path):
    with camera.video(timeout=PATIENCE), camera.record(tmp_path / "a.ser", frames=10) as recording:
        recording.wait(PATIENCE)
    info = orqcam.ser_info(tmp_path / "a.ser")
    assert (info.colour, info.width, info.height, info.depth, info.frames, info.whole) == ("RGGB", 64, 64, 8, 10, True)
    assert info.first_unix_ns == recording.state.first_unix_ns and info.trouble == ""
    assert orqcam.ser_repair(tmp_path / "a.ser") == (False, 10, 10)
    with (tmp_path / "a.ser").open("r+b") as file:
        file.truncate(178 + 3 * 64 * 64 + 1)
    assert not orqcam.ser_info(tmp_path / "a.ser").whole
    assert orqcam.ser_repair(tmp_path / "a.ser") == orqcam.SerRepaired(changed=True, frames=3, timed=3)
    assert orqcam.ser_extract(tmp_path / "a.ser", 3, tmp_path / "{n:02}.png") == str(tmp_path / "03.png")
    with pytest.raises(orqcam.RangeError):
        orqcam.ser_extract(tmp_path / "a.ser", 4, tmp_path / "x.png")
    with pytest.raises(orqcam.FileError):
        orqcam.ser_info(tmp_path / "03.png")


def test_gains_have_a_meaning():
    with orqcam.open(f"virtual:k1m,{QUICK}") as camera:
        unity = camera.gain_preset("unity")
        assert unity.electrons_per_adu == pytest.approx(1, rel=0.05)
        camera.gain = unity.gain
        assert camera.gain == unity.gain
        assert camera.gain_preset("lowest-noise").electrons_per_adu < 1 < camera.gain_preset("largest-range").electrons_per_adu
        assert camera.gain_preset("largest-range").most_electrons > unity.most_electrons
        with pytest.raises(orqcam.InvalidError):
            camera.gain_preset("best")
