#!/usr/bin/env python3
"""A tour of every property of every model: each is set to its limits, beyond them and to nonsense, and says what became
of it; at the end the camera still takes pictures.

    tour.py INDI_ORQCAM_CCD ORQCAM PAGE [MODEL ...]

PAGE is the documentation: every property of the driver's own stands there, and no other.
"""

import json
import os
import re
import subprocess
import sys
import time

from fits import Picture
from indi import Client, Device, Server

DRIVER, TOOL, PAGE = (os.path.abspath(path) for path in sys.argv[1:4])
FIRST = "ORQ Camera"
QUICK = "timescale=0.0001"  # the longest exposure takes 0.2 s
NONSENSE = ("nan", "inf", "-inf")
# Of the tour's own doings, or told of elsewhere: connecting, configurations, the log.
NOT_TOURED = {"CONNECTION", "SIMULATION", "ORQ_VIRTUAL", "CONFIG_PROCESS", "DEBUG", "POLLING_PERIOD"}


def check(truth, *told):
    if not truth:
        raise AssertionError(" ".join(str(one) for one in told))


class Answer:
    """What became of one request."""

    def __init__(self, state, values, messages):
        self.state, self.values, self.messages = state, values, messages

    def __repr__(self):
        return f"{self.state} {self.values} {self.messages}"


class Tour:
    def __init__(self, client, viewer, model):
        self.client, self.viewer, self.camera, self.model = client, viewer, Device(client, FIRST), model
        self.camera.simulate(f"{model},{QUICK}")
        self.camera.wait("ORQ_STREAM")  # that is defined last
        self.toured, self.asked, self.shots = 0, 10000, 0
        self.barrier()

    # ---- asking ----

    def barrier(self):
        """All requests so far have been read, and their first answers are here: a number that was not sent before is."""
        self.asked += 1
        self.camera.number("POLLING_PERIOD", PERIOD_MS=self.asked)
        self.camera.wait("POLLING_PERIOD", lambda p: p["PERIOD_MS"] == self.asked)

    def ask(self, name, send, settle=True):
        """One request; `settle`: and the end of what it began."""
        said = len(self.client.messages)
        self.camera(name).state = "Sent"
        send()
        self.barrier()
        check(self.camera(name).state != "Sent", name, "was not answered", self.client.messages[-3:])
        if settle:
            self.camera.settle(name)
        known = self.camera(name)  # clients that come later have it defined anew for all
        return Answer(known.state, dict(known.values), [text for _, text in self.client.messages[said:]])

    def number(self, name, settle=True, **values):
        return self.ask(name, lambda: self.camera.number(name, **values), settle)

    def refused(self, name, before, answer, words=""):
        """It says why, and nothing has changed."""
        if name == "CCD_TEMPERATURE":  # the sensor's goes up and down a little
            before = answer.values
        check(answer.state == "Alert" and answer.values == before, name, "became", answer, "and was", before)
        check(any(words in text for text in answer.messages), name, "says", answer.messages)

    # ---- numbers ----

    def beyond(self, name):
        """Every element below and above its limits, and no number at all."""
        before = dict(self.camera(name).values)
        for element, (low, high) in list(self.camera(name).limits.items()):
            for value in (low - max(1, abs(low) / 10), high + max(1, abs(high) / 10), *NONSENSE):
                self.refused(name, before, self.number(name, **{element: value}), f"{element} must be from")
        self.refused(name, before, self.ask(name, lambda: self.camera.number(name, NOPE=1)), "has no element NOPE")

    def limits(self, name):
        """Every element at its limits, where it stays until it is set back."""
        for element, (low, high) in list(self.camera(name).limits.items()):
            before = self.camera(name)[element]
            for value in (low, high):
                answer = self.number(name, **{element: value})
                check(answer.state in ("Ok", "Idle"), name, element, value, answer)
                check(abs(answer.values[element] - value) <= 1e-6 * abs(value), name, element, value, answer)
            if low <= before <= high:  # INDI's own focal length begins at an impossible 0
                self.number(name, **{element: before})

    def numbers(self, name):
        special = {"CCD_EXPOSURE": self.exposures, "CCD_FRAME": self.regions, "CCD_STREAM_FRAME": self.stream_regions,
                   "CCD_BINNING": self.bins, "CCD_TEMPERATURE": self.temperatures, "ORQ_GPS_LINES": self.lines,
                   "ABS_FOCUS_POSITION": self.positions, "REL_FOCUS_POSITION": self.steps}
        if name.startswith("TELESCOPE_TIMED_GUIDE"):
            self.pulses(name)
        else:
            special.get(name, self.limits)(name)
        self.beyond(name)

    def exposures(self, name):
        for value in self.camera(name).limits["CCD_EXPOSURE_VALUE"]:
            answer = self.number(name, CCD_EXPOSURE_VALUE=value)
            check(answer.state == "Ok" and answer.values["CCD_EXPOSURE_VALUE"] == 0, value, answer)

    def regions(self, name):
        width, height = (self.camera("CCD_INFO")[key] for key in ("CCD_MAX_X", "CCD_MAX_Y"))
        whole = {"X": 0, "Y": 0, "WIDTH": width, "HEIGHT": height}
        # Beyond the sensor's edge it is moved or refused, and what is shown holds.
        for wanted in (whole, {**whole, "X": width - 1}, {**whole, "Y": height - 1}, {**whole, "WIDTH": 1}, {**whole, "HEIGHT": 1}):
            before = dict(self.camera(name).values)
            answer = self.number(name, **wanted)
            now = answer.values
            check(now["X"] + now["WIDTH"] <= width and now["Y"] + now["HEIGHT"] <= height and now["WIDTH"] * now["HEIGHT"] > 0, answer)
            if answer.state == "Alert":
                self.refused(name, before, answer)
        # What becomes of a region that no camera has is told at once, and is that of the picture.
        shown = self.number(name, X=3, Y=5, WIDTH=101, HEIGHT=75).values
        picture = self.picture()
        held = {"X": picture["XORGSUBF"], "Y": picture["YORGSUBF"], "WIDTH": picture["NAXIS1"], "HEIGHT": picture["NAXIS2"]}
        check(shown == held, name, "told", shown, "and the picture has", held)
        # One element alone leaves the others as they are.
        self.number(name, **whole)
        half = self.number(name, WIDTH=width // 2)
        check(half.state == "Ok" and half.values["HEIGHT"] == height and half.values["WIDTH"] <= width // 2, half)
        check(self.number(name, **whole).values == whole, self.camera(name).values)

    def stream_regions(self, name):
        width, height = (self.camera("CCD_FRAME")[key] for key in ("WIDTH", "HEIGHT"))
        for wanted in ({"X": 0, "Y": 0, "WIDTH": 10, "HEIGHT": 10}, {"X": 0, "Y": 0, "WIDTH": width, "HEIGHT": height}):
            answer = self.number(name, **wanted)
            check(answer.values == wanted, name, "asked for", wanted, "became", answer)

    def bins(self, name):
        most = self.camera(name).limits["HOR_BIN"][1]
        for value in (most, 1):
            answer = self.number(name, HOR_BIN=value, VER_BIN=value)
            check((answer.state, answer.values["HOR_BIN"], answer.values["VER_BIN"]) == ("Ok", value, value), answer)
        # What a bin has to round off the region comes back with the next.
        region, whole = self.camera("CCD_FRAME"), self.camera("CCD_INFO")
        check((region["WIDTH"], region["HEIGHT"]) == (whole["CCD_MAX_X"], whole["CCD_MAX_Y"]), region.values)
        self.refused(name, dict(self.camera(name).values), self.number(name, HOR_BIN=1, VER_BIN=2), "bins alike in both directions")
        if most > 1:
            self.refused(name, dict(self.camera(name).values), self.number(name, HOR_BIN=1.5, VER_BIN=1.5), "bins alike in both directions")
            check(self.number(name, VER_BIN=most).values == {"HOR_BIN": most, "VER_BIN": most}, self.camera(name).values)
            self.number(name, HOR_BIN=1)
        self.number("CCD_FRAME", X=0, Y=0, WIDTH=64, HEIGHT=64)  # thirty frames of a large sensor fill a disk

    def pulses(self, name):
        for element, (low, high) in list(self.camera(name).limits.items()):
            answer = self.number(name, **{element: low})
            check(answer.state != "Alert", name, element, answer)
            check(self.number(name, settle=False, **{element: high}).state == "Busy", name, element)
            self.camera.switch("CCD_ABORT_EXPOSURE", "ABORT")
            check(self.camera.settle(name).state == "Idle", name, "after an abort", self.camera(name).state)
            self.number(name, **{element: 0})

    def temperatures(self, name):
        for value in self.camera(name).limits["CCD_TEMPERATURE_VALUE"]:
            answer = self.number(name, settle=False, CCD_TEMPERATURE_VALUE=value)
            check(answer.state in ("Busy", "Ok"), name, value, answer)
        self.camera.switch("CCD_COOLER", "COOLER_OFF")
        self.camera.settle(name)  # nothing is wanted any more

    def lines(self, name):
        low, high = self.camera(name).limits["START"]
        answer = self.number(name, START=low, END=high)
        check((answer.state, answer.values["START"], answer.values["END"]) == ("Ok", low, high), answer)

    def positions(self, name):
        for value in reversed(self.camera(name).limits["FOCUS_ABSOLUTE_POSITION"]):
            answer = self.number(name, FOCUS_ABSOLUTE_POSITION=value)
            check((answer.state, answer.values["FOCUS_ABSOLUTE_POSITION"]) == ("Ok", value), answer)

    def steps(self, name):
        most = self.camera(name).limits["FOCUS_RELATIVE_POSITION"][1]
        for direction, end in (("FOCUS_OUTWARD", most), ("FOCUS_INWARD", 0)):
            self.camera.set_switch("FOCUS_MOTION", direction)
            # Busy is the absolute position; this one is told when the motor is there.
            check(self.camera.set_number(name, FOCUS_RELATIVE_POSITION=most).state == "Ok", name, direction)
            check(self.camera("ABS_FOCUS_POSITION")["FOCUS_ABSOLUTE_POSITION"] == end, direction, self.camera("ABS_FOCUS_POSITION").values)
            before = dict(self.camera(name).values)
            self.refused(name, before, self.number(name, FOCUS_RELATIVE_POSITION=most))

    # ---- switches ----

    # What cannot be done as the camera is, and what it says.
    REFUSED = {("ORQ_HOT_PIXELS", "INDI_ENABLED"): "hot pixels",
               ("ORQ_TRIGGER", "SEND"): "takes no software triggers"}
    # What does something once, and shows nothing afterwards.
    DEEDS = {"CCD_ABORT_EXPOSURE", "CCD_FRAME_RESET", "ORQ_DARK_TAKE", "ORQ_WARM_UP", "FOCUS_ABORT_MOTION", "ORQ_TRIGGER", "ORQ_HOT_PIXELS_SAVE"}

    def choose(self, name, element, settle=True):
        return self.ask(name, lambda: self.camera.switch(name, element), settle)

    def switches(self, name):
        before = dict(self.camera(name).values)
        if name == "CCD_VIDEO_STREAM":
            self.streams(name)
        elif name == "RECORD_STREAM":
            self.recordings(name)
        else:
            for element in before:
                self.element(name, element)
        chosen = [element for element, state in before.items() if state == "On"]
        if self.camera(name).rule == "AnyOfMany":
            self.ask(name, lambda: self.camera._set("Switch", name, before))
        elif chosen and name not in self.DEEDS:
            self.choose(name, chosen[0])
        self.bad_choices(name)

    def element(self, name, element):
        before = dict(self.camera(name).values)
        answer = self.choose(name, element)
        words = self.REFUSED.get((name, element))
        if words is not None:
            return self.refused(name, before, answer, words)
        check(answer.state in ("Ok", "Idle"), name, element, answer)
        check(name in self.DEEDS or answer.values[element] == "On", name, element, answer)
        return None

    def streams(self, name):
        check(self.choose(name, "STREAM_ON", settle=False).state == "Busy", name)
        # As INDI's own client library sends a switch: the one that is on is still named.
        answer = self.ask(name, lambda: self.camera._set("Switch", name, {"STREAM_ON": "On", "STREAM_OFF": "On"}))
        check(answer.values == {"STREAM_ON": "Off", "STREAM_OFF": "On"}, answer)

    def recordings(self, name):
        for way in ("RECORD_ON", "RECORD_FRAME_ON", "RECORD_DURATION_ON"):
            self.camera.text("RECORD_FILE", RECORD_FILE_NAME=f"{self.model}-{way}.ser")
            check(self.choose(name, way, settle=False).state == "Busy" or way != "RECORD_ON", name, way)
            if way == "RECORD_ON":
                self.choose(name, "RECORD_OFF")
            answer = self.camera.wait(name, lambda p: p["RECORD_OFF"] == "On" and p.state != "Busy")
            check(answer.state != "Alert", name, way)

    def bad_choices(self, name):
        before, rule = dict(self.camera(name).values), self.camera(name).rule
        wrong = [{"NOPE": "On"}]
        if rule == "OneOfMany":
            wrong.append(dict.fromkeys(before, "Off"))
        others = [element for element, state in before.items() if state == "Off"]
        if rule != "AnyOfMany" and len(others) > 1:
            wrong.append(dict.fromkeys(others, "On"))
        for values in wrong:
            answer = self.ask(name, lambda values=values: self.camera._set("Switch", name, values))
            self.refused(name, before, answer, "choose one" if "NOPE" not in values else "has no element NOPE")

    # ---- texts ----

    def texts(self, name):
        before = dict(self.camera(name).values)
        long = "x" * 300
        if name == "ORQ_DARK":
            self.refused(name, before, self.ask(name, lambda: self.camera.text(name, FILE=f"/nowhere/{long}")), "cannot read the dark")
        elif name == "ORQ_ID":
            self.refused(name, before, self.ask(name, lambda: self.camera.text(name, ID=long)))
            check(self.ask(name, lambda: self.camera.text(name, ID="tour")).values == {"ID": "tour"}, name)
            check(self.ask(name, lambda: self.camera.text(name, ID="")).values == {"ID": ""}, name)
        else:
            for element in before:
                for value in (long, "", before[element]):
                    if (element, value) == ("RECORD_FILE_DIR", ""):  # none could be written there
                        empty = self.ask(name, lambda: self.camera.text(name, RECORD_FILE_DIR=""))
                        self.refused(name, dict(self.camera(name).values), empty, "must name a folder")
                        continue
                    answer = self.ask(name, lambda element=element, value=value: self.camera.text(name, **{element: value}))
                    check(answer.state != "Alert" and answer.values[element] == value, name, element, answer)
        now = dict(self.camera(name).values)
        self.refused(name, now, self.ask(name, lambda: self.camera.text(name, NOPE="x")), "has no element NOPE")

    def read_only(self, name, known):
        """Nothing changes; most requests are not even answered, because INDI itself lets them not through."""
        if known.kind == "Text":
            before = dict(known.values)
            self.camera.text(name, **dict.fromkeys(before, "tour"))
            self.barrier()
            check(dict(known.values) == before, name, "was", before, "and became", known.values)
        elif known.kind == "Number":
            self.camera.number(name, **{element: -12345 for element in known.values})
            self.barrier()
            check(-12345 not in known.values.values(), name, known.values)

    # ---- what the camera itself says ----

    def picture(self):
        """Known by its time: the viewer may still be busy with those before."""
        self.shots += 1
        wanted = 0.01 + self.shots / 1e3
        self.camera.number("CCD_EXPOSURE", CCD_EXPOSURE_VALUE=wanted)

        def ours():
            found = [picture for picture in map(Picture, self.pictures()) if abs(picture["EXPTIME"] - wanted) < 4e-4]
            return found[0] if found else None

        picture = self.viewer.wait("a picture", ours)
        self.camera.settle("CCD_EXPOSURE")
        return picture

    def pictures(self):
        """That the viewer got since it was asked last."""
        got, self.viewer.blobs[:] = list(self.viewer.blobs), []
        return [content for _, form, content in got if form == ".fits"]

    # Cards of a picture, which come from the camera, and the property that is to say the same.
    CARDS = {"GAIN": ("CCD_GAIN", "GAIN"), "OFFSET": ("CCD_OFFSET", "OFFSET"), "GAMMA": ("CCD_CONTROLS", "Gamma"),
             "WB_R": ("CCD_CONTROLS", "WB_R"), "WB_B": ("CCD_CONTROLS", "WB_B"), "EGAIN": ("ORQ_GAINS", "ELECTRONS_PER_COUNT"),
             "XBINNING": ("CCD_BINNING", "HOR_BIN"), "YBINNING": ("CCD_BINNING", "VER_BIN"), "GPSLINE1": ("ORQ_GPS_LINES", "START"), "GPSLINE2": ("ORQ_GPS_LINES", "END")}
    FLIPS = ("none", "h", "v", "both")

    def agrees(self):
        """With nothing as it was at first, a picture says of the camera what the properties say."""
        self.number("CCD_BINNING", HOR_BIN=1, VER_BIN=1)
        self.number("CCD_FRAME", X=32, Y=16, WIDTH=256, HEIGHT=128)
        self.number("CCD_BINNING", HOR_BIN=min(2, self.camera("CCD_BINNING").limits["HOR_BIN"][1]))
        for name in ("CCD_GAIN", "CCD_OFFSET", "CCD_CONTROLS"):
            for element in ("GAIN", "OFFSET", "Gamma", "WB_R", "WB_B", "Flip", "HighSpeedMode"):
                if self.camera(name) is None or element not in self.camera(name).limits:
                    continue
                low, high = self.camera(name).limits[element]
                self.number(name, **{element: low + (high - low + 2) // 3})
        if self.camera("ORQ_GPS_LINES") is not None:
            self.number("ORQ_GPS_LINES", START=21, END=84)
        picture = self.picture()
        compared = 0
        for card, (name, element) in self.CARDS.items():
            known = self.camera(name)
            if card not in picture.cards or known is None or element not in known.values:
                continue
            compared += 1
            check(abs(picture[card] - known[element]) <= 1e-4 * abs(known[element]), card, picture[card], "and", name, known.values)
        check(compared >= 5, "only", compared, "of", picture.cards)
        check(picture["FLIPPED"] == self.FLIPS[int(self.camera("CCD_CONTROLS")["Flip"])], picture["FLIPPED"], self.camera("CCD_CONTROLS").values)
        check(picture["INSTRUME"] == self.camera("ORQ_IDENTITY")["MODEL"], picture["INSTRUME"])
        bayer = self.camera("CCD_CFA")
        check(picture.cards.get("BAYERPAT", "") == (bayer["CFA_TYPE"] if bayer is not None else ""), picture.cards)
        held = [picture[card] * picture["XBINNING"] for card in ("XORGSUBF", "YORGSUBF", "NAXIS1", "NAXIS2")]  # it counts its own pixels
        check(held == [self.camera("CCD_FRAME")[key] for key in ("X", "Y", "WIDTH", "HEIGHT")], held, self.camera("CCD_FRAME").values)
        self.number("CCD_BINNING", HOR_BIN=1)
        self.number("CCD_CONTROLS", Flip=0)

    # ---- all of it ----

    def all(self):
        for name in [name for _, name in self.client.properties]:
            known = self.camera(name)
            if known is None or name in NOT_TOURED or known.kind in ("BLOB", "Light"):
                continue
            self.toured += 1
            if known.permission == "ro":
                self.read_only(name, known)
            else:
                {"Number": self.numbers, "Switch": self.switches, "Text": self.texts}[known.kind](name)
        return {name for _, name in self.client.properties}


def documented():
    with open(PAGE, encoding="utf-8") as page:
        return set(re.findall(r"`(ORQ_[A-Z_]{2,})`", page.read()))


def models():
    listed = json.loads(subprocess.run([TOOL, "--no-settings", "--json", "list", "--virtual"], check=True, capture_output=True).stdout)
    names = [entry["name"].removeprefix("virtual:") for entry in listed if entry["name"].startswith("virtual:")]
    return [name for name in names if not name.startswith("replay")]


def main():
    server = Server(DRIVER, options=["-m", "512"])
    client, viewer = Client(server.socket), Client(server.port)
    own = set()
    try:
        for model in sys.argv[4:] or models():
            begin = time.monotonic()
            tour = Tour(client, viewer, model)
            try:
                own |= {name for name in tour.all() if name.startswith("ORQ_")}
                tour.agrees()
                tour.camera.set_switch("CCD_FRAME_RESET", "RESET")
                picture = tour.picture()
                width, height = (tour.camera("CCD_INFO")[key] for key in ("CCD_MAX_X", "CCD_MAX_Y"))
                check((picture["NAXIS1"], picture["NAXIS2"], picture.whole) == (width, height, True), picture.cards)
                check(not picture.doubles, picture.doubles)
            except BaseException:
                print(f"on {model}; the server said last:\n{server.log()[-1500:]}", file=sys.stderr)
                raise
            viewer.blobs.clear()
            tour.camera.disconnect()
            print(f"{model}: {tour.toured} properties ({time.monotonic() - begin:.1f} s)", flush=True)
        if not sys.argv[4:]:
            check(own == documented(), "of the driver, but not documented:", own - documented(), "the other way round:", documented() - own)
        check(server.log().count("restart") == 0, "the driver died:", server.log()[-1500:])
    finally:
        client.close()
        viewer.close()
        server.close()


main()
