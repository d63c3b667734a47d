"""Recordings that end at a random moment: killed, cut off, on a disk that is full, of a camera that is unplugged.

Each is opened as it is left, or mended first. Frames are compared with those of the sensor, which plays frames that tell
which they are, by the numbers of the text; times with the text, and with the computer's clock.
"""

import contextlib
import datetime
import os
import random
import resource
import signal
import subprocess
import time

from fits_format import Cube, Image
from ser_format import Ser, Times, ticks, write

PERIOD = 251
LATER = [bytes((value + shift) % PERIOD for value in range(256)) for shift in range(PERIOD)]
SOURCES = 50
# The smallest fit into one block of FITS; of the largest, a block of the disk is full in a fifth of a second.
SIZES = ((64, 32), (96, 64), (320, 240))
FORMS = {"ser": "a.ser", "cube": "a.fits", "folder": "a/"}
WAYS = ("kill", "cut", "limit", "full", "unplug")
PATIENCE = 100
MOST_HEADER = 5 * 2880


def source(index, width, height):
    """Frame `index` of what the camera plays: every pixel tells which frame it is of, and where it belongs."""
    row = bytes(3 * x % PERIOD for x in range(width))
    return b"".join(row.translate(LATER[(index + 5 * y) % PERIOD]) for y in range(height))


def write_source(path, width, height):
    write(path, width, height, 8, "mono", [source(i, width, height) for i in range(SOURCES)])


class Wrong(Exception):
    """What is wrong with a recording."""


def demand(holds, what):
    if not holds:
        raise Wrong(what)


def check_frames(frames, times, width, height):
    """Each is the one that the sensor has played when its line says."""
    if not frames:
        return
    first = frames[0][0]
    for pixels, line in zip(frames, times):
        demand(pixels == source((first + line["number"] - 1) % SOURCES, width, height), f"frame {line['frame']} is not that of {line}")


class Trial:
    """One recording in a folder of its own."""

    def __init__(self, orqcam, folder, sources, drawn, form, way):
        self.orqcam, self.folder, self.drawn, self.form, self.way = orqcam, folder, drawn, form, way
        self.width, self.height = drawn.choice(SIZES)
        self.source = os.path.join(sources, f"{self.width}x{self.height}.ser")
        if not os.path.exists(self.source):
            write_source(self.source, self.width, self.height)
        self.path = os.path.join(folder, FORMS[form].rstrip("/"))
        self.size = self.width * self.height

    def run(self, *words):
        return subprocess.run([self.orqcam, "--no-settings", *words], cwd=self.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=PATIENCE, check=False)

    def record(self):
        """Until it ends at its moment."""
        # On a busy computer a frame that nobody fetches is lost, and what it was to bring with it.
        moment = self.drawn.randrange(400, 800)
        fault = "".join(f",unplug@{moment + i}" for i in range(100)) if self.way == "unplug" else ""
        limit = self.drawn.randrange(20_000, 200 * self.size) if self.way == "limit" else None
        words = [self.orqcam, "--no-settings", "-c", f"virtual:replay,file={self.source}{fault}", "record", "-f", "raw8", "-e",
                 "2ms", "-o", FORMS[self.form], "--json"]
        if self.way in ("limit", "full"):
            words += ["-n", "3000"]

        def prepare():
            if limit is not None:
                resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

        began = time.time()
        with subprocess.Popen(words, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, preexec_fn=prepare) as process:
            if self.way in ("kill", "cut"):
                process.stdout.readline()  # it begins
                time.sleep(self.drawn.uniform(0, 0.7))
                process.send_signal(signal.SIGKILL)
            try:
                _, err = process.communicate(timeout=PATIENCE)
            except subprocess.TimeoutExpired:
                process.kill()
                raise Wrong("it does not end") from None
        expected = {"kill": -signal.SIGKILL, "cut": -signal.SIGKILL, "limit": 1, "full": 1, "unplug": 4}[self.way]
        demand(process.returncode == expected, f"exit status {process.returncode}: {err}")
        self.span = (began - 1, time.time() + 1)
        if self.way == "cut" and self.form != "folder" and os.path.exists(self.path):
            os.truncate(self.path, self.drawn.randrange(os.path.getsize(self.path) + 1))

    def look(self):
        """What has become of it: how many frames it has. Wrong: it cannot be opened or mended, or has a wrong frame or time."""
        if not os.path.exists(self.path):
            return 0
        return {"ser": self.look_at_ser, "cube": self.look_at_cube, "folder": self.look_at_folder}[self.form]()

    def mend(self, whole):
        """False: there is nothing to mend."""
        done = self.run("ser", "repair", os.path.basename(self.path))
        demand(done.returncode == 0 or whole == 0, f"repair fails although {whole} frames are there: {done.stderr}")
        again = self.run("ser", "repair", os.path.basename(self.path), "--json")
        demand(done.returncode != 0 or '"repaired":false' in again.stdout.replace(" ", ""), f"repaired twice: {again.stdout}")
        return done.returncode == 0

    def check_times(self, lines):
        utc = [datetime.datetime.fromisoformat(line["utc"][:26]).replace(tzinfo=datetime.timezone.utc).timestamp() for line in lines]
        demand(utc == sorted(utc), "times go back")
        demand(all(self.span[0] <= each <= self.span[1] for each in utc), f"times of another day: {utc[0]} to {utc[-1]}")
        demand([line["number"] for line in lines] == sorted({line["number"] for line in lines}), "numbers do not rise")

    def look_at_ser(self):
        whole = max(os.path.getsize(self.path) - 178, 0) // self.size
        if self.way in ("kill", "cut") and not self.mend(whole):
            return 0
        ser, times = Ser(self.path), Times(self.path + ".txt")
        demand(ser.times == [line["stamp"] for line in times.frames], "other times than in the text")
        demand(self.way not in ("kill", "cut") or len(ser.frames) == whole, f"{len(ser.frames)} of {whole} frames are kept")
        check_frames(ser.frames, times.frames, self.width, self.height)
        self.check_times(times.frames)
        return len(ser.frames)

    def look_at_cube(self):
        before = 0
        if self.way == "kill":  # it opens as it is
            cube, times = Cube(self.path), Times(self.path + ".txt")
            before = len(cube.frames)
            check_frames(cube.frames, times.frames, self.width, self.height)
            demand(len(times.frames) >= before, "frames without a line in the text")
        if self.way in ("kill", "cut") and not self.mend(before):
            demand(os.path.getsize(self.path) < MOST_HEADER + self.size or self.way == "kill", "whole frames are not kept")
            return before
        cube, times = Cube(self.path), Times(self.path + ".txt")
        demand(cube.whole, "bytes stand behind the cube")
        demand(len(cube.frames) >= before, f"{before} frames were there, and {len(cube.frames)} are kept")
        told = [(line["frame"], line["number"], line["sequence"], line["utc"], line["x"], line["y"]) for line in times.frames]
        table = [(row["FRAME"], row["NUMBER"], row["CAMSEQ"], row["UTC"], row["STARTX"], row["STARTY"]) for row in cube.times]
        demand(table == told and len(told) == len(cube.frames), f"{len(table)} rows, {len(told)} lines, {len(cube.frames)} frames")
        check_frames(cube.frames, times.frames, self.width, self.height)
        self.check_times(times.frames)
        return len(cube.frames)

    def look_at_folder(self):
        names = sorted(name for name in os.listdir(self.path) if name.endswith(".fits"))
        demand(names == [f"{i + 1:06}.fits" for i in range(len(names))], f"names: {names[:3]} to {names[-3:]}")
        times = Times(self.path + ".txt").frames
        demand(len(times) >= len(names), f"{len(names)} files and {len(times)} lines")
        images = [Image(os.path.join(self.path, name)) for name in names]
        for image, line in zip(images, times):
            demand(ticks(image.cards["DATE-OBS"] + ("0" if len(image.cards["DATE-OBS"]) < 27 else "")) // 10 == line["stamp"] // 10,
                   f"{image.cards['DATE-OBS']} is not the time of {line}")
            demand(int(image.cards["CAMSEQ"]) == line["sequence"], f"CAMSEQ {image.cards['CAMSEQ']} in {line}")
        check_frames([image.pixels for image in images], times, self.width, self.height)
        self.check_times(times)
        return len(images)


@contextlib.contextmanager
def small_disk(folder, megabytes):
    """A disk in memory with little room; gives whether it could be mounted."""
    done = subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={megabytes}m", "orqcam-trial", folder], check=False,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        yield done.returncode == 0
    finally:
        if done.returncode == 0:
            subprocess.run(["umount", folder], check=True)


def run(orqcam, folder, count, seed, tell=None):
    """(trials that were made, frames that were recorded, what was wrong) of `count` trials in `folder`."""
    drawn = random.Random(seed)
    made, frames, wrong = 0, 0, []
    for number in range(count):
        form, way = list(FORMS)[number % len(FORMS)], WAYS[number // len(FORMS) % len(WAYS)]
        place = os.path.join(folder, str(number))
        os.mkdir(place)
        with small_disk(place, drawn.randrange(1, 6)) if way == "full" else contextlib.nullcontext(form != "folder" or way != "limit") as can:
            if not can:
                continue
            trial = Trial(orqcam, place, folder, drawn, form, way)
            try:
                trial.record()
                found = trial.look()
            except (Wrong, ValueError, OSError) as error:
                wrong.append(f"trial {number}, {form}, {way}, {trial.width}x{trial.height}: {error}")
                continue
        made += 1
        frames += found
        if tell:
            tell(f"{number}: {form} {way} {trial.width}x{trial.height}: {found} frames")
    return made, frames, wrong
