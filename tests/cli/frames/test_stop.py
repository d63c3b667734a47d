"""Ctrl-C, SIGTERM and the terminal."""

import os
import signal

from support import CliTest, K1C

SMALL = ("--region", "0,0,64,64")


class Tests(CliTest):
    def wait_for(self, stream, word):
        """Reads lines until one holds the word."""
        for line in stream:
            if word in line:
                return line
        self.fail(f"the tool ended without saying {word!r}")

    def test_a_long_exposure_ends_at_once(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            process = self.start_tool("-c", "virtual:k1c", "--debug", "capture", *SMALL, "-e", "1000s", "-o",
                                      "x.fits")
            self.wait_for(process.stderr, "start capture create thread")
            code, out, err = self.interrupt(process, number)
            self.assertEqual(code, 1, err)
            self.assertIn("orqcam: interrupted: 0 of 1 frames saved\n", err)
            self.assertEqual(out, "saved = 0\n")
            self.assertEqual(self.files(), [])

    def test_what_was_saved_stays(self):
        for mode in ((), ("--video",)):
            process = self.start_tool("-c", K1C, "capture", *SMALL, *mode, "-n", "100000", "-o", "{n}.fits")
            for _ in range(3):
                self.wait_for(process.stdout, "file = ")
            code, out, err = self.interrupt(process)
            self.assertEqual(code, 1, err)
            saved = 3 + out.count("file = ")
            self.assertIn(f"{saved} of 100000 frames saved", err)
            self.assertEqual(self.files(), sorted(f"{n}.fits" for n in range(1, saved + 1)))
            for name in self.files():
                os.remove(self.path(name))

    def test_the_counters_are_shown_when_a_stream_is_interrupted(self):
        process = self.start_tool("-c", K1C, "stream", *SMALL, "--seconds", "1000")
        self.wait_for(process.stdout, "fps = ")
        code, out, err = self.interrupt(process)
        self.assertEqual(code, 1)
        self.assertEqual(err, "orqcam: interrupted\n")
        self.assertIn("identity_holds = yes", out)

    def test_a_stream_without_end_is_ended_by_an_interrupt(self):
        process = self.start_tool("-c", K1C, "stream", *SMALL)
        self.wait_for(process.stdout, "fps = ")
        code, out, err = self.interrupt(process)
        self.assertEqual((code, err), (0, ""))
        self.assertIn("identity_holds = yes", out)

    def test_an_ignored_hangup_stays_ignored(self):
        process = self.start_tool("-c", K1C, "capture", *SMALL, "-n", "20", "-o", "{n}.fits",
                                  preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.wait_for(process.stdout, "file = ")
        code, _, err = self.interrupt(process, signal.SIGHUP)
        self.assertEqual(code, 0, err)
        self.assertEqual(len(self.files()), 20)

    def test_a_terminal_gets_a_progress_bar_with_the_seconds_left(self):
        code, seen = self.on_terminal("-c", "virtual:k1c", "capture", *SMALL, "-e", "1.3s", "-o", "x.fits",
                                      stream="stderr")
        self.assertEqual(code, 0, seen)
        self.assertRegex(seen, r"\r\[#*\.*\] frame 1 of 1, \d\.\d s left\x1b\[K")
        self.assertTrue(seen.endswith("\r\x1b[K"), repr(seen[-80:]))

    def test_a_short_exposure_has_no_progress_bar(self):
        code, seen = self.on_terminal("-c", "virtual:k1c", "capture", *SMALL, "-e", "20ms", "-o", "x.fits",
                                      stream="stderr")
        self.assertEqual((code, seen), (0, ""))

    def test_without_terminal_there_is_no_progress_bar(self):
        out, err = self.succeed("-c", "virtual:k1c", "capture", *SMALL, "-e", "1.3s", "-o", "x.fits")
        self.assertEqual(err, "")
        self.assertEqual(out, "file = x.fits\nsaved = 1\n")
