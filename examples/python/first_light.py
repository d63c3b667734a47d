"""First light: opens a camera, takes one exposure and saves it as FITS.

    python3 first_light.py [CAMERA]
"""

import sys
from ctypes import byref

import orq

name = sys.argv[1] if len(sys.argv) > 1 else "virtual:k1c,timescale=0.01"
camera = orq.handle_of(orq.library.orq_camera_open, name.encode(), None)
info = orq.filled(orq.library.orq_camera_get_info, camera, orq.CameraInfo)
print(f"{info.model.decode()}: {info.sensor_width} x {info.sensor_height} pixels of {info.pixel_um:g} um")

orq.library.orq_control_set(camera, orq.CONTROL_GAIN, 40, orq.MANUAL)
orq.library.orq_exposure_start(camera, 500_000)
frame = orq.handle_of(orq.library.orq_frame_wait, camera, orq.FOREVER)
exposed = orq.filled(orq.library.orq_frame_get_info, frame, orq.FrameInfo)
print(f"exposed {exposed.exposure_us // 1000} ms: {exposed.width} x {exposed.height} pixels")

orq.library.orq_frame_save(frame, b"first-light.fits", byref(orq.sized(orq.SaveOptions, overwrite=1)))
print("saved first-light.fits")
orq.library.orq_frame_release(frame)
orq.library.orq_camera_release(camera)
