"""A light curve, as of an occultation: a star in every frame, with the time of the camera's GPS."""

import sys

import matplotlib.pyplot as plt
import numpy
import orqcam

NAME = "virtual:t46c,scene=stars,seed=5"
FRAMES = 50

with orqcam.open(sys.argv[1] if len(sys.argv) > 1 else NAME) as camera:
    camera.format = "raw8"
    camera.gain = 40
    finder = camera.expose(0.5, timeout=30).array
    camera.exposure_us = 20_000
    y, x = numpy.unravel_index(finder[64:-64, 64:-64].argmax(), finder[64:-64, 64:-64].shape)
    camera.region = (int(x) // 16 * 16, int(y) // 16 * 16, 128, 128)  # the star stands in its middle
    times, fluxes, sources = [], [], set()
    with camera.video(reader="every", depth=16, timeout=30) as video:
        for frame, _ in zip(video, range(FRAMES)):
            sky = numpy.median(frame.array)
            fluxes.append(float(frame.array[32:96, 32:96].astype(float).sum() - sky * 64 * 64))
            times.append(frame.time_ns)
            sources.add(frame.time_source)
    missed = video.counters.missed

seconds = (numpy.array(times) - times[0]) / 1e9
print(f"{len(times)} frames in {seconds[-1]:.2f} s, {missed} missed, time: {', '.join(sorted(sources))}")

figure, axes = plt.subplots(figsize=(6, 3))
axes.plot(seconds, fluxes, ".-")
axes.set(xlabel=f"seconds since {frame.time:%Y-%m-%d} {times[0] / 1e9 % 86400:.3f} s UTC", ylabel="flux (ADU)")
figure.tight_layout()
figure.savefig("light-curve.png")
