"""Every command that README.md and docs/*.md show runs as it is written there, from a clean directory.

A command is a line of a fenced `sh` block, or an indented line that begins with orqcam or orq-emulate. What a page calls
a connected camera is a virtual one here: `orqcam` without -c is given the page's. The stated outcome is that a command
succeeds, unless OUTCOMES says what its page says instead.
"""

import glob
import os
import re
import shutil
import stat
import subprocess
import time

from support import TIMEOUT, CliTest, ORQCAM

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
NIGHT = "virtual:k1c,timescale=0.001,scene=dark,state=camera.state"  # covered

# The camera that is connected while a page is read. Its time passes faster: nobody waits for dark frames here. That of
# a GPS does not: its frames are to have their own times.
CONNECTED = {"corrections.md": NIGHT, "hot-pixels.md": NIGHT, "settings.md": NIGHT, "automatic-control.md": NIGHT,
             "controls.md": NIGHT, "gps.md": "virtual:t46c,prerender=4"}

# What cannot run here, and why.
NOT_RUN = {
    "scripts/demo": "installs packages and builds: .ci/run runs it",
    "scripts/test": "installs packages and builds: .ci/run runs it",
    "sudo ": "changes the system: tests/packaging/try_packages.py installs the packages",
    "scripts/make-packages": "builds: scripts/test-packages runs it",
    "/usr/bin/python3 -m venv": "compiles for minutes: of its build tests/packaging/try_packages.py tries the outcome",
    "venv/bin/pip": "the same",
    "orqcam gps watch": "ends at Ctrl-C: test_gps.py interrupts it",
    "orqcam -c virtual:k1c,drop=0.01,stall@7,short@12 stream": "ends at Ctrl-C: test_stream.py runs it with --frames",
    "orq-emulate": "needs umockdev: tests/link/test_launcher.py runs them",
}

# Pages whose commands other tests run.
ELSEWHERE = {"library.md": "needs an installed library: tests/install/check_install.py runs them",
             "network.md": "its first command ends at Ctrl-C: tests/network/check_page.py runs them",
             "indi.md": "needs an INDI server: tests/indi/check_page.py runs them"}

# Commands whose page states another end than success.
OUTCOMES = {}

# What stands in the directory beforehand: a recording that a page speaks of.
BEFOREHAND = {"virtual-camera.md": ["orqcam -c virtual:k1c,timescale=0 capture -o m42.fits"]}


def commands(path):
    """The commands of a page in order, without their comments."""
    found = []
    fenced = False
    with open(path, encoding="utf-8") as page:
        for line in page:
            if line.startswith("```"):
                fenced = not fenced and line.strip() == "```sh"
            elif fenced or re.match(r"    (orqcam|orq-emulate|\./orqcam) ", line):
                found.append(re.sub(r"\s+# .*$", "", line).strip())
    return [command for command in found if command]


def reason_not_to_run(command):
    return next((reason for begin, reason in NOT_RUN.items() if command.startswith(begin)), None)


PAGES = {os.path.basename(path): commands(path)
         for path in [os.path.join(ROOT, "README.md"), *sorted(glob.glob(os.path.join(ROOT, "docs", "*.md")))]}


class Tests(CliTest):
    def clean_directory(self, page):
        """A directory in which what a reader has built lies where the README says, and an `orqcam` on the path."""
        work = tempfile_in(self.directory, page)
        built = os.path.join(work, "build/release/faces/cli")
        os.makedirs(built)
        os.symlink(ORQCAM, os.path.join(built, "orqcam"))
        programs = os.path.join(work, ".bin")
        os.mkdir(programs)
        camera = CONNECTED.get(page)
        script = os.path.join(programs, "orqcam")
        with open(script, "w", encoding="utf-8") as file:
            file.write('#!/bin/sh\nfor word; do case $word in -c | --camera) exec "$ORQCAM" "$@" ;; esac; done\n')
            file.write(f'exec "$ORQCAM" -c "{camera}" "$@"\n' if camera else 'exec "$ORQCAM" "$@"\n')
        os.chmod(script, stat.S_IRWXU)
        return work, dict(self.environment, PATH=programs + ":" + os.environ["PATH"], ORQCAM=ORQCAM)

    def run_page(self, page):
        work, environment = self.clean_directory(page)
        lines = BEFOREHAND.get(page, []) + [each for each in PAGES[page] if not reason_not_to_run(each)]
        directory = work
        for command in lines:
            if command.startswith("cd "):
                directory = os.path.join(directory, command[3:])
                continue
            begin = time.monotonic()
            done = subprocess.run(["sh", "-c", command], cwd=directory, env=environment, text=True, timeout=TIMEOUT,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            print(f"{time.monotonic() - begin:6.1f} s  {command}")
            self.assertEqual(done.returncode, OUTCOMES.get(command, 0), f"{page}: {command}\n{done.stderr}")
            self.assertNotIn("orqcam: cannot", done.stderr)
        shutil.rmtree(work)

    def test_the_readme_does_what_it_says(self):
        self.run_page("README.md")

    def test_the_pages_do_what_they_say(self):
        for page, lines in PAGES.items():
            if page != "README.md" and page not in ELSEWHERE and lines:
                self.run_page(page)

    def test_there_are_commands_and_none_is_excused_in_vain(self):
        every = [command for lines in PAGES.values() for command in lines]
        self.assertGreater(len(every), 30)
        for begin in NOT_RUN:
            self.assertTrue(any(command.startswith(begin) for command in every), f"nothing begins with {begin}")
        for command in OUTCOMES:
            self.assertIn(command, every)
        for page in ELSEWHERE:
            self.assertTrue(PAGES[page], f"{page} shows no command")


def tempfile_in(directory, page):
    path = os.path.join(directory, page + ".d")
    os.mkdir(path)
    return path
