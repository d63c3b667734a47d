"""A camera in asyncio's event loop: its descriptor is watched beside everything else that the program waits for.

    python3 event_loop.py [CAMERA]
"""

import asyncio
import sys
from ctypes import byref, c_int32

import orq

EXPOSURE_US = 450_000


def next_event(camera):
    """What has happened to the camera; None: nothing more."""
    try:
        return orq.filled(orq.library.orq_event_next, camera, orq.Event)
    except orq.Error as error:
        if error.status != orq.ERROR_NOT_FOUND:
            raise
        return None


def take_events(camera, done):
    while not done.done() and (event := next_event(camera)) is not None:
        if event.kind == orq.EVENT_FRAME:
            frame = orq.handle_of(orq.library.orq_frame_wait, camera, 0)
            done.set_result(orq.filled(orq.library.orq_frame_get_info, frame, orq.FrameInfo))
            orq.library.orq_frame_release(frame)
        elif event.kind in (orq.EVENT_LOST, orq.EVENT_EXPOSURE_FAILED):
            done.set_exception(RuntimeError(event.text.decode()))


async def expose(camera):
    loop = asyncio.get_running_loop()
    done = loop.create_future()
    descriptor = c_int32()
    orq.library.orq_camera_event_fd(camera, byref(descriptor))
    loop.add_reader(descriptor.value, take_events, camera, done)
    orq.library.orq_exposure_start(camera, EXPOSURE_US)
    while not done.done():
        await asyncio.wait([done], timeout=0.1)
        if not done.done():
            print("still exposing")
    loop.remove_reader(descriptor.value)
    return done.result()


name = sys.argv[1] if len(sys.argv) > 1 else "virtual:k1c"
opened = orq.handle_of(orq.library.orq_camera_open, name.encode(), None)
info = asyncio.run(expose(opened))
print(f"frame: {info.width} x {info.height} pixels, {info.exposure_us} us")
orq.library.orq_camera_release(opened)
