"""USB astronomy cameras, real and virtual, with frames as NumPy arrays.

    import orqcam

    with orqcam.open("virtual:k1c") as camera:
        camera.gain = 40
        frame = camera.expose(0.5)          # seconds
        print(frame.array.mean(), frame.time, camera.gain.max)
        frame.save("m42.fits")
        for frame in camera.video(timeout=5):
            ...

Everything may be called from any thread; what waits lets other threads run, and Ctrl-C ends it. Failures are orqcam.Error
and its classes, whose text says what to do. What camera.info, frame.statistics() and the like give shows all that it knows;
help(orqcam.CameraInfo), help(orqcam.Statistics) and so on tell what it means.
"""

from ._camera import Camera, Event, Region, cameras, clock_state, open
from ._controls import AUTO, FloatControl, IntControl
from ._errors import (BusyError, CancelledError, Error, FileError, InternalError, InvalidError, LostError, MemoryError,
                      NotFoundError, PermissionError, RangeError, RefusedError, StateError, TimeoutError, UnsupportedError)
from ._frame import Frame
from ._orqcam import library_version as _library_version
from ._recording import MissingFrames, Recording, SerRepaired, ser_extract, ser_info, ser_repair
from ._stars import Stars
from ._structs import *  # noqa: F403
from ._tables import HotPixels
from ._video import Video

__version__ = _library_version()
__all__ = ["AUTO", "Camera", "Event", "FloatControl", "Frame", "HotPixels", "IntControl", "MissingFrames", "Recording", "Region",
           "SerRepaired", "Stars", "Video", "cameras", "clock_state", "open", "ser_extract", "ser_info", "ser_repair", "Error",
           "BusyError", "CancelledError", "FileError", "InternalError", "InvalidError", "LostError", "MemoryError", "NotFoundError",
           "PermissionError", "RangeError", "RefusedError", "StateError", "TimeoutError", "UnsupportedError"]

for _name in __all__:
    if isinstance(globals()[_name], type):
        globals()[_name].__module__ = "orqcam"  # where programs find it
