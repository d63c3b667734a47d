#!/usr/bin/env python3
"""Under a locale with a decimal comma, what the library reads and writes has decimal points.

    check_locale.py LIBRARY_FOLDER CC TEST_API

Saves a frame with a program of its own, and tours the library with its tests. Exit code 77: the locale cannot be made here.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

import programs

SKIPPED = 77
LOCALE = "de_DE.UTF-8"
# What reads or writes numbers, and one of everything else.
TOUR = "Locale.*:ApiTour.F*:ApiFiles.*:ApiSettings.*:ApiDarks.*:ApiGps*:ApiProfile.*:ApiControls.*:ApiOpen.*:Cpp.*"


def fits_cards(path):
    header = path.read_bytes().split(b"END" + b" " * 77)[0].decode("ascii")
    return [header[i:i + 80] for i in range(0, len(header), 80)]


def value(cards, name):
    return next(card for card in cards if card.startswith(f"{name:8}="))[9:].split("/")[0].strip()


def main():
    with tempfile.TemporaryDirectory() as work:
        try:
            subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", f"{work}/{LOCALE}"], check=True,
                           capture_output=True)
        except (OSError, subprocess.CalledProcessError) as trouble:
            print(f"skipped: the locale {LOCALE} cannot be made: {trouble}")
            return SKIPPED
        ran = programs.run([programs.build("comma", sys.argv[1], sys.argv[2], work), work], work, LC_ALL=LOCALE,
                           LOCPATH=work)
        lines = ran.stdout.decode().splitlines()
        print("\n".join(lines))
        if ran.returncode != 0:
            return 1
        texts = dict(line.split("=", 1) for line in lines)
        files = [path.name for path in Path(work).glob("*.fits")]
        cards = fits_cards(Path(work) / files[0])
        wrong = [line for line in lines if "," in line]
        wrong += [card for card in cards if "," in card[9:].split("/")[0] and "'" not in card]
        wrong += [name for name in files if "," in name]
        described = next(path for path in Path(work).glob("frame*") if path.suffix != ".raw").read_text("utf-8")
        wrong += re.findall(r"^.*\d,\d.*$", described, re.MULTILINE)
        for name, number in (("EXPTIME", 1.5), ("FOCUSPOS", 12.75)):
            if float(texts[name]) != number or float(value(cards, name)) != number:
                wrong.append(f"{name}: {texts[name]} and {value(cards, name)} instead of {number}")
        toured = programs.run([sys.argv[3], f"--gtest_filter={TOUR}", "--gtest_brief=1"], work, LC_ALL=LOCALE,
                              LOCPATH=work, ORQ_API_DECIMAL_POINT=",")
        if toured.returncode != 0:
            wrong.append(toured.stdout.decode() + toured.stderr.decode())
        print("\n".join(wrong))
        return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
