"""Registers and requests, for camera engineers.

What is written here can upset or damage a camera, and the library does not know of it: it goes on with the values that it
has set itself.

    from orqcam import expert
    expert.read_register(camera, "sensor", 0x302)
"""

from ._services import chosen

CHIPS = ("fpga", "sensor")


def read_register(camera, chip, address):
    """Reads one register of eight bits of the "fpga" or the "sensor"; `address` is 0 to 65535."""
    return camera._device.read_register(chosen(CHIPS, chip, "chip"), address)


def write_register(camera, chip, address, value):
    """Writes one; `value` is 0 to 255. Not all registers keep what they are given."""
    camera._device.write_register(chosen(CHIPS, chip, "chip"), address, value)


def request_in(camera, request, *, value=0, index=0, size):
    """What a vendor request answers, `size` bytes (0 to 4096). RefusedError: the camera did not take it, or sent fewer."""
    return camera._device.request_in(request, value, index, size)


def request_out(camera, request, data=b"", *, value=0, index=0):
    """Sends a vendor request with up to 4096 bytes."""
    camera._device.request_out(request, value, index, bytes(data))
