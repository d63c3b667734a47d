"""A focus curve: how wide stars are at positions of the focus motor, and the position at which they are sharpest."""

import sys

import matplotlib.pyplot as plt
import numpy
import orqcam

NAME = "virtual:h53m,timescale=0.01,focus=537"
POSITIONS = numpy.arange(300, 901, 50)


def half_flux_radius(camera, position):
    camera.move_focus(int(position))
    return camera.expose(2).stars().hfr


with orqcam.open(sys.argv[1] if len(sys.argv) > 1 else NAME) as camera:
    camera.format = "raw16"
    camera.region = (0, 0, 1600, 1080)
    radii = numpy.array([half_flux_radius(camera, position) for position in POSITIONS])
    seen = numpy.isfinite(radii)  # far out of focus there may be no star to measure
    if seen.sum() < 4:
        sys.exit(f"Stars are seen at {seen.sum()} positions, at least 4 are needed; expose longer, or raise the gain.")
    # The radius goes along a hyperbola: its square along a parabola, in which wide stars would count for more.
    steps = (POSITIONS - POSITIONS.mean())[seen]
    (bend, slope, height), covariance = numpy.polyfit(steps, radii[seen] ** 2, 2, w=1 / radii[seen], cov=True)
    best = POSITIONS.mean() - slope / (2 * bend)
    if bend <= 0 or not POSITIONS[0] < best < POSITIONS[-1]:
        sys.exit(f"The stars are not sharpest between {POSITIONS[0]} and {POSITIONS[-1]}; try other positions.")
    moved = numpy.array([slope / bend, -1, 0]) / (2 * bend)  # the best position, with each of the three
    uncertainty = numpy.sqrt(moved @ covariance @ moved)
    sharpest = half_flux_radius(camera, round(best))

print(f"best position {best:.1f} +- {uncertainty:.1f}, half-flux radius there {sharpest:.2f} px")

figure, axes = plt.subplots(figsize=(6, 4))
axes.plot(POSITIONS, radii, "o", label="median of the stars of a frame")
along = numpy.linspace(POSITIONS[0], POSITIONS[-1], 200)
axes.plot(along, numpy.sqrt(numpy.polyval((bend, slope, height), along - POSITIONS.mean())), label="hyperbola")
axes.axvline(best, color="tab:red", linewidth=1, label=f"best position {best:.1f}")
axes.set(xlabel="position of the focus motor", ylabel="half-flux radius (pixels)", ylim=(0, None))
axes.legend()
figure.tight_layout()
figure.savefig("focus-curve.png")
