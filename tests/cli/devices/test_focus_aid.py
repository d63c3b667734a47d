"""focus-aid: how sharp the stars are."""

from support import CliTest

K1C = "virtual:k1c,timescale=0.01"
H53M = "virtual:h53m,timescale=0.01,focus=300"
SKY = ("-e", "2s", "--gain", "40")


class Tests(CliTest):
    def test_every_frame_has_a_line(self):
        lines = self.succeed("-c", K1C, "focus-aid", *SKY, "-n", "2")[0].splitlines()
        self.assertEqual(len(lines), 2)
        for line in lines:
            self.assertRegex(line, r"^hfr = [1-3]\.\d+ px, fwhm = [2-4]\.?\d* px, stars = \d+, saturated = \d+$")

    def test_json_is_one_object_per_frame(self):
        found = self.json_lines(self.succeed("-c", K1C, "focus-aid", *SKY, "-n", "2", "--json")[0])
        self.assertEqual([list(one) for one in found], [["hfr", "fwhm", "stars", "saturated"]] * 2)

    def test_a_frame_without_stars_has_no_width(self):
        found = self.json_lines(self.succeed("-c", K1C + ",scene=flat", "focus-aid", "-e", "1ms", "-n", "1", "--json")[0])
        self.assertEqual((found[0]["stars"], found[0]["hfr"]), (0, None))

    def test_the_profile_gives_seconds_of_arc(self):
        self.succeed("profile", "set", "focal_length=1000")
        found = self.json_lines(self.succeed("-c", K1C, "focus-aid", *SKY, "-n", "1", "--json")[0])[0]
        # Pixels of 2.9 um.
        self.assertAlmostEqual(found["fwhm_arcsec"], found["fwhm"] * 206.265 * 2.9 / 1000, delta=0.01)

    def test_a_curve_ends_at_the_sharpest_position(self):
        found = self.json_lines(self.succeed("-c", H53M, "focus-aid", *SKY, "--curve", "100,500,100", "--json")[0])
        self.assertEqual([one["position"] for one in found[:-1]], [100, 200, 300, 400, 500])
        self.assertEqual(found[-1]["best_position"], 300)
        self.assertEqual(found[-1]["best_hfr"], found[2]["hfr"])

    def test_wrong_words_are_refused(self):
        self.fail_with(2, "-c", H53M, "focus-aid", "--curve", "5,1,1")
        self.fail_with(2, "-c", H53M, "focus-aid", "--curve", "5,2000,1")
        self.fail_with(2, "-c", H53M, "focus-aid", "-n", "0")
        self.fail_with(1, "-c", K1C, "focus-aid", "--curve", "1,5,1")
