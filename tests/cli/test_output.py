"""Data on standard output, everything else on standard error."""

import json
import os

from support import CliTest, K1C


class Tests(CliTest):
    def test_the_debug_log_is_on_stderr_only(self):
        out, err = self.succeed("-c", K1C, "--debug", "capture", "--region", "0,0,64,64", "-o", "x.fits")
        self.assertIn("start capture create thread", err)
        self.assertEqual(out, "file = x.fits\nsaved = 1\n")

    def test_the_debug_log_is_off_by_default(self):
        _, err = self.succeed("-c", K1C, "info")
        self.assertEqual(err, "")

    def test_json_stays_json_with_the_debug_log_on(self):
        out, _ = self.succeed("-c", K1C, "--debug", "--json", "info")
        self.assertEqual(json.loads(out)["key"], "k1c")

    def test_nothing_colours_the_output(self):
        for arguments in (("info",), ("controls",), ("get", "nonsense"), ("stream", "--frames", "1")):
            done = self.run_tool("-c", K1C, *arguments)
            self.assertNotIn("\x1b", done.stdout + done.stderr)

    def test_an_unwritable_log_directory_changes_nothing(self):
        blocked = os.path.join(self.directory, "blocked")
        with open(blocked, "w", encoding="utf-8"):
            pass
        self.environment["XDG_STATE_HOME"] = blocked
        out, _ = self.succeed("-c", K1C, "--debug", "--json", "info")
        self.assertEqual(json.loads(out)["key"], "k1c")
