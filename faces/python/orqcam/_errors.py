"""One exception for each reason for which the library refuses; all of them are an Error."""

import builtins

from . import _orqcam


class Error(Exception):
    """Why a call failed: one line for a user. `status` is the library's number."""

    status = 0


class InvalidError(Error, ValueError):
    """An argument is wrong."""

    status = -1


class NotFoundError(Error, LookupError):
    """No such camera, control or file; no event left."""

    status = -2


class PermissionError(Error, builtins.PermissionError):
    """The user may not use the device or file."""

    status = -3


class BusyError(Error):
    """Another program has the camera, or flash work is under way: try again later."""

    status = -4


class LostError(Error, ConnectionError):
    """The camera is gone: plug it in, then reopen()."""

    status = -5


class TimeoutError(Error, builtins.TimeoutError):
    """Not in the time that was given: wait again, or abort()."""

    status = -6


class CancelledError(Error):
    """Somebody has aborted, stopped or closed."""

    status = -7


class UnsupportedError(Error):
    """This camera cannot do that."""

    status = -8


class RefusedError(Error):
    """The camera did not do it, or what it sent was no good: try again."""

    status = -9


class StateError(Error):
    """Not now: closed, a capture runs, or none does; a child after a fork."""

    status = -10


class RangeError(Error, ValueError):
    """A value that this camera does not offer; nothing has changed."""

    status = -11


class FileError(Error, OSError):
    """A file cannot be read or written, or is there already."""

    status = -12


class MemoryError(Error, builtins.MemoryError):
    """No memory, or all frame memory is held: drop frames, or open with more frame_memory_mb."""

    status = -13


class InternalError(Error):
    """A fault of the library: report it, with `orqcam report`."""

    status = -14


def _register(base):
    _orqcam.errors[base.status] = base
    base.__module__ = "orqcam"
    for kind in base.__subclasses__():
        _register(kind)


_register(Error)
