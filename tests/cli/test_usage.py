"""The command line itself: help, version, wrong words, exit status 2."""

import json

from support import CliTest, K1C

COMMANDS = ("list", "info", "id", "serial", "sensor-id", "report", "capture", "record", "ser", "stream", "trigger", "mode", "dark",
            "hotpixels", "controls", "get", "set", "settings", "profile", "temp", "cooler", "fan", "led", "hub", "guide", "focus", "gps",
            "reg", "flash", "dump-controls", "serve", "help")


class Tests(CliTest):
    def test_help_is_data_on_stdout(self):
        for arguments in (["--help"], ["capture", "--help"], ["reg", "read", "--help"]):
            out, err = self.succeed(*arguments)
            self.assertIn("--help", out)
            self.assertEqual(err, "")

    def test_help_names_every_command_and_the_exit_codes(self):
        out, _ = self.succeed("--help")
        for word in COMMANDS + ("Exit codes", "virtual:<model>"):
            self.assertIn(word, out)

    def test_help_tells_programs_every_command(self):
        told = json.loads(self.succeed("help", "--json")[0])["commands"]
        self.assertEqual([entry["command"] for entry in told if " " not in entry["command"]], list(COMMANDS))
        runs = {entry["command"]: entry["runs"] for entry in told}
        for command, alone in {"capture": True, "flash": False, "flash dump": True, "dark": True, "dark take": True,
                               "reg": False, "help": True}.items():
            self.assertEqual(runs[command], alone, command)
        for entry in told:  # what it says is what the parser does
            self.succeed(*entry["command"].split(), "--help")
            self.assertTrue(entry["description"])
        below = json.loads(self.succeed("help", "flash", "--json")[0])["commands"]
        self.assertEqual([entry["command"] for entry in below], ["flash dump", "flash restore", "flash verify"])

    def test_help_works_as_a_command(self):
        for words in ([], ["capture"], ["dark", "take"]):
            self.assertEqual(self.succeed("help", *words), self.succeed(*words, "--help"))
        self.assertIn("no command 'orqcam nonsense'", self.fail_with(2, "help", "nonsense"))

    def test_errors_under_json_are_json_with_a_name(self):
        for code, name, *arguments in (
                (2, "invalid", "nonsense"), (2, "invalid", "-c", "serial:zz", "info"),
                (3, "not-found", "-c", "serial:ffffffffffffffff", "info"),
                (1, "unsupported", "-c", K1C, "cooler", "-5"),
                (1, "range", "-c", K1C, "--strict", "set", "Gain=900"),
                (1, "refused", "-c", K1C + ",short@1", "capture", "--retries", "0", "-o", "x.fits"),
                (1, "file", "-c", K1C, "capture", "-o", "no/such/x.fits"),
                (4, "lost", "-c", K1C + ",unplug@1", "capture", "-o", "x.fits")):
            done = self.run_tool("--json", *arguments)
            self.assertEqual(done.returncode, code, done.stderr)
            error = json.loads(done.stderr.splitlines()[-1])
            self.assertEqual(list(error), ["error", "message", "exit_code"])
            self.assertEqual((error["error"], error["exit_code"]), (name, code), arguments)
            self.assertFalse(error["message"].startswith("orqcam"))

    def test_warnings_under_json_are_json(self):
        _, err = self.succeed("--json", "-c", K1C, "set", "Gain=900")
        self.assertEqual(json.loads(err), {"warning": "Gain 900 is above the maximum 100: set to 100"})

    def test_a_wrong_serial_number_is_named(self):
        self.assertIn('"zz" is no serial number: one has 16 hexadecimal digits',
                      self.fail_with(2, "-c", "serial:zz", "info"))
        self.assertIn("not 4", self.fail_with(2, "-c", "serial:12ab", "info"))

    def test_version_is_one_line(self):
        self.assertRegex(self.succeed("--version")[0], r"^orqcam \d+\.\d+\.\d+\n$")

    def test_an_unknown_command_lists_the_commands(self):
        self.assertIn(", ".join(COMMANDS), self.fail_with(2, "lsit"))

    def test_no_command_lists_the_commands(self):
        self.assertIn(", ".join(COMMANDS), self.fail_with(2))

    def test_an_unknown_option_lists_the_options(self):
        message = self.fail_with(2, "capture", "--exposre", "5s")
        self.assertIn("--exposre", message)
        self.assertIn("--exposure", message)

    def test_a_missing_value_names_the_option(self):
        self.assertIn("--camera", self.fail_with(2, "info", "-c"))

    def test_a_word_too_many_is_refused(self):
        self.assertIn("extra", self.fail_with(2, "-c", K1C, "info", "extra"))

    def test_program_options_may_follow_the_command(self):
        self.assertEqual(self.json("info", "-c", K1C)["key"], "k1c")

    def test_wrong_words_of_capture_list_the_right_ones(self):
        for arguments, right in ((("--format", "jpeg"), "raw8, rgb24, raw16, y8"),
                                 (("--flip", "left"), "none, h, v and both"),
                                 (("--image-type", "lite"), "light, dark, bias and flat"),
                                 (("-o", "x.jpg"), ".fits, .fit, .png or .raw"),
                                 (("-o", "{m}.fits"), "{n}, {date}, {time}, {camera}")):
            self.assertIn(right, self.fail_with(2, "-c", K1C, "capture", *arguments))

    def test_numbers_that_are_none_are_refused(self):
        for arguments in (("-n", "0"), ("-n", "two"), ("-n", "-1"), ("--region", "1,2,3"), ("--region", "a,b,c,d"),
                          ("--center", "5"), ("-b", "0"), ("-b", "x"), ("-g", "much"), ("--offset", "1.5")):
            self.fail_with(2, "-c", K1C, "capture", *arguments)
        for arguments in (("--seconds", "0"), ("--seconds", "-1"), ("--seconds", "nan"), ("--frames", "0")):
            self.fail_with(2, "-c", K1C, "stream", *arguments)

    def test_an_exposure_without_unit_asks_for_one(self):
        message = self.fail_with(2, "-c", K1C, "capture", "-e", "5")
        for word in ("unit", "5s", "5ms", "5us"):
            self.assertIn(word, message)
        self.fail_with(2, "-c", K1C, "set", "Exposure=5")

    def test_an_exposure_with_a_wrong_unit_lists_the_units(self):
        self.assertIn("s, ms and us", self.fail_with(2, "-c", K1C, "capture", "-e", "5min"))

    def test_region_and_center_exclude_each_other(self):
        self.fail_with(2, "-c", K1C, "capture", "--region", "0,0,64,64", "--center", "64,64")

    def test_several_frames_need_a_number_in_their_name(self):
        self.assertIn("{n", self.fail_with(2, "-c", K1C, "capture", "-n", "2", "-o", "same.fits"))
        self.assertEqual(self.files(), [])

    def test_a_message_stays_on_one_line_and_gives_the_terminal_no_orders(self):
        message = self.fail_with(2, "-c", "a\nb\x1b[31m", "info")
        self.assertIn('"a?b?[31m"', message)
