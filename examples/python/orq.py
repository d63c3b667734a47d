"""The part of orqcam's C interface that the examples use, through ctypes.

Structs that begin with `size` may be cut off after any field: the library writes nothing beyond the size that it is told.
"""

import ctypes
from ctypes import (POINTER, byref, c_char, c_char_p, c_double, c_int32, c_int64, c_size_t, c_uint8, c_uint32, c_uint64,
                    c_void_p)

library = ctypes.CDLL("liborqcam.so.0")

CONTROL_GAIN = 0
CONTROL_EXPOSURE = 1
MANUAL = 0
FORMAT_RAW8 = 0
READ_EVERY = 1
FOREVER = -1
ERROR_NOT_FOUND = -2
EVENT_FRAME = 1
EVENT_LOST = 2
EVENT_EXPOSURE_FAILED = 4


class CameraInfo(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("speed", c_int32), ("model", c_char * 64), ("serial", c_char * 24),
                ("user_id", c_char * 16), ("firmware", c_char * 16), ("sensor_width", c_int32),
                ("sensor_height", c_int32), ("pixel_um", c_double)]


class Region(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("start_x", c_int32), ("start_y", c_int32), ("width", c_int32),
                ("height", c_int32), ("bin", c_int32), ("format", c_int32), ("reserved", c_int32)]


class FrameInfo(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("sequence", c_uint32), ("start_x", c_int32), ("start_y", c_int32),
                ("width", c_int32), ("height", c_int32), ("bin", c_int32), ("format", c_int32), ("bayer", c_int32),
                ("bytes_per_pixel", c_int32), ("exposure_us", c_uint64)]


class ReaderOptions(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("mode", c_int32), ("depth", c_int32)]


class Event(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("kind", c_int32), ("text", c_char * 256)]


class SaveOptions(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("overwrite", c_int32)]


class Error(Exception):
    """Why a call failed, as one line; `status` says what to do about it."""

    def __init__(self, status):
        super().__init__(library.orq_last_error().decode())
        self.status = status


def check(status):
    if status != 0:
        raise Error(status)


def sized(struct, **fields):
    """A struct of the interface with its size set."""
    return struct(size=ctypes.sizeof(struct), **fields)


library.orq_last_error.restype = c_char_p
for name, arguments in {
        "orq_camera_open": [c_char_p, c_void_p, POINTER(c_void_p)],
        "orq_camera_get_info": [c_void_p, POINTER(CameraInfo)],
        "orq_control_set": [c_void_p, c_int32, c_int64, c_int32],
        "orq_region_get": [c_void_p, POINTER(Region)],
        "orq_region_set": [c_void_p, POINTER(Region), POINTER(Region)],
        "orq_exposure_start": [c_void_p, c_uint64],
        "orq_frame_wait": [c_void_p, c_int32, POINTER(c_void_p)],
        "orq_frame_get_info": [c_void_p, POINTER(FrameInfo)],
        "orq_frame_data": [c_void_p, POINTER(POINTER(c_uint8)), POINTER(c_size_t)],
        "orq_frame_save": [c_void_p, c_char_p, POINTER(SaveOptions)],
        "orq_camera_event_fd": [c_void_p, POINTER(c_int32)],
        "orq_event_next": [c_void_p, POINTER(Event)],
        "orq_video_start": [c_void_p],
        "orq_video_stop": [c_void_p],
        "orq_reader_open": [c_void_p, POINTER(ReaderOptions), POINTER(c_void_p)],
        "orq_reader_wait": [c_void_p, c_int32, POINTER(c_void_p)],
}.items():
    function = getattr(library, name)
    function.argtypes = arguments
    function.restype = check  # a status that is not 0 becomes an exception
for name in ("orq_camera_release", "orq_reader_release", "orq_frame_release"):
    function = getattr(library, name)
    function.argtypes = [c_void_p]
    function.restype = None


def filled(function, handle, struct):
    """What a function that fills a struct says about a handle."""
    made = sized(struct)
    function(handle, byref(made))
    return made


def handle_of(function, *arguments):
    """The handle that a function puts where its last argument points."""
    handle = c_void_p()
    function(*arguments, byref(handle))
    return handle


def pixels(frame):
    """A frame's bytes without a copy; valid until the frame is released."""
    first, size = POINTER(c_uint8)(), c_size_t()
    library.orq_frame_data(frame, byref(first), byref(size))
    return memoryview((c_uint8 * size.value).from_address(ctypes.addressof(first.contents))).cast("B").toreadonly()
