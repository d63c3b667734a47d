#!/usr/bin/env python3
"""The driver under a real indiserver, with cameras on an emulated bus: what clients get is what the sensors sent.

    test_driver.py INDI_ORQCAM_CCD ORQCAM ORQ_EMULATE [unittest's arguments]
"""

import glob
import os
import random
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from fits import Bus, Picture
from indi import PATIENCE, Client, Device, Server

DRIVER, TOOL, EMULATE = sys.argv[1:4]
CAMERAS = "k1c,seed=5,k1m,seed=6"
FIRST = "ORQ Camera"


class OnTheBus(unittest.TestCase):
    """One server for all stories with two cameras; each story leaves both connected and idle."""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.bus = Bus(cls.folder.name)
        cls.server = Server(DRIVER, before=[EMULATE, CAMERAS, "--control", cls.bus.path, "--"])
        cls.client = Client(cls.server.port)
        cls.camera = Device(cls.client, FIRST)
        cls.client.wait("second camera", lambda: [key for key in cls.client.properties if key[0].startswith("Tavix")])
        cls.second = Device(cls.client, next(key[0] for key in cls.client.properties if key[0].startswith("Tavix")))
        cls.camera.connect()
        cls.second.connect()

    @classmethod
    def tearDownClass(cls):
        cls.client.close()
        cls.server.close()
        cls.folder.cleanup()

    def setUp(self):
        self.messages_before = len(self.client.messages)
        self.camera.set_switch("CCD_CAPTURE_FORMAT", "INDI_RAW16")
        self.camera.set_number("CCD_BINNING", HOR_BIN=1, VER_BIN=1)

    def said(self):
        return [text for _, text in self.client.messages[self.messages_before:]]

    def region(self, x, y, width, height):
        return self.camera.set_number("CCD_FRAME", X=x, Y=y, WIDTH=width, HEIGHT=height)

    def picture(self, seconds, device=None):
        form, content = (device or self.camera).expose(seconds)
        self.assertEqual(form, ".fits")
        return Picture(content)

    def same_as_sent(self, picture, bus_number=0):
        header, pixels = self.bus.sent(bus_number, picture["CAMSEQ"])
        self.assertEqual(picture.pixels, pixels)
        self.assertEqual(header["exposure_us"], round(picture["EXPTIME"] * 1e6))
        self.assertEqual((header["start_x"], header["start_y"]), (picture["XORGSUBF"], picture["YORGSUBF"]))
        self.assertEqual((header["gain"], header["offset"]), (picture["GAIN"], picture["OFFSET"]))

    def test_cameras_are_devices_of_their_own(self):
        self.assertRegex(self.second.name, r"^Tavix ORQ-K1M [0-9a-f]{16}$")
        for device in (self.camera, self.second):
            self.assertEqual(self.client.properties[device.name, "DRIVER_INFO"]["DRIVER_EXEC"], os.path.basename(DRIVER))
        first, second = self.picture(0.002), self.picture(0.003, self.second)
        self.assertEqual((first["INSTRUME"], second["INSTRUME"]), ("Tavix ORQ-K1C", "Tavix ORQ-K1M"))
        self.same_as_sent(second, 1)

    def test_every_picture_is_what_the_sensor_sent(self):
        draw = random.Random(3)
        for number in range(6):
            form = ("INDI_RAW8", "INDI_RAW16")[number % 2]
            self.assertEqual(self.camera.set_switch("CCD_CAPTURE_FORMAT", form).state, "Ok")
            width, height = 8 * draw.randint(8, 40), 2 * draw.randint(8, 60)
            frame = self.region(2 * draw.randint(0, 300), 2 * draw.randint(0, 200), width, height)
            self.assertEqual((frame["WIDTH"], frame["HEIGHT"]), (width, height))
            gain = draw.randint(0, 100)
            self.assertEqual(self.camera.set_number("CCD_GAIN", GAIN=gain).state, "Ok")
            picture = self.picture(draw.randint(40, 9000) / 1e6)
            self.assertEqual((picture["NAXIS1"], picture["NAXIS2"]), (width, height))
            self.assertEqual(picture["BITPIX"], 8 if form == "INDI_RAW8" else 16)
            self.assertEqual(picture["GAIN"], gain)
            self.assertEqual(picture.doubles, [])
            self.assertTrue(picture.whole)
            self.same_as_sent(picture)

    def test_bins_and_colours_have_their_shape(self):
        self.region(0, 0, 320, 200)
        self.assertEqual(self.camera.set_number("CCD_BINNING", HOR_BIN=2, VER_BIN=2).state, "Ok")
        picture = self.picture(0.001)
        self.assertEqual((picture["NAXIS1"], picture["NAXIS2"], picture["XBINNING"]), (160, 100, 2))
        uneven = self.camera.set_number("CCD_BINNING", HOR_BIN=1, VER_BIN=2)
        self.assertEqual((uneven.state, uneven["HOR_BIN"]), ("Alert", 2))
        self.camera.set_number("CCD_BINNING", HOR_BIN=1, VER_BIN=1)
        self.region(0, 0, 320, 200)
        self.camera.set_switch("CCD_CAPTURE_FORMAT", "INDI_RGB")
        colours = self.picture(0.001)
        self.assertEqual((colours["NAXIS"], colours["NAXIS3"], colours["NAXIS1"]), (3, 3, 320))
        self.assertNotIn("BAYERPAT", colours.cards)
        self.assertEqual(self.camera("CCD_CFA")["CFA_TYPE"], "")

    def test_the_colour_pattern_follows_flips(self):
        self.region(0, 0, 64, 64)
        for flip, pattern in ((1, "GRBG"), (2, "GBRG"), (3, "BGGR"), (0, "RGGB")):
            self.camera.set_number("CCD_CONTROLS", Flip=flip)
            self.camera.wait("CCD_CFA", lambda p, pattern=pattern: p["CFA_TYPE"] == pattern)
            self.assertEqual(self.picture(0.001)["BAYERPAT"], pattern)

    def test_cards_are_those_of_the_command_line(self):
        self.region(0, 0, 1936, 1096)
        self.camera.text("FITS_HEADER", FITS_OBSERVER="Caroline", FITS_OBJECT="M 42")
        self.camera.set_number("CCD_GAIN", GAIN=7)
        mine = self.picture(0.005)
        path = os.path.join(self.folder.name, "tool.fits")
        subprocess.run([TOOL, "--no-settings", "-c", "virtual:k1c,seed=5", "capture", "-e", "5ms", "--gain", "7", "-f", "raw16",
                        "--object", "M 42", "--observer", "Caroline", "-o", path], check=True, stdout=subprocess.DEVNULL,
                       cwd=self.folder.name, env={**os.environ, "HOME": self.folder.name})
        with open(path, "rb") as file:
            tool = Picture(file.read())
        moving = {"DATE", "DATE-OBS", "DATE-END", "DATE-AVG", "MJD-OBS", "TIMEUNC", "CAMSEQ", "FRAMENO", "CCD-TEMP", "CLKERR",
                  "CLKSYNC"}
        self.assertLessEqual(set(tool.cards) - {"DATE", "CLKERR"}, set(mine.cards))
        for name in set(tool.cards) - moving:
            self.assertEqual(mine[name], tool[name], name)
        self.assertEqual((mine["OBJECT"], mine["OBSERVER"], mine["EGAIN"]), ("M 42", "Caroline", tool["EGAIN"]))
        self.assertEqual(mine.doubles, [])

    def test_controls_take_their_limits_and_nothing_beyond(self):
        for name in ("CCD_GAIN", "CCD_OFFSET", "CCD_CONTROLS"):
            before = dict(self.camera(name).values)
            for element, (low, high) in list(self.camera(name).limits.items()):
                for value in (low, high):
                    known = self.camera.set_number(name, **{element: value})
                    self.assertEqual((known.state, known[element]), ("Ok", value), element)
                for value in (low - 1, high + 1):
                    known = self.camera.set_number(name, **{element: value})
                    self.assertEqual((known.state, known[element]), ("Alert", high), element)
                    self.assertIn(f"must be from {low:.0f} to {high:.0f}", self.said()[-1])
                self.camera.set_number(name, **{element: before[element]})
        self.assertEqual(self.camera.set_number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=1e-6).state, "Alert")
        self.assertEqual(self.camera.set_number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=5000).state, "Alert")

    def test_an_aborted_exposure_delivers_nothing_and_the_next_one_does(self):
        self.region(0, 0, 640, 480)
        draw, worst = random.Random(4), 0.0
        for number in range(10):
            before = len(self.camera.blobs())
            self.camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=draw.choice([0.02, 0.1, 30]))
            time.sleep(draw.random() * 0.15)
            begin = time.monotonic()
            self.camera.answered(lambda: self.camera.switch("CCD_ABORT_EXPOSURE", "ABORT"), "CCD_ABORT_EXPOSURE")
            worst = max(worst, time.monotonic() - begin)
            self.camera.settle("CCD_EXPOSURE")
            early = self.camera.blobs()[before:]  # it was done before the abort came
            form, content = self.camera.expose(0.003 + number / 1e6)
            picture = Picture(content)
            if early and round(picture["EXPTIME"] * 1e6) != 3000 + number:  # and was on its way
                self.client.wait("next picture", lambda: len(self.camera.blobs()) > before + len(early))
                picture = Picture(self.camera.blobs()[-1][2])
            self.assertEqual(round(picture["EXPTIME"] * 1e6), 3000 + number)
            self.assertEqual(form, ".fits")
        print(f"abort: at most {1000 * worst:.0f} ms")

    def test_streams_start_and_stop(self):
        self.region(0, 0, 640, 480)
        self.camera.set_switch("CCD_CAPTURE_FORMAT", "INDI_RAW8")
        self.camera.set_number("LIMITS", LIMITS_BUFFER_MAX=1, LIMITS_PREVIEW_FPS=120)
        self.camera.set_number("STREAMING_EXPOSURE", STREAMING_EXPOSURE_VALUE=0.001, STREAMING_DIVISOR_VALUE=1)
        worst = 0.0
        for encoder, form, size in (("RAW", ".stream", 640 * 480), ("MJPEG", ".stream_jpg", None)) * 2:
            self.camera.set_switch("CCD_STREAM_ENCODER", encoder)
            before = len(self.camera.blobs())
            self.camera.switch("CCD_VIDEO_STREAM", "STREAM_ON")
            self.client.wait("frames", lambda before=before: len(self.camera.blobs()) >= before + 5)
            begin = time.monotonic()
            self.camera.switch("CCD_VIDEO_STREAM", "STREAM_OFF")
            self.camera.wait("CCD_VIDEO_STREAM", lambda p: p["STREAM_OFF"] == "On" and p.state != "Busy")
            worst = max(worst, time.monotonic() - begin)
            last = self.camera.blobs()[-1]
            self.assertEqual(last[1], form)
            if size is None:
                self.assertEqual((last[2][:2], last[2][-2:]), (b"\xff\xd8", b"\xff\xd9"))  # a whole JPEG file
            else:
                self.assertEqual(len(last[2]), size)
        self.assertFalse([text for text in self.said() if "buffer is full" in text])
        print(f"stream stop: at most {1000 * worst:.0f} ms")
        self.same_as_sent(self.picture(0.004))

    def test_a_server_that_answers_late_does_not_end_a_stream(self):
        self.region(0, 0, 320, 240)
        self.camera.set_number("LIMITS", LIMITS_BUFFER_MAX=1, LIMITS_PREVIEW_FPS=120)
        self.camera.set_number("STREAMING_EXPOSURE", STREAMING_EXPOSURE_VALUE=0.001, STREAMING_DIVISOR_VALUE=1)
        self.camera.switch("CCD_VIDEO_STREAM", "STREAM_ON")
        server = self.server.pids("indiserver")[0]
        for _ in range(15):  # each time the driver sends a picture and waits for what the server says to it
            before = len(self.camera.blobs())
            os.kill(server, signal.SIGSTOP)
            time.sleep(0.04)
            os.kill(server, signal.SIGCONT)
            self.client.wait("frames", lambda before=before: len(self.camera.blobs()) >= before + 3)
        self.camera.switch("CCD_VIDEO_STREAM", "STREAM_OFF")
        self.camera.wait("CCD_VIDEO_STREAM", lambda p: p["STREAM_OFF"] == "On" and p.state != "Busy")

    def test_recordings_have_the_frames_that_were_asked_for(self):
        self.region(0, 0, 64, 48)
        self.camera.set_switch("CCD_CAPTURE_FORMAT", "INDI_RAW8")
        self.camera.set_number("STREAMING_EXPOSURE", STREAMING_EXPOSURE_VALUE=0.001, STREAMING_DIVISOR_VALUE=1)
        folder = os.path.join(self.folder.name, "recordings")
        self.camera.text("RECORD_FILE", RECORD_FILE_DIR=folder, RECORD_FILE_NAME="a.ser")
        self.camera.set_number("RECORD_OPTIONS", RECORD_DURATION=1, RECORD_FRAME_TOTAL=7)
        self.camera.answered(lambda: self.camera.switch("RECORD_STREAM", "RECORD_FRAME_ON"), "RECORD_STREAM")
        self.camera.wait("RECORD_STREAM", lambda p: p["RECORD_OFF"] == "On" and p.state != "Busy")
        frames, end = 0, time.monotonic() + PATIENCE
        while frames == 0 and time.monotonic() < end:  # INDI tells of the end before it has closed the file
            with open(glob.glob(folder + "/**/a.ser", recursive=True)[0], "rb") as file:
                content = file.read()
            frames = int.from_bytes(content[38:42], "little")
            time.sleep(0.05)
        self.assertEqual((int.from_bytes(content[26:30], "little"), int.from_bytes(content[30:34], "little")), (64, 48))
        self.assertEqual((frames, len(content)), (7, 178 + 7 * (64 * 48 + 8)))
        self.picture(0.002)

    def test_a_picture_that_cannot_be_kept_does_not_block_the_next(self):
        self.region(0, 0, 64, 64)
        self.camera.text("UPLOAD_SETTINGS", UPLOAD_DIR="/proc/nowhere", UPLOAD_PREFIX="IMAGE_XXX")
        self.camera.set_switch("UPLOAD_MODE", "UPLOAD_LOCAL")
        self.camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=0.002)
        self.camera.wait("CCD_EXPOSURE", lambda p: p.state == "Alert")
        self.camera.set_switch("UPLOAD_MODE", "UPLOAD_CLIENT")
        self.same_as_sent(self.picture(0.002))

    def test_two_clients_see_the_same(self):
        other = Client(self.server.port)
        self.addCleanup(other.close)
        theirs = Device(other, FIRST)
        theirs.wait("CCD_GAIN")
        self.camera.set_number("CCD_GAIN", GAIN=33)
        theirs.wait("CCD_GAIN", lambda p: p["GAIN"] == 33)
        mine = self.picture(0.002)
        other.wait("picture", lambda: theirs.blobs())
        self.assertEqual(Picture(theirs.blobs()[-1][2]).pixels, mine.pixels)

    def test_an_unplugged_camera_comes_back_by_itself(self):
        self.region(0, 0, 320, 240)
        self.camera.set_number("CCD_GAIN", GAIN=21)
        for state in ("idle", "exposing", "streaming"):
            with self.subTest(state):
                if state == "exposing":
                    self.camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=60)
                    self.camera.wait("CCD_EXPOSURE", lambda p: p.state == "Busy")
                if state == "streaming":
                    before = len(self.camera.blobs())
                    self.camera.switch("CCD_VIDEO_STREAM", "STREAM_ON")
                    self.client.wait("frame", lambda before=before: len(self.camera.blobs()) > before)
                self.bus.obey("unplug 0")
                self.camera.wait("CONNECTION", lambda p: p.state == "Alert")
                if state == "exposing":
                    self.camera.wait("CCD_EXPOSURE", lambda p: p.state == "Alert")
                if state == "streaming":
                    self.camera.wait("CCD_VIDEO_STREAM", lambda p: p["STREAM_OFF"] == "On")
                self.assertTrue([text for text in self.said() if "the camera is gone" in text])
                self.picture(0.002, self.second)
                self.bus.obey("replug 0")
                self.camera.wait("CONNECTION", lambda p: p.state == "Ok")
                picture = self.picture(0.002)
                # Its numbers begin anew with its power, so that what it sent cannot be asked for by them.
                self.assertEqual((picture["GAIN"], picture["NAXIS1"], picture["EXPTIME"]), (21, 320, 0.002))
        self.assertEqual(len({key[0] for key in self.client.properties}), 2)

    def test_devices_come_and_go_with_their_cameras(self):
        self.second.disconnect()
        self.bus.obey("unplug 1")
        self.client.wait("end of the device", lambda: self.second("CONNECTION") is None)
        self.bus.obey("replug 1")
        self.second.connect()
        self.assertEqual(self.picture(0.002, self.second)["EXPTIME"], 0.002)


class Virtual(unittest.TestCase):
    """Without any camera."""

    def start(self, home=None):
        server = Server(DRIVER, home=home)
        self.addCleanup(server.close)
        client = Client(server.port)
        self.addCleanup(client.close)
        return server, Device(client, FIRST)

    def test_without_a_camera_it_says_what_to_do(self):
        _, camera = self.start()
        camera.wait("CONNECTION")
        known = camera.answered(lambda: camera.switch("CONNECTION", "CONNECT"), "CONNECTION")
        self.assertEqual((known["CONNECT"], known.state), ("Off", "Alert"))
        self.assertIn("SIMULATION", " ".join(text for _, text in camera.client.messages))
        camera.answered(lambda: camera.text("ORQ_VIRTUAL", NAME="nonsense"), "ORQ_VIRTUAL")
        camera.set_switch("SIMULATION", "ENABLE")
        self.assertEqual(camera.answered(lambda: camera.switch("CONNECTION", "CONNECT"), "CONNECTION").state, "Alert")
        camera.simulate("k1m,timescale=0.01")

    def test_settings_are_saved_and_loaded(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        server, camera = self.start(home.name)
        camera.simulate("k1m,timescale=0.01,seed=9")
        camera.set_number("CCD_GAIN", GAIN=42)
        camera.set_number("CCD_CONTROLS", Gamma=61)
        camera.set_number("CCD_FRAME", X=32, Y=16, WIDTH=640, HEIGHT=400)
        camera.answered(lambda: camera.switch("CONFIG_PROCESS", "CONFIG_SAVE"), "CONFIG_PROCESS")
        camera.client.close()
        server.stop()
        _, camera = self.start(home.name)
        self.assertEqual(camera.wait("ORQ_VIRTUAL", lambda p: p["NAME"] == "k1m,timescale=0.01,seed=9").state, "Ok")
        camera.set_switch("SIMULATION", "ENABLE")
        camera.connect()
        camera.wait("CCD_GAIN", lambda p: p["GAIN"] == 42)
        camera.wait("CCD_CONTROLS", lambda p: p["Gamma"] == 61)
        camera.wait("CCD_FRAME", lambda p: (p["X"], p["Y"], p["WIDTH"], p["HEIGHT"]) == (32, 16, 640, 400))

    def test_devices_around_the_sensor(self):
        _, camera = self.start()
        camera.simulate("x26m,timescale=0.01")
        camera.set_switch("CCD_COOLER", "COOLER_ON")
        camera.number("CCD_TEMPERATURE", CCD_TEMPERATURE_VALUE=10)
        camera.wait("CCD_TEMPERATURE", lambda p: p.state == "Busy")
        camera.wait("CCD_TEMPERATURE", lambda p: p.state == "Ok" and abs(p["CCD_TEMPERATURE_VALUE"] - 10) < 1)
        self.assertGreater(camera("CCD_COOLER_POWER")["CCD_COOLER_VALUE"], 0)
        camera.done(lambda: camera.switch("ORQ_WARM_UP", "START"), "ORQ_WARM_UP")
        camera.wait("CCD_COOLER", lambda p: p["COOLER_OFF"] == "On")
        camera.disconnect()
        camera.simulate("h53m")
        camera.number("ABS_FOCUS_POSITION", FOCUS_ABSOLUTE_POSITION=300)
        camera.wait("ABS_FOCUS_POSITION", lambda p: p.state == "Ok" and p["FOCUS_ABSOLUTE_POSITION"] == 300)
        camera.disconnect()
        camera.simulate("t46c,gpspos=-36.75/174.7/56")
        camera.expose(0.01)
        self.assertEqual(camera.wait("ORQ_GPS", lambda p: p.state == "Ok")["STATE"], "fix")
        place = camera.wait("GEOGRAPHIC_COORD", lambda p: p.state == "Ok")
        self.assertAlmostEqual(place["LAT"], -36.75, 3)
        self.assertAlmostEqual(place["LONG"], 174.7, 3)

    def test_triggers_pulses_and_darks(self):
        server, camera = self.start()
        camera.simulate("k1c,scene=dark,timescale=0.1")
        camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=64, HEIGHT=64)
        begin = time.monotonic()
        camera.number("TELESCOPE_TIMED_GUIDE_NS", TIMED_GUIDE_N=300, TIMED_GUIDE_S=0)
        camera.wait("TELESCOPE_TIMED_GUIDE_NS", lambda p: p.state == "Busy")
        camera.wait("TELESCOPE_TIMED_GUIDE_NS", lambda p: p.state != "Busy")
        self.assertGreaterEqual(time.monotonic() - begin, 0.3)
        camera.set_switch("ORQ_TRIGGER_MODE", "SOFTWARE")
        camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=0.01)
        camera.wait("CCD_EXPOSURE", lambda p: p.state == "Busy")
        time.sleep(0.3)
        self.assertEqual(camera.blobs(), [])
        camera.set_switch("ORQ_TRIGGER", "SEND")
        camera.client.wait("picture", camera.blobs)
        camera.set_switch("ORQ_TRIGGER_MODE", "FREE")
        pulse = camera.set_number("ORQ_OUTPUT_A", ACTIVE_HIGH=0, DELAY_US=100, LENGTH_US=2000)
        self.assertEqual((pulse.state, pulse["DELAY_US"]), ("Ok", 100))
        self.assertEqual(camera.set_number("ORQ_OUTPUT_A", DELAY_US=-1).state, "Alert")
        path = os.path.join(server.folder.name, "dark.bmp")
        self.assertEqual(camera.done(lambda: camera.text("ORQ_DARK", FILE=path), "ORQ_DARK").state, "Alert")
        camera.expose(0.2)
        self.assertEqual(camera.done(lambda: camera.switch("ORQ_DARK_TAKE", "START"), "ORQ_DARK_TAKE").state, "Ok")
        self.assertIn(b"HISTORY dark subtracted", camera.expose(0.2)[1])
        self.assertEqual(camera.done(lambda: camera.text("ORQ_ID", ID="guider"), "ORQ_ID").state, "Ok")

    def test_a_killed_driver_is_started_again(self):
        server, camera = self.start()
        camera.simulate("k1c,timescale=0.01")
        camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=1000)
        camera.wait("CCD_EXPOSURE", lambda p: p.state == "Busy")
        os.kill(server.pids("indi_orqcam_ccd")[0], signal.SIGKILL)
        camera.client.wait("the old driver's end", lambda: camera("CCD_EXPOSURE") is None)
        camera.wait("CONNECTION", lambda p: p["DISCONNECT"] == "On")
        camera.simulate("k1c,timescale=0.01")
        self.assertTrue(Picture(camera.expose(0.01)[1]).whole)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
