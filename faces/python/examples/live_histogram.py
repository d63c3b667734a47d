"""A live histogram: the newest frame, whenever the last one has been shown, and what was passed over."""

import sys

import matplotlib.pyplot as plt
import numpy
import orqcam

with orqcam.open(sys.argv[1] if len(sys.argv) > 1 else "virtual:k1c,timescale=0.1") as camera:
    camera.format = "raw8"
    camera.exposure_us = 5000
    figure, axes = plt.subplots(figsize=(6, 3))
    (line,) = axes.step(numpy.arange(256), numpy.ones(256), where="mid")
    axes.set(xlabel="value", ylabel="pixels", yscale="log", ylim=(0.5, 3e6))
    figure.tight_layout()
    with camera.video(timeout=30) as video:
        for frame, _ in zip(video, range(5)):
            line.set_ydata(numpy.maximum(frame.statistics().histogram, 0.5))
            figure.canvas.draw()  # plt.pause(0.01) shows it in a window
    print(f"shown: {video.counters.delivered}, passed over: {video.counters.missed}")
    figure.savefig("live-histogram.png")
