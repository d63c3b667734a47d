"""The stars of a frame, measured again by other means: sums and moments over the frame's own pixels."""

import gc
import math
import sys
import threading
import time
import weakref

import numpy
import orqcam
import pytest
from conftest import PATIENCE, QUICK, corner

SKY = "virtual:h53m,timescale=0.01"
SHARP = 1.6  # pixels; the virtual sky's stars are 2.5 wide at half of their height, so half of their light is within 1.25


def expose(camera, seconds=2.0):
    return camera.expose(seconds, timeout=PATIENCE)


@pytest.fixture(name="sky", scope="module")
def open_sky():
    with orqcam.open(SKY) as camera:
        yield corner(camera, 800, "raw16")


@pytest.fixture(name="frame", scope="module")
def take_frame(sky):
    return expose(sky)


def test_stars_are_where_the_pixels_have_their_light(frame):
    found = frame.stars()
    table = found.table
    assert table.dtype.names == ("x", "y", "flux", "peak", "hfr", "fwhm", "saturated", "cut_off")
    assert 20 < found.count <= 500 and len(table) == found.count
    assert found.background == pytest.approx(numpy.median(frame.array), rel=0.01)
    compared = 0
    for star in table[:20]:
        x, y = round(star["x"]), round(star["y"])
        near = numpy.hypot(table["x"] - star["x"], table["y"] - star["y"]) < 25
        if star["saturated"] or near.sum() > 1 or not (12 <= x < 788 and 12 <= y < 788):
            continue
        rows, columns = numpy.mgrid[y - 8:y + 9, x - 8:x + 9]
        light = frame.array[rows, columns].astype(float) - numpy.median(frame.array[y - 12:y + 13, x - 12:x + 13])
        assert star["flux"] == pytest.approx(light.sum(), rel=0.1)
        assert star["x"] == pytest.approx((light * columns).sum() / light.sum(), abs=0.3)
        assert star["y"] == pytest.approx((light * rows).sum() / light.sum(), abs=0.3)
        assert star["peak"] == pytest.approx(light.max(), rel=0.1)
        # Half of the light is within the radius.
        distances = numpy.hypot(columns - star["x"], rows - star["y"]).ravel()
        order = numpy.argsort(distances)
        radius = numpy.interp(light.sum() / 2, numpy.cumsum(light.ravel()[order]), distances[order])
        assert star["hfr"] == pytest.approx(radius, abs=0.4)
        compared += 1
    assert compared >= 5


def test_the_whole_is_the_median_of_its_stars(frame):
    found = frame.stars()
    good = found.table[~found.table["saturated"] & ~found.table["cut_off"]]
    assert found.measured == len(good)
    assert found.hfr == pytest.approx(numpy.median(good["hfr"]))
    assert found.fwhm == pytest.approx(numpy.median(good["fwhm"]))
    assert "hfr" in repr(found) and f"{found.count} stars" in repr(found)


def test_stars_wide_of_the_focus_are_wider(sky, frame):
    sharp = frame.stars()
    assert 1.25 <= sharp.hfr < SHARP and 2.5 <= sharp.fwhm < 2 * SHARP
    sky.move_focus(200)  # sharpest at 0, 0.02 pixels for each step: sqrt(2.5² + 4²) = 4.7
    wide = expose(sky).stars()
    sky.move_focus(0)
    assert wide.fwhm / sharp.fwhm == pytest.approx(4.7 / 2.5, rel=0.1)
    assert wide.hfr > 1.5 * sharp.hfr


def test_full_pixels_are_counted(sky, frame):
    assert frame.stars().saturated == frame.stars().table["saturated"].sum()
    found = expose(sky, 60).stars()
    full = found.table[found.table["saturated"]]
    assert found.saturated == len(full) > frame.stars().saturated
    assert found.measured == (~found.table["saturated"] & ~found.table["cut_off"]).sum() < len(found.table) <= found.count
    assert (full["peak"] + found.background > 65_000).all()


def test_arcseconds_need_a_focal_length(sky, frame):
    unknown = frame.stars()
    assert all(math.isnan(value) for value in (unknown.arcsec_per_pixel, unknown.hfr_arcsec, unknown.fwhm_arcsec))
    sky.keyword("FOCALLEN=750")
    found = expose(sky).stars()
    sky.clear_keywords()
    assert found.arcsec_per_pixel == pytest.approx(206.265 * 3.4 / 750, rel=1e-4)  # pixels of 3.4 µm
    assert found.hfr_arcsec == pytest.approx(found.hfr * 0.93507, rel=1e-4)
    assert found.fwhm_arcsec == pytest.approx(found.fwhm * 0.93507, rel=1e-4)


@pytest.mark.parametrize("area", [(301, 203, 400, 300), numpy.array([301, 203, 400, 300])], ids=["tuple", "array"])
def test_an_area_has_the_stars_of_its_place(frame, area):
    table = frame.stars(area).table
    every = frame.stars().table
    inside = (every["x"] > 310) & (every["x"] < 690) & (every["y"] > 212) & (every["y"] < 493)
    assert ((table["x"] >= 301) & (table["x"] < 701) & (table["y"] >= 203) & (table["y"] < 503)).all()
    for star in every[inside][:10]:  # in pixels of the frame, as without an area
        assert numpy.hypot(table["x"] - star["x"], table["y"] - star["y"]).min() < 0.5


@pytest.mark.parametrize("area, error", [((0, 0, 801, 10), orqcam.InvalidError), ((-1, 0, 10, 10), orqcam.InvalidError),
                                         ((0, 0, 0, 10), orqcam.InvalidError), ((0, 0, 10), ValueError),
                                         ((0, 0, 10, 9.5), TypeError)])
def test_an_area_that_is_none_is_refused(frame, area, error):
    with pytest.raises(error):
        frame.stars(area)


def test_where_no_star_is_there_is_nothing_to_measure():
    with orqcam.open(f"virtual:k1m,{QUICK}") as camera:
        found = expose(corner(camera), 0.01).stars()
    assert (found.count, found.measured, found.saturated, len(found.table)) == (0, 0, 0, 0)
    assert math.isnan(found.hfr) and math.isnan(found.fwhm)


def test_a_table_does_not_hold_its_frame():
    with orqcam.open(SKY) as camera:
        frame = expose(corner(camera, 400, "raw16"))
    found, gone = frame.stars(), weakref.ref(frame)
    before = found.table.copy()
    del frame
    gc.collect()
    assert gone() is None
    assert len(before) and numpy.array_equal(found.table, before)


def test_other_threads_run_while_stars_are_looked_for():
    ticks, seen = 0, []
    with orqcam.open(f"virtual:k1m,{QUICK}") as camera:
        frame = expose(corner(camera, 800), 0.01)  # without stars: NumPy would let others run as it fills a table

    def measure():
        for _ in range(100):
            before = ticks
            frame.stars()
            if ticks > before:
                seen.append(ticks)
                return

    interval = sys.getswitchinterval()
    sys.setswitchinterval(100)  # nobody else runs because a thread has had its turn; only where it lets others
    try:
        thread = threading.Thread(target=measure)
        thread.start()
        while thread.is_alive():
            time.sleep(0.001)
            ticks += 1
    finally:
        sys.setswitchinterval(interval)
    assert seen
