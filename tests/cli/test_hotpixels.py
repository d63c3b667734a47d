"""hotpixels: the table of hot pixels in the camera's flash, and the correction that uses it."""

import os

from support import CliTest, Image, needs_pillow

RECORD = 0x40000
HEAD = 28  # of a dump of flash; the contents follow
SIZE = 0x40000
WIDTH, HEIGHT = 64, 48


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

    # Words

    def test_wrong_words_list_the_right_ones(self):
        self.assertIn("show, enable, disable, export", self.hot_fails(2))
        self.assertIn("--map", self.hot_fails(2, "show", "--maps"))
