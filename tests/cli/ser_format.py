"""SER files, version 3, read and written as the format's description has them: nothing here comes from the library.

Header of 178 bytes, least significant byte first: file id (14), LuID, colour id, endian flag, width, height, pixel depth,
frame count (4 each), observer, instrument, telescope (40 each), local time, UTC (8 each, 100 ns since the year 1). Then the
frames, then a time stamp of 8 bytes for each frame. Readers of the field take an endian flag of 0 for samples with their least
significant byte first.
"""

import datetime
import struct

HEADER = struct.Struct("<14s7i40s40s40s2q")
YEAR_1 = datetime.datetime(1, 1, 1)
COLOURS = {"mono": 0, "RGGB": 8, "GRBG": 9, "GBRG": 10, "BGGR": 11, "CYYM": 16, "YCMY": 17, "YMCY": 18, "MYYC": 19,
           "RGB": 100, "BGR": 101}


def ticks(text):
    """The time stamp of "2026-11-21T04:42:31.1234567"."""
    seconds, fraction = text.split(".")
    since = datetime.datetime.fromisoformat(seconds) - YEAR_1
    return (since.days * 86400 + since.seconds) * 10**7 + int(fraction.ljust(7, "0"))


class Ser:
    """A finished file; ValueError for anything else."""

    def __init__(self, path):
        with open(path, "rb") as file:
            data = file.read()
        if len(data) < HEADER.size:
            raise ValueError("no header")
        (magic, self.lu_id, self.colour, self.endian, self.width, self.height, self.depth, count, observer, instrument,
         telescope, self.local, self.utc) = HEADER.unpack_from(data)
        if magic != b"LUCAM-RECORDER":
            raise ValueError("no SER file")
        self.observer, self.instrument, self.telescope = (text.split(b"\0")[0].decode() for text in
                                                          (observer, instrument, telescope))
        planes = 3 if self.colour >= 100 else 1
        size = self.width * self.height * planes * (2 if self.depth > 8 else 1)
        if count < 1 or len(data) != HEADER.size + count * (size + 8):
            raise ValueError(f"{len(data)} bytes are not {count} frames of {size} bytes with their times")
        self.frames = [data[HEADER.size + i * size:HEADER.size + (i + 1) * size] for i in range(count)]
        self.times = list(struct.unpack_from(f"<{count}q", data, HEADER.size + count * size))


def write(path, width, height, depth, colour, frames, times=None, count=None):
    """`frames` are bytes; `count` is what the header announces, when that is another number."""
    with open(path, "wb") as file:
        file.write(HEADER.pack(b"LUCAM-RECORDER", 0, COLOURS[colour], 0, width, height, depth,
                               len(frames) if count is None else count, b"Observer", b"Camera", b"Telescope", 0, 0))
        file.write(b"".join(frames))
        if times:
            file.write(struct.pack(f"<{len(times)}q", *times))


class Times:
    """The text beside a recording of orqcam: a line for each frame, and what the remarks say."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            lines = file.read().split("\n")[:-1]  # a line that is cut off is none
        self.remarks = [line[2:] for line in lines if line.startswith("#")]
        self.frames = []
        for line in lines:
            if not line.startswith("#"):
                frame, number, sequence, utc, stamp, source, uncertainty, x, y = line.split(" ")
                self.frames.append({"frame": int(frame), "number": int(number), "sequence": int(sequence), "utc": utc,
                                    "stamp": int(stamp), "source": source, "uncertainty": float(uncertainty),
                                    "x": int(x), "y": int(y)})
