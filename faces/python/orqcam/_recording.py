"""Videos that are written to a file, and SER files of any program."""

import collections

from . import _orqcam
from ._errors import TimeoutError

ENDS = (None, "frames", "time", "size", "stopped", "video-ended", "lost", "changed", "disk-full", "failed")
FORMS = {None: 0, "ser": 1, "cube": 2, "folder": 3}
CAUSES = ("disk", "camera", "moved")

MissingFrames = collections.namedtuple("MissingFrames", "first last cause")
MissingFrames.__doc__ = """Frames in a row that a recording lacks, by the camera's count, in which its first frame has number 1.

cause: "disk" (it was too slow), "camera" (they did not come), "moved" (the region was moved, which begins the stream anew).
"""

SerRepaired = collections.namedtuple("SerRepaired", "changed frames timed")
SerRepaired.__doc__ = "What a repair has come to: whether the file was changed, its frames, and how many of them have a time."


class Recording:
    """A video that is written to a file, frame by frame; finished when it is left or dropped.

    `with camera.record("jupiter.ser", seconds=30) as recording: recording.wait()`
    """

    def __init__(self, recording):
        self._recording = recording

    def stop(self):
        """Ends it with the frames that have come by now; wait() tells when its file is finished."""
        self._recording.stop()

    def wait(self, timeout=None):
        """Waits until it has ended and its file is finished. TimeoutError after `timeout` seconds (None: never)."""
        while not self._recording.wait(3600.0 if timeout is None else timeout):
            if timeout is not None:
                raise TimeoutError("the recording still runs: wait longer, or stop() it")

    @property
    def end(self):
        """Why it has ended: frames, time, size, stopped, video-ended, lost, changed, disk-full, failed; None: it runs."""
        return ENDS[self.state.end]

    @property
    def state(self):
        """How far it is: frames (in the file), missed, lost, waiting, bytes, seconds, first_unix_ns, last_unix_ns, trouble."""
        return self._recording.state()

    @property
    def missing(self):
        """The gaps that it has by now, a list of MissingFrames."""
        return [MissingFrames(first, last, CAUSES[cause]) for first, last, cause in self._recording.missing()]

    def __repr__(self):
        return f"<orqcam.Recording: {self.state.frames} frames, {self.end or 'runs'}>"

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
        self.wait()


def ser_info(path):
    """What a SER file of any program, or a FITS cube, holds: colour, width, height, depth (bits), frames, stamps,
    first_unix_ns, last_unix_ns, observer, instrument, telescope, whole, and the trouble when it is not. FileError: it cannot be read, or is none."""
    return _orqcam.ser_info(str(path))


def ser_repair(path):
    """Makes a SER file, or a recording's FITS cube, whole that was cut off: SerRepaired. FileError: not one frame is whole."""
    return SerRepaired(*_orqcam.ser_repair(str(path)))


def ser_extract(path, frame, to, *, overwrite=False):
    """Writes frame `frame`, from 1, of a SER file or a FITS cube to `to` (.fits, .fits.fz or .png; {n} is its number); gives
    the file's name."""
    return _orqcam.ser_extract(str(path), frame, str(to), overwrite)
