#!/usr/bin/env python3
"""Completions offer what fits, help says what values are, versions agree.

The environment names the program (ORQCAM) and the project's VERSION."""

import json
import os
import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PACKAGING = ROOT / "packaging"
ORQCAM = os.environ["ORQCAM"]

# What bash-completion would define; names of files are not offered but told apart.
BASH = r"""
_init_completion() { words=("${COMP_WORDS[@]}"); cword=$COMP_CWORD; cur=${words[cword]}; prev=${words[cword - 1]}; }
_filedir() { COMPREPLY=("a file${1:+ $1}"); }
__ltrim_colon_completions() { :; }
compopt() { echo "compopt $*"; }
. "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
_orqcam
printf '%s\n' "${COMPREPLY[@]}"
"""


class Tests(unittest.TestCase):
    def offered(self, line):
        """What bash offers for the last word of a line."""
        environment = dict(os.environ, PATH=f"{os.path.dirname(ORQCAM)}:{os.environ['PATH']}")
        done = subprocess.run(["bash", "-c", BASH, "-", PACKAGING / "orqcam.bash", *line.split(" ")], text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, check=True, env=environment, timeout=60)
        self.assertEqual(done.stderr, "", line)
        return done.stdout.split("\n")[:-1]

    def test_commands_are_offered_where_they_fit(self):
        self.assertEqual(self.offered("orqcam ca"), ["capture"])
        self.assertEqual(self.offered("orqcam dark "), ["take", "use", "off", "save", "load"])
        self.assertEqual(self.offered("orqcam --json -c 0 hid"), [""])
        self.assertEqual(self.offered("orqcam help hotp"), ["hotpixels"])

    def test_options_are_those_of_the_command_and_of_all_above_it(self):
        self.assertEqual(self.offered("orqcam dark take --fr"), ["--frames"])
        self.assertEqual(self.offered("orqcam list --vi"), ["--virtual"])
        self.assertEqual(self.offered("orqcam info --vi"), [""])
        self.assertEqual(self.offered("orqcam reg read --un"), ["--unsafe"])
        self.assertEqual(self.offered("orqcam gps watch --js"), ["--json"])
        self.assertEqual(self.offered("orqcam --ver"), ["--version"])

    def test_values_are_offered(self):
        self.assertEqual(self.offered("orqcam capture -f "), ["raw8", "raw16", "rgb24", "y8"])
        self.assertEqual(self.offered("orqcam record --form "), ["ser", "cube", "folder"])
        self.assertEqual(self.offered("orqcam trigger -n 3 --mode so"), ["software", "software-level"])
        self.assertEqual(self.offered("orqcam capture -e "), [""])
        self.assertEqual(self.offered("orqcam guide s"), ["south"])
        self.assertEqual(self.offered("orqcam reg --unsafe read "), ["fpga", "sensor"])
        self.assertEqual(self.offered("orqcam profile set obs"), ["compopt -o nospace", "observer="])

    def test_files_are_offered(self):
        self.assertEqual(self.offered("orqcam capture --output x"), ["a file"])
        self.assertEqual(self.offered("orqcam flash verify x"), ["a file"])
        self.assertEqual(self.offered("orqcam flash restore x --backup y"), ["a file -d"])

    def test_cameras_and_their_controls_are_offered(self):
        self.assertIn("virtual:k1c", self.offered("orqcam -c virt"))
        self.assertEqual(self.offered("orqcam -c virtual:x26m,timescale=0 get CoolerO"), ["CoolerOn"])
        self.assertEqual(self.offered("orqcam -c virtual:k1c set Gai"), ["compopt -o nospace", "Gain="])

    def test_the_other_shells_can_read_theirs(self):
        read = [shell for shell in ("zsh", "fish") if shutil.which(shell)]
        for shell in read:
            subprocess.run([shell, "-n", PACKAGING / f"orqcam.{shell}"], check=True, timeout=60)
        print(f"read by {read or 'none: zsh and fish are not installed'}", file=sys.stderr)

    def test_help_says_what_every_value_is(self):
        told = json.loads(subprocess.run([ORQCAM, "help", "--json"], check=True, capture_output=True, text=True).stdout)
        options = [option for command in told["commands"] for option in command["options"]] + told["options"]
        self.assertGreater(len(options), 100)
        nameless = {option["names"][-1] for option in options if option.get("value") == "TEXT"}
        self.assertEqual(nameless, set(), "these have no word in faces/cli/options/OptionWords.cpp")

    def test_the_packages_have_the_version_of_the_project(self):
        first = (ROOT / "debian" / "changelog").read_text(encoding="utf-8").split("\n", 1)[0]
        self.assertEqual(re.match(r"orqcam \(([^)]+)\) ", first)[1], os.environ["VERSION"])

    def test_the_rule_gives_cameras_to_the_group_and_the_seat_and_to_nobody_else(self):
        rule = (PACKAGING / "70-orqcam.rules").read_text(encoding="utf-8").splitlines()[-1]
        vendor = re.search(r"\bkVendorId\b[^;]*0x([0-9A-Fa-f]{4})", "\n".join(
            path.read_text(encoding="utf-8") for path in (ROOT / "src" / "link").rglob("*.h")))
        self.assertIsNotNone(vendor)
        for part in (f'ATTR{{idVendor}}=="{vendor[1].lower()}"', 'MODE="0660"', 'GROUP="plugdev"', 'TAG+="uaccess"'):
            self.assertIn(part, rule)


if __name__ == "__main__":
    unittest.main()
