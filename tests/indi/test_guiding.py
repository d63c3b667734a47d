#!/usr/bin/env python3
"""No line of the guide port stays on, whatever becomes of the driver: looked at on the emulated camera.

    test_guiding.py INDI_ORQCAM_CCD ORQ_EMULATE [unittest's arguments]
"""

import os
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from fits import Bus
from indi import PATIENCE, Client, Device, Server

DRIVER, EMULATE = sys.argv[1:3]
FIRST = "ORQ Camera"
LONG_MS = 60000  # as long as INDI has pulses, longer than any story: nothing ends it but what is tried


class Lines:
    """What the camera on the bus says of its guide port."""

    def __init__(self, bus):
        self.bus = bus

    def now(self):
        answer = self.bus.command("guide 0")
        assert answer[0] == "ok", answer
        return answer[1:]

    def become(self, wanted, seconds=PATIENCE):
        end = time.monotonic() + seconds
        while self.now() != wanted:
            if time.monotonic() > end:
                raise AssertionError(f"guide lines {self.now()} instead of {wanted}")
            time.sleep(0.01)


class Guiding(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.bus = Bus(cls.folder.name)
        cls.server = Server(DRIVER, before=[EMULATE, "k1c,seed=5", "--control", cls.bus.path, "--"])
        cls.client = Client(cls.server.port)
        cls.camera = Device(cls.client, FIRST)
        cls.lines = Lines(cls.bus)

    @classmethod
    def tearDownClass(cls):
        cls.client.close()
        cls.server.close()
        cls.folder.cleanup()

    def setUp(self):
        self.camera.connect()

    def pulse(self):
        """Both axes, far longer than the story."""
        self.camera.wait("TELESCOPE_TIMED_GUIDE_WE")
        self.camera.number("TELESCOPE_TIMED_GUIDE_NS", TIMED_GUIDE_N=LONG_MS, TIMED_GUIDE_S=0)
        self.camera.number("TELESCOPE_TIMED_GUIDE_WE", TIMED_GUIDE_W=LONG_MS, TIMED_GUIDE_E=0)
        self.lines.become(["north", "west"])

    def end_driver(self, number):
        os.kill(self.server.pids("indi_orqcam_ccd")[0], number)
        self.client.wait("the old driver's end", lambda: self.camera("CCD_EXPOSURE") is None)
        self.camera.wait("CONNECTION", lambda p: p["DISCONNECT"] == "On")

    def test_an_abort_ends_pulses_and_those_that_wait(self):
        self.pulse()
        self.camera.number("TELESCOPE_TIMED_GUIDE_NS", TIMED_GUIDE_N=0, TIMED_GUIDE_S=LONG_MS)
        self.camera.answered(lambda: self.camera.switch("CCD_ABORT_EXPOSURE", "ABORT"), "CCD_ABORT_EXPOSURE")
        self.lines.become([])
        self.camera.wait("TELESCOPE_TIMED_GUIDE_NS", lambda p: p.state != "Busy")
        self.camera.wait("TELESCOPE_TIMED_GUIDE_WE", lambda p: p.state != "Busy")
        time.sleep(0.2)
        self.assertEqual(self.lines.now(), [])

    def test_a_disconnection_ends_pulses(self):
        self.pulse()
        self.camera.disconnect()
        self.lines.become([])

    def test_signals_end_pulses(self):
        for number in (signal.SIGTERM, signal.SIGSEGV, signal.SIGABRT):
            with self.subTest(number.name):
                self.pulse()
                self.end_driver(number)
                self.assertEqual(self.lines.now(), [])
                self.camera.connect()

    def test_after_a_kill_the_next_open_ends_pulses(self):
        self.pulse()
        self.end_driver(signal.SIGKILL)
        self.assertEqual(self.lines.now(), ["north", "west"])  # else this story shows nothing
        self.camera.connect()
        self.assertEqual(self.lines.now(), [])


class WithoutServer(unittest.TestCase):
    def test_the_end_of_the_server_ends_pulses(self):
        """The bus outlives the driver here: a shell goes on below it."""
        with tempfile.TemporaryDirectory() as folder:
            bus = Bus(folder)
            lines = Lines(bus)
            with subprocess.Popen([EMULATE, "k1c", "--control", bus.path, "--", "sh", "-c", '"$0"; sleep 100', DRIVER],
                                  stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, text=True,
                                  env={**os.environ, "HOME": folder}) as program:

                def say(text):
                    program.stdin.write(text)
                    program.stdin.flush()

                try:
                    say('<getProperties version="1.7"/>')
                    end = time.monotonic() + PATIENCE
                    while time.monotonic() < end:  # until it has defined what it is asked for
                        say(f'<newSwitchVector device="{FIRST}" name="CONNECTION"><oneSwitch name="CONNECT">On</oneSwitch>'
                            '<oneSwitch name="DISCONNECT">Off</oneSwitch></newSwitchVector>'
                            f'<newNumberVector device="{FIRST}" name="TELESCOPE_TIMED_GUIDE_NS">'
                            f'<oneNumber name="TIMED_GUIDE_N">{LONG_MS}</oneNumber>'
                            '<oneNumber name="TIMED_GUIDE_S">0</oneNumber></newNumberVector>')
                        if os.path.exists(bus.path) and lines.now() == ["north"]:
                            break
                        time.sleep(0.1)
                    self.assertEqual(lines.now(), ["north"])
                    program.stdin.close()
                    lines.become([])
                finally:
                    bus.command("quit")
                    program.wait(PATIENCE)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
