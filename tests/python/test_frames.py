"""Frames: views, lifetimes, time, header, files."""

import datetime
import gc
import os
import sys
import time
import weakref

import numpy
import orqcam
import pytest
from astropy.io import fits
from conftest import PATIENCE, QUICK, corner


def same(value):
    """Files have so many digits as mean something."""
    return pytest.approx(value, rel=1e-6) if isinstance(value, float) else value


@pytest.mark.parametrize("pixels, shape, kind", [("raw8", (48, 64), numpy.uint8), ("raw16", (48, 64), numpy.uint16),
                                                 ("rgb24", (48, 64, 3), numpy.uint8), ("y8", (48, 64), numpy.uint8)])
def test_an_array_is_the_frame_itself(camera, pixels, shape, kind):
    camera.format = pixels
    camera.region = (0, 0, 64, 48)
    frame = camera.expose(0.01, timeout=PATIENCE)
    array = frame.array
    assert array.shape == shape and array.dtype == kind
    first = frame.address + (2 if pixels == "rgb24" else 0)  # red stands last
    assert array.__array_interface__["data"] == (first, True)
    assert frame.__array_interface__["data"][0] == first
    assert not array.flags.writeable
    with pytest.raises(ValueError):
        array[0, 0] = 1
    assert numpy.array_equal(numpy.asarray(memoryview(frame)), array)


def test_a_held_frame_keeps_its_pixels_and_outlives_its_camera():
    with orqcam.open(f"virtual:k1c,{QUICK}") as camera:
        corner(camera)
        kept = camera.expose(0.01, timeout=PATIENCE).array
        before = kept.copy()
        for _ in range(20):
            camera.expose(0.01, timeout=PATIENCE)
    del camera
    gc.collect()
    assert numpy.array_equal(kept, before)


def test_a_dropped_frame_gives_its_memory_back_at_once():
    with orqcam.open(f"virtual:k1c,{QUICK}", frame_memory_mb=1) as camera:
        corner(camera, 512)
        held = [camera.expose(0.01, timeout=PATIENCE).array for _ in range(3)]  # a megabyte has room for no more
        with pytest.raises(orqcam.MemoryError):
            camera.expose(0.01, timeout=PATIENCE)
        held.pop()
        camera.expose(0.01, timeout=PATIENCE)


def test_ten_thousand_frames_leave_nothing_behind():
    def held():
        """Bytes of the process, blocks of the interpreter, and what refers to frames, arrays and nothing at all."""
        gc.collect()
        with open("/proc/self/statm", encoding="ascii") as file:
            resident = int(file.read().split()[1]) * 4096
        return numpy.array([resident, sys.getallocatedblocks(), *map(sys.getrefcount, (
            orqcam.Frame, numpy.ndarray, datetime.datetime, camera, video, None))])

    gone = []
    with orqcam.open("virtual:k1c,timescale=0,scene=flat") as camera:
        corner(camera, 16)
        with camera.video(timeout=PATIENCE) as video:
            for count, frame in zip(range(10_001), video):
                array, time_, info = frame.array, frame.time, frame.info
                if count % 100 == 0:
                    assert memoryview(frame).nbytes == array.size and frame.cards() and frame.statistics() and info
                    gone.append(weakref.ref(array))
                if count == 1000:
                    before = held()
            growth = held() - before
    del array, frame, time_, info
    assert all(reference() is None for reference in gone)
    # A sanitizer keeps what has been given back, to see who uses it still; it looks for leaks by itself.
    assert growth[0] < 4e6 or "ORQ_PYTHON_SANITIZED" in os.environ, "a leak of 500 bytes for each frame is more"
    assert (abs(growth[1:]) < 900).all(), "one block or reference for every tenth frame is more"


def test_a_large_frame_is_an_array_at_once():
    with orqcam.open("virtual:x26m,timescale=0.001") as camera:
        frame = camera.expose(0.01, timeout=PATIENCE)
        begin = time.perf_counter()
        array = frame.array
        took = time.perf_counter() - begin
        assert array.shape == (4176, 6248) and array.__array_interface__["data"][0] == frame.address
        assert took < 0.1, "as long as a copy takes"


def test_the_time_is_utc_and_now(camera):
    frame = camera.expose(0.01, timeout=PATIENCE)
    age = datetime.datetime.now(datetime.timezone.utc) - frame.time
    assert datetime.timedelta(0) < age < datetime.timedelta(minutes=1)
    assert frame.time.timestamp() == pytest.approx(frame.time_ns / 1e9, abs=1e-5)
    assert frame.time_source == "computer" and frame.time_uncertainty_ns > 0
    assert frame.exposure == 0.01


def test_gps_time_has_its_source():
    with orqcam.open(f"virtual:t46c,{QUICK},gpspos=-36.75/174.7/56") as camera:
        frame = corner(camera).expose(0.01, timeout=PATIENCE)
    assert frame.time_source == "gps"
    assert frame.gps.latitude == pytest.approx(-36.75, abs=1e-3)


def test_the_header_is_that_of_the_file(camera, tmp_path):
    camera.format = "raw16"
    camera.label(object="M 42", observer="Nobody")
    camera.keyword("TELESCOP=Newton 150/750 / its comment")
    frame = camera.expose(0.01, timeout=PATIENCE)
    header = frame.header
    assert header["OBJECT"] == "M 42" and header["EXPTIME"] == 0.01
    assert header["TELESCOP"] == "Newton 150/750" and header.comments["TELESCOP"] == "its comment"
    for name, image in (("a.fits", 0), ("a.fits.fz", 1)):
        assert frame.save(tmp_path / name) == str(tmp_path / name)
        with fits.open(tmp_path / name) as file:
            assert numpy.array_equal(file[image].data, frame.array)
            for card in header.cards:
                if card.keyword not in ("HISTORY", "COMMENT"):
                    assert file[image].header[card.keyword] == same(card.value), card.keyword
    with pytest.raises(orqcam.FileError):
        frame.save(tmp_path / "a.fits")
    frame.save(tmp_path / "a.fits", overwrite=True)
    assert frame.save(tmp_path / "{n:04}.png", number=7) == str(tmp_path / "0007.png")


def test_statistics_and_previews(camera):
    frame = camera.expose(0.01, timeout=PATIENCE)
    statistics = frame.statistics()
    assert statistics.mean == pytest.approx(frame.array.mean())
    assert statistics.maximum == frame.array.max()
    assert sum(statistics.histogram) == frame.array.size
    assert repr(statistics).startswith(f"Statistics(minimum={statistics.minimum}, maximum=")
    assert frame.preview().shape == (64, 64, 3)
    assert frame.preview(16, stretch=False).shape == (16, 16, 3)
