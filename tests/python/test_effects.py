"""What calls do whose effect shows elsewhere: in a later run, in headers, in pixels, in the flash, and what is only told."""

import ctypes
import datetime
import json
import struct
import time
import xml.etree.ElementTree

import numpy
import orqcam
import pytest
from conftest import PATIENCE, QUICK, corner

MODELS = [entry.name for entry in orqcam.cameras(usb=False, virtual=True)]


def with_gps():
    names = []
    for name in MODELS:
        with orqcam.open(name) as camera:
            names += [name] if "gps" in camera.abilities else []
    return names


def test_settings_are_kept_when_it_is_said_and_not_before(tmp_path):
    for number, name in enumerate(MODELS):
        def opened():
            return orqcam.open(f"{name},{QUICK}", settings="load", settings_folder=tmp_path)

        with opened() as camera:
            first = int(camera.gain)
            camera.gain = 3 + 3 * number
        with opened() as camera:
            assert camera.gain == first < 3, "nobody has asked for it"
            camera.gain = 3 + 3 * number
            wanted = int(camera.gain)  # of some sensors the nearest
            camera.keep_settings()
            camera.gain = first  # comes too late
            described = camera.info.model
        with opened() as camera:
            assert camera.gain == wanted != first, name
        file = xml.etree.ElementTree.parse(tmp_path / "ORQconfig.xml")
        kept = {key.get("name"): key.find("int[@name='Gain']") for key in file.iter("key") if key.find("int") is not None}
        gains = [int(gain.get("value")) for model, gain in kept.items() if model.endswith(described)]
        assert gains == [wanted], name


def test_settings_cannot_be_kept_without_a_place(camera, tmp_path):
    with pytest.raises(orqcam.StateError):
        camera.keep_settings()
    (tmp_path / "file").touch()
    with orqcam.open(f"virtual:k1c,{QUICK}", settings="load", settings_folder=tmp_path / "file" / "folder") as other:
        with pytest.raises(orqcam.FileError, match="folder"):
            other.keep_settings()
    with pytest.raises(orqcam.StateError):
        other.keep_settings()  # which is closed


PROFILE = {"observer": "A. N. Other", "telescope": "Newton 150/750", "focal_length_mm": 750.0, "filter": "Ha",
           "site": "Hill", "latitude_deg": 48.25, "longitude_deg": -11.5, "elevation_m": 520.0}
KEYWORDS = {"OBSERVER": "A. N. Other", "TELESCOP": "Newton 150/750", "FOCALLEN": 750.0, "FILTER": "Ha",
            "SITENAME": "Hill", "SITELAT": 48.25, "SITELONG": -11.5, "SITEELEV": 520.0}


def keywords(camera):
    return {name: value for name, value, _ in camera.expose(0.001, timeout=PATIENCE).cards()}


def test_the_users_profile_stands_in_headers_from_then_on(camera, tmp_path, monkeypatch):
    monkeypatch.setenv("XDG_CONFIG_HOME", str(tmp_path))
    camera.apply_profile()  # of somebody who has none
    assert not set(KEYWORDS) & set(keywords(camera))
    (tmp_path / "orqcam").mkdir()
    file = tmp_path / "orqcam" / "profile.json"
    file.write_text(json.dumps(PROFILE), encoding="utf-8")
    assert not set(KEYWORDS) & set(keywords(camera)), "nobody has asked for it"
    camera.keyword("FILTER=OIII")
    camera.apply_profile()
    assert {name: keywords(camera).get(name) for name in KEYWORDS} == KEYWORDS | {"FILTER": "OIII"}
    with orqcam.open(f"virtual:k1m,{QUICK}") as other:
        assert not set(KEYWORDS) & set(keywords(corner(other))), "it is of one camera"
    file.write_text("{", encoding="utf-8")
    with pytest.raises(orqcam.FileError, match="profile"):
        camera.apply_profile()
    file.write_text("{}", encoding="utf-8")
    camera.close()
    with pytest.raises(orqcam.StateError):
        camera.apply_profile()


INK = 180  # on what is dark
HERE = datetime.timezone(datetime.timedelta(hours=5, minutes=30))


def cells(array):
    """The characters' pixels, eight by sixteen each: eight of the date, eight of the time; and whether there is other ink."""
    ink = (array if array.ndim == 2 else array.min(axis=2)) == INK
    width = ink.shape[1]
    columns = [width - 200 + 8 * i for i in range(8)] + [width - 128 + 8 * i for i in range(8)]
    found = [ink[7:23, x:x + 8].copy() for x in columns]
    return found, int(ink.sum()) - sum(int(cell.sum()) for cell in found)


def shows(found, second):
    """Whether cells are alike where characters are; the month counts from 0."""
    when = datetime.datetime.fromtimestamp(second, HERE)
    text = f"{when.year:04}{when.month - 1:02}{when.day:02}{when:%H:%M:%S}"
    return all((found[i] == found[j]).all() == (text[i] == text[j]) for i in range(16) for j in range(i))


def test_the_time_is_printed_into_frames_where_it_fits(monkeypatch):
    monkeypatch.setenv("TZ", "XYZ-5:30")
    for name in MODELS:
        with orqcam.open(f"{name},timescale=0.01,scene=dark") as camera:
            for pixels in set(camera.formats) & {"raw8", "rgb24", "y8"}:
                camera.format = pixels
                camera.region = (0, 0, 256, 64)
                camera.time_mark(True)
                begin = int(time.time())
                array = camera.expose(0.001, timeout=PATIENCE).array
                seconds = range(begin, int(time.time()) + 1)
                found, others = cells(array)
                assert others == 0 and min(cell.sum() for cell in found) > 10, (name, pixels)
                assert any(shows(found, second) for second in seconds), (name, pixels)
                camera.time_mark(False)
                assert not numpy.count_nonzero(camera.expose(0.001, timeout=PATIENCE).array == INK), (name, pixels)


def test_a_frame_without_room_for_the_time_stays_as_it_is():
    with orqcam.open("virtual:k1m,timescale=0.01,scene=dark") as camera:
        camera.time_mark(True)
        for pixels, region in (("raw8", (0, 0, 192, 64)), ("raw16", (0, 0, 256, 64))):
            camera.format = pixels
            camera.region = region
            assert camera.region[2:] == region[2:]
            assert camera.expose(0.001, timeout=PATIENCE).array.max() < (100 if pixels == "raw8" else 100 * 256)
        with pytest.raises(TypeError):
            camera.time_mark("never")
    with pytest.raises(orqcam.StateError):
        camera.time_mark(True)  # of a closed camera


@pytest.mark.parametrize("name", with_gps())
def test_the_receiver_tells_what_it_has_latched(name):
    place = "gpspos=-36.75/174.75/56,gpstime=2031-12-31T23:59:58.5"
    with orqcam.open(f"{name},{QUICK},{place}") as camera:
        corner(camera)
        camera.region = (0, 128, 64, 64)
        told = camera.gps_receiver
        assert (told.readable, told.fix, told.start_utc, told.start_position) == (True, False, "", "")
        gps = camera.expose(0.01, timeout=PATIENCE).gps
        told = camera.gps_receiver
        epoch = datetime.datetime(1970, 1, 1)
        for utc, unix_ns in ((told.start_utc, gps.start_unix_ns), (told.end_utc, gps.end_unix_ns)):
            whole, fraction = utc.split(".")
            since = (datetime.datetime.fromisoformat(whole) - epoch) // datetime.timedelta(seconds=1)
            assert since * 10**9 + int(fraction.ljust(9, "0")) == unix_ns
            assert utc > "2031-12-31T23:59:58.5"
        assert told.fix and told.version == 1
        rows_us = (datetime.datetime.fromisoformat(told.end_utc[:26]) - datetime.datetime.fromisoformat(told.start_utc[:26]))
        assert rows_us / datetime.timedelta(microseconds=1) == pytest.approx(63 * camera.rolling_interval, abs=1.1)
        assert (told.start_latitude, told.start_longitude, told.start_altitude_m) == (-36.75, 174.75, 56)
        assert (told.end_latitude, told.end_longitude, told.end_altitude_m) == (-36.75, 174.75, 56)
        assert told.start_satellites == told.end_satellites == gps.satellites > 3
        assert "36.75" in told.start_position and "174.75" in told.end_position
    with orqcam.open(f"{name},{QUICK},gps=nofix") as camera:
        corner(camera).expose(0.01, timeout=PATIENCE)
        assert camera.gps_receiver.readable and not camera.gps_receiver.fix and camera.gps_receiver.end_utc == ""
    with orqcam.open(f"{name},{QUICK},gpsver=0") as camera:
        corner(camera).expose(0.01, timeout=PATIENCE)
        assert (camera.gps_receiver.version, camera.gps_receiver.readable, camera.gps_receiver.fix) == (0, False, False)
    with pytest.raises(orqcam.StateError):
        camera.gps_receiver  # of a closed camera


def test_there_is_no_receiver_where_there_is_no_gps():
    others = set(MODELS) - set(with_gps())
    assert others and others != set(MODELS)
    for name in others:
        with orqcam.open(f"{name},{QUICK}") as camera, pytest.raises(orqcam.UnsupportedError):
            camera.gps_receiver


def picture(path, info):
    """The values of an eight-bit BMP."""
    content = path.read_bytes()
    (offset,) = struct.unpack_from("<I", content, 10)
    values = numpy.frombuffer(content, numpy.uint8, info.sensor_height * info.sensor_width, offset)
    return values.reshape(info.sensor_height, info.sensor_width)


def test_a_dark_is_read_for_how_it_was_taken(tmp_path):
    before = time.time_ns()
    with orqcam.open("virtual:h53m,timescale=0.001,scene=dark,temp=30") as camera:
        camera.exposure_us, camera.gain, camera.offset = 5_000_000, 7, 90
        camera.take_dark(tmp_path / "dark.bmp", frames=3)
        dark = camera.read_dark(tmp_path / "dark.bmp")
        assert (dark.frames, dark.exposure_us, dark.gain, dark.offset) == (3, 5_000_000, 7, 90)
        assert (dark.model, dark.serial, dark.trouble) == (camera.info.model, camera.info.serial, "")
        assert before <= dark.taken_unix_ns + 1000 and dark.taken_unix_ns <= time.time_ns()
        assert dark.sensor_c == pytest.approx(camera.temperature, abs=3)
        shown = picture(tmp_path / "dark.bmp", camera.info)
        assert dark.average == pytest.approx(shown.mean(), abs=1)
        hot = shown > dark.average + 30
        bad_rows = hot.sum(axis=1) * 2 >= camera.info.sensor_width
        assert (dark.hot_pixels, dark.bad_rows) == (hot[~bad_rows].sum(), bad_rows.sum()) and hot.any()
        for bad in ("missing.bmp", "text.bmp"):
            (tmp_path / "text.bmp").write_text("no dark", encoding="ascii")
            with pytest.raises(orqcam.FileError, match=bad):
                camera.read_dark(tmp_path / bad)
        (tmp_path / "dark.json").write_text("{", encoding="ascii")
        dark = camera.read_dark(tmp_path / "dark.bmp")
        assert dark.trouble and dark.frames == 0
    with orqcam.open(f"virtual:k1c,{QUICK}") as other, pytest.raises(orqcam.RangeError):
        other.read_dark(tmp_path / "dark.bmp")


def test_flash_is_saved_before_it_is_overwritten_and_the_file_is_told(tmp_path):
    backups = tmp_path / "backups"
    with orqcam.open(f"virtual:k1c,{QUICK},state={tmp_path}/camera.state") as camera:
        assert camera.flash_backup == ""
        camera.set_user_id("first", backup_folder=backups)
        camera.set_user_id("second", backup_folder=backups)
        kept = camera.flash_backup
        assert kept in map(str, backups.iterdir()) and len(list(backups.iterdir())) == 2
        with pytest.raises(orqcam.InvalidError):
            camera.set_user_id("ninechars", backup_folder=backups)
        assert camera.flash_backup == kept, "nothing has been overwritten"
        camera.restore_flash(kept, backup_folder=backups)
        assert camera.user_id == "first"
        assert camera.flash_backup != kept and camera.flash_backup in map(str, backups.iterdir())
        camera.restore_flash(camera.flash_backup, backup_folder=backups)
        assert camera.user_id == "second"
        (tmp_path / "file").touch()
        with pytest.raises(orqcam.FileError):
            camera.set_user_id("third", backup_folder=tmp_path / "file")
        assert camera.user_id == "second", "what cannot be saved is not overwritten"


class Timex(ctypes.Structure):
    """What the system tells about its clock; what follows the status is room enough."""

    _fields_ = [("modes", ctypes.c_uint), ("offset", ctypes.c_long), ("freq", ctypes.c_long), ("maxerror", ctypes.c_long),
                ("esterror", ctypes.c_long), ("status", ctypes.c_int), ("rest", ctypes.c_long * 32)]


def system_clock():
    told = Timex()
    result = ctypes.CDLL(None).ntp_adjtime(ctypes.byref(told))
    if result < 0:
        return -1, 0
    steered = result != 5 and not told.status & 0x40
    return int(steered), told.maxerror if steered else 0


def test_the_clock_is_as_the_system_knows_it():
    def agrees():
        before, told, after = system_clock(), orqcam.clock_state(), system_clock()
        return (told.synchronised, told.max_error_us) in (before, after)  # it may be steered just then

    assert any(agrees() for _ in range(20))
    with pytest.raises(TypeError):
        orqcam.clock_state(1)


def test_a_disc_is_found_where_the_planet_is():
    for name in MODELS:
        with orqcam.open(f"{name},timescale=0.01,scene=planet,planet=60/0/0") as camera:
            info = camera.info
            camera.format = "raw16"
            camera.region = (info.sensor_width // 2 - 176, info.sensor_height // 2 - 120, 320, 240)
            x, y, _, _ = camera.region
            disc = camera.expose(0.01, timeout=PATIENCE).disc()
            assert disc.x == pytest.approx(info.sensor_width / 2 - x, abs=1), name
            assert disc.y == pytest.approx(info.sensor_height / 2 - y, abs=1), name
            assert disc.diameter == pytest.approx(60, rel=0.08), name


def test_there_is_no_disc_in_noise():
    with orqcam.open("virtual:k1m,timescale=0.01,scene=dark") as camera:
        frame = corner(camera, 256, "raw16").expose(0.001, timeout=PATIENCE)
        with pytest.raises(orqcam.NotFoundError):
            frame.disc()
        with pytest.raises(TypeError):
            frame.disc(3)
