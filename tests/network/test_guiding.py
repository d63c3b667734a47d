#!/usr/bin/env python3
"""No line of the guide port stays on, whatever becomes of the server: looked at on the emulated camera.

    test_guiding.py ORQ_EMULATE [unittest's arguments]
"""

import json
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

from alpaca import Client
from server import ORQCAM, PATIENCE, Connecting

EMULATE = sys.argv[1]
NORTH, WEST = 0, 3
LONG_MS = 60_000  # nothing ends such a pulse but what is tried
# The bus is there as long as this program, which starts a server for each line that it is told, and says its number.
AGAIN = 'while read -r again; do "$0" serve --json --port 0 --no-discovery & echo $!; wait $!; done'


class Guiding(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="orqcam-guiding-")
        home = self.folder.name
        self.bus = os.path.join(home, "bus")
        self.program = subprocess.Popen([EMULATE, "k1c,seed=5", "--control", self.bus, "--", "sh", "-c", AGAIN, ORQCAM], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, cwd=home,
                                        env={**os.environ, "HOME": home, "XDG_CONFIG_HOME": home, "XDG_STATE_HOME": home})

    def tearDown(self):
        self.program.stdin.close()
        self.program.wait(PATIENCE)
        self.program.stdout.close()
        self.folder.cleanup()

    def start(self):
        """A server that has opened the camera: its number, and a client of it."""
        self.program.stdin.write("again\n")
        self.program.stdin.flush()
        number = int(self.program.stdout.readline())
        address = urllib.parse.urlsplit(json.loads(self.program.stdout.readline())["addresses"][0])
        client = Client(Connecting(address.hostname, address.port), 0)
        client.await_true(lambda: [camera["presence"] for camera in json.loads(client.exchange("GET", "/api/v1/state")[2])["cameras"]] == ["open"])
        client.put("connected", Connected="True")
        return number, client

    def lines(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
            connection.settimeout(PATIENCE)
            connection.connect(self.bus)
            with connection.makefile("rw") as words:
                words.write("guide 0\n")
                words.flush()
                answer = words.readline().split()
        self.assertEqual(answer[0], "ok")
        return answer[1:]

    def become(self, wanted):
        end = time.monotonic() + PATIENCE
        while self.lines() != wanted:
            self.assertLess(time.monotonic(), end, f"lines {self.lines()} instead of {wanted}")
            time.sleep(0.01)

    def pulse(self, client):
        for direction in (NORTH, WEST):
            client.put("pulseguide", Direction=direction, Duration=LONG_MS)
        self.become(["north", "west"])

    def test_the_end_of_the_server_ends_pulses_and_after_a_kill_the_next_one_does(self):
        for how in (signal.SIGKILL, signal.SIGTERM):
            number, client = self.start()
            self.assertEqual(self.lines(), [])
            self.pulse(client)
            client.close()
            os.kill(number, how)
            if how == signal.SIGKILL:
                end = time.monotonic() + PATIENCE
                while os.path.exists(f"/proc/{number}") and time.monotonic() < end:
                    time.sleep(0.01)
                self.assertEqual(self.lines(), ["north", "west"])  # else this story shows nothing
        self.become([])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
