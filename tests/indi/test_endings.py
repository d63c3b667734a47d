#!/usr/bin/env python3
"""Nothing stays busy: whatever is under way when a camera is disconnected or unplugged, or when two clients want two things,
its property says what became of it, and the next picture comes.

    test_endings.py INDI_ORQCAM_CCD ORQ_EMULATE [unittest's arguments]
"""

import os
import resource
import socket
import subprocess
import sys
import tempfile
import time
import unittest

from fits import Bus, Picture
from indi import PATIENCE, Client, Device, Server

DRIVER, EMULATE = (os.path.abspath(path) for path in sys.argv[1:3])
FIRST = "ORQ Camera"


def busy_with(name, send):
    """Begins, and waits until the property says so."""

    def begin(camera):
        send(camera)
        camera.wait(name, lambda p: p.state == "Busy")

    return begin


def in_state(client, *states):
    return sorted(name for (_, name), known in client.properties.items() if known.state in states)


def guide(camera):
    camera.number("TELESCOPE_TIMED_GUIDE_NS", TIMED_GUIDE_N=60000, TIMED_GUIDE_S=0)
    busy_with("TELESCOPE_TIMED_GUIDE_WE", lambda c: c.number("TELESCOPE_TIMED_GUIDE_WE", TIMED_GUIDE_W=60000, TIMED_GUIDE_E=0))(camera)


def stream(camera):
    before = len(camera.blobs())
    camera.switch("CCD_VIDEO_STREAM", "STREAM_ON")
    camera.client.wait("frames", lambda: len(camera.blobs()) > before)


def dark(camera):
    """Of exposures that take longer than any story."""
    camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=600)
    camera.answered(lambda: camera.switch("CCD_ABORT_EXPOSURE", "ABORT"), "CCD_ABORT_EXPOSURE")
    camera.settle("CCD_EXPOSURE")
    camera.switch("ORQ_DARK_TAKE", "START")
    camera.wait("ORQ_DARK_TAKE", lambda p: p.state == "Busy")


COOL = busy_with("CCD_TEMPERATURE", lambda camera: camera.number("CCD_TEMPERATURE", CCD_TEMPERATURE_VALUE=-20))


def warm_up(camera):
    COOL(camera)
    camera.wait("CCD_COOLER_POWER", lambda p: p["CCD_COOLER_VALUE"] > 0)
    camera.switch("ORQ_WARM_UP", "START")
    camera.wait("ORQ_WARM_UP", lambda p: p.state == "Busy")


WORK = {
    "k1m,seed=6": {
        "exposing": busy_with("CCD_EXPOSURE", lambda camera: camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=1000)),
        "streaming": stream,
        "recording": busy_with("RECORD_STREAM", lambda camera: camera.switch("RECORD_STREAM", "RECORD_ON")),
        "guiding": guide,
        "taking a dark": dark},
    "x26m,timescale=0.1": {"cooling": COOL, "warming up": warm_up},
    "h53m": {"focusing": busy_with("ABS_FOCUS_POSITION",
                                   lambda camera: camera.number("ABS_FOCUS_POSITION", FOCUS_ABSOLUTE_POSITION=1000))}}


class Staged(unittest.TestCase):
    def stage(self, cameras, options=()):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.bus = Bus(folder.name)
        self.server = Server(DRIVER, before=[EMULATE, cameras, "--control", self.bus.path, "--"], options=options)
        self.addCleanup(self.server.close)
        self.client = Client(self.server.port)
        self.addCleanup(self.client.close)
        self.camera = Device(self.client, FIRST)
        self.camera.connect()
        self.camera.wait("ORQ_STREAM")
        self.camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=64, HEIGHT=64)

    def picture(self):
        self.client.wait("rest", lambda: "CCD_EXPOSURE" not in in_state(self.client, "Busy"))
        self.client.blobs.clear()
        self.camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=0.002)
        self.client.wait("a picture", lambda: any(blob[1] == ".fits" for blob in self.camera.blobs()))
        self.camera.settle("CCD_EXPOSURE")


class Ended(Staged):
    def test_what_a_disconnection_ends_is_over(self):
        for cameras, work in WORK.items():
            self.stage(cameras)
            for name, begin in work.items():
                with self.subTest(name):
                    begin(self.camera)
                    self.camera.disconnect()
                    self.client.wait("its end", lambda: not in_state(self.client, "Busy", "Alert"))
                    self.camera.connect()
                    self.camera.wait("ORQ_STREAM")
                    self.picture()
                    self.assertEqual(in_state(self.client, "Busy", "Alert"), [])

    def test_what_an_unplugged_camera_did_is_over(self):
        for cameras, work in WORK.items():
            self.stage(cameras)
            for name, begin in work.items():
                with self.subTest(name):
                    begin(self.camera)
                    self.bus.obey("unplug 0")
                    self.camera.wait("CONNECTION", lambda p: p.state == "Alert")
                    self.client.wait("its end", lambda: not in_state(self.client, "Busy"))
                    told = {"exposing": "CCD_EXPOSURE", "streaming": "CCD_VIDEO_STREAM", "recording": "RECORD_STREAM",
                            "cooling": "CCD_TEMPERATURE"}.get(name)
                    if told:
                        self.camera.wait(told, lambda p: p.state == "Alert")
                    self.bus.obey("replug 0")
                    self.camera.wait("CONNECTION", lambda p: p.state == "Ok")
                    self.picture()
                    # A cooler goes on, as its settings say.
                    self.assertLessEqual(set(in_state(self.client, "Busy")), {"CCD_TEMPERATURE", "CCD_COOLER_POWER"})

    def test_two_clients_want_two_things(self):
        self.stage("k1m,seed=6")
        other = Client(self.server.port, "Never")
        self.addCleanup(other.close)
        theirs = Device(other, FIRST)
        theirs.wait("ORQ_STREAM")
        camera = self.camera
        folder = os.path.join(self.server.folder.name, "recordings")
        camera.answered(lambda: camera.text("RECORD_FILE", RECORD_FILE_DIR=folder), "RECORD_FILE")
        # An exposure goes on when somebody wants a video or a recording.
        for name, element in (("CCD_VIDEO_STREAM", "STREAM_ON"), ("RECORD_STREAM", "RECORD_ON")):
            camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=0.3)
            theirs.wait("CCD_EXPOSURE", lambda p: p.state == "Busy")
            refused = theirs.answered(lambda name=name, element=element: theirs.switch(name, element), name)
            self.assertEqual((refused.state, refused[element]), ("Alert", "Off"), name)
            camera.wait("CCD_EXPOSURE", lambda p: p.state == "Ok")
        self.assertFalse(os.path.exists(folder))
        # Another region holds for the exposure that is under way.
        camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=0.3)
        theirs.wait("CCD_EXPOSURE", lambda p: p.state == "Busy")
        self.client.blobs.clear()
        theirs.set_number("CCD_FRAME", X=0, Y=0, WIDTH=128, HEIGHT=32)
        self.client.wait("the picture", camera.blobs)
        picture = Picture(camera.blobs()[0][2])
        self.assertEqual((picture["NAXIS1"], picture["NAXIS2"], picture.whole), (128, 32, True))
        # An abort ends the other's video and recording, and the property says so.
        stream(camera)
        camera.switch("RECORD_STREAM", "RECORD_ON")
        camera.wait("RECORD_STREAM", lambda p: p.state == "Busy")
        for name, values in (("RECORD_OPTIONS", {"RECORD_FRAME_TOTAL": 5}), ("CCD_STREAM_FRAME", {"WIDTH": 32})):
            refused = theirs.answered(lambda name=name, values=values: theirs.number(name, **values), name)
            self.assertEqual(refused.state, "Alert", name)
        theirs.answered(lambda: theirs.switch("CCD_ABORT_EXPOSURE", "ABORT"), "CCD_ABORT_EXPOSURE")
        camera.wait("CCD_VIDEO_STREAM", lambda p: p["STREAM_OFF"] == "On" and p.state != "Busy")
        camera.wait("RECORD_STREAM", lambda p: p["RECORD_OFF"] == "On" and p.state != "Busy")
        self.picture()
        self.assertEqual(other.blobs, [])

    def test_a_warm_up_is_ended_by_switching_off_only(self):
        self.stage("x26m,timescale=0.1")
        camera = self.camera
        warm_up(camera)
        self.assertEqual(camera.set_number("CCD_TEMPERATURE", CCD_TEMPERATURE_VALUE=0).state, "Alert")
        self.assertEqual(camera.set_switch("CCD_COOLER", "COOLER_ON").state, "Alert")
        self.assertEqual(camera.answered(lambda: camera.switch("ORQ_DARK_TAKE", "START"), "ORQ_DARK_TAKE").state, "Busy")
        self.assertEqual(camera.settle("ORQ_DARK_TAKE").state, "Alert")
        camera.answered(lambda: camera.switch("CCD_ABORT_EXPOSURE", "ABORT"), "CCD_ABORT_EXPOSURE")
        self.picture()
        self.assertEqual((camera("ORQ_WARM_UP").state, camera("CCD_COOLER")["COOLER_ON"]), ("Busy", "On"))
        self.assertEqual(camera.set_switch("CCD_COOLER", "COOLER_OFF").state, "Ok")
        self.assertEqual(camera.settle("ORQ_WARM_UP").state, "Ok")
        camera.wait("CCD_COOLER_POWER", lambda p: p.state == "Idle")

    def test_between_whole_degrees_and_recordings_nobody_could_write(self):
        self.stage("x26m,timescale=0.01")
        camera = self.camera
        camera.number("CCD_TEMPERATURE", CCD_TEMPERATURE_VALUE=19.6)  # it is at 20 degrees
        camera.wait("CCD_TEMPERATURE", lambda p: p.state == "Ok")
        for asked, slope in ((0.2, 1), (2.6, 3), (0, 0)):
            self.assertEqual(camera.set_number("CCD_TEMP_RAMP", RAMP_SLOPE=asked)["RAMP_SLOPE"], slope)
        for element, text in (("RECORD_FILE_DIR", ""), ("RECORD_FILE_NAME", "a/b")):
            before = dict(camera("RECORD_FILE").values)
            refused = camera.answered(lambda element=element, text=text: camera.text("RECORD_FILE", **{element: text}), "RECORD_FILE")
            self.assertEqual((refused.state, refused.values), ("Alert", before))

    def test_a_ramp_goes_in_steps_of_a_minute(self):
        """The camera's own target, not that of the client, is a slope away."""
        self.stage("x26m,timescale=0.01")
        camera = self.camera
        camera.set_number("CCD_TEMP_RAMP", RAMP_SLOPE=4)
        camera.number("CCD_TEMPERATURE", CCD_TEMPERATURE_VALUE=0)
        self.assertEqual(Picture(camera.expose(0.01)[1])["SET-TEMP"], 16)

    def test_clients_that_want_all_nothing_or_pictures_only(self):
        self.stage("k1m,seed=6", options=["-m", "20"])
        nothing, only = Client(self.server.port, "Never"), Client(self.server.port, "Only")
        self.addCleanup(nothing.close)
        self.addCleanup(only.close)
        for client in (nothing, only):
            Device(client, FIRST).wait("ORQ_STREAM")
        with socket.socket() as deaf:
            deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 65536)
            deaf.connect(("127.0.0.1", self.server.port))
            deaf.sendall(f'<getProperties version="1.7"/><enableBLOB device="{FIRST}">Also</enableBLOB>'.encode())
            self.camera.set_switch("CCD_FRAME_RESET", "RESET")  # six megabytes each, as INDI sends them
            sender = Device(only, FIRST)
            for number in range(8):
                sender.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=0.002)  # after what it said about BLOBs
                self.client.wait("a picture", lambda number=number: len(self.client.blobs) > number)
                only.wait("a picture", lambda number=number: len(only.blobs) > number)
        self.assertEqual([blob[2] for blob in only.blobs], [blob[2] for blob in self.client.blobs])
        self.assertEqual(sender("CCD_EXPOSURE").state, "Idle")  # as it was defined; it hears of pictures only
        Device(nothing, FIRST).wait("CCD_EXPOSURE", lambda p: p.state == "Ok")
        self.assertEqual(nothing.blobs, [])
        self.assertIn("shut down", self.server.log())  # of the one that does not read


class Recordings(Staged):
    """Of 64 x 64 pixels, 8 bits, into a folder of the server's."""

    SIZE = 64 * 64

    def setUp(self):
        self.stage("k1m,seed=6")
        self.folder = os.path.join(self.server.folder.name, "recordings")
        os.mkdir(self.folder)
        self.driver = self.server.pids("indi_orqcam_ccd")
        self.camera.set_switch("CCD_CAPTURE_FORMAT", "INDI_RAW8")
        self.camera.set_number("STREAMING_EXPOSURE", STREAMING_EXPOSURE_VALUE=0.001, STREAMING_DIVISOR_VALUE=1)

    def begin(self, name, way="RECORD_ON"):
        self.camera.answered(lambda: self.camera.text("RECORD_FILE", RECORD_FILE_DIR=self.folder, RECORD_FILE_NAME=name),
                             "RECORD_FILE")
        self.camera.switch("RECORD_STREAM", way)

    def ends_by_itself(self, name, why):
        self.client.messages.clear()
        self.begin(name)
        self.camera.wait("RECORD_STREAM", lambda p: p.state == "Alert" and p["RECORD_OFF"] == "On")
        said = [text for _, text in self.client.messages if "The recording has ended" in text]
        self.assertEqual((len(said), why in said[0]), (1, True), said)

    def announced(self, name):
        """Frames, by the header."""
        with open(os.path.join(self.folder, name), "rb") as file:
            return int.from_bytes(file.read(42)[38:], "little")

    def is_whole(self, name):
        """The frames that its header announces, and a time for each."""
        frames = self.announced(name)
        self.assertEqual(os.path.getsize(os.path.join(self.folder, name)), 178 + frames * (self.SIZE + 8))
        return frames

    def goes_on(self):
        """The next recording is right, and so is the next picture; of the same driver."""
        self.camera.set_number("RECORD_OPTIONS", RECORD_DURATION=1, RECORD_FRAME_TOTAL=5)
        self.camera.answered(lambda: self.begin("next.ser", "RECORD_FRAME_ON"), "RECORD_STREAM")
        self.camera.wait("RECORD_STREAM", lambda p: p["RECORD_OFF"] == "On" and p.state == "Idle")
        end = time.monotonic() + PATIENCE
        while self.announced("next.ser") == 0 and time.monotonic() < end:  # clients hear of the end before
            time.sleep(0.05)
        self.assertEqual(self.is_whole("next.ser"), 5)
        self.picture()
        self.assertEqual(self.server.pids("indi_orqcam_ccd"), self.driver)
        self.assertEqual(in_state(self.client, "Busy", "Alert"), [])

    def test_a_full_disk_ends_one_with_a_whole_file(self):
        disk = ["mount", "-t", "tmpfs", "-o", "size=2m", "orq-full", self.folder]
        if subprocess.run(disk, check=False, stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("no right to mount a small disk")
        try:
            self.ends_by_itself("full.ser", "the disk is full")
            self.assertGreater(self.is_whole("full.ser"), 100)
            os.remove(os.path.join(self.folder, "full.ser"))
            self.goes_on()
        finally:
            subprocess.run(["umount", "--lazy", self.folder], check=True)

    def test_a_file_that_may_not_grow_ends_one_while_the_live_view_goes_on(self):
        stream(self.camera)
        limits = resource.prlimit(self.driver[0], resource.RLIMIT_FSIZE)
        resource.prlimit(self.driver[0], resource.RLIMIT_FSIZE, (2**20 + 20 * self.SIZE, limits[1]))
        self.ends_by_itself("short.ser", "may not grow")
        self.assertIn(self.is_whole("short.ser"), range(10, 20))
        before = len(self.camera.blobs())
        self.client.wait("frames", lambda: len(self.camera.blobs()) > before)
        self.camera.switch("CCD_VIDEO_STREAM", "STREAM_OFF")
        self.camera.wait("CCD_VIDEO_STREAM", lambda p: p["STREAM_OFF"] == "On" and p.state != "Busy")
        resource.prlimit(self.driver[0], resource.RLIMIT_FSIZE, limits)
        self.goes_on()

    def test_what_cannot_be_written_ends_one(self):
        os.symlink("/dev/full", os.path.join(self.folder, "broken.ser"))
        self.ends_by_itself("broken.ser", "cannot be written")
        self.goes_on()

    def test_one_whose_stream_cannot_begin_is_none(self):
        self.bus.obey("silence 0")
        self.begin("silent.ser")
        self.camera.wait("RECORD_STREAM", lambda p: p.state == "Alert" and p["RECORD_OFF"] == "On")
        self.camera.wait("CONNECTION", lambda p: p.state == "Alert")
        self.assertFalse([text for _, text in self.client.messages if "The stream has ended" in text])  # there was none
        self.bus.obey("replug 0")
        self.camera.wait("CONNECTION", lambda p: p.state == "Ok")
        self.goes_on()

    def test_one_that_cannot_begin_is_none(self):
        os.mkdir(os.path.join(self.folder, "taken.ser"))
        self.begin("taken.ser")
        self.camera.wait("RECORD_STREAM", lambda p: p.state == "Alert" and p["RECORD_OFF"] == "On")
        self.goes_on()


class Configurations(unittest.TestCase):
    """Of a home directory that the story makes."""

    def setUp(self):
        home = tempfile.TemporaryDirectory()
        self.addCleanup(home.cleanup)
        self.home = home.name
        self.file = os.path.join(self.home, ".indi", f"{FIRST}_config.xml")

    def start(self, model):
        server = Server(DRIVER, home=self.home)
        self.addCleanup(server.close)
        client = Client(server.port)
        self.addCleanup(client.close)
        camera = Device(client, FIRST)
        camera.simulate(f"{model},timescale=0.001")
        camera.wait("ORQ_STREAM")
        camera.answered(lambda: camera.number("POLLING_PERIOD", PERIOD_MS=1234), "POLLING_PERIOD")  # after the configuration
        return camera

    def keep(self, camera):
        return camera.answered(lambda: camera.switch("CONFIG_PROCESS", "CONFIG_SAVE"), "CONFIG_PROCESS").state

    @staticmethod
    def told(camera):
        return " ".join(text for _, text in camera.client.messages)

    def test_a_damaged_one_is_told_of(self):
        camera = self.start("k1m")
        camera.set_number("CCD_GAIN", GAIN=42)
        self.assertEqual(self.keep(camera), "Ok")
        with open(self.file, "r+", encoding="utf-8") as file:
            file.truncate(os.path.getsize(self.file) // 2)
        camera = self.start("k1m")
        self.assertIn(f"{self.file} is damaged", self.told(camera))
        self.assertEqual((camera("CCD_GAIN")["GAIN"], in_state(camera.client, "Busy", "Alert")), (0, []))
        camera.set_number("CCD_GAIN", GAIN=43)
        self.assertEqual(self.keep(camera), "Ok")
        camera = self.start("k1m")
        self.assertNotIn("damaged", self.told(camera))
        self.assertEqual(camera("CCD_GAIN")["GAIN"], 43)

    def test_of_another_model_what_fits_is_taken(self):
        camera = self.start("x26m")
        self.assertNotIn("damaged", self.told(camera))  # there is none
        camera.set_number("CCD_GAIN", GAIN=400)
        camera.set_number("CCD_CONTROLS", Gamma=61, AntiDewHeater=1)
        self.assertEqual(self.keep(camera), "Ok")
        camera = self.start("k1m")
        self.assertEqual((camera("CCD_GAIN")["GAIN"], camera("CCD_CONTROLS")["Gamma"], camera("CCD_FRAME")["WIDTH"]), (0, 61, 1936))
        self.assertEqual(in_state(camera.client, "Busy", "Alert"), [])
        for name in ("CCD_GAIN", "CCD_FRAME"):
            self.assertIn(f"{name} of the configuration is left out", self.told(camera))

    def test_where_nothing_can_be_kept_it_says_so(self):
        with open(os.path.join(self.home, ".indi"), "w", encoding="utf-8"):
            pass  # not even root can make a folder of that name
        camera = self.start("k1m")
        camera.set_number("CCD_GAIN", GAIN=42)
        self.assertEqual(self.keep(camera), "Alert")
        self.assertIn("Failed to save configuration", self.told(camera))
        camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=64, HEIGHT=64)
        self.assertTrue(Picture(camera.expose(0.002)[1]).whole)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
