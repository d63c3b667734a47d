"""First light: one exposure, its values, its picture, its file."""

import sys

import matplotlib.pyplot as plt
import orqcam

with orqcam.open(sys.argv[1] if len(sys.argv) > 1 else "virtual:k1c,timescale=0.01") as camera:
    camera.gain = 40
    camera.label(object="M 42")
    frame = camera.expose(0.5)

print(f"{frame.array.shape[1]} x {frame.array.shape[0]} pixels, mean {frame.array.mean():.1f}, {frame.time_source} time")
frame.save("first-light.fits", overwrite=True)
plt.imsave("first-light.png", frame.preview(320))
