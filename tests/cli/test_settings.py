"""What is kept from one run to the next: settings show, path, reset; --no-settings."""

import os

from support import CliTest, K1C, X26M

MODEL = "virtual Tavix ORQ-K1C"


class Tests(CliTest):
    def config(self):
        return os.path.join(self.environment["XDG_CONFIG_HOME"], "orqcam")

    def file(self):
        return os.path.join(self.config(), "ORQconfig.xml")

    def gain(self, *options):
        return self.json("-c", K1C, "get", "gain", *options)["Gain"]["value"]

    def test_path_is_in_the_users_configuration_directory(self):
        self.assertEqual(self.json("settings", "path"), {"path": self.file()})
        self.assertEqual(self.succeed("settings", "path")[0], f"path = {self.file()}\n")
        self.assertFalse(os.path.exists(self.config()))

    def test_without_xdg_the_home_directory_holds_it(self):
        del self.environment["XDG_CONFIG_HOME"]
        self.environment["HOME"] = self.directory
        self.assertEqual(self.json("settings", "path")["path"],
                         os.path.join(self.directory, ".config/orqcam/ORQconfig.xml"))

    def test_without_a_home_there_are_no_settings(self):
        del self.environment["XDG_CONFIG_HOME"]
        self.environment.pop("HOME", None)
        self.assertIn("HOME or XDG_CONFIG_HOME", self.fail_with(1, "settings", "path"))
        self.succeed("-c", K1C, "set", "gain=5")
        self.assertEqual(self.gain(), 0)
        self.assertEqual(self.files(), [])

    def test_set_keeps_its_values_for_the_next_run(self):
        self.succeed("-c", K1C, "set", "gain=42", "WB_R=auto", "exposure=50ms")
        values = self.json("-c", K1C, "get", "gain", "wb_r", "exposure")
        self.assertEqual(values["Gain"]["value"], 42)
        self.assertIs(values["WB_R"]["auto"], True)
        self.assertEqual(values["Exposure"]["value"], 50000)

    def test_the_debug_log_is_for_one_run_and_not_kept(self):
        def kept():
            with open(self.file()) as file:
                return file.read()
        _, err = self.succeed("-c", K1C, "--debug", "set", "gain=42")
        self.assertIn("OpenCamera", err)
        self.assertIn('<byte name="DebugPrint" value="0" />', kept())
        self.assertEqual(self.succeed("-c", K1C, "set", "gain=43")[1], "")

    def test_looking_keeps_nothing(self):
        for command in (["info"], ["controls"], ["get", "gain"]):
            self.succeed("-c", K1C, *command)
        self.assertFalse(os.path.exists(self.config()))

    def test_a_long_exposure_is_not_kept_and_set_says_so(self):
        _, err = self.succeed("-c", K1C, "set", "exposure=2s")
        self.assertEqual(err, "orqcam: later runs start with an exposure of 100ms; give capture and stream "
                              "--exposure 2s\n")
        self.assertEqual(self.json("-c", K1C, "get", "exposure")["Exposure"]["value"], 100000)
        self.assertEqual(self.succeed("-c", K1C, "set", "exposure=100ms")[1], "")

    def test_capture_and_stream_start_from_the_settings_and_keep_theirs(self):
        small = ("--region", "0,0,64,64")
        self.succeed("-c", K1C, "set", "gain=42", "exposure=20ms")
        frame = self.json_lines(self.succeed("-c", K1C, "capture", *small, "-o", "a.fits", "--json")[0])[0]
        self.assertEqual((frame["gain"], frame["exposure_us"]), (42, 20000))
        self.succeed("-c", K1C, "capture", *small, "-o", "b.fits", "-g", "7", "-e", "5ms")
        self.assertEqual(self.gain(), 7)
        self.succeed("-c", K1C, "stream", *small, "-g", "9", "-n", "2")
        self.assertEqual(self.gain(), 9)
        self.assertEqual(self.json("-c", K1C, "get", "exposure")["Exposure"]["value"], 5000)

    def test_hardware_binning_is_kept_and_can_be_switched_off(self):
        self.succeed("-c", X26M, "capture", "--region", "0,0,64,64", "-b", "2", "--hardware-bin", "-o", "a.fits")
        self.assertEqual(self.json("-c", X26M, "get", "hardwarebin")["HardwareBin"]["value"], 1)
        self.succeed("-c", X26M, "capture", "--region", "0,0,64,64", "--no-hardware-bin", "-o", "b.fits")
        self.assertEqual(self.json("-c", X26M, "get", "hardwarebin")["HardwareBin"]["value"], 0)

    def test_no_settings_neither_loads_nor_keeps(self):
        self.succeed("-c", K1C, "set", "gain=42")
        self.assertEqual(self.gain("--no-settings"), 0)
        self.succeed("--no-settings", "-c", K1C, "set", "gain=5", "exposure=2s")
        self.assertEqual(self.gain(), 42)

    def test_each_model_has_its_own(self):
        self.succeed("-c", K1C, "set", "gain=42")
        self.succeed("-c", X26M, "set", "gain=300")
        self.assertEqual(self.gain(), 42)
        self.assertEqual(self.json("-c", X26M, "get", "gain")["Gain"]["value"], 300)

    def test_a_rehearsal_changes_nothing_of_the_real_camera(self):
        self.succeed("-c", K1C, "set", "gain=42")
        with open(self.file(), encoding="utf-8") as file:
            real = file.read().replace(MODEL, "Tavix ORQ-K1C").replace('"Gain" value="42"', '"Gain" value="7"')
        with open(self.file(), "w", encoding="utf-8") as file:
            file.write(real)
        self.assertEqual(self.gain(), 0)
        self.succeed("-c", K1C, "set", "gain=50")
        self.succeed("-c", K1C, "capture", "--region", "0,0,64,64", "-g", "60", "-o", "a.fits")
        self.succeed("-c", K1C, "stream", "--region", "0,0,64,64", "-n", "2")
        models = self.json("settings", "show")
        self.assertEqual(models["Tavix ORQ-K1C"]["Gain"], 7)
        self.assertEqual(models[MODEL]["Gain"], 60)
        self.succeed("-c", K1C, "settings", "reset")
        self.assertEqual(list(self.json("settings", "show")), ["Tavix ORQ-K1C"])

    def test_the_debug_switch_is_for_one_run(self):
        self.succeed("--debug", "-c", K1C, "set", "gain=42")
        self.assertEqual(self.succeed("-c", K1C, "get", "gain"), ("Gain = 42\n", ""))

    def test_show_names_every_setting(self):
        self.succeed("-c", K1C, "set", "gain=42")
        models = self.json("settings", "show")
        self.assertEqual(list(models), [MODEL])
        self.assertEqual(len(models[MODEL]), 33)
        self.assertEqual(models[MODEL]["Gain"], 42)
        self.assertEqual(models[MODEL]["BMPPATH"], "")
        self.assertIn(f"{MODEL}: Exposure = 10000 us\n", self.succeed("settings", "show")[0])
        self.assertIn("\nGain = 42\n", self.succeed("-c", K1C, "settings", "show")[0])

    def test_show_of_nothing(self):
        self.assertEqual(self.succeed("settings", "show"), ("", "orqcam: no settings are kept\n"))
        self.assertEqual(self.succeed("settings", "show", "--json"), ("{}\n", ""))
        self.succeed("-c", K1C, "set", "gain=42")
        out, err = self.succeed("-c", X26M, "settings", "show")
        self.assertEqual(out, "")
        self.assertIn("no settings are kept for virtual Tavix ORQ-X26M", err)

    def test_reset_forgets_one_model(self):
        self.succeed("-c", K1C, "set", "gain=42")
        self.succeed("-c", X26M, "set", "gain=300")
        self.assertEqual(self.succeed("-c", K1C, "settings", "reset"), ("", ""))
        self.assertEqual(self.gain(), 0)
        self.assertEqual(list(self.json("settings", "show")), ["virtual Tavix ORQ-X26M"])

    def test_reset_all_forgets_everything(self):
        self.succeed("settings", "reset", "--all")
        self.succeed("-c", K1C, "set", "gain=42")
        self.succeed("-c", X26M, "set", "gain=300")
        self.succeed("settings", "reset", "--all")
        self.assertEqual(self.json("settings", "show"), {})

    def test_reset_wants_to_know_whose(self):
        self.assertIn("--all", self.fail_with(2, "settings", "reset"))
        self.assertIn("--all", self.fail_with(2, "-c", K1C, "settings", "reset", "--all"))

    def test_a_damaged_file_is_said_and_set_aside(self):
        os.makedirs(self.config())
        with open(self.file(), "w", encoding="utf-8") as file:
            file.write("wreck")
        _, err = self.succeed("-c", K1C, "get", "gain")
        self.assertIn("going on without kept settings", err)
        self.assertIn("cannot be used", self.fail_with(1, "settings", "show"))
        _, err = self.succeed("-c", K1C, "set", "gain=42")
        self.assertIn(self.file() + ".damaged-1", err)
        self.assertEqual(self.gain(), 42)
        with open(self.file() + ".damaged-1", encoding="utf-8") as file:
            self.assertEqual(file.read(), "wreck")

    def test_a_place_that_cannot_be_written_stops_nothing(self):
        with open(self.environment["XDG_CONFIG_HOME"], "w", encoding="utf-8"):
            pass  # a regular file is no directory
        out, err = self.succeed("-c", K1C, "set", "gain=42")
        self.assertEqual(out, "Gain = 42\n")
        self.assertEqual(err.count("\n"), 1)
        self.assertIn("while keeping the settings", err)
        out, err = self.succeed("-c", K1C, "capture", "--region", "0,0,64,64", "-o", "a.fits")
        self.assertIn("saved = 1", out)
        self.assertEqual(err.count("\n"), 1)

    def test_values_beyond_the_limits_are_brought_within_them(self):
        self.succeed("-c", K1C, "set", "gain=42")
        with open(self.file(), encoding="utf-8") as file:
            text = file.read()
        with open(self.file(), "w", encoding="utf-8") as file:
            file.write(text.replace('"Gain" value="42"', '"Gain" value="99999999999"'))
        self.assertEqual(self.gain(), 100)
