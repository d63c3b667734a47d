#!/usr/bin/env python3
"""How fast pictures and videos come to a client: the driver beside one that only floods, and beside INDI's own simulated
camera, in one run.

    speed.py INDI_ORQCAM_CCD INDI_CLIENT FLOOD_DRIVER SECONDS [--demand]

--demand: status 1 when the camera's own pace is not kept or a large picture comes later than 1.3 times the simulator's; on a
machine with two free processors. Else the driver alone, and only what must hold on any machine: what was asked for comes.
"""

import json
import os
import shutil
import subprocess
import sys
import time

from indi import PATIENCE, Client, Device, Server

DRIVER, CLIENT, FLOOD = (os.path.abspath(path) for path in sys.argv[1:4])
SECONDS = float(sys.argv[4])
DEMAND = "--demand" in sys.argv[5:]
SIMULATOR = shutil.which("indi_simulator_ccd") if DEMAND else None
TICKS = os.sysconf("SC_CLK_TCK")
PACE = 1 / (1096 * 13.5e-6)  # of the small planetary camera: its lines times what one takes
LARGE = (6248, 4176)
READOUT = LARGE[1] * 36.8e-6  # what the large sensor itself takes for its lines; the simulator has none
PICTURES = 3 if DEMAND else 1
# Pictures before those that are measured: memory that is touched first comes from the system page by page, which takes longer
# than to fill it.
FIRST_PICTURES = 5 if DEMAND else 0


def processor(pids):
    """Seconds of processor time so far."""
    used = 0
    for pid in pids:
        with open(f"/proc/{pid}/stat", encoding="ascii") as stat:
            fields = stat.read().rsplit(")", 1)[1].split()
        used += int(fields[11]) + int(fields[12])
    return used / TICKS


class Stage:
    """One driver under a server; the client of this script sets it up, the other one measures."""

    def __init__(self, driver, device):
        self.server = Server(driver, options=["-m", "1024", "-d", "0"])
        self.client = Client(self.server.socket)
        self.camera = Device(self.client, device)
        self.driver = os.path.basename(driver)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.client.close()
        self.server.close()

    def measure(self, where, *words):
        begin = processor(self.server.pids("indiserver")), processor(self.server.pids(self.driver)), time.monotonic()
        told = subprocess.run([CLIENT, str(where), self.camera.name, *map(str, words)], check=True, capture_output=True, text=True,
                              timeout=SECONDS + PATIENCE + 60)
        wall = time.monotonic() - begin[2]
        found = json.loads(told.stdout)
        found["server_s"] = processor(self.server.pids("indiserver")) - begin[0]
        found["driver_s"] = processor(self.server.pids(self.driver)) - begin[1]
        found["wall_s"] = wall
        return found

    def warm_up(self):
        if FIRST_PICTURES:
            first = self.measure(self.server.socket, "expose", 0.1, FIRST_PICTURES)
            print(f"{self.driver}, the first {FIRST_PICTURES} pictures: at most {first['worst_s']:.3f} s", flush=True)

    def routes(self):
        return (("unix", self.server.socket), ("tcp", self.server.port))

    def prepare_stream(self):
        self.camera.wait("LIMITS")
        self.camera.set_number("LIMITS", LIMITS_BUFFER_MAX=512, LIMITS_PREVIEW_FPS=120)
        self.camera.set_number("STREAMING_EXPOSURE", STREAMING_EXPOSURE_VALUE=0.005, STREAMING_DIVISOR_VALUE=1)


def share(found, seconds):
    return "processor server/driver/client " + "/".join(f"{100 * used / seconds:.0f}" for used in
                                                        (found["server_s"], found["driver_s"], found["processor_s"])) + " %"


def show_stream(who, route, found):
    print(f"{who}, {route}: {found['fps']:.1f} frames/s, {found['megabytes_per_s']:.0f} MB/s, longest gap {1000 * found['worst_gap_s']:.0f} ms, "
          f"last frame {1000 * found['last_after_stop_s']:.0f} ms after the stop, {share(found, found['wall_s'])}", flush=True)


def show_picture(who, route, found):
    print(f"{who}, {route}: {found['bytes'] / 1e6:.1f} MB {found['median_s']:.3f} s after the exposure's end (worst of "
          f"{found['pictures']}: {found['worst_s']:.3f} s), {share(found, found['wall_s'])}", flush=True)


def videos():
    """Rates by route of the driver and of the flood."""
    rates = {}
    with Stage(DRIVER, "ORQ Camera") as stage:
        stage.camera.simulate("k1c,prerender=8")  # that drawing does not take the processor's time
        stage.camera.set_switch("CCD_CAPTURE_FORMAT", "INDI_RAW8")
        stage.prepare_stream()
        for route, where in stage.routes():
            found = stage.measure(where, "stream", SECONDS)
            show_stream("driver", route, found)
            rates["driver", route] = found["fps"]
            counted = stage.camera.wait("ORQ_STREAM", lambda p: p.state == "Ok").values
            print(f"  camera's frames {counted['CAMERA_FRAMES']:.0f}, left out {counted['DROPPED']:.0f}, failed {counted['FAILED']:.0f}", flush=True)
            rates["lost", route] = counted["DROPPED"] + counted["FAILED"]
        if [text for _, text in stage.client.messages if "buffer is full" in text]:
            sys.exit("the manager's buffer was full")
    if DEMAND:
        with Stage(FLOOD, "Flood") as stage:
            stage.camera.connect()
            stage.prepare_stream()
            for route, where in stage.routes():
                found = stage.measure(where, "stream", SECONDS)
                show_stream("flood", route, found)
                rates["flood", route] = found["fps"]
    if SIMULATOR:
        with Stage(SIMULATOR, "CCD Simulator") as stage:
            stage.camera.connect()
            stage.camera.wait("SIMULATOR_SETTINGS")
            stage.camera.number("SIMULATOR_SETTINGS", SIM_XRES=1936, SIM_YRES=1096)
            stage.prepare_stream()
            show_stream("simulator", "unix", stage.measure(stage.server.socket, "stream", SECONDS))
    return rates


def pictures():
    """Seconds from the end of the exposure of a large picture to the client, by route, of driver and simulator."""
    delays = {}
    with Stage(DRIVER, "ORQ Camera") as stage:
        stage.camera.simulate("x26m,prerender=2")
        stage.warm_up()
        for route, where in stage.routes():
            found = stage.measure(where, "expose", 1, PICTURES)
            show_picture("driver", route, found)
            delays["driver", route] = found["median_s"]
    if SIMULATOR:
        with Stage(SIMULATOR, "CCD Simulator") as stage:
            stage.camera.connect()
            stage.camera.wait("SIMULATOR_SETTINGS")
            stage.camera.number("SIMULATOR_SETTINGS", SIM_XRES=LARGE[0], SIM_YRES=LARGE[1])
            stage.camera.wait("CCD_INFO", lambda p: p["CCD_MAX_X"] == LARGE[0])
            stage.warm_up()
            for route, where in stage.routes():
                found = stage.measure(where, "expose", 1, PICTURES)
                show_picture("simulator", route, found)
                delays["simulator", route] = found["median_s"]
    return delays


def main():
    rates, delays = videos(), pictures()
    if not DEMAND:
        return 0
    missed = []
    if rates["driver", "unix"] < 0.98 * PACE or rates["lost", "unix"]:
        missed.append(f"{rates['driver', 'unix']:.1f} of {PACE:.1f} frames/s over the socket, {rates['lost', 'unix']:.0f} lost")
    if rates["driver", "tcp"] < 0.9 * min(PACE, rates["flood", "tcp"]):
        missed.append(f"{rates['driver', 'tcp']:.1f} frames/s over TCP, the flood {rates['flood', 'tcp']:.1f}")
    for route in ("unix", "tcp") if SIMULATOR else ():
        times = (delays["driver", route] - READOUT) / delays["simulator", route]
        print(f"large picture, {route}: without the sensor's readout {times:.2f} times the simulator's time", flush=True)
        if times > 1.3:
            missed.append(f"large pictures over {route}: {times:.2f} times the simulator's time")
    for one in missed:
        print(f"missed: {one}", flush=True)
    return 1 if missed else 0


sys.exit(main())
