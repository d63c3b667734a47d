"""list and info: which cameras there are and what they are; how a camera is named."""

from support import CliTest, K1C, models, realdata


class Tests(CliTest):
    def test_list_without_cameras_is_empty_and_says_what_to_try(self):
        out, err = self.succeed("list")
        if out:
            self.skipTest("a camera is plugged in")
        self.assertIn("virtual:k1c", err)
        self.assertIn("udev rule", err)
        self.assertEqual(err.count("\n"), 1)

    def test_list_json_is_an_array(self):
        self.assertIsInstance(self.json("list"), list)

    def test_list_virtual_names_the_virtual_models(self):
        out, _ = self.succeed("list", "--virtual")
        virtual = [f"virtual:{key}" for key in (*models(), "replay")]
        for name in virtual:
            self.assertRegex(out, rf"(?m)^{name} = \w+")
        names = [entry["name"] for entry in self.json("list", "--virtual") if "name" in entry]
        self.assertEqual(names, virtual)

    def test_info_shows_the_model_as_text(self):
        info = self.values(self.succeed("-c", K1C, "info")[0])
        self.assertEqual(info["model"], "Tavix ORQ-K1C")
        self.assertEqual(info["sensor_width"], "1936 px")
        self.assertEqual(info["sensor_height"], "1096 px")
        self.assertEqual(info["pixel_size"], "2.9 um")
        self.assertEqual(info["bayer"], "RGGB")
        self.assertEqual(info["adc_bits"], "12")
        self.assertEqual(info["bins"], "1, 2, 3, 4")
        self.assertEqual(info["formats"], "raw8, rgb24, raw16, y8")
        self.assertEqual(info["region"], "0, 0, 1936, 1096 px")
        self.assertRegex(info["firmware"], r"^\d+\.\d+\.\d+$")
        self.assertRegex(info["serial"], r"^[0-9a-f]{16}$")
        self.assertEqual(info["id"], "none")

    def test_info_json_has_numbers_and_lists(self):
        info = self.json("-c", "virtual:x26m", "info")
        self.assertEqual((info["sensor_width"], info["sensor_height"]), (6248, 4176))
        self.assertEqual(info["pixel_size_um"], 3.76)
        self.assertIsNone(info["bayer"])
        self.assertEqual(info["formats"], ["raw8", "raw16"])
        self.assertIs(info["colour"], False)

    def test_info_tells_what_is_special_about_each_model(self):
        rows = {"k1c": ("Tavix ORQ-K1C", 12, False, [1, 2, 3, 4], False, True),
                "k1m": ("Tavix ORQ-K1M", 12, False, [1, 2, 3, 4], False, True),
                "k2m": ("Tavix ORQ-K2M", 12, False, [1, 2, 3, 4], False, True),
                "x26m": ("Tavix ORQ-X26M", 16, True, [1, 2, 3, 4], True, False),
                "t46c": ("Tavix ORQ-T46C", 14, False, [1, 2, 3, 4], False, False),
                "h53m": ("Tavix ORQ-H53M", 12, False, [1, 2, 3, 4], False, False),
                "b29m": ("Tavix ORQ-B29M", 16, True, [1, 2, 4], False, False),
                "l3m": ("Tavix ORQ-L3M", 12, False, [1, 2, 3, 4], False, True),
                "d6m": ("Tavix ORQ-D6M", 14, False, [1, 2, 3, 4], False, False)}
        self.assertEqual(list(rows), list(models()), "a new model wants a row here")
        for key, expected in rows.items():
            info = self.json("-c", f"virtual:{key}", "info")
            names = ("model", "adc_bits", "cooled", "bins", "hardware_bin", "guide_port")
            self.assertEqual(tuple(info[name] for name in names), expected)

    def test_info_says_what_the_page_about_models_says(self):
        for key, row in models().items():
            info = self.json("-c", f"virtual:{key}", "info")
            self.assertEqual(info["model"], row["Name"])
            self.assertEqual(f"{info['sensor_width']} × {info['sensor_height']}", row["Pixels"], key)
            self.assertEqual(f"{info['pixel_size_um']:g} µm", f"{float(row['Pixel size'].split()[0]):g} µm", key)
            self.assertEqual(info["bayer"] or "", row["Colour"], key)
            self.assertEqual(str(info["adc_bits"]), row["Bits"].split()[0], key)

    def test_info_shows_the_usb_speed_and_the_serial_number(self):
        info = self.json("-c", "virtual:k1c,usb=2,serial=0123456789abcdef", "info")
        self.assertEqual(info["usb_speed"], "USB 2")
        self.assertEqual(info["serial"], "0123456789abcdef")

    def test_info_of_a_recording_takes_its_geometry_from_the_file(self):
        info = self.json("-c", f"virtual:replay,file={realdata('sky/starfield-alt40.fits')}", "info")
        self.assertEqual((info["sensor_width"], info["sensor_height"]), (1024, 768))
        self.assertIsNone(info["pixel_size_um"])

    def test_a_name_that_names_nothing_is_a_usage_error(self):
        for name in ("bogus", "virtual:nosuch", "virtual:k1c,colour=blue", "virtual:replay", ""):
            self.fail_with(2, "-c", name, "info")

    def test_a_wrong_virtual_model_lists_the_right_ones(self):
        self.assertIn(", ".join((*models(), "replay")),
                      self.fail_with(2, "-c", "virtual:nosuch", "info"))

    def test_a_camera_that_is_not_there_has_its_own_exit_status(self):
        for name in ("99", "serial:ffffffffffffffff", "id:nobody", "virtual:replay,file=/no/such/file.fits"):
            self.fail_with(3, "-c", name, "info")

    def test_a_camera_that_refuses_to_be_opened_is_a_failure_with_the_reason(self):
        self.assertIn("0xD4", self.fail_with(1, "-c", "virtual:k1c,refuse=0xD4", "info"))
