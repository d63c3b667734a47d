#!/usr/bin/env python3
"""Fifty clients at once, some of them slow or hostile, while a video is recorded: nobody is harmed, memory stays flat.

    load.py [SECONDS] [--memory] [--strict]

With --memory it is a failure if the server takes much more memory than at first: for a server without sanitizers. With --strict a frame that the recording misses, and memory that grows, are failures as well: for a computer that has its
processors for this. Without, only what no lack of time excuses.
"""

import http.client
import itertools
import json
import os
import random
import socket
import statistics
import sys
import threading
import time

from alpaca import Client
from server import PATIENCE, Server

VIEWS, SLOW, HOSTILE, ORDINARY = 5, 5, 2, 38
PAUSE = 0.5  # seconds between two questions of an ordinary client
ROUND = 10  # seconds of one recording
CAMERA = "/api/v1/cameras/0/"
MOST_MORE_MB = 80  # memory beside that of the first moments; 30 are the pictures that slow clients hold, and what makes them
FIRST = {"start_x": 0, "start_y": 0, "width": 640, "height": 480, "bin": 1, "format": 0}


class Load:
    """All clients of one server, and what they have seen."""

    def __init__(self, server):
        self.server = server
        self.over = threading.Event()
        self.lock = threading.Lock()
        self.wrong = []
        self.took = []  # seconds of ordinary answers
        self.pictures = [0] * VIEWS
        self.attacks = 0
        self.recorded = {"rounds": 0, "frames": 0, "missed": 0, "lost": 0, "seconds": 0.0}

    def complain(self, words):
        with self.lock:
            self.wrong.append(words)

    def json(self, path, method="GET", **body):
        status, _, answer = self.server.ask(path, method, json.dumps(body) if body else None)
        return status, json.loads(answer) if answer else None

    # ---- Clients ----

    def ordinary(self, number):
        """Asks one thing after the other on one connection, and is always answered well."""
        alpaca = f"?ClientID={number + 100}"
        paths = ["/api/v1/state", CAMERA + "live", CAMERA + "controls", "/api/v1/cameras/1/live", "/api/v1/files",
                 "/management/v1/configureddevices", "/api/v1/camera/1/connected" + alpaca, "/api/v1/camera/1/interfaceversion" + alpaca, "/"]
        connection = self.server.connection()
        for path in itertools.islice(itertools.cycle(paths), number, None):
            if self.over.wait(PAUSE):
                break
            began = time.monotonic()
            connection.request("GET", path)
            answer = connection.getresponse()
            body = answer.read()
            if answer.status != 200 or not body:
                self.complain(f"{path}: {answer.status}")
            with self.lock:
                self.took.append(time.monotonic() - began)
        connection.close()

    def view(self, number):
        """Watches, as a browser does: each picture is newer than the last one."""
        connection = self.server.connection()
        seen = 0
        while not self.over.is_set():
            connection.request("GET", f"{CAMERA}picture?width=640&client=view{number}&after={seen}")
            answer = connection.getresponse()
            body = answer.read()
            if answer.status == 204:
                continue
            shown = json.loads(answer.headers["Orqcam-Picture"])["number"] if answer.status == 200 else 0
            if answer.status != 200 or body[:2] != b"\xff\xd8" or shown <= seen:
                self.complain(f"view {number}: {answer.status}, picture {shown} after {seen}")
            seen = shown
            self.pictures[number] += 1
        connection.close()

    def dripping(self, path, headers, bytes_at_a_time):
        """Asks for much, and takes it in sips, or not at all; comes again when it is cut off."""
        words = f"GET {path} HTTP/1.1\r\nHost: {self.server.host}\r\n{headers}\r\n".encode()
        while not self.over.is_set():
            try:
                with socket.socket() as connection:
                    connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
                    connection.settimeout(PATIENCE)
                    connection.connect((self.server.host, self.server.port))
                    connection.sendall(words)
                    while not self.over.wait(0.2):
                        if bytes_at_a_time and connection.recv(bytes_at_a_time) == b"":
                            break
            except OSError:
                self.over.wait(0.2)

    def hostile(self, number):
        """Says what no client says, and never waits for an answer."""
        dice = random.Random(number)
        host = f"Host: {self.server.host}\r\n".encode()
        wishes = [b"GET / HTTP/1.1\r\nHost: 12", b"GET / HTTP/1.1\r\n" + host + b"X: " + b"y" * 200_000 + b"\r\n\r\n",
                  b"GET /" + b"a" * 100_000, b"PUT /api/v1/camera/1/gain HTTP/1.1\r\n" + host + b"Content-Length: 99999999999\r\n\r\nx",
                  b"PUT /api/v1/camera/1/gain HTTP/1.1\r\n" + host + b"Content-Length: -5\r\n\r\nGain=9",
                  b"PUT /api/v1/camera/1/gain HTTP/1.1\r\n" + host + b"Content-Length: 500\r\n\r\nGain=9",
                  b"PUT /api/v1/camera/1/gain HTTP/1.1\r\n" + host + b"Transfer-Encoding: chunked\r\n\r\nFFFFFFFFFF\r\nx",
                  b"".join(b"A%d: b\r\n" % i for i in range(5000)), bytes(range(256)) * 40, b"\r\n" * 5000, b"\x16\x03\x01\x02\x00\x01\x00"]
        while not self.over.wait(0.02):
            try:
                with socket.create_connection((self.server.host, self.server.port), 2) as connection:
                    connection.settimeout(2)
                    connection.sendall(dice.choice(wishes))
                    if dice.random() < 0.3:
                        self.over.wait(dice.random())
                    if dice.random() < 0.5:
                        connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
            except OSError:
                pass  # refused, reset: as it should be
            self.attacks += 1

    def exposing(self, client):
        """One exposure after the other of the second camera, each picture whole."""
        while not self.over.wait(0.1):
            client.expose(0.01)
            client.image_bytes()

    # ---- What they must not harm ----

    def record(self, seconds):
        """One video at full rate; its file goes when it is whole."""
        status, answer = self.json(CAMERA + "recording", "POST", format="ser", name="load", seconds=seconds)
        if status != 202:
            return self.complain(f"no recording: {answer}")
        end = time.monotonic() + seconds + PATIENCE
        while (now := self.json(CAMERA + "live")[1]["recording"])["running"]:
            if time.monotonic() > end:
                return self.complain("the recording does not end")
            time.sleep(0.2)
        folder = os.path.join(self.server.folder.name, "files")
        size, whole = os.path.getsize(os.path.join(folder, "load.ser")), 178 + now["frames"] * (FIRST["width"] * FIRST["height"] + 8)
        if now["trouble"] or now["frames"] == 0 or size != whole:
            self.complain(f"the recording: {now}, {size} bytes instead of {whole}")
        for name in os.listdir(folder):  # its text, too
            os.remove(os.path.join(folder, name))
        with self.lock:
            self.recorded["rounds"] += 1
            for name in ("frames", "missed", "lost", "seconds"):
                self.recorded[name] += now[name]
        return None

    def guarded(self, work, *words):
        def run():
            try:
                work(*words)
            except Exception as failure:  # told at the end
                self.complain(f"{work.__name__} {words}: {failure!r}")
        return threading.Thread(target=run, daemon=True)

    def run(self, seconds):
        imagebytes = "Accept: application/imagebytes\r\n"
        client = Client(self.server, 1, identity=7)
        client.put("connected", Connected="True")
        client.expose(0.01)
        threads = [self.guarded(self.ordinary, number) for number in range(ORDINARY - 1)]
        threads += [self.guarded(self.exposing, client)]
        threads += [self.guarded(self.view, number) for number in range(VIEWS - 1)]
        threads += [self.guarded(self.dripping, f"{CAMERA}picture?width=4096&client=stalled", "", 0)]
        threads += [self.guarded(self.dripping, "/api/v1/camera/1/imagearray?ClientID=7", words, 200) for words in (imagebytes, imagebytes, "")]
        threads += [self.guarded(self.dripping, path, "", 50) for path in (CAMERA + "picture?width=4096", "/page/app.js")]
        threads += [self.guarded(self.hostile, number) for number in range(HOSTILE)]
        assert len(threads) == VIEWS + SLOW + HOSTILE + ORDINARY == 50
        memory = []
        for thread in threads:
            thread.start()
        end = time.monotonic() + seconds
        recorder = self.guarded(self.record_until, end, seconds)
        recorder.start()
        while time.monotonic() < end or recorder.is_alive():
            memory.append(self.server.memory_kb())
            time.sleep(0.5)
        self.over.set()
        for thread in threads:
            thread.join(PATIENCE)
            if thread.is_alive():
                self.complain("a client hangs")
        client.close()
        return memory

    def record_until(self, end, seconds):
        while not self.wrong and time.monotonic() < end:
            self.record(min(ROUND, seconds / 2))


def quiet(server, load, before):
    """Waits until nothing of the clients is left."""
    end = time.monotonic() + PATIENCE
    while (now := len(os.listdir(f"/proc/{server.process.pid}/fd"))) > before + 3:
        if time.monotonic() > end:
            return load.complain(f"{now} files are open when all clients have gone, {before} were before they came")
        time.sleep(0.2)
    return None


def main():
    strict = "--strict" in sys.argv
    seconds = float(next((word for word in sys.argv[1:] if not word.startswith("--")), 60))
    with Server("--folder", "files", "--client-seconds", "5", cameras=("virtual:k1c", "virtual:l3m,timescale=0.01")) as server:
        load = Load(server)
        assert load.json(CAMERA + "region", "PUT", **FIRST)[0] == 200
        assert load.json(CAMERA + "controls/Exposure", "PUT", value=1000)[0] == 200
        load.record(min(ROUND, seconds / 2))
        alone = dict(load.recorded)
        files = len(os.listdir(f"/proc/{server.process.pid}/fd"))
        used, began = server.processor_seconds(), time.monotonic()
        memory = load.run(seconds)
        used, span = server.processor_seconds() - used, time.monotonic() - began
        quiet(server, load, files)
        counters = load.json(CAMERA + "live")[1]["counters"]
    beside = {name: load.recorded[name] - alone[name] for name in alone}
    sixth = max(len(memory) // 6, 1)
    course = [statistics.median(memory[i * sixth:(i + 1) * sixth] or memory) / 1024 for i in range(6)]
    rate = {name: one["frames"] / max(one["seconds"], 1e-9) for name, one in (("alone", alone), ("beside", beside))}
    took = sorted(load.took) or [0.0]
    print(f"{span:.0f} s, 50 clients: {len(took)} ordinary answers (median {1e3 * took[len(took) // 2]:.1f} ms, 99 % within "
          f"{1e3 * took[len(took) * 99 // 100]:.0f} ms), pictures of the views {load.pictures[:-1]}, {load.attacks} attacks")
    print(f"recorded alone {alone['frames']} frames, {rate['alone']:.1f} a second, {alone['missed']} missed, {alone['lost']} lost; beside the clients "
          f"{beside['frames']} in {beside['rounds']} files, {rate['beside']:.1f} a second, {beside['missed']} missed, {beside['lost']} lost; counters {counters}")
    print(f"memory {memory[0] / 1024:.0f} MB at first, then {', '.join(f'{part:.0f}' for part in course)} MB, {max(memory) / 1024:.0f} MB at most; "
          f"{100 * used / span:.0f} % of a core")
    if (strict or "--memory" in sys.argv) and max(memory) > memory[0] + 1024 * MOST_MORE_MB:
        load.complain(f"the server takes {(max(memory) - memory[0]) / 1024:.0f} MB more than at first")
    if strict:
        if beside["missed"] or (beside["lost"] and not alone["lost"]):
            load.complain("the recording has lost frames because of the clients")
        if alone["lost"]:
            print("this computer loses frames without any client, too: run it again when it has nothing else to do")
        if course[5] > 1.05 * course[2] + 8:
            load.complain("memory grows")
    if not load.took or not all(load.pictures[:-1]):
        load.complain("somebody was never answered")
    for words in load.wrong[:20]:
        print("wrong:", words)
    return 1 if load.wrong else 0


if __name__ == "__main__":
    sys.exit(main())
