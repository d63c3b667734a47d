"""An occultation: a star goes out and comes back. Its light in every frame, and both instants, by the camera's GPS."""

import datetime
import sys

import matplotlib.pyplot as plt
import numpy
import orqcam

NAME = "virtual:t46c,seed=5,occult=2030-01-01T00:00:04.5043/800ms"
FRAMES, EXPOSURE = 300, 0.02  # seconds

with orqcam.open(sys.argv[1] if len(sys.argv) > 1 else NAME) as camera:
    camera.gain = 100
    middle = camera.info.sensor_width // 2, camera.info.sensor_height // 2  # where the star stands
    camera.region = (middle[0] - 64, middle[1] - 64, 128, 128)
    camera.exposure_us = round(EXPOSURE * 1e6)
    times, fluxes, sources = [], [], set()
    with camera.video(reader="every", depth=64, timeout=60) as video:
        for frame, _ in zip(video, range(FRAMES)):
            star = frame.array[52:76, 52:76].astype(float)
            fluxes.append(star.sum() - numpy.median(frame.array) * star.size)
            times.append((frame.time_ns + 64 * frame.gps.row_ns) / 1e9)  # rows begin one after the other
            sources.add(frame.time_source)

times, fluxes = numpy.array(times), numpy.array(fluxes)
bright, faint = numpy.median(fluxes), numpy.percentile(fluxes, 5)
light = (fluxes - faint) / (bright - faint)
first, last = numpy.flatnonzero(light < 0.5)[[0, -1]]
# What a frame lacks of the star's light tells when in its exposure it went, or came.
out = times[first] + EXPOSURE * (light[first] + light[first - 1] - 1)
back = times[last] + EXPOSURE * (2 - light[last] - light[last + 1])
print(f"{len(times)} frames, time: {', '.join(sorted(sources))}")
for what, instant, gap in (("out", out, times[first] - times[first - 1]), ("back", back, times[last + 1] - times[last])):
    utc = datetime.datetime.fromtimestamp(instant, datetime.timezone.utc)
    uncertainty = gap - EXPOSURE + 2 * EXPOSURE * light[light > 0.5].std()
    print(f"{what} {utc:%Y-%m-%dT%H:%M:%S.%f} +- {1e3 * uncertainty:.1f} ms")

figure, axes = plt.subplots(figsize=(6, 3))
axes.plot(times - out, light, ".-")
for instant in (out, back):
    axes.axvline(instant - out, color="tab:red", linewidth=1)
axes.set(xlabel=f"seconds since {out % 86400:.3f} s UTC", ylabel="light of the star", xlim=(-1, 2))
figure.tight_layout()
figure.savefig("occultation.png")
