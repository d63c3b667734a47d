"""temp, cooler, fan, led, hub, focus, sensor-id, gps: the devices around the sensor."""

import json
import os
import re
import signal

from support import CliTest, K1C, models, needs_astropy

WHOLE_SENSOR = {"start_line": 0, "end_line": 2999, "lines_follow_region": True}
T46C = "virtual:t46c,timescale=0"
SMALL = ("--region", "0,0,64,64")
# A second of the camera takes 20 ms.
FAST = "virtual:x26m,timescale=0.02"


class Tests(CliTest):
    def test_temp_of_every_thermometer(self):
        # The thermistors' converters count in steps of up to half a degree.
        for model in models():
            within = {"k1m": 0.5, "k2m": 0.2, "b29m": 0.2}.get(model, 0.1)
            values = self.json("-c", f"virtual:{model},timescale=0,temp=12.5", "temp")
            self.assertAlmostEqual(values["temperature_c"], 12.5, delta=within, msg=model)
            self.assertAlmostEqual(values["supply_v"], 12.0, delta=0.05)

    def test_temp_as_text_has_units(self):
        out, err = self.succeed("-c", "virtual:k1c,timescale=0,temp=-3.25", "temp")
        self.assertEqual((out, err), ("temperature = -3.25 C\nsupply = 12.0 V\n", ""))

    def test_a_supply_that_is_not_measured_is_left_out(self):
        self.assertEqual(self.succeed("-c", K1C + ",refuse=0xE9", "temp")[0], "temperature = 20.0 C\n")

    def test_a_thermometer_that_does_not_answer_is_a_failure(self):
        self.assertIn("the thermometer does not answer", self.fail_with(1, "-c", K1C + ",refuse=0xB3", "temp"))

    def test_watching_prints_a_line_per_reading(self):
        out, err = self.succeed("-c", K1C, "temp", "--watch", "--count", "3", "--interval", "0.01")
        self.assertEqual(err, "")
        lines = out.splitlines()
        self.assertEqual(len(lines), 3)
        for line in lines:
            self.assertRegex(line, r"^time = [\d.]+ s, temperature = 20\.0 C, supply = 12\.0 V$")

    def test_watching_as_json_prints_an_object_per_reading(self):
        out, _ = self.succeed("-c", K1C, "--json", "temp", "--watch", "--count", "3", "--interval", "0.01")
        objects = self.json_lines(out)
        self.assertEqual(len(objects), 3)
        times = [each["time_s"] for each in objects]
        self.assertEqual(times, sorted(times))
        self.assertEqual({each["temperature_c"] for each in objects}, {20.0})

    def test_watching_goes_on_when_the_thermometer_does_not_answer(self):
        done = self.run_tool("-c", K1C + ",refuse=0xB3", "--json", "temp", "--watch", "--count", "2", "--interval",
                             "0.01")
        self.assertEqual(done.returncode, 1)
        self.assertEqual([each["temperature_c"] for each in self.json_lines(done.stdout)], [None, None])
        self.assertEqual(json.loads(done.stderr)["message"], "the thermometer did not answer 2 of 2 times")

    def test_watching_without_a_count_is_ended_by_an_interrupt(self):
        process = self.start_tool("-c", K1C, "temp", "--watch", "--interval", "0.01")
        process.stdout.readline()
        code, _, err = self.interrupt(process)
        self.assertEqual((code, err), (0, ""))

    def test_watching_on_a_terminal_draws_a_chart(self):
        code, text = self.on_terminal("-c", K1C, "temp", "--watch", "--count", "2", "--interval", "0.01",
                                      stream="stdout")
        self.assertEqual(code, 0)
        # Six rows and a caption, then back over these seven lines for the second reading.
        self.assertEqual(text.count("|"), 12)
        self.assertEqual(text.count("\x1b[7A"), 1)
        self.assertEqual(text.count("temperature = 20.0 C"), 2)

    def test_wrong_options_of_temp(self):
        for wrong in (("--watch", "--interval", "0"), ("--watch", "--interval", "soon"), ("--watch", "--count", "0"),
                      ("--count", "3")):
            self.fail_with(2, "-c", K1C, "temp", *wrong)

    def test_cooler_status(self):
        values = self.json("-c", "virtual:x26m,timescale=0", "cooler")
        self.assertEqual(values, {"temperature_c": 20.0, "target_c": 0, "cooler_on": False, "power_percent": 0,
                                  "heater_on": False})
        self.assertEqual(self.json("-c", "virtual:x26m,timescale=0", "cooler", "off"), values)

    def test_the_cooler_settles_within_a_fifth_of_a_degree(self):
        out, err = self.succeed("-c", FAST + ",temp=6", "cooler", "3", "--wait", "--json")
        values = self.json_lines(out)[0]
        self.assertAlmostEqual(values["temperature_c"], 3.0, delta=0.25)
        self.assertEqual((values["target_c"], values["cooler_on"]), (3, True))
        self.assertGreater(values["power_percent"], 0)
        self.assertRegex(json.loads(err)["warning"], r"^the cooler is on only while orqcam runs .*orqcam capture --cool")

    def test_a_target_below_zero_is_no_option(self):
        values = self.json_lines(self.succeed("-c", FAST + ",temp=0", "--json", "cooler", "-2", "--wait")[0])[0]
        self.assertEqual(values["target_c"], -2)

    def test_a_target_out_of_reach_says_so(self):
        done = self.run_tool("-c", "virtual:x26m,timescale=0.01,temp=40,ambient=60", "cooler", "-40", "--wait",
                             "--timeout", "0.5")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"after 0\.5 s the sensor is at [\d.]+ C, its target is -40 C: the cooler ")

    def test_a_target_beyond_the_limits_is_clamped_and_said(self):
        done = self.run_tool("-c", FAST, "cooler", "-90", "--wait", "--timeout", "0.1")
        self.assertIn("orqcam: TargetTemp -90 is below the minimum -40: set to -40\n", done.stderr)
        self.assertIn("its target is -40 C", done.stderr)

    def test_a_target_that_is_not_in_reach_is_said_as_soon_as_it_is_known(self):
        message = self.fail_with(1, "-c", "virtual:x26m,timescale=0.002,ambient=45", "capture", *SMALL, "--cool", "-40",
                                 "--cool-wait", "-o", "x.fits")
        match = re.search(r"cannot reach -40 C: the sensor gets no colder than (-?[\d.]+) C; choose (-?\d+) C or warmer",
                          message)
        self.assertTrue(match, message)
        self.assertTrue(1.0 <= int(match[2]) - float(match[1]) <= 2.0, message)
        self.assertEqual(self.files(), [])

    def test_cooling_is_kept_for_the_next_command_and_warmed_up(self):
        camera = "virtual:x26m,timescale=0.05,ambient=7,state=" + self.path("x26m.state")
        off = {"cooler_on": False, "power_percent": 0}
        self.succeed("-c", camera, "capture", *SMALL, "-e", "1ms", "--cool", "5", "--cool-wait", "-o", "a.fits")
        self.assertEqual({key: self.json("-c", camera, "cooler")[key] for key in off}, off, "off without --keep-cooling")
        self.succeed("-c", camera, "capture", *SMALL, "-e", "1ms", "--cool", "5", "--cool-wait", "--keep-cooling", "-o",
                     "b.fits")
        for _ in range(2):  # whoever only looks leaves it on
            status = self.json("-c", camera, "cooler")
            self.assertEqual((status["target_c"], status["cooler_on"]), (5, True))
            self.assertAlmostEqual(status["temperature_c"], 5, delta=2)
        warm = self.json("-c", camera, "cooler", "--warm")
        self.assertEqual({key: warm[key] for key in off}, off)
        self.assertGreater(warm["temperature_c"], 7)
        self.assertIs(self.json("-c", camera, "cooler")["cooler_on"], False)

    def test_a_kept_cooler_can_be_switched_off(self):
        camera = "virtual:x26m,timescale=0.05,ambient=7,state=" + self.path("x26m.state")
        self.succeed("-c", camera, "cooler", "8", "--wait", "--keep-cooling")
        self.assertIs(self.json("-c", camera, "cooler", "off")["cooler_on"], False)
        for wrong in (("off", "--keep-cooling"), ("-5", "--warm")):
            self.fail_with(2, "-c", camera, "cooler", *wrong)

    def test_the_cooler_holds_until_it_is_interrupted_and_goes_off(self):
        process = self.start_tool("-c", FAST + ",temp=5", "--json", "cooler", "2")
        process.stdout.readline()
        code, _, err = self.interrupt(process)
        self.assertEqual(code, 0, err)
        self.assertEqual(err.count("\n"), 1, err)

    def test_waiting_for_the_cooler_can_be_interrupted(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            process = self.start_tool("-c", "virtual:x26m", "cooler", "-20", "--wait")
            process.stderr.readline()
            code, _, err = self.interrupt(process, number)
            self.assertEqual((code, err), (1, "orqcam: interrupted before the sensor reached -20 C\n"))

    def test_wrong_targets_of_the_cooler(self):
        for wrong in ("cold", "-1.5", "", "--wait"):
            self.fail_with(2, "-c", FAST, "cooler", wrong)

    def test_a_camera_without_cooler_says_so(self):
        self.assertIn("no cooler", self.fail_with(1, "-c", K1C, "cooler", "-5"))
        self.assertIn("no cooler", self.fail_with(1, "-c", K1C, "capture", "--cool", "-5"))

    def test_a_cooler_whose_thermometer_fails_says_so(self):
        done = self.run_tool("-c", "virtual:x26m,timescale=0.001,refuse=0xB3", "cooler", "-5", "--wait", "--timeout", "1")
        self.assertEqual(done.returncode, 1)
        self.assertIn("the thermometer does not answer: the cooler is held off", done.stderr)

    @needs_astropy
    def test_cooled_frames_bear_their_temperatures(self):
        self.succeed("-c", FAST + ",temp=1", "capture", *SMALL, "-e", "10ms", "--cool", "-1", "--cool-wait", "-o", "x.fits")
        header, _ = self.open_fits("x.fits")
        self.assertAlmostEqual(header["CCD-TEMP"], -1.0, delta=0.5)
        self.assertEqual(header["SET-TEMP"], -1.0)
        self.assertIn("[Celsius]", header.comments["CCD-TEMP"])

    @needs_astropy
    def test_uncooled_frames_bear_no_target(self):
        self.succeed("-c", K1C + ",temp=11", "capture", *SMALL, "-o", "x.fits")
        header, _ = self.open_fits("x.fits")
        self.assertEqual(header["CCD-TEMP"], 11.0)
        self.assertNotIn("SET-TEMP", header)
        self.succeed("-c", K1C + ",refuse=0xB3", "capture", *SMALL, "-o", "y.fits")
        self.assertNotIn("CCD-TEMP", self.open_fits("y.fits")[0])

    def test_the_temperature_is_read_once_per_saved_frame(self):
        # The log tells each reading of this thermometer.
        _, err = self.succeed("-c", "virtual:h53m,timescale=0", "--debug", "capture", *SMALL, "-n", "3", "-o", "{n}.raw")
        self.assertEqual(err.count("Temp:"), 3)
        _, err = self.succeed("-c", "virtual:h53m,timescale=0", "--debug", "stream", *SMALL, "-n", "3")
        self.assertEqual(err.count("Temp:"), 0)

    def test_the_temperature_keywords_are_reserved(self):
        for name in ("CCD-TEMP", "SET-TEMP"):
            self.assertIn("reserved", self.fail_with(2, "-c", K1C, "capture", "-k", f"{name}=3"))

    def test_waiting_needs_a_target(self):
        self.fail_with(2, "-c", FAST, "capture", "--cool-wait")
        self.fail_with(2, "-c", FAST, "capture", "--cool", "warm")

    def test_streaming_can_cool(self):
        out, _ = self.succeed("-c", FAST + ",temp=5", "stream", *SMALL, "-e", "10ms", "-n", "3", "--cool", "4")
        self.assertIn("delivered = 3 frames", out)

    def test_long_exposures_tell_their_real_length(self):
        out, _ = self.succeed("-c", K1C, "--json", "capture", *SMALL, "-e", "2s", "-o", "x.fits")
        self.assertEqual(self.json_lines(out)[0]["real_exposure_ms"], 2000)
        out, _ = self.succeed("-c", K1C, "--json", "capture", *SMALL, "-e", "999ms", "-o", "y.fits")
        self.assertNotIn("real_exposure_ms", self.json_lines(out)[0])

    def test_fan_and_led_are_set_and_stay(self):
        camera = "virtual:x26m,timescale=0,state=" + self.path("state")
        for name, level, text in (("fan", "fan_speed", "fan"), ("led", "led_brightness", "led")):
            self.assertEqual(self.json("-c", camera, name), {level: 255, f"{name}_percent": 100})
            self.assertEqual(self.succeed("-c", camera, name, "51")[0], f"{level} = 51\n{text} = 20 %\n")
            self.assertEqual(self.json("-c", camera, name)[level], 51)
            self.assertEqual(self.json("-c", camera, name, "100%")[level], 255)
            self.assertEqual(self.json("-c", camera, name, "0%")[level], 0)

    def test_wrong_levels(self):
        for name in ("fan", "led"):
            for wrong in ("256", "-1", "101%", "full", "%", ""):
                self.fail_with(2, "-c", T46C, name, wrong)

    def test_a_board_without_adjustable_outputs_says_so(self):
        self.assertIn("cannot adjust the fan", self.fail_with(1, "-c", K1C, "fan", "5"))
        self.assertIn("cannot adjust the power LED", self.fail_with(1, "-c", K1C, "led"))
        self.assertIn("cannot adjust a USB hub", self.fail_with(1, "-c", K1C, "hub", "reset"))

    def test_the_hub_comes_back_after_a_reset(self):
        self.assertEqual(self.succeed("-c", T46C, "hub", "status")[0], "hub_on = yes\n")
        _, err = self.succeed("-c", "virtual:t46c,timescale=0.05", "--json", "hub", "reset")
        self.assertEqual(err, "")

    def test_a_hub_that_stays_off_is_a_failure(self):
        # The camera's time stands still: the power does not return.
        self.assertIn("stays off", self.fail_with(1, "-c", T46C, "hub", "reset"))

    def test_focus_shows_the_motor(self):
        values = self.json("-c", "virtual:h53m,timescale=0.01,serial=0000000000000000", "focus")
        self.assertEqual(values, {"position": 0, "moving": False, "lower_mark": 128, "upper_mark": 768,
                                  "driver": "0xF2"})

    def test_focus_moves_and_waits(self):
        values = self.json("-c", "virtual:h53m", "focus", "300")
        self.assertEqual((values["position"], values["moving"]), (300, False))
        self.assertEqual(self.json("-c", "virtual:h53m", "focus", "+25")["position"], 25)
        self.assertEqual(self.json("-c", "virtual:h53m", "focus", "1023")["position"], 1023)

    def test_focus_stays_within_its_range(self):
        self.assertIn("from 0 to 1023", self.fail_with(2, "-c", "virtual:h53m", "focus", "1024"))
        self.assertIn("out of the range", self.fail_with(1, "-c", "virtual:h53m", "focus", "-1"))
        self.fail_with(2, "-c", "virtual:h53m", "focus", "near")

    def test_a_lens_that_does_not_arrive_is_a_failure(self):
        # The camera's time stands still.
        self.assertIn("still moves", self.fail_with(1, "-c", "virtual:h53m,timescale=0", "focus", "9"))

    def test_a_motor_that_does_not_answer_is_a_failure(self):
        self.assertIn("does not answer", self.fail_with(1, "-c", "virtual:h53m,refuse=0xBA", "focus"))
        self.assertIn("no focus motor", self.fail_with(1, "-c", K1C, "focus"))

    def test_the_sensors_identity(self):
        # Serial number, product id, and the sum of these bytes: those of the serial number are 960 together.
        out, _ = self.succeed("-c", K1C + ",serial=0123456789abcdef", "sensor-id")
        match = re.fullmatch(r"sensor_id = 0123456789abcdef([0-9a-f]{4})([0-9a-f]{2})\n", out)
        self.assertTrue(match, out)
        product = int(match[1], 16)
        self.assertEqual(int(match[2], 16), (960 + (product >> 8) + (product & 0xFF)) & 0xFF)

    def test_a_sensor_that_does_not_answer_is_a_failure(self):
        self.assertIn("does not answer", self.fail_with(1, "-c", K1C + ",refuse=0xD2", "sensor-id"))

    def test_gps_lines_are_set_and_stay(self):
        camera = T46C + ",state=" + self.path("state")
        self.assertEqual(self.json("-c", camera, "gps", "lines"), WHOLE_SENSOR)
        self.assertEqual(self.succeed("-c", camera, "gps", "lines", "7", "2999")[0],
                         "start_line = 7\nend_line = 2999\nlines_follow_region = no\n")
        self.assertEqual(self.json("-c", camera, "gps", "lines"),
                         {"start_line": 7, "end_line": 2999, "lines_follow_region": False})

    def test_gps_lines_outside_the_sensor_change_nothing(self):
        camera = T46C + ",state=" + self.path("state")
        for wrong in (("7", "3000"), ("99999999", "7")):
            self.assertIn("0 to 2999", self.fail_with(1, "-c", camera, "gps", "lines", *wrong))
            self.assertEqual(self.json("-c", camera, "gps", "lines"), WHOLE_SENSOR)

    def test_wrong_gps_lines(self):
        for wrong in (("7",), ("-7", "7"), ("7", "last"), ("1", "2", "3")):
            self.fail_with(2, "-c", T46C, "gps", "lines", *wrong)

    def test_gps_status_tells_the_version(self):
        values = self.json("-c", T46C, "gps", "status")
        self.assertEqual((values["version"], values["start_line"], values["end_line"]), (1, 0, 2999))
        self.assertIn("fix", values)

    def test_a_camera_without_gps_says_so(self):
        for action in ("status", "lines"):
            self.assertIn("no GPS receiver", self.fail_with(1, "-c", K1C, "gps", action))

    def test_info_shows_the_camera_record(self):
        info = self.json("-c", "virtual:x26m", "info")
        self.assertEqual({key: info[key] for key in ("cooled", "guide_port", "shutter", "usb3_camera", "usb3_port",
                                                     "electrons_per_adu")},
                         {"cooled": True, "guide_port": False, "shutter": False, "usb3_camera": True,
                          "usb3_port": True, "electrons_per_adu": 0.78})
        self.assertIs(self.json("-c", "virtual:k1c,usb=2", "info")["usb3_port"], False)
