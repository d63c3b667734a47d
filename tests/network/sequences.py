#!/usr/bin/env python3
"""Random sequences of calls by two clients; after each call what it should have made of the camera is compared.

    sequences.py COUNT [SEED]
"""

import random
import sys
import time

from alpaca import INVALID_OPERATION, INVALID_VALUE, NOT_CONNECTED, Client, Fault
from models import MODELS
from server import Server

STEPS = 25


class Expected:
    """What the calls so far have come to."""

    def __init__(self, client):
        self.size = client.get("cameraxsize"), client.get("cameraysize")
        self.limits = {name: (client.get(name + "min"), client.get(name + "max")) for name in ("gain", "offset")}
        self.bins = MODELS[client.model]["Bins"]
        self.modes = len(client.get("readoutmodes"))
        self.values = {name: client.get(name) for name in
                       ("binx", "startx", "starty", "numx", "numy", "gain", "offset", "readoutmode")}
        if client.get("cansetccdtemperature"):
            self.values |= {name: client.get(name) for name in ("setccdtemperature", "cooleron")}
        self.picture = None    # its size, once one is there
        self.duration = None   # of it
        self.under_way = False

    def offers_bin(self, value):
        return value in ((1, 2, 4) if "," in self.bins else range(1, 5))

    def is_inside(self):
        return all(self.values[num] >= 1 and self.values[start] + self.values[num] <= size // self.values["binx"]
                   for start, num, size in (("startx", "numx", self.size[0]), ("starty", "numy", self.size[1])))


class Sequence:
    def __init__(self, clients, dice):
        self.clients = clients
        self.dice = dice
        self.told = []
        for client in clients:
            client.put("connected", Connected="True")
        self.connected = {client.identity: True for client in clients}
        self.expected = Expected(clients[0])
        if clients[0].get("imageready"):
            width, height = clients[0].image_bytes()[:2]
            self.expected.picture = width, height
            self.expected.duration = clients[0].get("lastexposureduration")

    def attempt(self, client, method, wanted, **words):
        """Calls; the error has to be the one that is wanted. Whether it was done. An exposure may end at any moment: what is
        refused while one is under way may be done by now."""
        self.told.append((client.identity, method, words))
        if not self.connected[client.identity]:
            wanted = NOT_CONNECTED
        got = client.fault("PUT", method, **words)
        assert got in ({wanted, 0} if wanted == INVALID_OPERATION else {wanted}), f"error {got:#x} instead of {wanted:#x}"
        return got == 0

    def set_value(self, client):
        expected = self.expected
        name = self.dice.choice([name for name in expected.values if name != "cooleron"])
        title = {"binx": "BinX", "startx": "StartX", "starty": "StartY", "numx": "NumX", "numy": "NumY", "gain": "Gain", "offset": "Offset",
                 "readoutmode": "ReadoutMode", "setccdtemperature": "SetCCDTemperature"}[name]
        if name == "binx":
            value = self.dice.randint(-1, 6)
            wanted = 0 if expected.offers_bin(value) else INVALID_VALUE
        elif name in expected.limits:
            least, most = expected.limits[name]
            value = self.dice.choice([least - 1, least, most, most + 1, self.dice.randint(least, most)])
            wanted = 0 if least <= value <= most else INVALID_VALUE
        elif name == "readoutmode":
            value = self.dice.randint(-1, expected.modes)
            wanted = INVALID_VALUE if not 0 <= value < expected.modes else INVALID_OPERATION if expected.under_way else 0
        elif name == "setccdtemperature":
            value = self.dice.choice([-300, -41, -40, -7, 30, 31])
            wanted = 0 if -40 <= value <= 30 else INVALID_VALUE
        else:
            size = expected.size[name.endswith("y")]
            value = self.dice.choice([-1, 0, 1, size // expected.values["binx"], size, size + 1, self.dice.randint(0, size)])
            wanted = 0 if value >= 0 else INVALID_VALUE
        if self.attempt(client, name, wanted, **{title: value}):
            # Stepped gains come to the nearest step.
            expected.values[name] = client.get(name) if name == "gain" else value

    def cool(self, client):
        if "cooleron" in self.expected.values:
            on = self.dice.random() < 0.5
            if self.attempt(client, "cooleron", 0, CoolerOn=on):
                self.expected.values["cooleron"] = on

    def expose(self, client):
        expected = self.expected
        seconds = self.dice.choice([-1, 0.001, 0.5, 100, 2001])
        if not 0 <= seconds <= 2000 or not expected.is_inside():
            wanted = INVALID_VALUE
        else:
            wanted = INVALID_OPERATION if expected.under_way else 0
        if self.attempt(client, "startexposure", wanted, Duration=seconds, Light="True"):
            expected.under_way = True
            expected.duration = max(seconds, client.get("exposuremin"))
            expected.picture = expected.values["numx"], expected.values["numy"]

    def abort(self, client):
        if self.attempt(client, "abortexposure", 0) and self.expected.under_way:
            # The picture may have come at the same moment.
            self.expected.under_way = False
            if not client.get("imageready"):
                self.expected.picture = self.expected.duration = None

    def await_picture(self, client):
        if self.connected[client.identity] and self.expected.under_way:
            client.await_true(lambda: client.get("imageready"))
            self.expected.under_way = False

    def connect(self, client):
        wanted = self.dice.random() < 0.7
        self.told.append((client.identity, "connected", wanted))
        client.put("connected", Connected=wanted)
        self.connected[client.identity] = wanted

    def look(self):
        """Every client sees the same camera."""
        client = self.dice.choice(self.clients)
        expected = self.expected
        assert client.get("connected") == self.connected[client.identity], "connected"
        if not self.connected[client.identity]:
            assert client.fault("GET", "gain") == NOT_CONNECTED, "a value without a connection"
            return
        for name, value in expected.values.items():
            got = client.get(name)
            assert got == value, f"{name} is {got} instead of {value}"
        ready, state = client.get("imageready"), client.get("camerastate")
        if expected.under_way:
            # It may have ended since; not the other way round.
            if ready:
                expected.under_way = False
            else:
                assert state in (0, 2, 3), f"state {state} during an exposure"
        if not expected.under_way:
            assert client.get("imageready") == (expected.picture is not None), "imageready"
            assert client.get("camerastate") == 0, "state after an exposure"
        if not expected.under_way and expected.picture is not None:
            assert client.image_bytes()[:2] == expected.picture, "the picture's size"
            assert abs(client.get("lastexposureduration") - expected.duration) < 1e-3 + expected.duration * 1e-3, "its duration"
        elif not expected.under_way:
            assert client.fault("GET", "imagearray") == INVALID_OPERATION, "a picture without an exposure"

    def run(self):
        steps = [self.set_value] * 8 + [self.expose] * 3 + [self.abort, self.await_picture, self.await_picture, self.cool, self.connect]
        for _ in range(STEPS):
            self.dice.choice(steps)(self.dice.choice(self.clients))
            self.look()
        # As it is found by the next one.
        client = self.clients[0]
        client.put("connected", Connected="True")
        client.put("abortexposure")
        client.put("binx", BinX=1)
        for name, value in zip(("StartX", "StartY", "NumX", "NumY"), (0, 0, *self.expected.size)):
            client.put(name.lower(), **{name: value})


def main():
    count = int(sys.argv[1])
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else 1
    dice = random.Random(seed)
    began = time.monotonic()
    # Small sensors: it is the states that matter here.
    keys = [key for key in MODELS if key in ("k1c", "l3m", "d6m", "x26m", "h53m")]
    with Server(cameras=[f"virtual:{key},timescale=0.0001,prerender=1" for key in keys]) as server:
        pairs = []
        for number, key in enumerate(keys):
            pair = [Client(server, number, identity) for identity in (1, 2)]
            for client in pair:
                client.model = key
            pairs.append(pair)
        for number in range(count):
            sequence = Sequence(pairs[number % len(pairs)], dice)
            try:
                sequence.run()
            except (AssertionError, Fault) as wrong:
                print(f"sequence {number + 1} of seed {seed}, camera {keys[number % len(keys)]}: {wrong}; its calls:", *sequence.told, sep="\n  ")
                return 1
        memory = server.memory_kb()
        for pair in pairs:
            for client in pair:
                client.close()
    print(f"{count} sequences of {STEPS} calls, no wrong state, {time.monotonic() - began:.1f} s; the server took {memory // 1024} MB")
    return 0


if __name__ == "__main__":
    sys.exit(main())
