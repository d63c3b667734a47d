"""Recordings that end at a random moment: killed, cut off, on a disk that is full, of a camera that is unplugged.

Each is opened as it is left, or mended first. Frames are compared with those of the sensor by the numbers of the text: with a
file that it plays, or with what it draws beforehand and sends in turn, whatever its model. Times are compared with the text, and
with the computer's clock.
"""

import contextlib
import datetime
import json
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
LOW = bytes((7 * value + 3) % 256 for value in range(256))
SOURCES = 50
DRAWN = 7
# The smallest fit into one block of FITS; of the largest, a block of the disk is full in a fifth of a second.
SIZES = ((64, 32), (96, 64), (320, 240))
FORMS = {"ser": "a.ser", "cube": "a.fits", "folder": "a/"}
WAYS = ("kill", "cut", "limit", "full", "unplug")
PATIENCE = 100
MOST_HEADER = 5 * 2880


def source(index, width, height, left=0, top=0, bits=8):
    """Frame `index` of what the camera plays, or a part of it: every pixel tells which frame it is of, and where it belongs."""
    row = bytes(3 * (left + x) % PERIOD for x in range(width))
    high = b"".join(row.translate(LATER[(index + 5 * (top + y)) % PERIOD]) for y in range(height))
    if bits == 8:
        return high
    wide = bytearray(2 * len(high))
    wide[0::2], wide[1::2] = high.translate(LOW), high
    return bytes(wide)


def in_fits(pixels, form):
    """The samples of a frame as FITS has them: most significant byte first and signed, red, green and blue one after the other."""
    if form == "raw16":
        wide = bytearray(len(pixels))
        wide[0::2], wide[1::2] = bytes(byte ^ 0x80 for byte in pixels[1::2]), pixels[0::2]
        return bytes(wide)
    return pixels[2::3] + pixels[1::3] + pixels[0::3] if form == "rgb24" else pixels


class Played:
    """Frames of a file, or a part of each, as they stand there."""

    def __init__(self, drawn, folder):
        self.width, self.height = drawn.choice(SIZES)
        self.bits, self.colour = drawn.choice((8, 16)), drawn.choice(("mono", "RGGB", "GRBG", "GBRG", "BGGR"))
        self.left, self.top = drawn.choice(((0, 0), (8, 4), (24, 16)))
        self.form = f"raw{self.bits}"
        whole = self.width + self.left, self.height + self.top
        path = os.path.join(folder, f"{whole[0]}x{whole[1]}-{self.bits}-{self.colour}.ser")
        if not os.path.exists(path):
            write(path, *whole, self.bits, self.colour, [source(i, *whole, bits=self.bits) for i in range(SOURCES)])
        self.camera, self.fps = f"virtual:replay,file={path}", 500
        self.options = ("-f", self.form, "-e", "2ms", "--region", f"{self.left},{self.top},{self.width},{self.height}")

    def frames(self):
        return [source(i, self.width, self.height, self.left, self.top, self.bits) for i in range(SOURCES)]

    def __str__(self):
        return f"replay {self.colour} {self.form} {self.width}x{self.height} at {self.left},{self.top}"


class Drawn:
    """What a model draws beforehand, as orqcam capture takes it."""

    taken = {}

    def __init__(self, drawn, folder, orqcam, models):
        self.camera = f"virtual:{drawn.choice(models)},prerender={DRAWN}"
        self.words = [orqcam, "--no-settings", "--json", "-c", self.camera]
        asked = subprocess.run([*self.words, "gps", "read"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=PATIENCE, check=False)
        if asked.returncode == 0:  # it would tell another day
            self.camera += ",gpstime=now"
            self.words[-1] = self.camera
        binning, at = drawn.choice((1, 1, 2)), drawn.choice(("64,32", "128,64"))
        self.form = drawn.choice(json.loads(self.run(folder, "info"))["formats"])
        self.options = ("-f", self.form, "-e", "2ms", "--bin", str(binning), "--region", f"{at},{320 * binning},{240 * binning}")
        if str(self) not in Drawn.taken:
            Drawn.taken[str(self)] = self.take(os.path.join(folder, f"drawn{len(Drawn.taken)}"))
        self.fps, self.sent = Drawn.taken[str(self)]

    def run(self, place, *more):
        return subprocess.run([*self.words, *more], cwd=place, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                              timeout=PATIENCE, check=True).stdout

    def take(self, place):
        """(frames per second, the frames as they are delivered)"""
        os.mkdir(place)
        self.run(place, "capture", *self.options, "-n", str(DRAWN), "-o", "{n}.raw")
        plan = json.loads(self.run(place, "record", *self.options, "-n", "1", "-o", "a.ser").splitlines()[0])
        frames = []
        for number in range(1, DRAWN + 1):
            with open(os.path.join(place, f"{number}.raw"), "rb") as file:
                frames.append(file.read())
        return plan["fps"], frames

    def frames(self):
        return self.sent

    def __str__(self):
        return f"{self.camera} {' '.join(self.options)}"


class Wrong(Exception):
    """What is wrong with a recording."""


def demand(holds, what):
    if not holds:
        raise Wrong(what)


def check_frames(frames, times, sent):
    """Each is the one that the sensor has sent when its line says; `sent` are those that it sends in turn."""
    if not frames:
        return
    demand(frames[0] in sent, f"the first frame is none that was sent ({len(frames[0])} bytes for {len(sent[0])})")
    first = sent.index(frames[0])
    for pixels, line in zip(frames, times):
        demand(pixels == sent[(first + line["number"] - 1) % len(sent)], f"frame {line['frame']} is not that of {line}")


class Trial:
    """One recording in a folder of its own."""

    def __init__(self, orqcam, folder, camera, drawn, form, way):
        self.orqcam, self.folder, self.camera, self.drawn, self.form, self.way = orqcam, folder, camera, drawn, form, way
        self.path = os.path.join(folder, FORMS[form].rstrip("/"))
        sent = camera.frames()
        self.size = len(sent[0])
        self.sent = sent if form == "ser" else [in_fits(pixels, camera.form) for pixels in sent]

    def run(self, *words):
        return subprocess.run([self.orqcam, "--no-settings", *words], cwd=self.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=PATIENCE, check=False)

    def record(self):
        """Until it ends at its moment."""
        # On a busy computer a frame that nobody fetches is lost, and what it was to bring with it.
        moment = round(self.camera.fps * self.drawn.uniform(0.8, 1.6))
        fault = "".join(f",unplug@{moment + i}" for i in range(100)) if self.way == "unplug" else ""
        limit = self.drawn.randrange(20_000, 20_000 + min(200 * self.size, 8_000_000)) if self.way == "limit" else None
        words = [self.orqcam, "--no-settings", "-c", self.camera.camera + fault, "record", *self.camera.options, "-o",
                 FORMS[self.form], "--json"]
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
        if not lines:  # it was ended before the first frame
            return
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
        check_frames(ser.frames, times.frames, self.sent)
        self.check_times(times.frames)
        return len(ser.frames)

    def look_at_cube(self):
        before = 0
        if self.way == "kill":  # it opens as it is
            cube, times = Cube(self.path), Times(self.path + ".txt")
            before = len(cube.frames)
            check_frames(cube.frames, times.frames, self.sent)
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
        check_frames(cube.frames, times.frames, self.sent)
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
        check_frames([image.pixels for image in images], times, self.sent)
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


def run(orqcam, folder, count, seed, models=(), tell=None):
    """(trials that were made, frames that were recorded, what was wrong) of `count` trials in `folder`. One in two is of one of
    `models`, the others play a file."""
    drawn = random.Random(seed)
    made, frames, wrong = 0, 0, []
    for number in range(count):
        form, way = list(FORMS)[number % len(FORMS)], WAYS[number // len(FORMS) % len(WAYS)]
        place = os.path.join(folder, str(number))
        os.mkdir(place)
        with small_disk(place, drawn.randrange(1, 6)) if way == "full" else contextlib.nullcontext(form != "folder" or way != "limit") as can:
            if not can:
                continue
            camera = Drawn(drawn, folder, orqcam, models) if models and number % 2 else Played(drawn, folder)
            try:
                trial = Trial(orqcam, place, camera, drawn, form, way)
                trial.record()
                found = trial.look()
            except (Wrong, ValueError, OSError) as error:
                wrong.append(f"trial {number}, {form}, {way}, {camera}: {error}")
                continue
        made += 1
        frames += found
        if tell:
            tell(f"{number}: {form} {way}, {camera}: {found} frames")
    return made, frames, wrong
