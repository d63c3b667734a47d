"""orq-emulate: runs programs unchanged, hands on their exit status and signals, obeys commands."""

import os
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

EMULATE = os.environ["ORQ_EMULATE"]
ORQCAM = os.environ["ORQCAM"]
PATIENCE = 60  # seconds, for what must come

# Programs that the address sanitizer was built into start with another library before its own.
# Settings of the user who runs the tests are neither used nor changed.
SETTINGS = tempfile.TemporaryDirectory()
ENVIRONMENT = dict(os.environ, ASAN_OPTIONS="verify_asan_link_order=0:detect_leaks=0", XDG_CONFIG_HOME=SETTINGS.name)


def run(*words, **options):
    return subprocess.run([EMULATE, *words], env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, timeout=PATIENCE * 2, **options)


def start(*words, **options):
    return subprocess.Popen([EMULATE, *words], env=ENVIRONMENT, text=True, **options)


class Running(unittest.TestCase):
    def test_the_exit_status_is_the_programs(self):
        for status in (0, 1, 77):
            self.assertEqual(run("k1c", "--", "sh", "-c", f"exit {status}").returncode, status)

    def test_a_signal_that_ends_the_program_shows_as_128_and_its_number(self):
        self.assertEqual(run("k1c", "--", "sh", "-c", "kill -SEGV $$").returncode, 128 + signal.SIGSEGV)

    def test_input_output_and_arguments_pass_unchanged(self):
        done = run("k1c", "--", "sh", "-c", 'cat; echo "$1|$2" >&2', "name", "a b", "--help", input="text\n")
        self.assertEqual((done.stdout, done.stderr), ("text\n", "a b|--help\n"))

    def test_a_program_that_is_not_there_is_127_and_one_that_cannot_run_is_126(self):
        done = run("k1c", "--", "/no/such/program")
        self.assertEqual(done.returncode, 127)
        self.assertIn("/no/such/program", done.stderr)
        self.assertEqual(run("k1c", "--", "/etc/passwd").returncode, 126)

    def test_wrong_words_are_status_2_with_a_reason(self):
        for words in (["k1c"], ["k1c", "--"], ["nocamera", "--", "true"], ["k1c,nooption=1", "--", "true"],
                      ["--", "true"], ["k1c", "--nooption", "--", "true"]):
            done = run(*words)
            self.assertEqual(done.returncode, 2, words)
            self.assertNotEqual(done.stderr + done.stdout, "", words)

    def test_help_is_on_standard_output(self):
        done = run("--help")
        self.assertEqual(done.returncode, 0)
        self.assertIn("orq-emulate k1c -- lsusb -v", done.stdout)

    def test_signals_are_passed_on(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGUSR1):
            name = signal.Signals(number).name[3:]
            script = f"trap 'echo got; exit 5' {name}; echo ready; while :; do sleep 0.05; done"
            process = start("k1c", "--", "sh", "-c", script, stdout=subprocess.PIPE)
            self.assertEqual(process.stdout.readline(), "ready\n")
            process.send_signal(number)
            self.assertEqual(process.communicate(timeout=PATIENCE)[0], "got\n", name)
            self.assertEqual(process.returncode, 5, name)

    def test_nothing_is_left_in_the_temporary_folder(self):
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run([EMULATE, "k1c", "--", "sh", "-c", "test -n \"$UMOCKDEV_DIR\""],
                                  env=dict(ENVIRONMENT, TMPDIR=folder), timeout=PATIENCE)
            self.assertEqual(done.returncode, 0)
            self.assertEqual(os.listdir(folder), [])


class Listing(unittest.TestCase):
    @unittest.skipUnless(shutil.which("lsusb"), "lsusb (Debian package usbutils) is not installed")
    def test_lsusb_shows_the_cameras(self):
        done = run("k1c,x26m,usb=2,serial=00112233aabbccdd", "--", "lsusb", "-v")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(len(re.findall(r"^Bus 00\d Device 00\d: ID f055:", done.stdout, re.M)), 2)
        self.assertRegex(done.stdout, r"idVendor +0xf055")
        self.assertRegex(done.stdout, r"idProduct +0x1101")
        self.assertRegex(done.stdout, r"iSerial +3 00112233aabbccdd")
        self.assertRegex(done.stdout, r"bEndpointAddress +0x81")
        self.assertRegex(done.stdout, r"wMaxPacketSize +0x0400")
        self.assertRegex(done.stdout, r"wMaxPacketSize +0x0200")
        self.assertRegex(done.stdout, r"bMaxBurst +15")
        self.assertIn("SuperSpeed USB Device Capability", done.stdout)

    def test_orqcam_lists_two_of_one_model_with_different_serial_numbers(self):
        done = run("k1c,k1c,seed=2", "--", ORQCAM, "list")
        self.assertEqual(done.returncode, 0, done.stderr)
        serials = re.findall(r"serial:([0-9a-f]{16})", done.stdout)
        self.assertEqual(len(set(serials)), 2, done.stdout)

    def test_orqcam_wants_to_know_which_of_two_cameras(self):
        done = run("k1c,x26m,serial=00112233aabbccdd", "--", ORQCAM, "info")
        self.assertEqual(done.returncode, 2, done.stdout)
        self.assertRegex(done.stderr, r"^orqcam: 2 cameras are connected; name one of them: "
                                      r"0 \(Tavix ORQ-\w+, serial:[0-9a-f]{16}\), "
                                      r"1 \(Tavix ORQ-\w+, serial:[0-9a-f]{16}\)\n$")
        self.assertEqual(run("k1c,x26m", "--", ORQCAM, "-c", "1", "info").returncode, 0)

    def test_orqcam_streams(self):
        done = run("k1c,prerender=4", "--", ORQCAM, "stream", "--exposure", "1ms", "--frames", "20",
                   "--region", "0,0,320,240")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn("failed = 0 frames", done.stdout)
        self.assertIn("identity_holds = yes", done.stdout)


class Rehearsing(unittest.TestCase):
    """A virtual camera beside one that is plugged in, of the same model and with the same serial number."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.environment = dict(ENVIRONMENT, XDG_CONFIG_HOME=os.path.join(self.folder.name, "config"),
                                XDG_STATE_HOME=os.path.join(self.folder.name, "state"), ORQCAM=ORQCAM,
                                TWIN="virtual:k1c,timescale=0,serial=00112233aabbccdd")

    def run_script(self, script):
        return subprocess.run([EMULATE, "k1c,timescale=0,serial=00112233aabbccdd", "--", "sh", "-ec", script],
                              env=self.environment, cwd=self.folder.name, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, timeout=PATIENCE * 2)

    def test_the_settings_of_the_camera_stay(self):
        done = self.run_script('"$ORQCAM" set gain=42; "$ORQCAM" -c "$TWIN" set gain=7; '
                               '"$ORQCAM" -c "$TWIN" set gain=8 > /dev/null; '
                               '"$ORQCAM" get gain; "$ORQCAM" -c "$TWIN" get gain')
        self.assertEqual((done.returncode, done.stdout), (0, "Gain = 42\nGain = 7\nGain = 42\nGain = 8\n"), done.stderr)

    def test_the_dark_of_the_camera_stays(self):
        done = self.run_script('"$ORQCAM" dark take -e 20ms > /dev/null; "$ORQCAM" -c "$TWIN" dark; '
                               '"$ORQCAM" -c "$TWIN" dark take -e 900ms > /dev/null; '
                               '"$ORQCAM" -c "$TWIN" dark off > /dev/null; "$ORQCAM" dark')
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertTrue(done.stdout.startswith("applied = no\nkept = none\n"), done.stdout)
        self.assertIn("exposure = 20000 us", done.stdout)
        self.assertNotIn("exposure = 900000 us", done.stdout)

    def test_a_thermometer_that_does_not_answer_shows_as_unknown(self):
        done = run("k1c,refuse=0xB3", "--", ORQCAM, "get", "temperature")
        self.assertEqual((done.returncode, done.stdout), (1, "Temperature = unknown\n"))
        self.assertEqual(done.stderr, "orqcam: Temperature is unknown: the thermometer does not answer\n")


class Commands(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = os.path.join(self.folder.name, "control")

    def tearDown(self):
        self.folder.cleanup()

    def connect(self):
        deadline = time.monotonic() + PATIENCE
        while True:
            connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            try:
                connection.connect(self.path)
                control = connection.makefile("rw")
                self.addCleanup(control.close)
                return control
            except OSError:
                if time.monotonic() > deadline:
                    raise
                time.sleep(0.01)
            finally:
                connection.close()  # the file keeps what it needs

    def ask(self, control, line):
        control.write(line + "\n")
        control.flush()
        return control.readline().strip()

    def devices(self, process, control):
        """How many cameras a program in the emulated system sees."""
        process.stdin.write("\n")
        process.stdin.flush()
        return int(process.stdout.readline())

    def test_a_socket_takes_commands(self):
        script = f"while read line; do '{ORQCAM}' list 2>/dev/null | grep -c serial: ; done; exit 3"
        process = start("k1c,k1c,seed=2", "--control", self.path, "--", "bash", "-c", script,
                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        control = self.connect()
        self.assertEqual(os.stat(self.path).st_mode & 0o777, 0o600)
        self.assertEqual(self.devices(process, control), 2)
        self.assertEqual(self.ask(control, "unplug 1"), "ok")
        self.assertEqual(self.devices(process, control), 1)
        self.assertEqual(self.ask(control, "replug 1"), "ok")
        self.assertEqual(self.devices(process, control), 2)
        self.assertTrue(self.ask(control, "unplug 7").startswith("error: "))
        other = self.connect()
        self.assertEqual(self.ask(other, "stall 0"), "ok")
        self.assertTrue(self.ask(other, "nonsense").startswith("error: "))
        process.stdin.close()
        self.assertEqual(process.wait(timeout=PATIENCE), 3)
        process.stdout.close()
        self.assertFalse(os.path.exists(self.path))

    def test_quit_asks_the_program_to_end(self):
        process = start("k1c", "--control", self.path, "--", "sh", "-c",
                        "trap 'exit 4' TERM; echo ready; while :; do sleep 0.05; done", stdout=subprocess.PIPE)
        self.assertEqual(process.stdout.readline(), "ready\n")
        self.assertEqual(self.ask(self.connect(), "quit"), "ok")
        self.assertEqual(process.wait(timeout=PATIENCE), 4)
        process.stdout.close()

    def test_standard_input_takes_commands_and_answers_go_to_standard_error(self):
        done = run("k1c", "--control", "-", "--", "sh", "-c", "cat; exec sleep 60",
                   input="unplug 0\nunplug 0\nreplug 0\nquit\n")
        self.assertEqual(done.returncode, 128 + signal.SIGTERM)
        answers = done.stderr.splitlines()
        self.assertEqual(answers[0], "ok")
        self.assertTrue(answers[1].startswith("error: "))
        self.assertEqual(answers[2:], ["ok", "ok"])
        self.assertEqual(done.stdout, "", "the program's input is empty")

    def test_a_socket_that_cannot_be_made_is_125(self):
        done = run("k1c", "--control", "/no/such/folder/socket", "--", "true")
        self.assertEqual(done.returncode, 125)
        self.assertIn("/no/such/folder/socket", done.stderr)


if __name__ == "__main__":
    unittest.main()
