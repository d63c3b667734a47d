"""orq-usbredir: its words, its sockets, its end."""

import os
import signal
import socket
import subprocess
import tempfile
import unittest

PROGRAM = os.environ["ORQ_USBREDIR"]
PATIENCE = 60  # seconds, for what must come


class Program(unittest.TestCase):
    def setUp(self):
        self._folder = tempfile.TemporaryDirectory()
        self.addCleanup(self._folder.cleanup)
        self.path = os.path.join(self._folder.name, "usb")

    def start(self, *words, **options):
        process = subprocess.Popen([PROGRAM, *words, "--socket", self.path], stdout=subprocess.PIPE, text=True,
                                   **options)
        self.assertEqual(process.stdout.readline(), "ready\n")
        self.addCleanup(process.stdout.close)
        return process

    def test_each_camera_has_a_socket_and_signals_end_it_in_order(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            process = self.start("k1c,x26m,seed=2,k2m")
            self.assertEqual(sorted(os.listdir(self._folder.name)), ["usb", "usb.1", "usb.2"])
            process.send_signal(number)
            self.assertEqual(process.wait(timeout=PATIENCE), 0)
            self.assertEqual(os.listdir(self._folder.name), [])

    def test_commands_come_on_standard_input(self):
        process = self.start("k1c", "--control", "-", stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        _, answers = process.communicate("unplug 0\nunplug 0\nreplug 0\nnonsense\nquit\n", timeout=PATIENCE)
        answers = answers.splitlines()
        self.assertEqual([answers[0], answers[2], answers[4]], ["ok", "ok", "ok"])
        self.assertEqual(answers[1], "error: camera 0 is not plugged in")
        self.assertTrue(answers[3].startswith("error: commands are: unplug N"))
        self.assertEqual(process.returncode, 0)

    def test_commands_come_over_a_socket(self):
        control = os.path.join(self._folder.name, "control")
        process = self.start("k1c", "--control", control)
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
            connection.connect(control)
            connection.sendall(b"stall 0\nquit\n")
            with connection.makefile() as lines:
                self.assertEqual([lines.readline(), lines.readline()], ["ok\n", "ok\n"])
        self.assertEqual(process.wait(timeout=PATIENCE), 0)

    def test_a_dead_socket_is_replaced_and_one_in_use_is_not(self):
        process = self.start("k1c")
        process.kill()
        process.wait()
        self.assertEqual(os.listdir(self._folder.name), ["usb"])
        self.start_and_end("k1c")
        process = self.start("k1c")
        again = subprocess.run([PROGRAM, "k1c", "--socket", self.path], stderr=subprocess.PIPE, text=True,
                               timeout=PATIENCE)
        self.assertEqual(again.returncode, 1)
        self.assertIn(self.path, again.stderr)
        process.terminate()
        process.wait(timeout=PATIENCE)

    def start_and_end(self, *words):
        process = self.start(*words)
        process.terminate()
        self.assertEqual(process.wait(timeout=PATIENCE), 0)

    def test_wrong_words_are_status_2_with_a_reason(self):
        for words in ([], ["k1c"], ["nocamera", "--socket", self.path], ["k1c,nooption=1", "--socket", self.path]):
            done = subprocess.run([PROGRAM, *words], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                  timeout=PATIENCE)
            self.assertEqual(done.returncode, 2, words)
            self.assertNotEqual(done.stdout + done.stderr, "")

    def test_help_is_on_standard_output(self):
        done = subprocess.run([PROGRAM, "--help"], stdout=subprocess.PIPE, text=True, timeout=PATIENCE)
        self.assertEqual(done.returncode, 0)
        self.assertIn("-device usb-redir", done.stdout)


if __name__ == "__main__":
    unittest.main()
