"""FITS files as astronomy programs read them."""

import datetime
import time

from support import CliTest, K1C, X26M, needs_astropy, realdata


@needs_astropy
class Tests(CliTest):
    def take(self, *arguments, camera=K1C):
        self.succeed("-c", camera, "capture", "-o", "x.fits", "--overwrite", *arguments)
        return self.open_fits("x.fits")

    def test_the_keywords_of_a_colour_frame(self):
        header, data = self.take("-e", "250ms", "-g", "20", "--offset", "30", "--region", "100,50,200,98")
        self.assertEqual(str(data.dtype), "uint16")
        self.assertEqual(data.shape, (98, 200))
        expected = {"BITPIX": 16, "BZERO": 32768, "EXPTIME": 0.25, "GAIN": 20, "OFFSET": 30, "XBINNING": 1,
                    "YBINNING": 1, "XORGSUBF": 100, "YORGSUBF": 50, "XPIXSZ": 2.9, "YPIXSZ": 2.9,
                    "INSTRUME": "Tavix ORQ-K1C", "IMAGETYP": "Light Frame", "BAYERPAT": "RGGB", "XBAYROFF": 0,
                    "YBAYROFF": 0, "ROWORDER": "TOP-DOWN", "TIMESRC": "COMPUTER", "TIMESYS": "UTC"}
        self.assertEqual({key: header[key] for key in expected}, expected)
        # Gain 20 of this sensor is a factor of 2.5; 12 bits stand left-aligned in 16.
        self.assertAlmostEqual(header["EGAIN"], 3.6 / 2.5 / 16, places=6)
        self.assertGreater(header["TIMEUNC"], 0)
        self.assertLess(header["TIMEUNC"], 1)
        self.assertRegex(header["SWCREATE"], r"^orqcam \d")
        self.assertEqual(header["FRAMENO"], 1)
        self.assertEqual(header["CAMSEQ"], 0xFFFFFFF0)  # a camera just plugged in counts from there

    def test_frames_are_numbered_from_1_in_each_run_and_bear_the_cameras_number_as_well(self):
        for mode in ((), ("--video",)):
            lines = self.json_lines(self.succeed("-c", K1C, "capture", "--region", "0,0,64,64", *mode, "-n", "3",
                                                 "-o", "{n}.fits", "--overwrite", "--json")[0])
            for number, line in enumerate(lines[:3], 1):
                header, _ = self.open_fits(line["file"])
                self.assertEqual((header["FRAMENO"], header["CAMSEQ"]), (number, line["sequence"]))

    def test_the_start_of_exposure_is_utc_with_microseconds(self):
        before = time.time()
        header, _ = self.take("-e", "300ms", "--region", "0,0,64,64", camera="virtual:k1c")
        after = time.time()
        text = header["DATE-OBS"]
        self.assertRegex(text, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}$")
        start = datetime.datetime.fromisoformat(text).replace(tzinfo=datetime.timezone.utc).timestamp()
        self.assertGreaterEqual(start, before - header["TIMEUNC"])
        self.assertLessEqual(start, after - 0.3 + header["TIMEUNC"])

    def test_units_stand_in_comments(self):
        header, _ = self.take("--region", "0,0,64,64")
        for key, unit in (("EXPTIME", "[s]"), ("XPIXSZ", "[um]"), ("EGAIN", "[e-/ADU]"), ("TIMEUNC", "[s]")):
            self.assertTrue(header.comments[key].startswith(unit), header.comments[key])

    def test_the_bayer_pattern_follows_region_and_flip(self):
        for flip, pattern in (("none", "RGGB"), ("h", "GRBG"), ("v", "GBRG"), ("both", "BGGR")):
            header, _ = self.take("--region", "0,0,64,64", "--flip", flip)
            self.assertEqual(header["BAYERPAT"], pattern)

    def test_binned_frames_count_binned_pixels(self):
        header, data = self.take("--region", "128,64,256,128", "-b", "2")
        self.assertEqual(data.shape, (64, 128))
        self.assertEqual((header["XBINNING"], header["YBINNING"]), (2, 2))
        self.assertEqual((header["XORGSUBF"], header["YORGSUBF"]), (64, 32))
        self.assertEqual((header["XPIXSZ"], header["YPIXSZ"]), (5.8, 5.8))

    def test_a_mono_camera_has_no_bayer_keywords(self):
        header, _ = self.take("--center", "256,128", camera=X26M)
        for key in ("BAYERPAT", "XBAYROFF", "YBAYROFF"):
            self.assertNotIn(key, header)
        self.assertAlmostEqual(header["EGAIN"], 0.78, places=6)

    def test_eight_bit_frames_are_unsigned_bytes(self):
        header, data = self.take("--region", "0,0,64,48", "-f", "raw8")
        self.assertEqual(header["BITPIX"], 8)
        self.assertNotIn("BZERO", header)
        self.assertEqual(header["BAYERPAT"], "RGGB")
        self.assertEqual((str(data.dtype), data.shape), ("uint8", (48, 64)))

    def test_luminance_has_no_bayer_keywords(self):
        header, data = self.take("--region", "0,0,64,48", "-f", "y8")
        self.assertNotIn("BAYERPAT", header)
        self.assertEqual(data.shape, (48, 64))

    def test_rgb_frames_are_a_cube_of_red_green_blue(self):
        import numpy
        camera = f"virtual:replay,timescale=0,bayer=RGGB,file={realdata('sky/starfield-alt40.fits')}"
        header, cube = self.take("-f", "rgb24", camera=camera)
        self.assertEqual(cube.shape, (3, 768, 1024))
        self.assertNotIn("BAYERPAT", header)
        raw = self.take("-f", "raw8", camera=camera)[1]
        # Where the sensor has a colour, the demosaiced plane holds its own sample.
        numpy.testing.assert_array_equal(cube[0, ::2, ::2], raw[::2, ::2])
        numpy.testing.assert_array_equal(cube[1, ::2, 1::2], raw[::2, 1::2])
        numpy.testing.assert_array_equal(cube[1, 1::2, ::2], raw[1::2, ::2])
        numpy.testing.assert_array_equal(cube[2, 1::2, 1::2], raw[1::2, 1::2])

    def test_replayed_pixels_equal_those_of_the_recording(self):
        import numpy
        from support import fits
        for name in ("starfield-alt40.fits", "starfield-alt60.fits"):
            path = realdata("sky/" + name)
            header, data = self.take(camera=f"virtual:replay,timescale=0,file={path}")
            with fits.open(path) as hdus:
                numpy.testing.assert_array_equal(data, hdus[0].data)
            # Nothing is known about the camera that took it.
            self.assertNotIn("EGAIN", header)
            self.assertNotIn("XPIXSZ", header)

    def test_files_say_what_was_done_to_the_pixels(self):
        small = ("--region", "0,0,64,64")
        self.succeed("-c", K1C, "set", "wb_r=70", "wb_b=40")
        header, _ = self.take(*small, "--flip", "h", "--offset", "30", "-g", "0")
        # 30 of 4096 stand left-aligned in 16 bits; a well of 14700 e- at 3.6 e- each fills the converter.
        expected = {"WB_R": 70, "WB_B": 40, "GAMMA": 50, "FLIPPED": "h", "READOUTM": "Normal", "PEDESTAL": 480.0,
                    "DATAMAX": 65520.0}
        self.assertEqual({key: header[key] for key in expected}, expected)
        self.assertIn("not applied", header.comments["WB_R"])
        self.assertNotIn("COOLPOWR", header)
        curved, _ = self.take(*small, "--gamma", "0", "--offset", "30")
        self.assertEqual(curved["GAMMA"], 0)
        self.assertNotIn("EGAIN", curved)
        self.assertAlmostEqual(curved["PEDESTAL"], 480 ** 2 / 65535, delta=1)  # the curve of 0 is a square
        colour, _ = self.take(*small, "-f", "rgb24")
        self.assertIn("applied: ", colour.comments["WB_B"])
        self.assertNotIn("DATAMAX", colour)  # blue ends at 204, the others at 255
        mono, _ = self.take(*small, camera=X26M)
        self.assertNotIn("WB_R", mono)
        self.assertEqual(mono["COOLPOWR"], 0)

    def test_a_region_that_begins_inside_a_binned_pixel_says_so(self):
        header, _ = self.take("--region", "100,52,192,96", "-b", "3")
        self.assertAlmostEqual(header["XORGSUBF"] * 3, 100, places=6)
        self.assertAlmostEqual(header["YORGSUBF"] * 3, 52, places=6)
        header, _ = self.take("--region", "102,54,192,96", "-b", "3")
        self.assertEqual((header["XORGSUBF"], header["YORGSUBF"]), (34, 18))
        self.assertIsInstance(header["XORGSUBF"], int)

    def test_a_replayed_file_keeps_what_it_says_of_itself(self):
        from support import fits
        import numpy
        original = fits.PrimaryHDU(numpy.full((48, 64), 1000, "uint16"))
        original.header["DATE-OBS"] = "2023-01-02T03:04:05.678"
        original.header["EXPTIME"] = 12.5
        original.header["OBJECT"] = "Barnard's Star"
        original.writeto(self.path("old.fits"))
        camera = "virtual:replay,timescale=0,file=" + self.path("old.fits")
        header, _ = self.take("-e", "2s", "--object", "test", camera=camera)
        self.assertEqual((header["REPLAYED"], header["REPLDATE"], header["REPLEXPT"], header["REPLOBJ"]),
                         ("old.fits", "2023-01-02T03:04:05.678", 12.5, "Barnard's Star"))
        self.assertEqual((header["EXPTIME"], header["OBJECT"]), (2, "test"))
        self.assertNotIn("2023", header["DATE-OBS"])
        for key in ("DATE-OBS", "EXPTIME", "OBJECT"):
            del original.header[key]
        original.writeto(self.path("old.fits"), overwrite=True)
        header, _ = self.take(camera=camera)
        self.assertEqual(header["REPLAYED"], "old.fits")
        for key in ("REPLDATE", "REPLEXPT", "REPLOBJ"):
            self.assertNotIn(key, header)
        self.assertNotIn("REPLAYED", self.take("--region", "0,0,64,64")[0])

    def test_noise_that_is_cut_off_in_a_dark_is_told_once_and_in_every_file(self):
        dark = K1C + ",scene=dark"
        small = ("--region", "0,0,128,128", "-g", "100", "-n", "2", "-o", "{type}-{n}.fits", "--overwrite")
        for kind in ("dark", "bias"):
            _, err = self.succeed("-c", dark, "capture", *small, "--image-type", kind, "--offset", "8")
            self.assertEqual(err.count("raise the offset, which is 8"), 1, err)
            for number in (1, 2):
                header, data = self.open_fits(f"{kind}-{number}.fits")
                self.assertRegex(header["WARNING"], r"^\d+ % of the pixels are 0")
                share = (data == 0).mean() * 100
                self.assertAlmostEqual(float(header["WARNING"].split()[0]), share, delta=0.5)
        for arguments in (("--image-type", "dark"), ("--image-type", "light", "--offset", "8")):
            self.assertEqual(self.succeed("-c", dark, "capture", *small, *arguments)[1], "")
            self.assertNotIn("WARNING", self.open_fits(f"{arguments[1]}-1.fits")[0])

    def test_white_balance_leaves_raw_pixels_alone(self):
        import numpy
        for form in ("raw8", "raw16"):
            _, before = self.take("--region", "0,0,64,64", "-f", form)
            self.succeed("-c", K1C, "set", "wb_r=90", "wb_b=10")
            header, after = self.take("--region", "0,0,64,64", "-f", form)
            self.succeed("-c", K1C, "settings", "reset", "--yes")
            numpy.testing.assert_array_equal(before, after)
            self.assertEqual((header["WB_R"], header["WB_B"]), (90, 10))

    def test_image_types(self):
        for word, text in (("light", "Light Frame"), ("dark", "Dark Frame"), ("bias", "Bias Frame"),
                           ("FLAT", "Flat Field")):
            self.assertEqual(self.take("--region", "0,0,64,64", "--image-type", word)[0]["IMAGETYP"], text)

    def test_object_and_observer(self):
        header, _ = self.take("--region", "0,0,64,64", "--object", "Barnard's Star", "--observer", "A. N. Other")
        self.assertEqual((header["OBJECT"], header["OBSERVER"]), ("Barnard's Star", "A. N. Other"))

    def test_user_keywords_have_their_types(self):
        words = ("FOCUS=1234 / steps", "airmass=1.25", "GUIDED=T", "FILTER=Ha", "SITE='Hill / North'/where",
                 "CODE='0042'", "NEG=-7", "TEXT=don't", "EMPTY=", "TELESCOP=Newton 150/750")
        arguments = [part for word in words for part in ("-k", word)]
        header, _ = self.take("--region", "0,0,64,64", *arguments)
        self.assertEqual(header["FOCUS"], 1234)
        self.assertEqual(header.comments["FOCUS"], "steps")
        self.assertEqual(header["AIRMASS"], 1.25)
        self.assertIs(header["GUIDED"], True)
        self.assertEqual(header["FILTER"], "Ha")
        self.assertEqual(header["SITE"], "Hill / North")
        self.assertEqual(header.comments["SITE"], "where")
        self.assertEqual(header["CODE"], "0042")
        self.assertEqual(header["NEG"], -7)
        self.assertEqual(header["TEXT"], "don't")
        self.assertEqual(header["EMPTY"], "")
        self.assertEqual(header["TELESCOP"], "Newton 150/750")
        self.assertEqual(header.comments["TELESCOP"], "")

    def test_the_longest_texts_fit(self):
        text = "x" * 68
        header, _ = self.take("--region", "0,0,64,64", "-k", f"LONG={text}", "--object", text)
        self.assertEqual((header["LONG"], header["OBJECT"]), (text, text))

    def test_keywords_that_fits_does_not_allow_are_refused(self):
        for word in ("NINELETTR=1", "=1", "A B=1", "Ä=1", "NOVALUE", "A=naïve", "A='open", "A='x'y", "SIMPLE=F",
                     "NAXIS1=5", "END=1", "EXPTIME=5", "DATE-OBS=now", "BAYERPAT=RGGB", "A=" + "x" * 69,
                     "A=1 / " + "c" * 60, "COMMENT=hello"):
            self.fail_with(2, "-c", K1C, "capture", "-k", word)
        self.assertIn("--object", self.fail_with(2, "-c", K1C, "capture", "-k", "OBJECT=M42"))
        self.assertIn("twice", self.fail_with(2, "-c", K1C, "capture", "-k", "A=1", "-k", "a=2"))
        self.fail_with(2, "-c", K1C, "capture", "--object", "x" * 69)
        self.assertEqual(self.files(), [])
