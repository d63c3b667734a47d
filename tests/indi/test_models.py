#!/usr/bin/env python3
"""What only some models have: GPS lines, hot pixels, the time mark, a cooler that loses its power; and pixels alone.

    test_models.py INDI_ORQCAM_CCD ORQ_EMULATE [unittest's arguments]
"""

import sys
import tempfile
import time
import unittest

from fits import Bus, Picture
from indi import Client, Device, Server

DRIVER, EMULATE = sys.argv[1:3]
FIRST = "ORQ Camera"


class WithVirtualCameras(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = Server(DRIVER)
        cls.client = Client(cls.server.port)
        cls.camera = Device(cls.client, FIRST)

    @classmethod
    def tearDownClass(cls):
        cls.client.close()
        cls.server.close()

    def tearDown(self):
        if self.camera("CCD_EXPOSURE") is not None:
            self.camera.disconnect()

    def simulate(self, name):
        self.camera.simulate(name)
        self.camera.wait("CCD_GAIN")

    def picture(self, seconds):
        form, content = self.camera.expose(seconds)
        self.assertEqual(form, ".fits")
        return Picture(content)

    def test_pixels_alone_are_those_of_the_file(self):
        self.simulate("k1m,seed=7")
        self.camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=64, HEIGHT=48)
        for depth, size in (("INDI_RAW8", 1), ("INDI_RAW16", 2)):
            self.camera.set_switch("CCD_CAPTURE_FORMAT", depth)
            self.camera.set_switch("CCD_TRANSFER_FORMAT", "FORMAT_NATIVE")
            for _ in range(3):
                form, content = self.camera.expose(0.002)
                self.assertEqual(form, ".bin")
                self.assertEqual(len(content), 64 * 48 * size)
            self.camera.set_switch("CCD_TRANSFER_FORMAT", "FORMAT_FITS")
            self.assertEqual(self.picture(0.002)["NAXIS1"], 64)

    def test_the_lines_of_the_gps_are_set_and_follow(self):
        self.simulate("t46c,timescale=0.01")
        height = self.camera("CCD_INFO")["CCD_MAX_Y"]
        last = self.camera("ORQ_GPS_LINES").limits["START"][1]
        self.assertEqual(last, height - 1)
        lines = self.camera.set_number("ORQ_GPS_LINES", START=10, END=100)
        self.assertEqual((lines.state, lines["START"], lines["END"]), ("Ok", 10, 100))
        self.camera.wait("ORQ_GPS_FOLLOW", lambda p: p["FIXED"] == "On")
        for wrong in ({"START": height, "END": 100}, {"START": -1, "END": 100}, {"START": float("nan"), "END": 100}):
            lines = self.camera.set_number("ORQ_GPS_LINES", **wrong)
            self.assertEqual((lines.state, lines["START"], lines["END"]), ("Alert", 10, 100))
        self.camera.set_number("CCD_FRAME", X=0, Y=200, WIDTH=640, HEIGHT=400)
        self.assertEqual(self.camera.set_switch("ORQ_GPS_FOLLOW", "REGION").state, "Ok")
        self.camera.wait("ORQ_GPS_LINES", lambda p: (p["START"], p["END"]) == (200, 599))

    def test_hot_pixels_and_the_time_mark_change_pictures(self):
        self.simulate("k1c,scene=dark,timescale=0.01")
        self.camera.set_switch("CCD_CAPTURE_FORMAT", "INDI_RAW8")
        self.assertEqual(self.camera.set_switch("ORQ_HOT_PIXELS_SAVE", "START").state, "Alert")  # no dark yet
        plain = self.picture(30)
        self.assertEqual(self.camera.set_switch("ORQ_DARK_TAKE", "START").state, "Ok")
        self.assertEqual(self.camera.set_switch("ORQ_HOT_PIXELS_SAVE", "START").state, "Ok")
        self.camera.done(lambda: self.camera.text("ORQ_DARK", FILE=""), "ORQ_DARK")
        self.assertEqual(self.camera.set_switch("ORQ_HOT_PIXELS", "INDI_ENABLED").state, "Ok")
        repaired = self.picture(30)

        def bright(picture):
            return sum(1 for value in picture.pixels if value > 60)

        self.assertGreater(bright(plain), 10)
        self.assertLess(bright(repaired), bright(plain) / 2)
        self.assertEqual(self.camera.set_switch("ORQ_HOT_PIXELS", "INDI_DISABLED").state, "Ok")
        self.assertEqual(self.camera.set_switch("ORQ_TIME_MARK", "INDI_ENABLED").state, "Ok")
        marked = self.picture(0.001)
        self.assertEqual(self.camera.set_switch("ORQ_TIME_MARK", "INDI_DISABLED").state, "Ok")
        self.assertGreater(bright(marked), bright(self.picture(0.001)) + 100)  # digits in a dark picture


class OnTheBus(unittest.TestCase):
    def test_an_unplugged_camera_that_cooled_comes_back_cooling(self):
        with tempfile.TemporaryDirectory() as folder:
            bus = Bus(folder)
            server = Server(DRIVER, before=[EMULATE, "x26m,timescale=0.05", "--control", bus.path, "--"])
            self.addCleanup(server.close)
            client = Client(server.port)
            self.addCleanup(client.close)
            camera = Device(client, FIRST)
            camera.connect()
            camera.number("CCD_TEMPERATURE", CCD_TEMPERATURE_VALUE=5)
            camera.wait("CCD_COOLER_POWER", lambda p: p["CCD_COOLER_VALUE"] > 0)
            bus.obey("unplug 0")
            camera.wait("CONNECTION", lambda p: p.state == "Alert")
            camera.wait("CCD_TEMPERATURE", lambda p: p.state == "Alert")
            camera.wait("CCD_COOLER", lambda p: p.state == "Alert")
            bus.obey("replug 0")
            camera.wait("CONNECTION", lambda p: p.state == "Ok")
            camera.wait("CCD_COOLER", lambda p: p["COOLER_ON"] == "On" and p.state != "Alert")
            time.sleep(0.1)
            camera.wait("CCD_COOLER_POWER", lambda p: p["CCD_COOLER_VALUE"] > 0)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
