"""profile: what is the same in all files of an observer."""

import json
import os

from support import CliTest, K1C, needs_astropy

SMALL = ("--region", "0,0,64,64")
FIELDS = ("observer=A. N. Other", "telescope=Newton 150/750", "focal-length=750", "filter=Ha", "site=Hill / North",
          "latitude=48.25", "longitude=-11.5", "elevation=520")
KEPT = {"observer": "A. N. Other", "telescope": "Newton 150/750", "focal_length_mm": 750.0, "filter": "Ha",
        "site": "Hill / North", "latitude_deg": 48.25, "longitude_deg": -11.5, "elevation_m": 520.0}


class Tests(CliTest):
    def file(self):
        return os.path.join(self.environment["XDG_CONFIG_HOME"], "orqcam", "profile.json")

    def write(self, text):
        os.makedirs(os.path.dirname(self.file()), exist_ok=True)
        with open(self.file(), "w", encoding="utf-8") as file:
            file.write(text)

    def test_what_was_set_is_shown_and_kept(self):
        self.assertEqual(self.json("profile"), {})
        self.assertEqual(self.json("profile", "set", *FIELDS), KEPT)
        self.assertEqual(self.json("profile"), KEPT)
        self.assertIn("focal_length = 750.0 mm\n", self.succeed("profile")[0])
        with open(self.file(), encoding="utf-8") as file:
            self.assertEqual(json.load(file), KEPT)
        self.assertEqual(os.listdir(os.path.dirname(self.file())), ["profile.json"], "nothing half-written is left")

    def test_fields_change_one_by_one_and_an_empty_value_forgets(self):
        self.succeed("profile", "set", *FIELDS)
        self.succeed("profile", "set", "FILTER=OIII", "telescope=")
        values = self.json("profile")
        self.assertEqual(values["filter"], "OIII")
        self.assertNotIn("telescope", values)
        self.assertEqual(values["site"], "Hill / North")

    def test_clear_forgets_everything_even_when_it_is_damaged(self):
        self.succeed("profile", "set", *FIELDS)
        self.succeed("profile", "clear")
        self.assertEqual(self.json("profile"), {})
        self.succeed("profile", "clear")
        self.write("wreck")
        self.succeed("profile", "clear")
        self.assertFalse(os.path.exists(self.file()))

    @needs_astropy
    def test_it_stands_in_every_file(self):
        self.succeed("profile", "set", *FIELDS)
        self.succeed("-c", K1C, "capture", *SMALL, "-o", "x.fits")
        header, _ = self.open_fits("x.fits")
        expected = {"OBSERVER": "A. N. Other", "TELESCOP": "Newton 150/750", "FOCALLEN": 750, "FILTER": "Ha",
                    "SITENAME": "Hill / North", "SITELAT": 48.25, "SITELONG": -11.5, "SITEELEV": 520}
        self.assertEqual({key: header[key] for key in expected}, expected)

    @needs_astropy
    def test_the_command_line_counts_more(self):
        self.succeed("profile", "set", *FIELDS)
        self.succeed("-c", K1C, "capture", *SMALL, "-o", "x.fits", "-k", "FILTER=OIII", "-k", "SITELAT=10", "--observer",
                     "Somebody")
        header, _ = self.open_fits("x.fits")
        self.assertEqual((header["FILTER"], header["SITELAT"], header["OBSERVER"], header["TELESCOP"]),
                         ("OIII", 10, "Somebody", "Newton 150/750"))
        self.assertEqual(header.count("FILTER"), 1)
        self.succeed("--no-settings", "-c", K1C, "capture", *SMALL, "-o", "y.fits")
        self.assertNotIn("TELESCOP", self.open_fits("y.fits")[0])

    def test_wrong_values_are_refused_and_change_nothing(self):
        self.succeed("profile", "set", "filter=Ha")
        for word in ("telescope", "=x", "scope=x", "latitude=91", "longitude=-180.5", "latitude=nan", "focal-length=long",
                     "focal-length=0", "elevation=20000", "site=" + "x" * 69, "observer=naïve"):
            self.fail_with(2, "profile", "set", "filter=OIII", word)
        self.assertIn("observer, telescope, focal_length", self.fail_with(2, "profile", "set", "scope=x"))
        self.assertEqual(self.json("profile"), {"filter": "Ha"})

    def test_a_damaged_profile_is_told_before_a_frame_is_taken(self):
        for text in ("wreck", "[]", '{"scope": 1}', '{"telescope": 5}', '{"latitude_deg": "north"}',
                     '{"latitude_deg": 91}', '{"site": "two\\nlines"}', '{"filter": "Ha"'):
            self.write(text)
            for command in (("-c", K1C, "capture", *SMALL, "-o", "x.fits"), ("profile",)):
                message = self.fail_with(1, *command)
                self.assertIn(self.file(), message)
                self.assertIn("profile clear", message)
        self.assertEqual(self.files(), [])

    def test_a_profile_that_cannot_be_kept_is_told(self):
        with open(self.environment["XDG_CONFIG_HOME"], "w", encoding="utf-8"):
            pass  # a regular file is no directory
        self.assertIn("cannot write", self.fail_with(1, "profile", "set", "filter=Ha"))
        del self.environment["XDG_CONFIG_HOME"]
        self.environment.pop("HOME", None)
        self.assertIn("XDG_CONFIG_HOME", self.fail_with(1, "profile", "set", "filter=Ha"))
