"""Quick virtual cameras."""

import orqcam
import pytest

QUICK = "timescale=0.01,scene=flat,flux=300000"
PATIENCE = 30  # seconds; longer than anything takes on a busy machine


def corner(camera, side=64, pixels="raw8"):
    """A corner of the sensor, which is quick to make."""
    camera.format = pixels
    camera.region = (0, 0, side, side)
    return camera


@pytest.fixture
def camera():
    with orqcam.open(f"virtual:k1c,{QUICK}") as opened:
        yield corner(opened)
