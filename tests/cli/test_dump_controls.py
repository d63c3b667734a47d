"""dump-controls: the catalogue of controls."""

import os

from support import CliTest, K1C

DOCUMENT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "docs", "controls.md")


class Tests(CliTest):
    def test_the_document_is_what_the_tool_prints(self):
        with open(DOCUMENT, encoding="utf-8") as file:
            self.assertEqual(self.succeed("dump-controls")[0], file.read(),
                             "make it anew: orqcam dump-controls >docs/controls.md")

    def test_every_control_has_a_row(self):
        rows = [line for line in self.succeed("dump-controls")[0].splitlines() if line.startswith("| ")]
        ids = [row.split("|")[1].strip() for row in rows if row.split("|")[1].strip().isdigit()]
        self.assertEqual(ids, [str(number) for number in range(29)])

    def test_json_agrees_with_a_camera(self):
        catalogue = {control["name"]: control for control in self.json("dump-controls")}
        for control in self.json("-c", K1C, "controls"):
            entry = catalogue[control["name"]]
            limits = entry["models"]["k1c"]
            self.assertEqual(entry["writable"], control["writable"])
            self.assertEqual(entry["description"], control["description"])
            self.assertEqual(limits["auto_supported"], control["auto_supported"])
            scale = 10 if entry["unit"].startswith("0.1") else 1
            self.assertAlmostEqual(limits["min"], control["min"] * scale)
            self.assertAlmostEqual(limits["max"], control["max"] * scale)
