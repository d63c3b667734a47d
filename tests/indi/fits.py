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


def binned_by_two(pixels, width, height, bits):
    """What the host makes of a colour sensor's samples: four of one colour, which are two apart, summed up to 255 with 8
    bits, averaged and cut to a whole number with 16."""
    if bits == 8:
        values = list(pixels)
    else:
        values = [high * 256 + low for high, low in zip((byte ^ 0x80 for byte in pixels[0::2]), pixels[1::2])]
    columns = [4 * (x // 2) + x % 2 for x in range(width // 2)]
    made = bytearray()
    for y in range(height // 2):
        top = (4 * (y // 2) + y % 2) * width
        first, second = values[top:top + width], values[top + 2 * width:top + 3 * width]
        sums = [first[x] + first[x + 2] + second[x] + second[x + 2] for x in columns]
        if bits == 8:
            made += bytes(min(total, 255) for total in sums)
        else:
            for total in sums:
                made += bytes((total // 4 // 256 ^ 0x80, total // 4 % 256))
    return bytes(made)


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
