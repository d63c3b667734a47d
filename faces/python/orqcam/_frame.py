"""Frames: arrays without a copy, with their time and header."""

import datetime

import numpy  # noqa: F401  now, not when the first frame becomes an array

from . import _orqcam
from ._services import whole
from ._stars import Stars

FORMATS = ("raw8", "rgb24", "raw16", "y8")
BAYER = (None, "RGGB", "BGGR", "GRBG", "GBRG")  # by number of the pattern + 1
TIME_SOURCES = ("computer", "gps", "gps-predicted")

Frame = _orqcam.Frame


def _time(frame):
    """Start of the exposure of the row that was read out first: UTC, to the microsecond."""
    return _utc(frame.time_ns)


def _utc(unix_ns):
    epoch = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
    return epoch + datetime.timedelta(microseconds=unix_ns // 1000)


def _header(frame):
    """What is known about the frame, as an astropy.io.fits.Header; needs astropy."""
    from astropy.io import fits

    header = fits.Header()
    for name, value, comment in frame.cards():
        if name in ("HISTORY", "COMMENT"):
            header.add_history(value) if name == "HISTORY" else header.add_comment(value)
        else:
            header.append((name, value, comment))
    return header


def _array_interface(frame):
    return frame.array.__array_interface__


def _repr(frame):
    info = frame.info
    return (f"<orqcam.Frame {info.number}: {info.width} x {info.height} {FORMATS[info.format]}, "
            f"{info.exposure_us} us, {frame.time.isoformat()}>")


_save = _orqcam.Frame.save
_preview = _orqcam.Frame.preview
_statistics = _orqcam.Frame.statistics
_disc = _orqcam.Frame.disc
_cards = _orqcam.Frame.cards


def save(self, path, *, overwrite=False, preview=False, fast=False, number=0):
    """Writes the frame to a file that is either whole or not there, and returns the file's name.

    `path` ends in .fits, .fits.fz (compressed without loss), .png (a picture for looking at) or .raw, and may hold
    {camera}, {date}, {time}, {n:04}, {exposure} and so on. `preview`: a PNG is written beside it. `fast`: does not wait
    until the disk has it. FileError: it cannot be written, or is there already and `overwrite` is false.
    """
    return _save(self, str(path), overwrite, preview, fast, number)


def statistics(self):
    """Minimum, maximum, mean, median, histogram and so on of all pixels: a Statistics. Other threads run meanwhile."""
    return _statistics(self)


def disc(self):
    """The brightest disc, a planet: x and y of its centre, and its diameter, pixels. NotFoundError: nothing but noise."""
    return _disc(self)


def cards(self):
    """The header as a list of (name, value, comment); without astropy."""
    return _cards(self)


def preview(self, max_width=0, max_height=0, *, stretch=True):
    """A picture for looking at as an array of its own: (height, width) or (height, width, 3), eight bits, stretched."""
    return _preview(self, max_width, max_height, stretch)


def stars(self, area=None):
    """Finds and measures the stars in `area`, (x, y, width, height) in pixels of the frame, None: in all of it. A Stars.

    Ten megapixels take about a second, other threads run meanwhile. Hot pixels are no stars, and green counts of colours:
    the filled gaps of a Bayer mosaic widen stars by a few hundredths. InvalidError: the area is not within the frame.
    """
    if area is not None:
        x, y, width, height = area
        area = tuple(whole(each, "what an area is made of") for each in (x, y, width, height))
    return Stars(_orqcam.find_stars(self, area))


Frame.save = save
Frame.statistics = statistics
Frame.disc = disc
Frame.cards = cards
Frame.preview = preview
Frame.stars = stars
Frame.time = property(_time, doc=_time.__doc__)
Frame.time_ns = property(lambda self: self.info.time_unix_ns, doc="As `time`, in nanoseconds since 1970.")
Frame.time_source = property(lambda self: TIME_SOURCES[self.info.time_source],
                             doc="Where the time comes from: computer, gps, gps-predicted.")
Frame.time_uncertainty_ns = property(lambda self: self.info.time_uncertainty_ns, doc="How far off `time` may be, nanoseconds.")
Frame.exposure = property(lambda self: self.info.exposure_us / 1e6, doc="Seconds, as the sensor exposed.")
Frame.format = property(lambda self: FORMATS[self.info.format], doc="raw8, rgb24, raw16 or y8.")
Frame.bayer = property(lambda self: BAYER[self.info.bayer + 1], doc="Colours of the top left pixels, or None.")
Frame.number = property(lambda self: self.info.number, doc="Of the frames since the camera was opened, from 1.")
Frame.header = property(_header, doc=_header.__doc__)
Frame.__array_interface__ = property(_array_interface)
Frame.__repr__ = _repr
Frame.__doc__ = """A frame: pixels that nobody changes any more, and what is known about them.

`array` is a read-only view of the frame itself, without a copy: (height, width), or (height, width, 3) with red, green,
blue. The frame's memory is free again when the last array and the frame itself are gone.
"""
Frame.__module__ = "orqcam"
