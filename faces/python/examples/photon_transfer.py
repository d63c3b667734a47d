"""A photon transfer curve: the gain of a camera, in electrons for each unit, from pairs of flat frames."""

import sys

import matplotlib.pyplot as plt
import numpy
import orqcam

NAME = "virtual:k1m,timescale=0.001,scene=flat,flux=300000"


def pair(camera, seconds):
    """Mean and variance of two frames of even light. Their difference knows neither dust nor pattern."""
    first, second = (camera.expose(seconds).array.astype(float) for _ in range(2))
    return (first.mean() + second.mean()) / 2, (first - second).var() / 2


with orqcam.open(sys.argv[1] if len(sys.argv) > 1 else NAME) as camera:
    camera.format = "raw16"
    camera.region = (0, 0, 320, 240)
    camera.gain = 0
    bias, read = pair(camera, camera.exposure_us.min / 1e6)
    points = numpy.array([pair(camera, seconds) for seconds in numpy.geomspace(0.002, 0.03, 8)])
    told = camera.expose(0.01).info.electrons_per_adu

signal, variance = points[:, 0] - bias, points[:, 1] - read
gain = 1 / numpy.polyfit(signal, variance, 1)[0]
noise = gain * numpy.sqrt(read)
print(f"{gain:.3f} electrons per unit (the camera says {told:.3f}), read noise {noise:.2f} electrons")

figure, axes = plt.subplots(figsize=(6, 4))
axes.loglog(signal, variance, "o", label="pairs of flat frames")
axes.loglog(signal, signal / gain, label=f"{gain:.3f} electrons per unit")
axes.set(xlabel="signal (ADU)", ylabel="variance (ADU²)")
axes.legend()
figure.tight_layout()
figure.savefig("photon-transfer.png")
