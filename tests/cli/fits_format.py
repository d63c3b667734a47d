"""FITS files, read as the standard describes them: nothing here comes from the library, or from another one."""

import struct

BLOCK = 2880
CARD = 80
NUMBERS = {"K": ">q", "J": ">i", "D": ">d"}


def header_at(data, offset):
    """Keywords with their values as text, and where the data begins. ValueError: there is no whole header."""
    cards = {}
    for at in range(offset, len(data) - CARD + 1, CARD):
        card = data[at:at + CARD].decode("ascii")
        if card.rstrip() == "END":
            begin = at + CARD
            return cards, begin + -(begin - offset) % BLOCK
        if card[8:10] == "= ":
            text = card[10:].strip()
            cards[card[:8].strip()] = text.split("'")[1].rstrip() if text.startswith("'") else text.split("/")[0].strip()
    raise ValueError("the header does not end")


class Cube:
    """A video as one file: `frames` as bytes with their most significant byte first, `times` as rows by column, None without
    such a table. ValueError: a frame that the header announces is not there."""

    def __init__(self, path):
        with open(path, "rb") as file:
            data = file.read()
        self.cards, begin = header_at(data, 0)
        axes = [int(self.cards[f"NAXIS{i + 1}"]) for i in range(int(self.cards["NAXIS"]))]
        self.width, self.height, count = axes[0], axes[1], axes[-1]
        self.planes = axes[2] if len(axes) == 4 else 1
        size = self.width * self.height * self.planes * int(self.cards["BITPIX"]) // 8
        if len(data) < begin + count * size:
            raise ValueError(f"{count} frames of {size} bytes are announced, and {len(data) - begin} bytes are there")
        self.frames = [data[begin + i * size:begin + (i + 1) * size] for i in range(count)]
        end = begin + count * size
        end += -end % BLOCK
        self.whole = len(data) == end
        self.times = None
        if data[end:end + 8] == b"XTENSION":
            self.read_table(data, end)

    def read_table(self, data, offset):
        cards, begin = header_at(data, offset)
        columns = [(cards[f"TTYPE{i + 1}"], cards[f"TFORM{i + 1}"]) for i in range(int(cards["TFIELDS"]))]
        row, count = int(cards["NAXIS1"]), int(cards["NAXIS2"])
        self.times = []
        for at in range(begin, begin + row * count, row):
            values = {}
            for name, form in columns:
                length = int(form[:-1]) if form[-1] == "A" else struct.calcsize(NUMBERS[form[-1]])
                part = data[at:at + length]
                values[name] = part.decode().rstrip() if form[-1] == "A" else struct.unpack(NUMBERS[form[-1]], part)[0]
                at += length
            self.times.append(values)
        end = begin + row * count
        self.whole = len(data) == end + -end % BLOCK


class Image:
    """One image, of 8 or 16 bits, of one plane or three."""

    def __init__(self, path):
        with open(path, "rb") as file:
            data = file.read()
        self.cards, begin = header_at(data, 0)
        size = int(self.cards["NAXIS1"]) * int(self.cards["NAXIS2"]) * int(self.cards["BITPIX"]) // 8
        size *= int(self.cards["NAXIS3"]) if self.cards["NAXIS"] == "3" else 1
        self.pixels = data[begin:begin + size]
        if len(self.pixels) != size or len(data) % BLOCK:
            raise ValueError("the file is cut off")
