"""FITS pictures, read without help, and what the sensor sent."""

import os
import socket
import struct


class Picture:
    """The one image of a FITS file in memory."""

    def __init__(self, content):
        self.cards, self.doubles = {}, []
        at = 0
        while True:
            card = content[at:at + 80].decode("ascii")
            at += 80
            name = card[:8].strip()
            if name == "END":
                break
            if card[8:10] != "= ":
                continue
            if name in self.cards:
                self.doubles.append(name)
            self.cards[name] = self._value(card[10:])
        at = (at + 2879) // 2880 * 2880
        size = self["NAXIS1"] * self["NAXIS2"] * self.cards.get("NAXIS3", 1) * self["BITPIX"] // 8
        self.pixels = content[at:at + size]
        self.whole = len(content) == at + (size + 2879) // 2880 * 2880

    def __getitem__(self, name):
        return self.cards[name]

    @staticmethod
    def _value(text):
        if text.lstrip().startswith("'"):
            return text.split("'")[1].rstrip()
        text = text.split("/")[0].strip()
        if text in ("T", "F"):
            return text == "T"
        try:
            return int(text)
        except ValueError:
            return float(text)


def as_in_fits(payload, form):
    """Samples of the wire as a FITS file holds them: 16-bit ones signed, most significant byte first."""
    if not form & 1:
        return payload
    high, low = (payload[0::2], payload[1::2]) if form & 2 else (payload[1::2], payload[0::2])
    signed = bytearray(len(payload))
    signed[0::2] = high.translate(bytes(value ^ 0x80 for value in range(256)))
    signed[1::2] = low
    return bytes(signed)


class Bus:
    """The emulated bus: pulls plugs, and tells what the sensors sent."""

    def __init__(self, folder):
        self.path = os.path.join(folder, "bus")
        self.file = os.path.join(folder, "sent")

    def command(self, text):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as connection:
            connection.settimeout(60)
            connection.connect(self.path)
            with connection.makefile("rw") as lines:
                lines.write(text + "\n")
                lines.flush()
                return lines.readline().split()

    def obey(self, text):
        answer = self.command(text)
        if answer[:1] != ["ok"]:
            raise RuntimeError(f"{text}: {' '.join(answer)}")

    def sent(self, camera, sequence):
        """Header and pixels of a frame as they left the sensor, the pixels as in FITS."""
        self.obey(f"sent {camera} {sequence} {self.file}")
        with open(self.file, "rb") as file:
            content = file.read()
        names = ("sequence payload width height start_x start_y bin format bits flags gps exposure_us gain offset "
                 "tag").split()
        header = dict(zip(names, struct.unpack_from("<IIHHHHBBBBIQHHI", content, 8)))
        return header, as_in_fits(content[64:], header["format"])
