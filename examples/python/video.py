"""A video: every frame of it, and its brightness, from the pixels where they lie.

    python3 video.py [CAMERA]
"""

import sys
from ctypes import byref

import orq

FRAMES = 20

name = sys.argv[1] if len(sys.argv) > 1 else "virtual:k1c"
camera = orq.handle_of(orq.library.orq_camera_open, name.encode(), None)
region = orq.filled(orq.library.orq_region_get, camera, orq.Region)
region.width, region.height, region.format = 320, 240, orq.FORMAT_RAW8
orq.library.orq_region_set(camera, byref(region), None)
orq.library.orq_control_set(camera, orq.CONTROL_EXPOSURE, 5_000, orq.MANUAL)

reader = orq.handle_of(orq.library.orq_reader_open, camera, byref(orq.sized(orq.ReaderOptions, mode=orq.READ_EVERY)))
orq.library.orq_video_start(camera)
for number in range(1, FRAMES + 1):
    frame = orq.handle_of(orq.library.orq_reader_wait, reader, 10_000)
    info = orq.filled(orq.library.orq_frame_get_info, frame, orq.FrameInfo)
    values = orq.pixels(frame)
    mean = sum(values) / len(values)
    print(f"frame {number}: {info.width} x {info.height} pixels of {info.exposure_us} us, mean {mean:.2f} ADU")
    del values  # the frame's memory goes to another frame
    orq.library.orq_frame_release(frame)
orq.library.orq_video_stop(camera)
orq.library.orq_reader_release(reader)
orq.library.orq_camera_release(camera)
