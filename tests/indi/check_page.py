#!/usr/bin/env python3
"""The commands of the INDI page run as they are written there: the server, then the clients.

    check_page.py PAGE INDI_ORQCAM_CCD
"""

import re
import subprocess
import sys
import time

from indi import PATIENCE, Server

PAGE, DRIVER = sys.argv[1:3]
BUILT = "build/release/faces/indi/indi_orqcam_ccd"


def commands():
    with open(PAGE, encoding="utf-8") as page:
        blocks = re.findall(r"^```sh\n(.*?)^```", page.read(), re.M | re.S)
    return [line for block in blocks for line in block.splitlines() if line]


def run(command, port):
    """With the port of the test's server; a driver takes a moment until it has defined what a client asks for."""
    program, rest = command.split(" ", 1)
    end = time.monotonic() + PATIENCE
    while True:
        done = subprocess.run(["sh", "-c", f"{program} -p {port} {rest}"], text=True, capture_output=True, timeout=PATIENCE,
                              check=False)
        if done.returncode == 0:
            return done.stdout
        if time.monotonic() > end:
            sys.exit(f"{command} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
        time.sleep(0.2)


def main():
    first, *clients = commands()
    words = first.split()
    if words[0] != "indiserver" or words[-1] != BUILT:
        sys.exit(f"the page begins with {first}")
    server = Server(DRIVER, options=words[1:-1])
    try:
        # Longer than a reader takes to type; the driver is there then.
        run('indi_getprop "ORQ Camera.SIMULATION.*"', server.port)
        printed = [run(command, server.port) for command in clients]
    finally:
        server.close()
    wanted = {"CCD_MAX_X=1936", "CCD_MAX_Y=1096"}  # the virtual camera that is opened when none is named
    told = {line.rsplit(".", 1)[-1] for line in printed[-1].splitlines()}
    if not wanted <= told:
        sys.exit(f"the page's last command prints {sorted(told)}")


main()
