"""Files are whole or not there, and nothing else is ever left."""

import os
import resource
import shutil
import stat
import subprocess
import unittest

from support import CliTest, K1C, ORQCAM, TIMEOUT

SMALL = ("-c", K1C, "capture", "--region", "0,0,64,64")


class Tests(CliTest):
    def write(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)

    def read(self, name):
        with open(self.path(name), encoding="utf-8", errors="replace") as file:
            return file.read()

    def test_an_existing_file_is_kept(self):
        for name in ("x.fits", "x.png", "x.raw"):
            self.write(name, "precious")
            self.assertIn("--overwrite", self.fail_with(1, *SMALL, "-o", name))
            self.assertEqual(self.read(name), "precious")
        self.assertEqual(self.files(), ["x.fits", "x.png", "x.raw"])

    def test_an_existing_preview_or_sidecar_is_kept_and_nothing_is_taken(self):
        self.write("x.png", "precious")
        self.write("y.json", "precious")
        self.fail_with(1, *SMALL, "-o", "x.fits", "--png")
        self.fail_with(1, *SMALL, "-o", "y.raw")
        self.assertEqual(self.files(), ["x.png", "y.json"])

    def test_a_later_existing_file_stops_the_run_before_the_first_exposure(self):
        self.write("n3.fits", "precious")
        self.assertIn("n3.fits", self.fail_with(1, *SMALL, "-n", "5", "-o", "n{n}.fits"))
        self.assertEqual(self.files(), ["n3.fits"])

    def test_overwrite_replaces(self):
        self.write("x.fits", "old")
        self.succeed(*SMALL, "-o", "x.fits", "--overwrite")
        self.assertTrue(self.read("x.fits").startswith("SIMPLE"))
        self.assertEqual(self.files(), ["x.fits"])

    def test_files_have_the_usual_permissions(self):
        old = os.umask(0o027)
        try:
            self.succeed(*SMALL, "-o", "x.fits")
        finally:
            os.umask(old)
        self.assertEqual(stat.S_IMODE(os.stat(self.path("x.fits")).st_mode), 0o640)

    def test_a_missing_directory_is_one_clear_line(self):
        message = self.fail_with(1, *SMALL, "-o", "no/such/x.fits")
        self.assertIn("no/such/x.fits", message)
        self.assertIn("make the directory first", message)

    def test_a_file_in_place_of_a_directory_is_one_clear_line(self):
        self.write("file", "")
        self.assertIn("Not a directory", self.fail_with(1, *SMALL, "-o", "file/x.fits"))

    def test_a_directory_in_place_of_the_file_is_one_clear_line(self):
        os.mkdir(self.path("x.fits"))
        self.fail_with(1, *SMALL, "-o", "x.fits", "--overwrite")
        self.assertEqual(os.listdir(self.path("x.fits")), [])

    def test_a_directory_without_permission_is_one_clear_line(self):
        os.chmod(self.directory, 0o755)
        os.chmod(self.work, 0o555)
        self.addCleanup(os.chmod, self.work, 0o755)
        options = {}
        if os.geteuid() == 0:
            if not os.access(ORQCAM, os.X_OK) or not self.visible_to_nobody():
                self.skipTest("the program cannot be run by an ordinary user from here")
            options = {"user": 65534, "group": 65534}
        message = self.fail_with(1, *SMALL, "-o", "x.fits", **options)
        self.assertIn("Permission denied", message)
        self.assertIn("where you may write", message)
        self.assertEqual(self.files(), [])

    def visible_to_nobody(self):
        try:
            return subprocess.run([ORQCAM, "--version"], user=65534, group=65534, check=False, cwd="/",
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0
        except OSError:
            return False

    def test_a_file_size_limit_leaves_nothing(self):
        for name in ("x.fits", "x.png", "x.raw"):
            self.assertIn("File too large", self.fail_with(1, *SMALL, "--no-settings", "-o", name,
                                                            preexec_fn=self.limit(600)))
        self.assertEqual(self.files(), [])

    def limit(self, size):
        """For preexec_fn: no file may be larger than `size` bytes."""
        return lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, resource.RLIM_INFINITY))

    def test_pixels_without_their_description_are_not_left(self):
        # 16 x 8 pixels of 2 bytes fit, their description does not.
        message = self.fail_with(1, "-c", K1C, "--no-settings", "capture", "--region", "0,0,16,8", "-o", "x.raw",
                                 preexec_fn=self.limit(300))
        self.assertIn("x.json", message)
        self.assertEqual(self.files(), [])

    def test_a_frame_is_kept_when_its_preview_cannot_be_written(self):
        # Eight bits of noise: the colour picture is larger than the frame.
        noise = ("-c", K1C, "capture", "--region", "0,0,256,128", "-f", "raw8", "-e", "100s", "-g", "60", "--png")
        self.succeed(*noise, "-o", "size.fits")
        fits_size, png_size = (os.path.getsize(self.path(name)) for name in ("size.fits", "size.png"))
        self.assertLess(fits_size, png_size)
        done = self.run_tool(*noise, "-o", "x.fits", preexec_fn=self.limit(fits_size))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stdout, "file = x.fits\nsaved = 1\n")
        self.assertIn("x.png", done.stderr)
        self.assertEqual(self.files(), ["size.fits", "size.png", "x.fits"])

    def test_a_full_disk_leaves_nothing_and_says_so(self):
        if not shutil.which("unshare"):
            self.skipTest("unshare is not installed")
        script = ('mount -t tmpfs -o size=64k none "$1" 2>/dev/null || exit 77; cd "$1"; '
                  '"$2" -c virtual:k1c,timescale=0 capture -n 3 --center 128,128 -o "{n}.fits"; status=$?; ls -A; '
                  'exit $status')
        done = subprocess.run(["unshare", "-rm", "sh", "-c", script, "sh", self.work, ORQCAM], env=self.environment,
                              text=True, capture_output=True, timeout=TIMEOUT, check=False)
        if done.returncode == 77 or "unshare" in done.stderr:
            raise unittest.SkipTest("no private mounts on this machine")
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertIn("No space left on device; free some space", done.stderr)
        # One frame of 128 x 128 with its header takes 37 KiB: the first fits, the second does not.
        self.assertEqual(done.stdout.splitlines()[-1], "1.fits")
        self.assertNotIn(".part", done.stdout)

    def test_full_standard_output_is_a_failure(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            for arguments in (("--version",), ("-c", K1C, "info"), ("-c", K1C, "stream", "--frames", "1")):
                message = self.fail_with(1, *arguments, stdout=full)
                self.assertIn("standard output: No space left on device", message)

    def test_a_frame_is_kept_when_its_name_cannot_be_printed(self):
        with open("/dev/full", "w", encoding="utf-8") as full:
            self.fail_with(1, *SMALL, "-o", "x.fits", stdout=full)
        self.assertEqual(self.files(), ["x.fits"])

    def test_a_closed_pipe_is_a_failure_and_no_crash(self):
        read_end, write_end = os.pipe()
        os.close(read_end)
        try:
            self.assertIn("Broken pipe", self.fail_with(1, "-c", K1C, "info", stdout=write_end))
        finally:
            os.close(write_end)

    def test_closed_standard_descriptors_spoil_nothing(self):
        done = subprocess.run(["sh", "-c", 'exec "$0" "$@" >&- 2>&- <&-', ORQCAM, *SMALL, "-o", "x.fits"],
                              cwd=self.work, env=self.environment, timeout=TIMEOUT, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertTrue(self.read("x.fits").startswith("SIMPLE"))

    def test_a_name_that_is_too_long_is_found_before_the_exposure(self):
        done = self.run_tool("-c", "virtual:k1c", "capture", "-e", "1000s", "-o", "x" * 300 + ".fits")
        self.assertEqual(done.returncode, 1)
        self.assertIn("give a shorter --output", done.stderr)
        self.assertEqual(done.stdout, "")
