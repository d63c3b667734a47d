#!/usr/bin/env python3
"""The service's unit, as systemd reads it: without a complaint, and with all that cameras need.

    check_service.py SYSTEMD_ANALYZE UNIT PROGRAM
"""

import os
import re
import subprocess
import sys
import tempfile

PATIENCE = 60
MOST_EXPOSED = 30  # tenths of what systemd calls the exposure of a service: from 0, nothing, to 100, all


def judged(analyze, text, *words):
    """Whether systemd finds nothing wrong with such a unit, and what it says."""
    with tempfile.TemporaryDirectory(prefix="orqcam-unit-") as folder:
        path = os.path.join(folder, "orqcam-serve.service")
        with open(path, "w", encoding="utf-8") as unit:
            unit.write(text)
        done = subprocess.run([analyze, *words, path], capture_output=True, text=True, timeout=PATIENCE, check=False)
    return done.returncode == 0, (done.stdout + done.stderr).strip()


def complaints(analyze, text):
    """What systemd says of such a unit; empty: nothing."""
    well, said = judged(analyze, text, "verify", "--man=no", "--recursive-errors=no")
    return said or ("" if well else "it refuses the unit")


def is_confined(analyze, text):
    """Whether such a service can reach as little as this one is to."""
    return judged(analyze, text, "security", "--offline=true", "--no-pager", f"--threshold={MOST_EXPOSED}")[0]


def main():
    analyze, unit, program = sys.argv[1:]
    with open(unit, encoding="utf-8") as file:
        text = file.read()
    # Where it will be installed there may be nothing yet.
    here, count = re.subn(r"(?m)^ExecStart=\S+", f"ExecStart={program}", text)
    assert count == 1, "one program is started"
    assert complaints(analyze, here) == "", complaints(analyze, here)
    for old, new in (("NoNewPrivileges=", "NoNewerPrivileges="), ("ProtectHome=yes", "ProtectHome=perhaps"), (f"ExecStart={program}", "ExecStart=orqcam/x")):
        assert old in here and complaints(analyze, here.replace(old, new)), f"{new} is not seen"
    assert is_confined(analyze, here), judged(analyze, here, "security", "--offline=true", "--no-pager")[1]
    assert not is_confined(analyze, here.replace("CapabilityBoundingSet=\n", "").replace("DynamicUser=yes\n", "")), "nothing counts"
    settings = dict(line.split("=", 1) for line in text.splitlines() if "=" in line and not line.startswith("#"))
    # A camera that is plugged in is told of by the kernel's own kind of socket, and is a new file in /dev.
    assert "AF_NETLINK" in settings["RestrictAddressFamilies"].split()
    assert settings["DeviceAllow"] == "char-usb_device rw"
    # Whether the clock is right is asked by a call that systemd counts among those that set it.
    assert {"adjtimex", "clock_adjtime"} <= set(settings["SystemCallFilter"].split()) and settings["CapabilityBoundingSet"] == ""
    assert "ProtectClock" not in settings, "ProtectClock hides whether the clock is right"
    for blocking in ("PrivateDevices", "PrivateNetwork", "PrivateUsers"):
        assert blocking not in settings, f"{blocking} hides cameras"
    print("systemd has no complaint about the unit")


if __name__ == "__main__":
    main()
