#!/usr/bin/env python3
"""The long stories of the INDI driver: what a season of nights does to it, in some minutes.

    stories.py INDI_ORQCAM_CCD ORQ_EMULATE SHARE [STORY ...]

SHARE 1 is the full length, 0.1 a tenth of it. Every story prints what it has measured; the first failure ends the
program with status 1. Pictures are compared with what the emulated camera sent, and looked at by astropy and
fitsverify where these are there.
"""

import io
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from fits import Bus, Picture, binned_by_two
from indi import Client, Device, Server

DRIVER, EMULATE, SHARE = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), float(sys.argv[3])
FIRST = "ORQ Camera"


def times(full):
    return max(2, round(full * SHARE))


class Stage:
    """A server with cameras on an emulated bus, and a client."""

    def __init__(self, cameras, options=()):
        self.folder = tempfile.TemporaryDirectory()
        self.bus = Bus(self.folder.name)
        self.server = Server(DRIVER, before=[EMULATE, cameras, "--control", self.bus.path, "--"], options=options)
        self.client = Client(self.server.port)
        self.camera = Device(self.client, FIRST)

    def __enter__(self):
        self.camera.connect()
        return self

    def __exit__(self, *_):
        self.client.close()
        self.server.close()
        self.folder.cleanup()

    def others(self, count):
        def named():
            found = sorted({key[0] for key in self.client.properties if key[0].startswith("Tavix")})
            return found if len(found) >= count else None

        return [Device(self.client, name) for name in self.client.wait("further cameras", named)]

    def is_as_sent(self, content, number=0):
        picture = Picture(content)
        header, pixels = self.bus.sent(number, picture["CAMSEQ"])
        if picture["XBINNING"] == 2:
            pixels = binned_by_two(pixels, header["width"], header["height"], abs(picture["BITPIX"]))
        assert picture.pixels == pixels, "pixels differ from what the sensor sent"
        assert header["exposure_us"] == round(picture["EXPTIME"] * 1e6)
        assert (header["gain"], header["offset"]) == (picture["GAIN"], picture["OFFSET"])
        assert not picture.doubles and picture.whole
        return picture


def look_at(content, folder):
    """By programs that are not ours."""
    path = os.path.join(folder, "picture.fits")
    with open(path, "wb") as file:
        file.write(content)
    if shutil.which("fitsverify"):
        subprocess.run(["fitsverify", "-q", path], check=True, stdout=subprocess.DEVNULL)
    try:
        from astropy.io import fits  # pylint: disable=import-outside-toplevel
    except ImportError:
        return
    with fits.open(io.BytesIO(content)) as files:
        files.verify("exception")
        assert files[0].data.shape[-1] == files[0].header["NAXIS1"]


def exposures():
    """50 exposures with changing region, bin, depth and gain."""
    draw = random.Random(1)
    worst = 0.0
    with Stage("k1c,seed=5") as stage:
        camera = stage.camera
        for _ in range(times(50)):
            camera.set_switch("CCD_CAPTURE_FORMAT", draw.choice(["INDI_RAW8", "INDI_RAW16"]))
            binned = draw.choice([1, 1, 2])
            camera.set_number("CCD_BINNING", HOR_BIN=binned, VER_BIN=binned)
            width, height = 16 * draw.randint(8, 60), 4 * draw.randint(8, 200)
            camera.set_number("CCD_FRAME", X=4 * draw.randint(0, 200), Y=4 * draw.randint(0, 50), WIDTH=width, HEIGHT=height)
            gain = draw.randint(0, 100)
            camera.set_number("CCD_GAIN", GAIN=gain)
            seconds = draw.randint(50, 50000) / 1e6
            begin = time.monotonic()
            form, content = camera.expose(seconds)
            worst = max(worst, time.monotonic() - begin - seconds)
            assert form == ".fits"
            picture = stage.is_as_sent(content)
            assert (picture["NAXIS1"], picture["NAXIS2"], picture["GAIN"]) == (width // binned, height // binned, gain)
            look_at(content, stage.folder.name)
    return f"{times(50)} pictures, each as sent; at most {worst:.3f} s after the exposure"


def aborts():
    """Abort at 200 random moments; the next exposure delivers."""
    draw = random.Random(2)
    abort = following = 0.0
    with Stage("k1c,seed=5") as stage:
        camera = stage.camera
        camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=640, HEIGHT=480)
        for number in range(times(200)):
            camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=draw.choice([0.02, 0.1, 30]))
            time.sleep(draw.random() * 0.12)
            begin = time.monotonic()
            camera.answered(lambda: camera.switch("CCD_ABORT_EXPOSURE", "ABORT"), "CCD_ABORT_EXPOSURE")
            abort = max(abort, time.monotonic() - begin)
            camera.settle("CCD_EXPOSURE")
            wanted, before, begin = 3000 + number, len(camera.blobs()), time.monotonic()
            camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=wanted / 1e6)
            stage.client.wait("the next picture", lambda wanted=wanted, before=before: any(
                round(Picture(blob[2])["EXPTIME"] * 1e6) == wanted for blob in camera.blobs()[before:]))
            following = max(following, time.monotonic() - begin)
            stage.client.blobs.clear()
    return f"{times(200)} aborts; answered within {abort:.3f} s, the next picture within {following:.3f} s"


def streams():
    """Stream start and stop 100 times; the next exposure delivers."""
    start = stop = 0.0
    with Stage("k1c,seed=5", options=["-m", "512"]) as stage:
        camera, client = stage.camera, stage.client
        camera.set_switch("CCD_CAPTURE_FORMAT", "INDI_RAW8")
        camera.set_number("STREAMING_EXPOSURE", STREAMING_EXPOSURE_VALUE=0.005, STREAMING_DIVISOR_VALUE=1)
        camera.set_number("LIMITS", LIMITS_BUFFER_MAX=1, LIMITS_PREVIEW_FPS=120)
        for number in range(times(100)):
            client.blobs.clear()
            begin = time.monotonic()
            camera.switch("CCD_VIDEO_STREAM", "STREAM_ON")
            client.wait("frames", lambda: len(camera.blobs()) >= 3)
            start = max(start, time.monotonic() - begin)
            begin = time.monotonic()
            camera.switch("CCD_VIDEO_STREAM", "STREAM_OFF")
            camera.wait("CCD_VIDEO_STREAM", lambda p: p["STREAM_OFF"] == "On" and p.state != "Busy")
            stop = max(stop, time.monotonic() - begin)
            if number % 10 == 0:
                camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=0.002)
                client.wait("a picture", lambda: any(blob[1] == ".fits" for blob in camera.blobs()))
        assert not [text for _, text in client.messages if "buffer is full" in text]
    assert SHARE < 1 or stop <= 0.5, f"stopped within {stop:.3f} s"  # a short run may be on a machine that is busy
    return f"{times(100)} streams; three frames within {start:.3f} s, stopped within {stop:.3f} s"


def kills():
    """kill -9 at 50 random moments; the server starts the driver again."""
    draw = random.Random(3)
    worst = 0.0
    with Stage("k1c,seed=5", options=["-r", "1000"]) as stage:
        camera = stage.camera
        for number in range(times(50)):
            if number % 2:
                camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=draw.choice([0.01, 10]))
            else:
                camera.switch("CCD_VIDEO_STREAM", "STREAM_ON")
            time.sleep(draw.random() * 0.3)
            begin = time.monotonic()
            os.kill(stage.server.pids("indi_orqcam_ccd")[0], signal.SIGKILL)
            stage.client.wait("the old driver's end", lambda: camera("CCD_EXPOSURE") is None)
            camera.connect()
            stage.client.blobs.clear()
            camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=64, HEIGHT=64)
            assert Picture(camera.expose(0.002)[1]).whole
            worst = max(worst, time.monotonic() - begin)
    return f"{times(50)} kills; the next picture within {worst:.3f} s"


def replugs():
    """Unplugged and plugged in again 50 times, in all states."""
    draw = random.Random(4)
    lost = back = 0.0
    with Stage("k1c,seed=5") as stage:
        camera = stage.camera
        camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=320, HEIGHT=240)
        for number in range(times(50)):
            state = ("idle", "exposing", "streaming", "guiding", "recording")[number % 5]
            if state == "exposing":
                camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=60)
            elif state == "streaming":
                camera.switch("CCD_VIDEO_STREAM", "STREAM_ON")
            elif state == "recording":
                camera.switch("RECORD_STREAM", "RECORD_ON")
            elif state == "guiding":
                camera.number("TELESCOPE_TIMED_GUIDE_NS", TIMED_GUIDE_N=5000, TIMED_GUIDE_S=0)
            time.sleep(draw.random() * 0.2)
            begin = time.monotonic()
            stage.bus.obey("unplug 0")
            camera.wait("CONNECTION", lambda p: p.state == "Alert")
            lost = max(lost, time.monotonic() - begin)
            begin = time.monotonic()
            stage.bus.obey("replug 0")
            camera.wait("CONNECTION", lambda p: p.state == "Ok")
            camera.settle("CCD_EXPOSURE")
            stage.client.blobs.clear()
            assert Picture(camera.expose(0.002)[1])["NAXIS1"] == 320
            back = max(back, time.monotonic() - begin)
    return f"{times(50)} replugs; noticed within {lost:.3f} s, the next picture within {back:.3f} s"


def cameras():
    """Three cameras at once: pictures of one, streams of two. Which one is the first is the bus's affair."""
    models = ("Tavix ORQ-K1C", "Tavix ORQ-K1M", "Tavix ORQ-D6M")
    with Stage("k1c,seed=5,k1m,seed=6,d6m,seed=7", options=["-m", "512"]) as stage:
        others = stage.others(2)
        second = Client(stage.server.port)
        watcher = Device(second, FIRST)
        watcher.wait("CCD1")
        for other in others:
            other.connect()
            other.switch("CCD_VIDEO_STREAM", "STREAM_ON")
        stage.camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=320, HEIGHT=240)
        for _ in range(times(50)):
            content = stage.camera.expose(0.01)[1]
            stage.is_as_sent(content, models.index(Picture(content)["INSTRUME"]))
            second.wait("the same picture", lambda content=content: any(blob[2] == content for blob in watcher.blobs()))
            second.blobs.clear()
        for other in others:
            before = len(other.blobs())
            stage.client.wait("frames", lambda other=other, before=before: len(other.blobs()) > before + 2)
            other.switch("CCD_VIDEO_STREAM", "STREAM_OFF")
            other.wait("CCD_VIDEO_STREAM", lambda p: p["STREAM_OFF"] == "On")
        second.close()
    return f"{times(50)} pictures, each as sent and seen by two clients, while two cameras stream"


def chain():
    """A chain of two servers."""
    with Stage("k1c,seed=5") as stage:
        upper = Server(f"{FIRST}@127.0.0.1:{stage.server.port}")
        client = Client(upper.port)
        try:
            camera = Device(client, FIRST)
            camera.wait("CCD_FRAME")
            camera.set_number("CCD_FRAME", X=0, Y=0, WIDTH=320, HEIGHT=240)
            for _ in range(times(20)):
                stage.is_as_sent(camera.expose(0.01)[1])
        finally:
            client.close()
            upper.close()
    return f"{times(20)} pictures through two servers, each as sent"


STORIES = (exposures, aborts, streams, kills, replugs, cameras, chain)


def main():
    wanted = sys.argv[4:]
    for story in STORIES:
        if wanted and story.__name__ not in wanted:
            continue
        begin = time.monotonic()
        said = story()
        print(f"{story.__name__}: {said} ({time.monotonic() - begin:.0f} s)", flush=True)


main()
