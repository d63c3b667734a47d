"""reg: registers, behind --unsafe."""

import json

from support import CliTest, K1C


class Tests(CliTest):
    def test_without_unsafe_nothing_is_touched(self):
        for arguments in (("read", "fpga", "0"), ("write", "sensor", "0", "1")):
            self.assertIn("--unsafe", self.fail_with(2, "-c", K1C, "reg", *arguments))

    def test_read_shows_address_and_value_in_hex(self):
        out, _ = self.succeed("-c", K1C, "reg", "--unsafe", "read", "fpga", "0x1c", "2")
        self.assertRegex(out, r"^0x001C = 0x[0-9A-F]{2}\n0x001D = 0x[0-9A-F]{2}\n$")

    def test_read_json_has_numbers(self):
        values = self.json("-c", K1C, "reg", "read", "sensor", "5", "--unsafe")
        self.assertEqual(list(values), ["0x0005"])
        self.assertIsInstance(values["0x0005"], int)

    def test_write_shows_what_the_register_then_reads(self):
        # A delay in the FPGA and the black level in the sensor.
        for chip, address in (("fpga", "0x0004"), ("sensor", "0x0208")):
            for value in ("0xA5", "0x5A"):
                out, _ = self.succeed("-c", K1C, "reg", "--unsafe", "write", chip, address, value)
                self.assertEqual(out, f"{address} = {value}\n")
        self.assertEqual(self.json("-c", K1C, "reg", "--unsafe", "write", "fpga", "4", "7"), {"0x0004": 7})

    def test_write_to_a_register_that_cannot_be_written_keeps_its_value(self):
        before = self.json("-c", K1C, "reg", "--unsafe", "read", "fpga", "0x1C")
        done = self.run_tool("-c", K1C, "reg", "--unsafe", "write", "fpga", "0x1C", "0x77", "--json")
        self.assertIn(done.returncode, (0, 1))
        if done.returncode == 0:
            self.assertEqual(json.loads(done.stdout), before)

    def test_wrong_words_list_the_right_ones(self):
        self.assertIn("fpga and sensor", self.fail_with(2, "-c", K1C, "reg", "--unsafe", "read", "flash", "0"))
        self.assertIn("read, write", self.fail_with(2, "reg", "erase"))
        self.assertIn("read, write", self.fail_with(2, "reg"))

    def test_numbers_out_of_range_are_refused(self):
        for arguments in (("read", "fpga", "0x10000"), ("read", "fpga", "-1"), ("read", "fpga", "0xFFFF", "2"),
                          ("read", "fpga", "zero"), ("write", "fpga", "0", "256"), ("write", "fpga", "0", "-1")):
            self.fail_with(2, "-c", K1C, "reg", "--unsafe", *arguments)

    def test_a_refused_read_names_the_register(self):
        message = self.fail_with(1, "-c", f"{K1C},refuse=0xD2", "reg", "--unsafe", "read", "sensor", "0x12")
        self.assertIn("sensor register 0x0012", message)
