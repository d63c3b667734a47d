"""orqcam report: all that a bug report needs, and nothing private."""

import getpass
import os
import socket

from support import CliTest, K1C


class Tests(CliTest):
    def test_it_holds_what_is_needed(self):
        self.succeed("-c", K1C, "set", "Gain=42")
        self.succeed("-c", K1C, "--debug", "info")
        out, _ = self.succeed("-c", K1C, "report", "-o", "report.txt")
        self.assertEqual(out, "file = report.txt\n")
        with open(self.path("report.txt"), encoding="utf-8") as file:
            text = file.read()
        for part in ("== versions ==", "orqcam = ", "libusb = 1.", f"kernel = Linux {os.uname().release}",
                     "== cameras on USB ==", "== camera ==", "model = Tavix ORQ-K1C", "== controls ==", "\nGain = 42\n",
                     "== a stream of 2 s ==", "identity_holds = yes", "== settings ==", "Tavix ORQ-K1C: Gain = 42",
                     "== log,", "OpenCamera", "== kernel =="):
            self.assertIn(part, text)

    def test_it_tells_nothing_private(self):
        home = os.path.join(self.directory, "anna")
        self.environment["HOME"] = home
        self.environment["XDG_STATE_HOME"] = os.path.join(home, "state")
        self.succeed("-c", K1C + ",serial=0123456789abcdef", "--debug", "dark", "take", "-e", "1ms")
        self.succeed("-c", K1C + ",serial=0123456789abcdef", "--debug", "report", "-o", "report.txt")
        with open(self.path("report.txt"), encoding="utf-8") as file:
            text = file.read()
        private = [home, "0123456789abcdef", "/home/"]
        if getpass.getuser() != "root":
            private.append(getpass.getuser())
        for word in private:
            self.assertNotIn(word, text)
        if socket.gethostname() != "localhost":
            self.assertNotRegex(text, rf"\b{socket.gethostname()}\b")

    def test_a_camera_that_cannot_be_opened_is_part_of_the_report(self):
        self.succeed("-c", K1C + ",refuse=0xD4", "report", "-o", "report.txt")
        with open(self.path("report.txt"), encoding="utf-8") as file:
            self.assertIn("refused: cannot open camera", file.read())

    def test_it_replaces_nothing_unasked(self):
        self.succeed("-c", K1C, "report", "-o", "report.txt")
        self.assertIn("exists", self.fail_with(1, "-c", K1C, "report", "-o", "report.txt"))
        self.succeed("-c", K1C, "report", "-o", "report.txt", "--overwrite")
