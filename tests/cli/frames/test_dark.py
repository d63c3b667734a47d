"""dark, --dark, --no-dark and --hot-pixels: what is subtracted from frames, and what is kept for that."""

import json
import os
import pty
import resource
import shutil
import signal
import struct

from support import CliTest, needs_astropy

WIDTH, HEIGHT = 64, 48
SERIAL = "0123456789abcdef"
HOT = (20, 10)


def average(values):
    return sum(values) // len(values)


class Tests(CliTest):
    def setUp(self):
        super().setUp()
        # Multiples of five: five frames, each divided by five, give them back.
        self.dark = [5 * ((x + y) % 5) for y in range(HEIGHT) for x in range(WIDTH)]
        self.light = [40 + (3 * x + y) % 120 for y in range(HEIGHT) for x in range(WIDTH)]
        self.covered = self.replay("covered.pgm", self.dark)
        self.open = self.replay("open.pgm", self.light)

    def replay(self, name, pixels, serial=SERIAL, width=WIDTH):
        """A camera that plays this frame; all of them are one camera for the tool."""
        with open(os.path.join(self.directory, name), "wb") as file:
            file.write(b"P5\n%d %d\n255\n" % (width, len(pixels) // width) + bytes(pixels))
        return f"virtual:replay,timescale=0,serial={serial},file={os.path.join(self.directory, name)}"

    def corrected(self, dark=None):
        """The open frame as it is delivered; no dark value is 31 above the average."""
        dark = dark or self.dark
        mean = average(dark)
        return [min(255, max(0, sample - value + mean)) for sample, value in zip(self.light, dark)]

    def frame(self, *arguments, camera=None):
        """(pixels, description, standard error) of a frame of the open camera in 8 bits."""
        _, err = self.succeed("-c", camera or self.open, "capture", "-f", "raw8", "-o", "frame.raw", "--overwrite",
                              *arguments)
        with open(self.path("frame.raw"), "rb") as file:
            pixels = list(file.read())
        with open(self.path("frame.json"), encoding="utf-8") as file:
            return pixels, json.load(file), err

    def take(self, *arguments, camera=None):
        return self.json("-c", camera or self.covered, "dark", "take", *arguments)

    def kept(self, serial=SERIAL):
        return os.path.join(self.directory, "state", "orqcam", "darks", "virtual-" + serial, "dark.bmp")

    def read(self, path):
        with open(path, "rb") as file:
            return file.read()

    def remembered(self):
        """All files of the place where darks are kept, with their contents."""
        top = os.path.dirname(self.kept())
        return {name: self.read(os.path.join(top, name)) for name in os.listdir(top)} if os.path.isdir(top) else {}

    # Taking, and what is kept

    def test_at_first_there_is_no_dark(self):
        self.assertEqual(self.succeed("-c", self.open, "dark")[0], "applied = no\nkept = none\n")
        self.assertEqual(self.json("-c", self.open, "dark"), {"applied": False, "kept": None})
        pixels, description, err = self.frame()
        self.assertEqual(pixels, self.light)
        self.assertNotIn("dark_file", description)
        self.assertEqual(err, "")

    def test_a_dark_is_taken_kept_and_applied(self):
        values = self.take("-e", "20ms")
        self.assertEqual({key: values[key] for key in ("file", "model", "serial", "exposure_us", "gain", "frames",
                                                       "average", "hot_pixels", "bad_rows", "applied")},
                         {"file": self.kept(), "model": "Tavix ORQ-Replay", "serial": SERIAL, "exposure_us": 20000,
                          "gain": 0, "frames": 5, "average": average(self.dark), "hot_pixels": 0, "bad_rows": 0,
                          "applied": True})
        self.assertRegex(values["taken"], r"^20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}$")
        bmp = self.read(self.kept())
        self.assertEqual(bmp[:2], b"BM")
        self.assertEqual(struct.unpack("<ii", bmp[18:26]), (WIDTH, HEIGHT))
        self.assertEqual(list(bmp[1078:]), self.dark)
        pixels, description, err = self.frame("-e", "20ms")
        self.assertEqual(pixels, self.corrected())
        self.assertEqual(description["dark_file"], "dark.bmp")
        self.assertEqual(err, "")

    def test_the_state_says_what_is_applied(self):
        taken = self.take()
        shown = self.json("-c", self.open, "dark")
        self.assertEqual(shown.pop("kept"), self.kept())
        self.assertEqual(shown, taken)
        text = self.values(self.succeed("-c", self.open, "dark")[0])
        self.assertEqual((text["applied"], text["file"], text["exposure"]),
                         ("yes", self.kept(), f"{taken['exposure_us']} us"))

    def test_hot_pixels_and_bad_rows_are_counted_and_repaired(self):
        defects = list(self.dark)
        defects[10 * WIDTH + 20] = 200
        for x in range(WIDTH // 2):
            defects[30 * WIDTH + x] = 150
        values = self.take("-e", "20ms", camera=self.replay("covered.pgm", defects))
        self.assertEqual((values["hot_pixels"], values["bad_rows"]), (1, 1))
        pixels = self.frame("-e", "20ms")[0]
        expected = self.corrected(defects)
        # The hot pixel lies inside: it becomes the mean of its corrected neighbours in the row.
        expected[10 * WIDTH + 20] = (expected[10 * WIDTH + 19] + expected[10 * WIDTH + 21]) // 2
        self.assertEqual(pixels[:30 * WIDTH], expected[:30 * WIDTH])

    def test_the_number_of_frames(self):
        for exposure, frames in (("100ms", 5), ("101ms", 4), ("550ms", 3), ("775ms", 2), ("776ms", 1)):
            self.assertEqual(self.take("-e", exposure)["frames"], frames)
        self.assertEqual(self.take("-n", "3")["frames"], 3)
        self.assertEqual(list(self.read(self.kept())[1078:]), [3 * (value // 3) for value in self.dark])
        for wrong in ("0", "17", "-1", "many"):
            self.assertIn("--frames", self.fail_with(2, "-c", self.covered, "dark", "take", "--frames", wrong))

    def test_wrong_settings_are_refused_before_anything_is_taken(self):
        for wrong in (("-e", "5"), ("-e", ""), ("--cool", "cold")):
            self.fail_with(2, "-c", self.covered, "dark", "take", *wrong)
        self.assertIn("Gain", self.fail_with(1, "-c", self.covered, "dark", "take", "-g", "5"))
        self.assertEqual(self.remembered(), {})

    def test_a_region_gets_its_part_of_the_dark(self):
        self.take("-e", "20ms")
        pixels = self.frame("-e", "20ms", "--region", "10,7,20,16")[0]
        part = [(10 + x) + (7 + y) * WIDTH for y in range(16) for x in range(20)]
        mean = average([self.dark[i] for i in part])
        self.assertEqual(pixels, [self.light[i] - self.dark[i] + mean for i in part])

    def test_a_dark_of_a_real_sensor_tells_the_temperature(self):
        values = self.take("-e", "10ms", camera="virtual:k1m,timescale=0,scene=dark,temp=5")
        self.assertAlmostEqual(values["temperature_c"], 5, delta=1)

    def test_rows_of_any_length_come_back(self):
        self.light = self.light[:30 * 20]
        self.dark = [5 * (i % 6) for i in range(30 * 20)]
        self.open = self.replay("open.pgm", self.light, width=30)
        self.take("-e", "20ms", camera=self.replay("covered.pgm", self.dark, width=30))
        bmp = self.read(self.kept())
        # The format's rows are 32 bytes long; these stand without padding, and zeros fill the file.
        self.assertEqual(struct.unpack("<I", bmp[2:6])[0], 1078 + 32 * 20)
        self.assertEqual(list(bmp[1078:]), self.dark + [0] * 40)
        self.assertEqual(self.frame("-e", "20ms")[0], self.corrected())

    def test_each_camera_has_its_own_dark(self):
        self.take("-e", "20ms")
        other = self.replay("open.pgm", self.light, serial="fedcba9876543210")
        self.assertEqual(self.frame("-e", "20ms", camera=other)[0], self.light)
        self.assertEqual(self.json("-c", other, "dark"), {"applied": False, "kept": None})

    def test_a_camera_without_serial_number_is_known_by_its_model(self):
        self.take("-e", "20ms", camera=self.covered + ",refuse=0xC8")
        self.assertTrue(os.path.exists(self.kept("replay")))
        self.assertEqual(self.frame("-e", "20ms", camera=self.open + ",refuse=0xC8")[0], self.corrected())
        self.assertEqual(self.frame("-e", "20ms")[0], self.light)

    def test_taking_a_dark_keeps_no_settings(self):
        self.take("-e", "77ms")
        self.assertNotEqual(self.values(self.succeed("-c", self.open, "get", "Exposure")[0])["Exposure"], "77000 us")

    def test_the_settings_know_nothing_of_the_dark(self):
        self.take("-e", "20ms")

        self.succeed("-c", self.open, "set", "Exposure=20ms")

        def look():
            text = json.dumps(self.json("-c", self.open, "settings", "show"))
            self.assertIn('"CutDark": 0', text)
            self.assertNotIn("dark.bmp", text)

        for arguments in (("capture", "-o", "x.fits"), ("capture", "--video", "-o", "y.fits"),
                          ("stream", "--frames", "2"), ("capture", "--auto-exposure", "-o", "z.fits")):
            self.succeed("-c", self.open, *arguments)
            look()
        process = self.start_tool("-c", self.open, "capture", "--video", "-n", "100000", "-o", "{n}.fits")
        process.stdout.readline()
        self.assertEqual(self.interrupt(process)[0], 1)
        look()

    # Which one is applied

    def test_what_is_applied_can_be_switched(self):
        self.take("-e", "20ms")
        self.assertEqual(self.json("-c", self.open, "dark", "off"), {"applied": False})
        self.assertEqual(self.frame()[0], self.light)
        self.assertEqual(self.json("-c", self.open, "dark"), {"applied": False, "kept": self.kept()})
        self.assertTrue(self.json("-c", self.open, "dark", "use")["applied"])
        self.assertEqual(self.frame("-e", "20ms")[0], self.corrected())
        self.succeed("-c", self.open, "dark", "off")
        self.succeed("-c", self.open, "dark", "off")

    def test_a_file_can_be_applied_from_anywhere(self):
        other = [20] * (WIDTH * HEIGHT)
        other[0] = 10
        values = self.take("-e", "20ms", "-o", "mine.bmp", camera=self.replay("covered.pgm", other))
        self.assertFalse(values["applied"])
        self.assertEqual(self.frame("-e", "20ms")[0], self.light)
        self.succeed("-c", self.open, "dark", "use", "mine.bmp")
        home = self.work
        self.work = os.path.join(self.directory, "elsewhere")
        os.mkdir(self.work)
        pixels, description, _ = self.frame("-e", "20ms")
        self.work = home
        self.assertEqual(pixels, self.corrected(other))
        self.assertEqual(description["dark_file"], "mine.bmp")

    def test_one_run_can_have_another_or_none(self):
        self.take("-e", "20ms")
        flat = [15] * (WIDTH * HEIGHT)
        self.take("-e", "20ms", "-o", "flat.bmp", camera=self.replay("covered.pgm", flat))
        self.assertEqual(self.frame("-e", "20ms", "--dark", "flat.bmp")[0], self.light)
        self.assertEqual(self.frame("-e", "20ms", "--no-dark")[0], self.light)
        self.assertEqual(self.frame("-e", "20ms")[0], self.corrected())
        self.fail_with(2, "-c", self.open, "capture", "--dark", "flat.bmp", "--no-dark")

    def test_without_settings_the_choice_does_not_count(self):
        self.take("-e", "20ms")
        self.assertEqual(self.frame("-e", "20ms", "--no-settings")[0], self.light)
        self.assertEqual(self.frame("-e", "20ms", "--no-settings", "--dark", self.kept())[0], self.corrected())

    def test_calibration_frames_are_not_corrected_unless_told(self):
        self.take("-e", "20ms")
        for kind in ("dark", "bias"):
            self.assertEqual(self.frame("-e", "20ms", "--image-type", kind)[0], self.light)
        self.assertEqual(self.frame("-e", "20ms", "--image-type", "flat")[0], self.corrected())
        self.assertEqual(self.frame("-e", "20ms", "--image-type", "bias", "--dark", self.kept())[0],
                         self.corrected())

    @needs_astropy
    def test_the_file_says_that_a_dark_was_subtracted(self):
        self.take("-e", "20ms")
        for extra in ((), ("--video",)):
            self.succeed("-c", self.open, "capture", "-e", "20ms", "-o", "x.fits", "--overwrite", *extra)
            header, _ = self.open_fits("x.fits")
            self.assertEqual(header["DARKFILE"], "dark.bmp")
            self.assertRegex(str(header["HISTORY"]),
                             r"^dark subtracted: 5 x 20ms, gain 0, 20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d$")
        self.succeed("-c", self.open, "capture", "-e", "20ms", "-o", "y.fits", "--no-dark")
        header, _ = self.open_fits("y.fits")
        self.assertNotIn("DARKFILE", header)
        self.assertNotIn("HISTORY", header)
        self.fail_with(2, "-c", self.open, "capture", "-k", "DARKFILE=x")

    # What does not fit

    def test_other_settings_are_told(self):
        camera = "virtual:k1m,timescale=0,scene=dark,temp="
        self.take("-e", "50ms", "-g", "10", "-o", "d.bmp", camera=camera + "0")

        def told(temperature, *arguments):
            return self.succeed("-c", camera + temperature, "capture", "--center", "64,64", "--dark", "d.bmp", "-o",
                                "x.fits", "--overwrite", *arguments)[1]

        self.assertEqual(told("0", "-e", "54ms", "-g", "10"), "")
        self.assertEqual(told("0", "-e", "46ms", "-g", "10"), "")
        self.assertEqual(told("0", "-e", "60ms", "-g", "10"),
                         "orqcam: the dark was taken differently: exposure 50ms, now 60ms\n")
        self.assertEqual(told("0", "-e", "50ms", "-g", "11"),
                         "orqcam: the dark was taken differently: gain 10, now 11\n")
        self.assertRegex(told("9", "-e", "50ms", "-g", "10"), r"differently: sensor at -?\d\.\d C, now \d\.\d C\n$")
        self.assertRegex(told("0,seed=2", "-e", "50ms", "-g", "10"), r"differently: camera [0-9a-f]{16}\n$")
        out, err = self.succeed("-c", camera + "0", "stream", "--center", "64,64", "--dark", "d.bmp", "-e", "1ms",
                                "-g", "10", "--frames", "1")
        self.assertIn("exposure 50ms, now 1ms", err)

    def test_short_automatic_exposures_stay_uncorrected(self):
        self.take("-e", "20ms")
        self.succeed("-c", self.open, "set", "Exposure=auto")
        pixels, description, err = self.frame()
        self.assertEqual(pixels, self.light)
        self.assertNotIn("dark_file", description)
        self.assertIn("not subtracted from frames exposed for less than 500ms", err)
        self.assertIn("less than 500ms", self.succeed("-c", self.open, "dark")[1])
        self.assertEqual(self.frame("-e", "20ms")[0], self.corrected())

    def test_a_dark_of_another_size_is_refused(self):
        small = self.replay("small.pgm", [10] * 32 * 24, width=32)
        self.take("-e", "20ms", "-o", "small.bmp", camera=small)
        for command in (("dark", "use", "small.bmp"), ("dark", "load", "small.bmp"),
                        ("capture", "--dark", "small.bmp"), ("stream", "--frames", "1", "--dark", "small.bmp")):
            message = self.fail_with(1, "-c", self.open, *command)
            self.assertIn("32 x 24", message)
            self.assertIn("64 x 48", message)
        self.assertEqual(self.remembered(), {})

    def test_a_chosen_dark_that_is_gone_stops_a_run_before_it_begins(self):
        self.take("-e", "20ms")
        os.remove(self.kept())
        message = self.fail_with(1, "-c", self.open, "capture", "-o", "x.fits")
        self.assertIn("No such file", message)
        self.assertIn("--no-dark", message)
        self.assertEqual(self.files(), [])
        done = self.run_tool("-c", self.open, "dark")
        self.assertEqual(done.returncode, 1)
        self.assertIn("applied = yes\n", done.stdout)
        self.assertIn("No such file", done.stderr)
        self.succeed("-c", self.open, "dark", "off")
        self.assertIn("dark take", self.fail_with(1, "-c", self.open, "dark", "use"))

    def test_what_is_no_dark_is_refused(self):
        self.take("-e", "20ms", "-o", "good.bmp")
        good = self.read(self.path("good.bmp"))
        wrong = {"text": b"hello", "short": good[:40], "cut": good[:-1], "png": b"\x89PNG" + good[4:],
                 "colour": good[:28] + b"\x18\0" + good[30:], "nothing": b"",
                 "upside": good[:22] + struct.pack("<i", -HEIGHT) + good[26:],
                 "far": good[:10] + b"\xff\xff\xff\xff" + good[14:]}
        for name, content in wrong.items():
            with open(self.path(name + ".bmp"), "wb") as file:
                file.write(content)
            self.assertIn("is no dark", self.fail_with(1, "-c", self.open, "dark", "use", name + ".bmp"), name)
        os.mkfifo(self.path("pipe.bmp"))
        os.mkdir(self.path("directory.bmp"))
        for name in ("pipe.bmp", "directory.bmp", "missing.bmp", "no/such.bmp", ""):
            for command in (("capture", "--dark"), ("dark", "load")):
                self.fail_with(1, "-c", self.open, *command, name)
        self.assertEqual(self.remembered(), {})

    def test_a_description_that_does_not_count_is_told_and_left_out(self):
        self.take("-e", "20ms", "-o", "a.bmp")
        good = json.loads(self.read(self.path("a.json")))
        for text in ("", "[", "{}", "[" * 60000, json.dumps({**good, "gain": "x"}), json.dumps({**good, "gain": 1e300}),
                     json.dumps({**good, "exposure_us": -1}), json.dumps({**good, "frames": 2**40}),
                     json.dumps({**good, "orqcam_dark": 2}), json.dumps({**good, "check_sum": "0"}), " " * 70000):
            with open(self.path("a.json"), "w", encoding="ascii") as file:
                file.write(text)
            pixels, _, err = self.frame("-e", "1s", "--dark", "a.bmp")
            self.assertEqual(pixels, self.corrected())
            self.assertRegex(err, r"^orqcam: .*a\.json'.*\n$")
        os.remove(self.path("a.json"))
        self.assertEqual(self.frame("-e", "1s", "--dark", "a.bmp")[2], "")

    def test_a_damaged_choice_is_told_and_can_be_made_again(self):
        self.take("-e", "20ms")
        with open(os.path.join(os.path.dirname(self.kept()), "applied"), "w", encoding="ascii") as file:
            file.write("garbage")
        for command in (("dark",), ("capture",)):
            self.assertIn("dark off", self.fail_with(1, "-c", self.open, *command))
        self.succeed("-c", self.open, "dark", "use")
        self.assertEqual(self.frame("-e", "20ms")[0], self.corrected())

    def test_a_dark_that_shows_nothing_or_too_much_is_told(self):
        black = self.replay("covered.pgm", [4] * (WIDTH * HEIGHT))
        self.assertIn("black", self.succeed("-c", black, "dark", "take", "-e", "20ms")[1])
        bright = self.replay("covered.pgm", [64] * (WIDTH * HEIGHT))
        self.assertEqual(self.succeed("-c", bright, "dark", "take", "-n", "5")[1], "")
        self.assertIn("was the sensor covered?", self.succeed("-c", bright, "dark", "take", "-n", "4")[1])

    # Files

    def test_save_and_load_copy_the_kept_dark(self):
        self.assertIn("dark take", self.fail_with(1, "-c", self.open, "dark", "save", "x.bmp"))
        taken = self.take("-e", "20ms")
        saved = self.json("-c", self.open, "dark", "save", "x.bmp")
        self.assertEqual((saved["file"], saved["taken"]), ("x.bmp", taken["taken"]))
        self.assertEqual(self.read(self.path("x.bmp")), self.read(self.kept()))
        self.assertEqual(self.files(), ["x.bmp", "x.json"])
        self.assertIn("--overwrite", self.fail_with(1, "-c", self.open, "dark", "save", "x.bmp"))
        self.succeed("-c", self.open, "dark", "save", "x.bmp", "--overwrite")
        shutil.rmtree(os.path.join(self.directory, "state"))
        loaded = self.json("-c", self.open, "dark", "load", "x.bmp")
        self.assertEqual(loaded, {**taken, "applied": True})
        self.assertEqual(self.frame("-e", "20ms")[0], self.corrected())
        # A dark from elsewhere has no description, and that of the one before is not its own.
        os.remove(self.path("x.json"))
        self.assertEqual(self.json("-c", self.open, "dark", "load", "x.bmp"), {"applied": True, "file": self.kept()})
        self.assertEqual(sorted(self.remembered()), ["applied", "dark.bmp"])

    def test_names_of_darks(self):
        for name in ("x.fits", "x", ".bmp", "x.json"):
            self.assertIn(".bmp", self.fail_with(2, "-c", self.covered, "dark", "take", "-o", name))
            self.assertIn(".bmp", self.fail_with(2, "-c", self.covered, "dark", "save", name))
        for name in ("x.bmp", "x.json"):
            with open(self.path(name), "w", encoding="ascii") as file:
                file.write("mine")
            self.assertIn(name, self.fail_with(1, "-c", self.covered, "dark", "take", "-o", "x.bmp"))
            self.assertEqual(self.read(self.path(name)), b"mine")
            os.remove(self.path(name))

    def limit(self, size):
        """For preexec_fn: no file may be larger than `size` bytes."""
        return lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, resource.RLIM_INFINITY))

    def test_what_cannot_be_written_leaves_what_was_there(self):
        self.take("-e", "20ms")
        before = self.remembered()
        other = self.replay("covered.pgm", [20] * (WIDTH * HEIGHT))
        for size in (100, 1000, 4000):  # no description, no dark, half a dark
            self.assertIn("File too large", self.fail_with(1, "-c", other, "dark", "take", "-e", "20ms",
                                                           preexec_fn=self.limit(size)))
            self.assertIn("File too large", self.fail_with(1, "-c", other, "dark", "take", "-o", "x.bmp",
                                                           preexec_fn=self.limit(size)))
            self.assertEqual(self.remembered(), before)
        self.assertEqual(self.files(), [])
        self.assertEqual(self.frame("-e", "20ms")[0], self.corrected())

    def test_without_a_place_nothing_is_taken(self):
        os.makedirs(os.path.join(self.directory, "state", "orqcam"))
        with open(os.path.join(self.directory, "state", "orqcam", "darks"), "w", encoding="ascii"):
            pass
        self.assertIn("Not a directory", self.fail_with(1, "-c", self.covered, "dark", "take"))
        self.assertIn("No such file", self.fail_with(1, "-c", self.covered, "dark", "take", "-o", "no/x.bmp"))
        del self.environment["XDG_STATE_HOME"]
        self.environment.pop("HOME", None)
        self.assertIn("XDG_STATE_HOME", self.fail_with(1, "-c", self.covered, "dark", "take"))
        self.assertEqual(self.json("-c", self.covered, "dark"), {"applied": False, "kept": None})
        self.assertEqual(self.frame()[0], self.light)

    # Interrupts and failures

    def test_ctrl_c_keeps_the_old_dark_and_leaves_the_camera_usable(self):
        self.take("-e", "20ms")
        before = self.remembered()
        for number in (signal.SIGINT, signal.SIGTERM):
            process = self.start_tool("-c", self.covered.replace("timescale=0", "timescale=1"), "--debug", "dark",
                                      "take", "-e", "1000s")
            for line in process.stderr:
                if "start capture create thread" in line:
                    break
            code, out, err = self.interrupt(process, number)
            self.assertEqual((code, out), (1, ""), err)
            self.assertIn("orqcam: stopped while the dark was collected\n", err)
            self.assertEqual(self.remembered(), before)
        self.assertEqual(self.frame("-e", "20ms")[0], self.corrected())

    def test_a_lost_camera_has_its_own_exit_code(self):
        for frame in (1, 3):
            self.fail_with(4, "-c", self.covered + f",unplug@{frame}", "dark", "take", "-e", "20ms")
        self.assertEqual(sorted(self.remembered()), [])

    def test_damaged_frames_are_repeated_but_not_for_ever(self):
        self.assertEqual(self.take("-e", "20ms", camera=self.covered + ",short@2,badtrailer@3")["frames"], 5)
        self.assertEqual(list(self.read(self.kept())[1078:]), self.dark)
        self.assertIn("3 frames of the dark in a row failed",
                      self.fail_with(1, "-c", self.covered + ",short@2,short@3,short@4", "dark", "take"))

    def test_a_terminal_sees_how_far_it_is(self):
        ours, theirs = pty.openpty()
        process = self.start_tool("-c", self.covered.replace("timescale=0", "timescale=1"), "dark", "take", "-e",
                                  "300ms", "-n", "2", stderr=theirs)
        os.close(theirs)
        seen = b""
        while True:
            try:
                part = os.read(ours, 4096)
            except OSError:
                break
            if not part:
                break
            seen += part
        os.close(ours)
        self.assertEqual(process.wait(), 0, seen)
        self.assertRegex(seen.decode(), r"\[#*\.*\] frame 1 of 2, \d+ %")

    # Hot pixels

    def with_table(self, record):
        """The open camera, with this at the beginning of its flash."""
        camera = self.open + f",state={self.path('camera.state')}"
        self.succeed("-c", camera, "flash", "dump", "dump.orqflash")
        content = self.read(self.path("dump.orqflash"))[:-8]
        content = content[:28] + record + content[28 + len(record):]
        total = 0xCBF29CE484222325
        for byte in content:
            total = (total ^ byte) * 0x100000001B3 % 2**64
        with open(self.path("dump.orqflash"), "wb") as file:
            file.write(content + total.to_bytes(8, "little"))
        self.succeed("-c", camera, "flash", "restore", "dump.orqflash", "--yes")
        return camera

    def test_hot_pixels_of_the_table_are_repaired(self):
        self.light[HOT[1] * WIDTH + HOT[0]] = 250
        self.open = self.replay("open.pgm", self.light)
        # Pixel 660 is bit 4 of byte 82: the byte's place has its nibbles exchanged.
        position = HOT[1] * WIDTH + HOT[0]
        self.assertEqual((position // 8, position % 8), (82, 4))
        camera = self.with_table(b"ORQD" + struct.pack(">I", 10) + bytes([0x25, 0x10]))
        expected = list(self.light)
        expected[position] = (self.light[position - WIDTH] + self.light[position - 1] + self.light[position + 1] +
                              self.light[position + WIDTH]) // 4
        pixels, description, _ = self.frame("--no-settings", camera=camera)
        self.assertEqual(pixels, self.light)
        self.assertFalse(description["hot_pixels_repaired"])
        pixels, description, _ = self.frame("--no-settings", "--hot-pixels", camera=camera)
        self.assertEqual(pixels, expected)
        self.assertTrue(description["hot_pixels_repaired"])
        # An option holds for its command; what was enabled stays.
        self.frame("--hot-pixels", camera=camera)
        self.assertEqual(self.frame(camera=camera)[0], self.light)
        self.succeed("-c", camera, "hotpixels", "enable")
        self.assertEqual(self.frame("--no-hot-pixels", camera=camera)[0], self.light)
        self.assertEqual(self.frame(camera=camera)[0], expected)
        self.fail_with(2, "-c", camera, "capture", "--hot-pixels", "--no-hot-pixels")

    @needs_astropy
    def test_the_file_says_that_hot_pixels_were_repaired(self):
        camera = self.with_table(b"ORQD" + struct.pack(">I", 10) + bytes([0x25, 0x10]))
        self.succeed("-c", camera, "capture", "--hot-pixels", "-o", "x.fits")
        self.assertEqual(list(self.open_fits("x.fits")[0]["HISTORY"]), ["hot pixels repaired"])

    def test_without_a_table_hot_pixels_cannot_be_repaired(self):
        self.assertIn("no table of hot pixels", self.fail_with(1, "-c", self.open, "capture", "--hot-pixels"))
        self.fail_with(1, "-c", self.open, "stream", "--frames", "1", "--hot-pixels")
