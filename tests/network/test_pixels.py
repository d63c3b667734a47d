"""What Alpaca clients get is what the camera delivers: the same virtual camera, once over the network, once by the tool."""

import os
import subprocess
import sys
import tempfile
import unittest
from array import array

from alpaca import Client
from server import ORQCAM, PATIENCE, Server

CAMERAS = ["virtual:k1c,seed=5,timescale=0.001", "virtual:d6m,seed=6,timescale=0.001"]


def samples(data):
    """Samples of 16 bits, least significant byte first."""
    read = array("H", data)
    if sys.byteorder == "big":
        read.byteswap()
    return read


class Picture:
    """Samples by place."""

    def __init__(self, width, height, data, by_columns):
        self.width, self.height = width, height
        self.data = data
        self.step_x, self.step_y = (height, 1) if by_columns else (1, width)

    def row(self, y, start, end):
        first = y * self.step_y
        return list(self.data[first + start * self.step_x:first + end * self.step_x:self.step_x])


class Tests(unittest.TestCase):
    def captured(self, camera, count, *options):
        """Frames of a fresh camera, from its first exposure on, as the tool writes them; of the computer's own byte order."""
        with tempfile.TemporaryDirectory(prefix="orqcam-pixels-") as folder:
            environment = dict(os.environ, HOME=folder, XDG_CONFIG_HOME=folder, XDG_STATE_HOME=folder)
            subprocess.run([ORQCAM, "-c", camera, "--no-settings", "capture", "-e", "300ms", "-n", str(count), *options,
                            "-o", os.path.join(folder, "{n}.raw")], check=True, env=environment, timeout=PATIENCE, capture_output=True)
            frames = []
            for number in range(1, count + 1):
                with open(os.path.join(folder, f"{number}.raw"), "rb") as file:
                    frames.append(array("H", file.read()))
        return frames

    def shown(self, client, start_x, start_y, width, height):
        for method, value in (("StartX", start_x), ("StartY", start_y), ("NumX", width), ("NumY", height)):
            client.put(method.lower(), **{method: value})
        client.expose(0.3)
        told_width, told_height, _, data = client.image_bytes()
        self.assertEqual((told_width, told_height), (width, height))
        return Picture(width, height, samples(data), True)

    def test_subframes_are_cut_out_of_the_whole_picture(self):
        # Noise belongs to the place on the sensor and the number of the exposure: a part is the same part of the whole.
        for camera in CAMERAS:
            with self.subTest(camera=camera), Server(cameras=[camera]) as server:
                client = Client(server, 0)
                client.put("connected", Connected="True")
                width, height = client.get("cameraxsize"), client.get("cameraysize")
                parts = [(0, 0, width, height), (1, 1, 33, 17), (7, 3, 1, 1), (width - 5, height - 3, 5, 3), (3, 0, width - 3, 2),
                         (101, 51, 640, 480)]
                whole = self.captured(camera, len(parts))
                for (x, y, columns, rows), frame in zip(parts, whole):
                    wanted, got = Picture(width, height, frame, False), self.shown(client, x, y, columns, rows)
                    for row in range(rows):
                        self.assertEqual(got.row(row, 0, columns), wanted.row(y + row, x, x + columns), (x, y, row))
                client.close()

    def test_binned_pictures_are_what_the_camera_bins(self):
        # The tool's regions have rows of eight pixels: they end before the whole picture does.
        for camera in CAMERAS:
            with self.subTest(camera=camera), Server(cameras=[camera]) as server:
                client = Client(server, 0)
                client.put("connected", Connected="True")
                for number, bins in enumerate((2, 3, 4)):
                    client.put("binx", BinX=bins)
                    width, height = client.get("cameraxsize") // bins, client.get("cameraysize") // bins
                    frame = self.captured(camera, number + 1, "--bin", str(bins))[-1]
                    known = width // 8 * 8
                    wanted = Picture(known, len(frame) // known, frame, False)
                    got = self.shown(client, 0, 0, width, height)
                    for row in range(wanted.height):
                        self.assertEqual(got.row(row, 0, known), wanted.row(row, 0, known), (bins, row))
                client.close()


if __name__ == "__main__":
    unittest.main()
