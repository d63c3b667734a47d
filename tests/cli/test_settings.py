"""What is kept from one run to the next: settings show, path, reset; --no-settings."""

import os

from support import CliTest, K1C, X26M

MODEL = "virtual Tavix ORQ-K1C"
SMALL = ("--region", "0,0,64,64")


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
        self.assertIn("set, but not kept", self.fail_with(1, "-c", K1C, "set", "gain=5"))
        self.succeed("-c", K1C, "--no-settings", "set", "gain=5")
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

    def kept(self):
        """The file of the settings; None where there is none."""
        if not os.path.exists(self.file()):
            return None
        with open(self.file(), "rb") as file:
            return file.read()

    def test_capture_starts_from_the_settings(self):
        self.succeed("-c", K1C, "set", "gain=42", "exposure=20ms", "flip=1")
        frame = self.json_lines(self.succeed("-c", K1C, "capture", *SMALL, "-o", "a.fits", "--json")[0])[0]
        self.assertEqual((frame["gain"], frame["exposure_us"]), (42, 20000))

    def test_an_option_holds_for_its_command(self):
        commands = (("capture", *SMALL, "-o", "a.fits", "-g", "7", "-e", "5ms", "--flip", "both", "--offset", "3"),
                    ("capture", *SMALL, "-o", "b-{n}.fits", "--video", "-n", "2", "-g", "7", "--gamma", "20"),
                    ("capture", *SMALL, "-o", "c.fits", "--auto-exposure", "--auto-gain", "--auto-wb"),
                    ("capture", *SMALL, "-o", "d-{n}.fits", "--auto-gain", "--video", "-n", "2"),
                    ("capture", *SMALL, "-o", "e.fits", "--no-hot-pixels", "-b", "2", "--mono-bin"),
                    ("stream", *SMALL, "-g", "9", "-n", "2", "--flip", "h"),
                    ("dark", "take", "-e", "1ms", "-g", "5"),
                    ("trigger", "--mode", "software", *SMALL, "-g", "3", "-e", "1ms"))
        for before in (None, "gain=42"):
            if before:
                self.succeed("-c", K1C, "set", before)
            file = self.kept()
            for command in commands:
                more = ("--overwrite",) if command[0] == "capture" else ()
                self.succeed("-c", K1C + ",flux=100000,scene=flat", *command, *more)
                self.assertEqual(self.kept(), file, command)

    def test_an_option_of_one_camera_with_hardware_binning_holds_for_its_command(self):
        self.succeed("-c", X26M, "capture", *SMALL, "-b", "2", "--hardware-bin", "-o", "a.fits")
        self.assertEqual(self.json("-c", X26M, "get", "hardwarebin")["HardwareBin"]["value"], 0)
        self.succeed("-c", X26M, "set", "hardwarebin=on")
        self.succeed("-c", X26M, "capture", *SMALL, "--no-hardware-bin", "-o", "b.fits")
        self.assertEqual(self.json("-c", X26M, "get", "hardwarebin")["HardwareBin"]["value"], 1)

    def test_gamma_and_mono_bin_are_kept_like_the_others(self):
        self.succeed("-c", K1C, "set", "Gamma=80")
        self.assertEqual(self.json("-c", K1C, "get", "gamma")["Gamma"]["value"], 80)
        self.assertEqual(self.json("settings", "show")[MODEL]["Gamma"], 80)
        self.succeed("-c", K1C, "set", "monobin=on")
        values = self.json("-c", K1C, "get", "gamma", "monobin")
        self.assertEqual((values["Gamma"]["value"], values["MonoBin"]["value"]), (80, 1))
        self.assertEqual(self.json("-c", K1C, "get", "gamma", "--no-settings")["Gamma"]["value"], 50)
        with open(self.file(), encoding="utf-8") as file:
            text = file.read()
        with open(self.file(), "w", encoding="utf-8") as file:
            file.write(text.replace('name="Gamma" value="80"', 'name="Gamma" value="-2147483648"'))
        self.assertEqual(self.json("-c", K1C, "get", "gamma")["Gamma"]["value"], 0)

    def test_a_readout_mode_is_kept_and_filed(self):
        d6m = "virtual:d6m,timescale=0"
        self.succeed("-c", d6m, "set", "ReadoutMode=1")
        self.assertEqual(self.json("-c", d6m, "get", "readoutmode")["ReadoutMode"]["value"], 1)
        for mode, name in ((1, b"'Low noise'"), (0, b"'High full well'")):
            self.succeed("-c", d6m, "set", f"ReadoutMode={mode}")
            self.succeed("-c", d6m, "capture", "--region", "0,0,64,64", "-o", f"{mode}.fits")
            with open(os.path.join(self.work, f"{mode}.fits"), "rb") as file:
                self.assertIn(b"READOUTM= " + name, file.read())

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
        self.assertEqual(models[MODEL]["Gain"], 50)
        self.succeed("-c", K1C, "settings", "reset", "--yes")
        self.assertEqual(list(self.json("settings", "show")), ["Tavix ORQ-K1C"])

    def test_the_debug_switch_is_for_one_run(self):
        self.succeed("--debug", "-c", K1C, "set", "gain=42")
        self.assertEqual(self.succeed("-c", K1C, "get", "gain"), ("Gain = 42\n", ""))

    def test_show_names_every_setting(self):
        self.succeed("-c", K1C, "set", "gain=42")
        models = self.json("settings", "show")
        self.assertEqual(list(models), [MODEL])
        self.assertEqual(len(models[MODEL]), 35)
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
        self.assertEqual(self.succeed("-c", K1C, "settings", "reset", "--yes"), ("", ""))
        self.assertEqual(self.gain(), 0)
        self.assertEqual(list(self.json("settings", "show")), ["virtual Tavix ORQ-X26M"])

    def test_reset_all_forgets_everything(self):
        self.succeed("settings", "reset", "--all", "--yes")
        self.succeed("-c", K1C, "set", "gain=42")
        self.succeed("-c", X26M, "set", "gain=300")
        self.succeed("settings", "reset", "--all", "--yes")
        self.assertEqual(self.json("settings", "show"), {})

    def test_reset_asks_first(self):
        self.succeed("-c", K1C, "set", "gain=42")
        self.assertIn("forget the settings of the virtual Tavix ORQ-K1C; give --yes",
                      self.fail_with(2, "-c", K1C, "settings", "reset"))
        code, _, shown = self.at_terminal(b"n\n", "settings", "reset", "--all")
        self.assertEqual(code, 1)
        self.assertIn("forget the settings of all cameras. Go on? [y/N]", shown)
        self.assertIn("nothing was changed", shown)
        self.assertEqual(self.gain(), 42)
        self.assertEqual(self.at_terminal(b"y\n", "settings", "reset", "--all")[0], 0)
        self.assertEqual(self.gain(), 0)

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

    def test_set_fails_when_it_cannot_keep(self):
        with open(self.environment["XDG_CONFIG_HOME"], "w", encoding="utf-8"):
            pass  # a regular file is no directory
        done = self.run_tool("-c", K1C, "set", "gain=42")
        self.assertEqual((done.returncode, done.stdout), (1, "Gain = 42\n"))
        self.assertEqual(done.stderr.count("\n"), 1)
        self.assertIn("set, but not kept", done.stderr)
        out, err = self.succeed("-c", K1C, "capture", *SMALL, "-o", "a.fits")
        self.assertIn("saved = 1", out)
        self.assertEqual(err, "")

    def test_values_beyond_the_limits_are_brought_within_them(self):
        self.succeed("-c", K1C, "set", "gain=42")
        with open(self.file(), encoding="utf-8") as file:
            text = file.read()
        with open(self.file(), "w", encoding="utf-8") as file:
            file.write(text.replace('"Gain" value="42"', '"Gain" value="99999999999"'))
        self.assertEqual(self.gain(), 100)
