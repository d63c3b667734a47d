"""Videos that are written to a file."""

from ._errors import TimeoutError

ENDS = (None, "frames", "time", "size", "stopped", "video-ended", "lost", "changed", "disk-full", "failed")


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
        """How far it is: frames (in the file), missed, lost, waiting, bytes, seconds, trouble."""
        return self._recording.state()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
        self.wait()
