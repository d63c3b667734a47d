"""hotpixels: the table of hot pixels in the camera's flash, and the correction that uses it."""

import os
import signal
import time

from support import CliTest, Image, TIMEOUT, needs_pillow, realdata

RECORD = 0x40000
HEAD = 28  # of a dump of flash; the contents follow
SIZE = 0x40000
WIDTH, HEIGHT = 64, 48
K1M = "virtual:k1m,timescale=0,scene=dark"


def compress(width, height, hot):
    """The record of a table, by the format's own rules."""
    bitmap = bytearray(width * height // 8)
    for x, y in hot:
        bitmap[(y * width + x) // 8] |= 1 << (y * width + x) % 8
    body = bytearray()
    for i, byte in enumerate(bitmap):
        if byte:
            body += bytes((i % 16 * 16 + i // 16 % 16, byte))
        if i % 256 == 255 and i + 1 != len(bitmap):
            body += bytes(2)
    return b"ORQD" + (8 + len(body)).to_bytes(4, "big") + bytes(body)


def read_pgm(path):
    """(width, height, samples) of an 8-bit file without comments."""
    with open(path, "rb") as file:
        magic, width, height, most, pixels = file.read().split(None, 4)
    assert (magic, most) == (b"P5", b"255")
    return int(width), int(height), pixels


class Tests(CliTest):
    HOT = [(10, 7), (11, 7), (40, 20), (63, 47)]
    BAD_ROW = 30  # of which every second pixel is hot

    def setUp(self):
        super().setUp()
        self.pixels = bytes((x * 3 + y * 5) % 200 for y in range(HEIGHT) for x in range(WIDTH))
        self.camera = self.replay(self.write_pgm("frame.pgm", WIDTH, HEIGHT, self.pixels))

    def write_pgm(self, name, width, height, pixels):
        with open(self.path(name), "wb") as file:
            file.write(b"P5\n%d %d\n255\n" % (width, height) + pixels)
        return self.path(name)

    def replay(self, path, more=""):
        """A camera that plays this file and keeps its flash."""
        return f"virtual:replay,file={path},timescale=0,serial=0123456789abcdef,state={self.path('state')}{more}"

    def hot(self, *arguments, more="", **options):
        return self.succeed("-c", self.camera + more, "hotpixels", *arguments, **options)

    def hot_json(self, *arguments, more=""):
        return self.json("-c", self.camera + more, "hotpixels", *arguments)

    def hot_fails(self, code, *arguments, more=""):
        return self.fail_with(code, "-c", self.camera + more, "hotpixels", *arguments)

    def flash(self):
        """What the camera's flash keeps for the host."""
        self.succeed("-c", self.camera, "flash", "dump", self.path("dump"), "--overwrite")
        with open(self.path("dump"), "rb") as file:
            return file.read()[HEAD:HEAD + SIZE]

    def put_flash(self, start):
        """Makes flash begin with these bytes."""
        self.succeed("-c", self.camera, "flash", "dump", self.path("dump"), "--overwrite")
        with open(self.path("dump"), "rb") as file:
            content = file.read()
        content = content[:HEAD] + start + content[HEAD + len(start):HEAD + SIZE]
        total = 0xCBF29CE484222325
        for byte in content:
            total = (total ^ byte) * 0x100000001B3 % 2**64
        with open(self.path("dump"), "wb") as file:
            file.write(content + total.to_bytes(8, "little"))
        self.succeed("-c", self.camera, "flash", "restore", self.path("dump"), "--yes")

    def put_table(self, *bad_rows):
        marked = self.HOT + [(x, y) for y in bad_rows for x in range(0, WIDTH, 2)]
        self.put_flash(compress(WIDTH, HEIGHT, marked))
        return sorted(marked, key=lambda place: (place[1], place[0]))

    def capture(self, *options):
        """The samples of one 8-bit frame, taken by a new process, and what that said on standard error."""
        _, err = self.succeed("-c", self.camera, "capture", "-f", "raw8", "-o", self.path("shot.raw"), "--overwrite",
                              *options)
        with open(self.path("shot.raw"), "rb") as file:
            return file.read(), err

    def at(self, pixels, x, y):
        return pixels[y * WIDTH + x]

    # Showing

    def test_a_new_camera_has_no_table(self):
        self.assertEqual(self.hot("show"), ("table = no\nenabled = no\n", ""))
        self.assertEqual(self.hot_json("show", "--list"), {"table": False, "enabled": False})

    def test_another_record_is_no_table(self):
        self.put_flash(b"ORQG\0\0\0\x0bxyz")
        self.assertEqual(self.hot_json("show"), {"table": False, "enabled": False})

    def test_a_table_is_counted(self):
        self.put_table()
        self.assertEqual(self.hot("show")[0], "table = yes\nenabled = no\nhot_pixels = 4\nbad_rows = 0\n")
        self.assertEqual(self.hot_json("show"), {"table": True, "enabled": False, "hot_pixels": 4, "bad_rows": 0})

    def test_a_table_is_listed(self):
        self.put_table(self.BAD_ROW)
        lines = self.hot("show", "--list")[0].splitlines()
        self.assertEqual(lines[2:], ["hot_pixels = 4", "bad_rows = 1", "bad_row_list = 30", "x   y", "10  7", "11  7",
                                     "40  20", "63  47"])
        values = self.hot_json("show", "--list")
        self.assertEqual(values["bad_row_list"], [30])
        self.assertEqual(values["hot_pixel_list"], [{"x": x, "y": y} for x, y in self.HOT])

    @needs_pillow
    def test_a_map_shows_where_they_are(self):
        marked = self.put_table(self.BAD_ROW)
        self.assertEqual(self.hot_json("show", "--map", "map.png")["map"], "map.png")
        with Image.open(self.path("map.png")) as picture:
            self.assertEqual((picture.mode, picture.size), ("L", (WIDTH, HEIGHT)))
            for y in range(HEIGHT):
                for x in range(WIDTH):
                    expected = 0 if (x, y) not in marked else 128 if y == self.BAD_ROW else 255
                    self.assertEqual(picture.getpixel((x, y)), expected, (x, y))

    def test_a_map_replaces_no_file_unless_told(self):
        self.put_table()
        with open(self.path("mine"), "w", encoding="ascii") as file:
            file.write("mine")
        self.assertIn("--overwrite", self.hot_fails(1, "show", "--map", "mine"))
        self.assertEqual(os.path.getsize(self.path("mine")), 4)
        self.hot("show", "--map", "mine", "--overwrite")
        with open(self.path("mine"), "rb") as file:
            self.assertEqual(file.read(4), b"\x89PNG")
        self.assertIn("cannot write 'no/map.png'", self.hot_fails(1, "show", "--map", "no/map.png"))

    def test_a_damaged_table_is_a_failure(self):
        for start in (b"ORQD\x00\x03\x00\x01", b"ORQD\0\0\0\x0e\0\0\0\0\x10\x01"):
            self.put_flash(start)
            for command in (["show"], ["enable"], ["export", "x.csv"]):
                self.assertIn("damaged", self.hot_fails(1, *command))
        self.assertNotIn("x.csv", self.files())

    def test_a_table_that_cannot_be_read_is_a_failure(self):
        self.put_table()
        for command in (["show"], ["enable"], ["export", "x.csv"]):
            self.assertIn("cannot read flash at 0x40000", self.hot_fails(1, *command, more=",refuse=0xC3"))
        self.assertEqual(self.hot_json("show", more=",flashread@1,flashread@2")["hot_pixels"], 4)

    # Switching

    def test_correction_is_kept_for_later_runs_until_it_is_switched_off(self):
        self.put_table(self.BAD_ROW)
        self.assertEqual(self.capture()[0], self.pixels)
        self.assertEqual(self.hot("enable"), ("enabled = yes\nhot_pixels = 4\nbad_rows = 1\n", ""))
        self.assertTrue(self.hot_json("show")["enabled"])
        frame, _ = self.capture()
        expected = bytearray(self.pixels)

        def mean(*places):
            return sum(self.at(expected, x, y) for x, y in places) // len(places)

        def put(x, y, value):
            expected[y * WIDTH + x] = value

        # (11, 7) is still hot when (10, 7) is repaired, and (10, 7) is not any more when (11, 7) is.
        put(10, 7, mean((10, 6), (9, 7), (10, 8)))
        put(11, 7, mean((11, 6), (10, 7), (12, 7), (11, 8)))
        put(40, 20, mean((40, 19), (39, 20), (41, 20), (40, 21)))
        put(63, 47, self.at(expected, 62, 47))
        for x in range(WIDTH):
            put(x, self.BAD_ROW, mean((x, 29), (x, 31)))
        self.assertEqual(frame, bytes(expected))
        self.assertEqual(self.hot_json("disable"), {"enabled": False})
        self.assertFalse(self.hot_json("show")["enabled"])
        self.assertEqual(self.capture()[0], self.pixels)

    def test_there_is_nothing_to_enable_without_a_table(self):
        message = self.hot_fails(1, "enable")
        self.assertIn("no hot-pixel table", message)
        self.assertIn("build --save", message)
        self.assertFalse(self.hot_json("show")["enabled"])

    def test_correction_that_is_not_kept_is_called_so(self):
        self.put_table()
        out, err = self.hot("enable", "--no-settings")
        self.assertEqual(self.values(out)["enabled"], "yes")
        self.assertIn("--no-settings", err)
        self.assertFalse(self.hot_json("show")["enabled"])

    def test_correction_that_has_lost_its_table_is_called_so(self):
        self.put_table()
        self.hot("enable")
        self.camera += ",refuse=0xC3"
        frame, err = self.capture()
        self.assertEqual(frame, self.pixels)
        self.assertEqual(err, "orqcam: hot pixels are not repaired: their table cannot be loaded; see orqcam hotpixels "
                              "show\n")

    # Exporting

    def test_a_table_becomes_a_list(self):
        marked = self.put_table(self.BAD_ROW)
        values = self.hot_json("export", "hot.csv")
        self.assertEqual(values, {"files": ["hot.csv"], "hot_pixels": 4, "bad_rows": 1})
        with open(self.path("hot.csv"), encoding="ascii") as file:
            lines = file.read().splitlines()
        self.assertEqual(lines[0], "x_px,y_px,value")
        self.assertEqual(lines[1:], [f"{x},{y},{2 if y == self.BAD_ROW else 1}" for x, y in marked])

    def test_a_table_becomes_an_image(self):
        marked = self.put_table(self.BAD_ROW)
        self.hot("export", "hot.BMP", "hot.csv")
        with open(self.path("hot.BMP"), "rb") as file:
            content = file.read()
        size = 1078 + WIDTH * HEIGHT
        self.assertEqual(len(content), size)
        self.assertEqual(content[:14], b"BM" + size.to_bytes(4, "little") + bytes(4) + (1078).to_bytes(4, "little"))
        self.assertEqual(content[14:30], b"\x28\0\0\0" + WIDTH.to_bytes(4, "little") + HEIGHT.to_bytes(4, "little") +
                         b"\1\0\x08\0")
        expected = bytearray(WIDTH * HEIGHT)
        for x, y in marked:
            expected[y * WIDTH + x] = 255
        self.assertEqual(content[1078:], bytes(expected))
        self.assertIn("hot.csv", self.files())

    def test_an_image_of_odd_width_is_as_long_as_its_header_says(self):
        self.camera = self.replay(self.write_pgm("odd.pgm", 30, 20, bytes(600)))
        self.put_flash(compress(30, 20, [(3, 4)]))
        self.hot("export", "hot.bmp")
        with open(self.path("hot.bmp"), "rb") as file:
            pixels = file.read()[1078:]
        self.assertEqual(pixels, bytes(4 * 30 + 3) + b"\xff" + bytes(32 * 20 - 4 * 30 - 4))

    def test_a_file_without_a_known_format_is_refused(self):
        self.put_table()
        for name in ("hot", "hot.png", "csv"):
            self.assertIn(".csv or .bmp", self.hot_fails(2, "export", "good.csv", name))
        self.assertNotIn("good.csv", self.files())

    def test_an_export_replaces_no_file_unless_told(self):
        self.put_table()
        with open(self.path("hot.csv"), "w", encoding="ascii") as file:
            file.write("mine")
        self.assertIn("--overwrite", self.hot_fails(1, "export", "hot.bmp", "hot.csv"))
        self.assertNotIn("hot.bmp", self.files())
        self.hot("export", "hot.csv", "--overwrite")
        self.assertGreater(os.path.getsize(self.path("hot.csv")), 16)
        self.assertIn("cannot write", self.hot_fails(1, "export", "no/hot.csv"))

    def test_there_is_nothing_to_export_without_a_table(self):
        self.assertIn("no hot-pixel table", self.hot_fails(1, "export", "hot.csv"))
        self.assertNotIn("hot.csv", self.files())

    # Building

    def dark_camera(self, width=WIDTH, height=HEIGHT, hot=HOT, level=45, ground=10):
        """Makes the camera play a dark in which these pixels stand out."""
        pixels = bytearray((ground,)) * (width * height)
        for x, y in hot:
            pixels[y * width + x] = level
        self.camera = self.replay(self.write_pgm("dark.pgm", width, height, bytes(pixels)))

    def backups(self):
        directory = os.path.join(self.directory, "state", "orqcam", "flash")
        return sorted(os.listdir(directory)) if os.path.isdir(directory) else []

    def erased_with(self, record):
        """The record area and the parameter sector when only this has been saved in a new camera."""
        page = (len(record) + 255) // 256 * 256
        return record.ljust(page, b"\0").ljust(SIZE, b"\xff")

    def test_a_table_that_is_not_saved_ends_with_the_command(self):
        self.dark_camera()
        out, err = self.hot("build", "-e", "3s")
        values = self.values(out)
        self.assertEqual(values, {"exposure": "3000000 us", "gain": "0", "frames": "1", "average": "10",
                                  "hot_pixels": "4", "bad_rows": "0", "saved": "no"})
        self.assertIn("--save", err)
        self.assertEqual(self.hot_json("show"), {"table": False, "enabled": False})
        self.assertEqual(self.flash(), b"\xff" * SIZE)

    def test_a_dark_does_not_change_the_kept_settings(self):
        self.camera = K1M
        self.succeed("-c", self.camera, "set", "Exposure=20ms", "Gain=3")
        values = self.hot_json("build", "-e", "1s", "-g", "5")
        self.assertEqual((values["exposure_us"], values["gain"]), (1000000, 5))
        self.assertIn("temperature_c", values)
        values = self.json("-c", self.camera, "get", "Exposure", "Gain")
        self.assertEqual((values["Exposure"]["value"], values["Gain"]["value"]), (20000, 3))

    def test_a_table_is_saved_in_the_camera(self):
        self.dark_camera()
        values = self.hot_json("build", "--list", "--save", "--yes")
        self.assertEqual(values["hot_pixel_list"], [{"x": x, "y": y} for x, y in self.HOT])
        self.assertTrue(values["saved"])
        self.assertTrue(os.path.isfile(values["backup"]))
        self.assertEqual(self.hot_json("show"), {"table": True, "enabled": False, "hot_pixels": 4, "bad_rows": 0})
        self.assertEqual(self.flash(), self.erased_with(compress(WIDTH, HEIGHT, self.HOT)))
        # A new one takes its place, and is used at once where correction is on.
        self.hot("enable")
        self.dark_camera(hot=self.HOT[:1])
        self.assertEqual(self.hot("build", "--save", "--yes")[1], "")
        self.assertEqual(self.hot_json("show"), {"table": True, "enabled": True, "hot_pixels": 1, "bad_rows": 0})

    def test_saving_says_how_to_make_use_of_the_table(self):
        self.dark_camera()
        self.assertIn("hotpixels enable", self.hot("build", "--save", "--yes")[1])

    def test_only_what_is_31_above_the_average_is_hot(self):
        for level, hot in ((40, 0), (41, 4)):
            self.dark_camera(level=level)
            self.assertEqual(self.hot_json("build", "--frames", "1")["hot_pixels"], hot)

    def test_every_frame_is_divided_before_it_is_added(self):
        self.dark_camera(level=31, ground=0)
        self.assertEqual(self.hot_json("build", "--frames", "1")["hot_pixels"], 4)
        values = self.hot_json("build", "--frames", "2")
        self.assertEqual((values["frames"], values["hot_pixels"]), (2, 0))  # 31 div 2, twice, is 30

    def test_a_table_for_a_sensor_without_hot_pixels_is_saved(self):
        self.dark_camera(hot=[])
        self.hot("build", "--save", "--yes")
        self.assertEqual(self.hot("show", "--list")[0],
                         "table = yes\nenabled = no\nhot_pixels = 0\nbad_rows = 0\nx  y\n")

    def test_pixels_without_a_place_in_the_table_do_not_count(self):
        self.dark_camera(31, 21, [(0, 0), (27, 20), (28, 20), (30, 20)])  # 651 pixels: 81 bytes and three more
        self.assertEqual(self.hot_json("build", "--save", "--yes")["hot_pixels"], 2)
        self.assertEqual(self.hot_json("show")["hot_pixels"], 2)

    def test_light_on_the_sensor_is_suspected(self):
        self.dark_camera(ground=100, level=100)
        self.assertIn("was the sensor covered?", self.hot("build")[1])
        self.dark_camera(hot=[(x, y) for x in range(0, WIDTH, 4) for y in range(0, HEIGHT, 4)])
        self.assertIn("was the sensor covered?", self.hot("build")[1])

    @needs_pillow
    def test_a_table_that_was_just_made_has_a_map(self):
        self.dark_camera()
        self.hot("build", "--map", "map.png")
        with Image.open(self.path("map.png")) as picture:
            self.assertEqual([picture.getpixel(place) for place in self.HOT + [(0, 0)]], [255] * 4 + [0])

    def test_wrong_numbers_are_refused_before_anything_is_taken(self):
        for arguments in (("--frames", "0"), ("--frames", "17"), ("--frames", "two"), ("-e", "5"), ("-g", "much")):
            self.hot_fails(2, "build", *arguments)

    def test_a_map_that_cannot_be_written_is_told_before_the_dark_is_taken(self):
        self.dark_camera()
        for name, reason in (("no/map.png", "No such file"), ("dark.pgm/map.png", "Not a directory"),
                             ("dark.pgm", "--overwrite"), (".", "File exists"), ("x" * 300 + ".png", "too long")):
            message = self.hot_fails(1, "build", "--save", "--yes", "--map", name, more=",unplug@1")
            self.assertIn("cannot write '" + name, message)
            self.assertIn(reason, message)
        self.assertIn("Is a directory", self.hot_fails(1, "build", "--map", ".", "--overwrite", more=",unplug@1"))
        self.assertEqual(self.files(), ["dark.pgm", "frame.pgm"])

    def test_a_lost_camera_during_the_dark_has_its_own_exit_code(self):
        self.dark_camera()
        self.hot_fails(4, "build", "--save", "--yes", more=",unplug@1")
        self.assertEqual(self.backups(), [])

    def test_ctrl_c_stops_the_dark(self):
        self.dark_camera()
        process = self.start_tool("-c", self.camera.replace("timescale=0", "timescale=1"), "hotpixels", "build", "-e",
                                  "1000s")
        self.await_file(self.path("state"))  # the camera is made: signals are handled
        status, out, err = self.interrupt(process)
        self.assertEqual((status, out), (1, ""))
        self.assertEqual(err, "orqcam: stopped while the dark was collected\n")
        self.capture()

    def await_file(self, path):
        deadline = time.monotonic() + TIMEOUT
        while not os.path.exists(path):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)

    # Saving, when something is in the way

    def test_without_a_terminal_saving_needs_a_word_before_the_dark_is_taken(self):
        self.dark_camera()
        self.assertIn("--yes", self.hot_fails(2, "build", "--save", more=",unplug@1"))
        self.assertEqual(self.backups(), [])

    def test_a_user_is_asked_and_may_say_no(self):
        self.dark_camera()
        status, out, shown = self.at_terminal(b"n\n", "-c", self.camera, "hotpixels", "build", "--save")
        self.assertEqual((status, out), (1, ""), shown)
        self.assertIn("a table of 4 hot pixels and 0 bad rows", shown)
        self.assertIn("0123456789abcdef", shown)
        self.assertIn("nothing was changed", shown)
        self.assertEqual(self.backups(), [])
        status, out, shown = self.at_terminal(b"y\n", "-c", self.camera, "hotpixels", "build", "--save")
        self.assertEqual(status, 0, shown)
        self.assertEqual(self.hot_json("show")["hot_pixels"], 4)

    def test_without_a_backup_nothing_is_saved(self):
        self.dark_camera()
        message = self.hot_fails(1, "build", "--save", "--yes", more=",flashread@10,flashread@11,flashread@12")
        self.assertIn("cannot read flash at 0x44000", message)
        message = self.hot_fails(1, "build", "--save", "--yes", "--backup", self.path("dark.pgm"))
        self.assertIn("nothing was changed", message)
        self.assertEqual(self.flash(), b"\xff" * SIZE)

    def test_faults_that_another_attempt_overcomes_do_not_show(self):
        for faults in (",flasherase@1", ",flashflip@1,flashflip@2,flashflip@3,flashflip@4",
                       ",flashread@130,flashread@131,flashread@132,flashread@133"):
            self.put_flash(b"something else")
            self.dark_camera()
            self.assertTrue(self.hot_json("build", "--save", "--yes", more=faults)["saved"], faults)
            self.assertEqual(self.flash(), self.erased_with(compress(WIDTH, HEIGHT, self.HOT)), faults)

    def test_a_save_that_failed_says_how_to_put_back_what_was_there(self):
        reads = "".join(f",flashread@{n}" for n in range(130, 136))
        for faults, code, reason in ((",refuse=0xC4", 1, "cannot erase flash at 0x40000"),
                                     (",refuse=0xC2", 1, "flash does not keep what is written at 0x40000"),
                                     (reads, 1, "cannot read flash at 0x40000"),
                                     (",flashread@259", 1, "was saved, but cannot be loaded"),
                                     (",flashpower@1", 4, "the camera was lost")):
            self.put_flash(b"the table that was there")
            before = self.flash()
            self.dark_camera()
            message = self.hot_fails(code, "build", "--save", "--yes", more=faults)
            self.assertIn(reason, message)
            advice = "what flash held before: orqcam flash restore '"
            self.assertIn(advice, message)
            backup = message[message.index(advice) + len(advice):].rstrip("'\n")
            self.succeed("-c", self.camera, "flash", "restore", backup, "--yes")
            self.assertEqual(self.flash(), before, faults)
            self.capture()

    def test_a_record_of_whole_pieces_is_saved(self):
        # 16 blocks of 256 bytes: 8 bytes of header, 15 block ends and 1005 entries are 2048 bytes.
        hot = [(i % 32 * 8 + i % 8, i // 32 * 4 + i % 4) for i in range(1005)]
        record = compress(256, 128, hot)
        self.assertEqual(len(record), 2048)
        self.dark_camera(256, 128, hot, level=100)
        self.assertTrue(self.hot_json("build", "--save", "--yes")["saved"])
        self.assertEqual(self.flash(), self.erased_with(record))
        self.assertEqual(self.hot_json("show")["hot_pixels"], 1005)

    def test_a_table_that_does_not_fit_is_refused(self):
        self.dark_camera(hot=[(x, y) for x in range(0, WIDTH, 8) for y in range(0, HEIGHT, 2)], level=255)
        done = self.run_tool("-c", self.camera, "hotpixels", "build", "--save", "--yes")
        self.assertEqual((done.returncode, done.stdout), (1, ""))
        self.assertIn("more hot pixels than the camera's flash has room for", done.stderr)
        self.assertNotIn("restore", done.stderr)
        self.assertEqual(self.flash(), b"\xff" * SIZE)

    def test_ctrl_c_while_saving_leaves_the_camera_usable(self):
        self.put_flash(b"the table that was there")
        before = self.flash()
        backups = len(self.backups())
        self.dark_camera()
        slow = self.camera.replace("timescale=0", "timescale=1") + ",flashms=10"
        process = self.start_tool("-c", slow, "hotpixels", "build", "-e", "1ms", "--save", "--yes")
        deadline = time.monotonic() + TIMEOUT
        while len(self.backups()) == backups:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        status, out, err = self.interrupt(process, signal.SIGINT)
        after = self.flash()
        saved = self.erased_with(compress(WIDTH, HEIGHT, self.HOT))
        if status == 0:  # it came too late
            self.assertEqual(after, saved)
        else:
            self.assertEqual((status, out), (1, ""))
            self.assertEqual(after, before if "nothing was changed" in err else saved, err)
        self.capture()

    # Real frames

    TEN = [(377, 43), (206, 44), (336, 85), (0, 86), (196, 188), (109, 200), (33, 315), (33, 317), (33, 319), (286, 340)]

    def test_a_real_dark_repairs_a_real_frame_in_a_new_process(self):
        light = realdata("dark/light-3916ms-same-camera.pgm")
        width, height, sent = read_pgm(light)
        self.camera = self.replay(realdata("dark/dark-3916ms-a.pgm"), ",bayer=GBRG")
        values = self.hot_json("build", "-e", "3916ms", "--list", "--save", "--yes")
        self.assertEqual((values["frames"], values["average"], values["hot_pixels"]), (1, 0, 10))
        self.assertEqual([(place["x"], place["y"]) for place in values["hot_pixel_list"]], self.TEN)
        self.camera = self.replay(light, ",bayer=GBRG")
        self.assertEqual(self.capture("-e", "3916ms")[0], sent)
        self.hot("enable")
        expected = bytearray(sent)
        for x, y in self.TEN:
            if x == 0:  # at the border: the next sample of its colour
                expected[y * width] = expected[y * width + 2]
                continue
            around = [(x, y - 2), (x - 2, y), (x + 2, y), (x, y + 2)]
            # Samples of the list that are still to be repaired do not count.
            around = [place for place in around if place not in self.TEN or place[1] * width + place[0] < y * width + x]
            expected[y * width + x] = sum(expected[v * width + u] for u, v in around) // len(around)
        frame, _ = self.capture("-e", "3916ms")
        changed = [(i % width, i // width) for i in range(width * height) if frame[i] != sent[i]]
        self.assertEqual(changed, self.TEN)
        self.assertEqual(frame, bytes(expected))

    def test_two_real_darks_make_the_table_of_one(self):
        names = ["dark/dark-3916ms-a.pgm", "dark/dark-3916ms-b.pgm"]
        darks = [read_pgm(realdata(name)) for name in names]
        width, height, _ = darks[0]
        mean = [a // 2 + b // 2 for a, b in zip(darks[0][2], darks[1][2])]
        limit = sum(mean) // len(mean) + 30
        self.assertEqual([(i % width, i // width) for i, value in enumerate(mean) if value > limit], self.TEN)
        # By itself the second one has an eleventh: in either order it shows when one frame is taken twice.
        second = darks[1][2]
        limit = sum(second) // len(second) + 30
        self.assertEqual(sum(value > limit for value in second), 11)
        for order in (darks, darks[::-1]):
            with open(self.path("darks.ser"), "wb") as file:
                numbers = (0, 9, 0, width, height, 8, 2)  # camera, GBRG, byte order, size, depth, frames
                header = b"LUCAM-RECORDER" + b"".join(number.to_bytes(4, "little") for number in numbers)
                file.write(header.ljust(178, b"\0") + order[0][2] + order[1][2])
            self.camera = self.replay(self.path("darks.ser"))
            values = self.hot_json("build", "-e", "600ms", "--list")
            self.assertEqual((values["frames"], values["hot_pixels"]), (2, 10))
            self.assertEqual([(place["x"], place["y"]) for place in values["hot_pixel_list"]], self.TEN)

    # Words

    def test_wrong_words_list_the_right_ones(self):
        self.assertIn("build, show, enable, disable, export", self.hot_fails(2))
        self.assertIn("--map", self.hot_fails(2, "show", "--maps"))
