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


def complaints(analyze, text):
    """What systemd says of such a unit; empty: nothing."""
    with tempfile.TemporaryDirectory(prefix="orqcam-unit-") as folder:
        path = os.path.join(folder, "orqcam-serve.service")
        with open(path, "w", encoding="utf-8") as unit:
            unit.write(text)
        done = subprocess.run([analyze, "verify", "--man=no", "--recursive-errors=no", path], capture_output=True, text=True, timeout=PATIENCE,
                              check=False)
    return (done.stdout + done.stderr).strip() or ("" if done.returncode == 0 else f"it ends with {done.returncode}")


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
    settings = dict(line.split("=", 1) for line in text.splitlines() if "=" in line and not line.startswith("#"))
    # A camera that is plugged in is told of by the kernel's own kind of socket, and is a new file in /dev.
    assert "AF_NETLINK" in settings["RestrictAddressFamilies"].split()
    assert settings["DeviceAllow"] == "char-usb_device rw"
    for blocking in ("PrivateDevices", "PrivateNetwork", "PrivateUsers"):
        assert blocking not in settings, f"{blocking} hides cameras"
    print("systemd has no complaint about the unit")


if __name__ == "__main__":
    main()
