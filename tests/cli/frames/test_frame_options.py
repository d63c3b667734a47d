"""What --gamma, --mono-bin and --time-mark make of a frame: the same seed gives the same frame without them."""

import unittest

from support import CliTest, K1C, fits, needs_astropy

if fits:
    import numpy

FLAT = K1C + ",scene=flat,flux=20000,seed=11"


@needs_astropy
class Tests(CliTest):
    def frame(self, name, *options):
        self.succeed("-c", FLAT, "capture", "--region", "0,0,256,64", *options, "-o", name)
        return self.open_fits(name)

    def test_gamma_maps_every_sample_along_the_curve(self):
        _, plain = self.frame("plain.fits", "-f", "raw8")
        _, dark = self.frame("dark.fits", "-f", "raw8", "--gamma", "0")
        _, bright = self.frame("bright.fits", "-f", "raw8", "--gamma", "100")
        x = plain.astype(numpy.float64) / 255
        numpy.testing.assert_allclose(dark, numpy.floor(x ** 2 * 255), atol=1)
        numpy.testing.assert_allclose(bright, numpy.floor(x ** 0.5 * 255), atol=1)
        self.assertGreater(int(bright.min()), int(plain.max()))

    def test_gamma_maps_16_bit_samples_too_and_then_their_gain_is_not_stated(self):
        header, plain = self.frame("plain.fits")
        curved, dark = self.frame("dark.fits", "--gamma", "0")
        x = plain.astype(numpy.float64) / 65535
        numpy.testing.assert_allclose(dark, numpy.floor(x ** 2 * 65535), atol=1)
        self.assertIn("EGAIN", header)
        self.assertNotIn("EGAIN", curved)

    def test_mono_bin_averages_the_four_colours_and_drops_the_pattern(self):
        _, plain = self.frame("plain.fits")
        header, mono = self.frame("mono.fits", "-b", "2", "--mono-bin")
        colour, _ = self.frame("colour.fits", "-b", "2")
        blocks = plain.astype(numpy.int64).reshape(32, 2, 128, 2).sum(axis=(1, 3))
        numpy.testing.assert_array_equal(mono, (blocks + 2) // 4)
        self.assertNotIn("BAYERPAT", header)
        self.assertIn("BAYERPAT", colour)

    def test_mono_bin_refuses_colour_frames(self):
        message = self.fail_with(1, "-c", FLAT, "capture", "-b", "2", "-f", "rgb24", "--mono-bin", "-o", "x.fits")
        self.assertIn("mono bin", message)
        self.assertEqual(self.files(), [])

    def test_mono_bin_is_no_control_of_a_monochrome_camera(self):
        self.fail_with(1, "-c", "virtual:k1m,timescale=0", "capture", "-b", "2", "--mono-bin", "-o", "x.fits")

    def test_a_time_mark_changes_nothing_but_its_corner(self):
        _, plain = self.frame("plain.fits", "-f", "raw8")
        _, marked = self.frame("marked.fits", "-f", "raw8", "--time-mark")
        # FITS rows count from the first in the file; the mark is in rows 7 to 22, columns 56 to 191 of 256.
        rows, columns = numpy.nonzero(plain != marked)
        self.assertGreater(len(rows), 200)
        rows = rows if rows.min() >= 7 and rows.max() <= 22 else 63 - rows
        self.assertTrue(7 <= rows.min() and rows.max() <= 22, rows)
        self.assertTrue(56 <= columns.min() and columns.max() <= 191, columns)
        self.assertEqual(len(set(marked[plain != marked])), 1, "one shade")

    def test_a_time_mark_needs_8_bits_and_room(self):
        self.assertIn("8-bit", self.fail_with(1, "-c", FLAT, "capture", "--time-mark", "-o", "x.fits"))
        self.assertIn("200 x 23", self.fail_with(1, "-c", FLAT, "capture", "--region", "0,0,128,64", "-f", "raw8",
                                                 "--time-mark", "-o", "x.fits"))


if __name__ == "__main__":
    unittest.main()
