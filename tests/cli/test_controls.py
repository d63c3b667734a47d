"""controls, get, set."""

import json
import math

from support import CliTest, K1C, X26M, models


class Tests(CliTest):
    def test_controls_is_a_table_with_a_heading(self):
        lines = self.succeed("-c", K1C, "controls")[0].splitlines()
        self.assertEqual(lines[0].split(),
                         ["name", "value", "auto", "min", "max", "default", "unit", "writable", "description"])
        gain = next(line for line in lines if line.startswith("Gain "))
        self.assertEqual(gain.split(), ["Gain", "0", "off", "0", "100", "0", "-", "yes", "Gain"])
        exposure = next(line for line in lines if line.startswith("Exposure "))
        self.assertEqual(exposure.split()[:8], ["Exposure", "10000", "off", "32", "2000000000", "10000", "us", "yes"])

    def test_controls_json_has_every_column(self):
        controls = {control["name"]: control for control in self.json("-c", K1C, "controls")}
        self.assertEqual(controls["Gain"]["max"], 100)
        self.assertEqual(controls["Exposure"]["unit"], "us")
        self.assertIs(controls["WB_R"]["auto_supported"], True)
        self.assertIs(controls["Flip"]["auto_supported"], False)
        self.assertEqual(controls["Flip"]["description"], "Flip: 0->None 1->Horiz 2->Vert 3->Both")

    def test_gains_with_a_meaning_are_told_measured_and_set(self):
        # docs/sensor-model.md: noise sqrt(before^2 + (after / factor)^2), and its rounding, 1/12 of a squared count.
        before, after, least = 0.9, 3.175, 3.6
        rows = {row["preset"]: row for row in self.json("-c", "virtual:k1m,timescale=0,scene=dark", "gain", "--measure")}
        self.assertEqual(list(rows), ["unity", "lowest-noise", "largest-range"])
        for row in rows.values():
            worth = row["electrons_per_adu"]
            expected = math.sqrt(before**2 + (after * worth / least)**2 + worth**2 / 12)
            self.assertAlmostEqual(row["read_noise_electrons"], expected, delta=0.04 * expected)
            self.assertAlmostEqual(row["range_stops"], math.log2(row["full_well_electrons"] / row["read_noise_electrons"]))
        self.assertAlmostEqual(rows["unity"]["electrons_per_adu"], 1, delta=0.05)
        self.assertEqual([row["set"] for row in rows.values()], [False, False, rows["largest-range"]["gain"] == 0])
        text = self.succeed("-c", "virtual:k1m,timescale=0", "gain", "unity")[0].splitlines()
        self.assertEqual(text[0].split(), ["preset", "gain", "e-/ADU", "full_well", "read_noise", "range", "meaning"])
        self.assertIn("(set)", text[1])
        self.assertEqual(self.json("-c", "virtual:k1m,timescale=0", "get", "gain")["Gain"]["value"], rows["unity"]["gain"])
        self.fail_with(2, "-c", K1C, "gain", "best")

    def test_measuring_leaves_everything_else_as_it_was(self):
        self.succeed("-c", "virtual:k1m,timescale=0", "set", "gain=7", "exposure=1234us")
        self.succeed("-c", "virtual:k1m,timescale=0", "gain", "--measure")
        self.assertEqual(self.json("-c", "virtual:k1m,timescale=0", "get", "gain")["Gain"]["value"], 7)
        self.succeed("-c", "virtual:k1m,timescale=0", "gain", "largest-range", "--measure")  # what is kept has all settings
        values = self.json("-c", "virtual:k1m,timescale=0", "get", "gain", "exposure")
        self.assertEqual((values["Gain"]["value"], values["Exposure"]["value"]), (0, 1234))

    def test_get_finds_names_in_any_case(self):
        self.assertEqual(self.succeed("-c", K1C, "get", "gAIN", "EXPOSURE")[0], "Gain = 0\nExposure = 10000 us\n")

    def test_a_thermometer_that_does_not_answer_makes_the_temperature_unknown(self):
        deaf = ("-c", K1C + ",refuse=0xB3")
        trouble = "the thermometer does not answer"
        told = f"orqcam: Temperature is unknown: {trouble}\n"
        done = self.run_tool(*deaf, "get", "temperature", "gain")
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (1, "Temperature = unknown\nGain = 0\n", told))
        done = self.run_tool(*deaf, "get", "temperature", "--json")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(json.loads(done.stderr), {"error": "state", "exit_code": 1,
                                                   "message": f"Temperature is unknown: {trouble}"})
        self.assertEqual(json.loads(done.stdout),
                         {"Temperature": {"value": None, "unit": "C", "auto": False, "trouble": trouble}})
        out, err = self.succeed(*deaf, "controls")
        self.assertIn("\nTemperature ", out)
        row = next(line for line in out.splitlines() if line.startswith("Temperature "))
        self.assertEqual(row.split()[1], "unknown")
        self.assertEqual(err, told)
        listed = {control["name"]: control for control in self.json(*deaf, "controls")}
        self.assertIsNone(listed["Temperature"]["value"])
        self.assertEqual(listed["Temperature"]["trouble"], trouble)
        self.assertEqual([name for name, control in listed.items() if "trouble" in control], ["Temperature"])

    def test_a_thermometer_at_zero_degrees_is_no_trouble(self):
        for camera in ("virtual:x26m,timescale=0,temp=0", "virtual:t46c,timescale=0,temp=0"):
            value = self.json("-c", camera, "get", "temperature")["Temperature"]
            self.assertAlmostEqual(value["value"], 0, delta=0.5)
            self.assertNotIn("trouble", value)

    def test_get_json_is_an_object_by_name(self):
        values = self.json("-c", K1C, "get", "gain", "bandwidth")
        self.assertEqual(values["Gain"], {"value": 0, "unit": "", "auto": False})
        self.assertEqual(values["BandWidth"]["unit"], "%")

    def test_an_unknown_control_lists_those_of_the_camera(self):
        message = self.fail_with(2, "-c", K1C, "get", "Gian")
        self.assertIn("'Gian'", message)
        self.assertIn("Gain, Exposure, Gamma, WB_R, WB_B, Offset", message)

    def test_a_control_that_only_other_cameras_have_is_a_failure(self):
        self.assertIn("not supported by this camera", self.fail_with(1, "-c", X26M, "get", "WB_R"))
        self.assertIn("not supported by this camera", self.fail_with(1, "-c", X26M, "set", "GPSStartLine=5"))

    def test_set_shows_what_the_control_became(self):
        self.assertEqual(self.succeed("-c", K1C, "set", "gain=42", "exposure=1.5ms"),
                         ("Gain = 42\nExposure = 1500 us\n", ""))

    def test_set_takes_units_of_time_for_the_exposure(self):
        for text, us in (("2s", 2000000), ("0.25s", 250000), ("20ms", 20000), ("1000us", 1000)):
            self.assertEqual(self.json("-c", K1C, "set", f"Exposure={text}")["Exposure"]["value"], us)

    def test_set_above_the_maximum_is_clamped_and_said(self):
        out, err = self.succeed("-c", K1C, "set", "Gain=900")
        self.assertEqual(out, "Gain = 100\n")
        self.assertEqual(err, "orqcam: Gain 900 is above the maximum 100: set to 100\n")

    def test_set_below_the_minimum_is_clamped_and_said(self):
        out, err = self.succeed("-c", K1C, "set", "Exposure=1us")
        self.assertEqual(out, "Exposure = 32 us\n")
        self.assertEqual(err, "orqcam: Exposure 1us is below the minimum 32us: set to 32us\n")

    def test_strict_makes_a_clamped_value_an_error_and_sets_nothing(self):
        message = self.fail_with(1, "-c", K1C, "--strict", "set", "Offset=20", "Gain=900")
        self.assertEqual(message, "orqcam: Gain 900 is above the maximum 100\n")
        self.assertEqual(self.succeed("-c", K1C, "get", "Offset")[0], "Offset = 70\n")
        self.assertEqual(self.succeed("-c", K1C, "--strict", "set", "Gain=100")[0], "Gain = 100\n")
        self.assertIn("above the maximum",
                      self.fail_with(1, "-c", K1C, "capture", "--strict", "-g", "900", "-o", "x.fits"))
        self.assertIn("the nearest is 0,0,64,64",
                      self.fail_with(1, "-c", K1C, "capture", "--strict", "--region", "1,1,65,65", "-o", "x.fits"))
        self.assertEqual(self.files(), [])

    def test_the_default_is_what_a_fresh_camera_has(self):
        for model in models():
            for usb in ("2", "3"):
                camera = f"virtual:{model},timescale=0,usb={usb}"
                for control in self.json("-c", camera, "--no-settings", "controls"):
                    expected = control["value"] if control["writable"] else None
                    self.assertEqual(control["default"], expected, f"{camera} {control['name']}")
        self.succeed("-c", K1C, "set", "AutoExpMaxGain=7")
        control, = [each for each in self.json("-c", K1C, "controls") if each["name"] == "AutoExpMaxGain"]
        self.assertEqual((control["value"], control["default"]), (7, 50))

    def test_set_far_beyond_any_integer_is_clamped(self):
        self.assertEqual(self.succeed("-c", K1C, "set", "Gain=99999999999999999999999")[0], "Gain = 100\n")
        self.assertEqual(self.succeed("-c", K1C, "set", "Gain=-99999999999999999999999")[0], "Gain = 0\n")

    def test_set_auto(self):
        self.assertEqual(self.succeed("-c", K1C, "set", "WB_R=auto")[0], "WB_R = 50 (auto)\n")
        self.assertIs(self.json("-c", K1C, "set", "Gain=auto")["Gain"]["auto"], True)

    def test_a_control_that_cannot_be_automatic_says_so(self):
        self.assertIn("cannot be automatic", self.fail_with(1, "-c", K1C, "set", "Offset=auto"))

    def test_a_wrong_word_changes_nothing(self):
        # The log tells whenever the exposure is set.
        _, err = self.succeed("-c", K1C, "--debug", "set", "Exposure=5ms", "Offset=9")
        self.assertIn("SetExp-> 5000", err)
        for wrong in ("Offset=lots", "Nonsense=1", "Offset"):
            done = self.run_tool("-c", K1C, "--debug", "set", "Exposure=5ms", wrong)
            self.assertEqual(done.returncode, 2)
            self.assertNotIn("SetExp->", done.stderr)

    def test_set_without_a_value_is_a_usage_error(self):
        self.assertIn("NAME=VALUE", self.fail_with(2, "-c", K1C, "set", "Gain"))
