"""PNG previews and bare pixels."""

import json

from support import CliTest, K1C, X26M, Image, needs_pillow, realdata


class Tests(CliTest):
    def take(self, name, *arguments, camera=K1C):
        self.succeed("-c", camera, "capture", "-o", name, *arguments)

    @needs_pillow
    def test_a_colour_camera_gives_a_colour_picture_of_the_right_size(self):
        self.take("x.png", "--region", "0,0,320,200")
        with Image.open(self.path("x.png")) as picture:
            picture.load()
            self.assertEqual((picture.format, picture.mode, picture.size), ("PNG", "RGB", (320, 200)))

    @needs_pillow
    def test_a_mono_camera_gives_a_grey_picture(self):
        self.take("x.PNG", "--center", "320,200", camera=X26M)
        with Image.open(self.path("x.PNG")) as picture:
            picture.load()
            self.assertEqual((picture.mode, picture.size), ("L", (320, 200)))

    @needs_pillow
    def test_every_format_gives_a_picture(self):
        for name, mode in (("raw8", "RGB"), ("raw16", "RGB"), ("rgb24", "RGB"), ("y8", "L")):
            self.take(name + ".png", "--region", "0,0,64,48", "-f", name)
            with Image.open(self.path(name + ".png")) as picture:
                picture.load()
                self.assertEqual((picture.mode, picture.size), (mode, (64, 48)))

    @needs_pillow
    def test_the_stretch_puts_the_sky_at_a_quarter(self):
        import numpy
        path = realdata("sky/starfield-alt40.fits")
        self.take("x.fits", "--png", camera=f"virtual:replay,timescale=0,file={path}")
        self.assertEqual(self.files(), ["x.fits", "x.png"])
        with Image.open(self.path("x.png")) as picture:
            self.assertAlmostEqual(float(numpy.median(numpy.asarray(picture))), 0.25 * 255, delta=1.0)

    def test_bare_pixels_are_described_beside_them(self):
        self.take("x.raw", "--region", "100,50,200,98", "-e", "3ms", "-g", "5", "--offset", "40", "--object", "M31")
        self.assertEqual(self.files(), ["x.json", "x.raw"])
        with open(self.path("x.json"), encoding="utf-8") as file:
            description = json.load(file)
        expected = {"camera": "Tavix ORQ-K1C", "format": "raw16", "width": 200, "height": 98, "bytes_per_pixel": 2,
                    "byte_order": "little", "row_order": "top-down", "start_x": 100, "start_y": 50, "bin": 1,
                    "bayer": "RGGB", "exposure_us": 3000, "gain": 5, "offset": 40, "object": "M31"}
        self.assertEqual({key: description[key] for key in expected}, expected)
        with open(self.path("x.raw"), "rb") as file:
            self.assertEqual(len(file.read()), 200 * 98 * 2)
