#include "alpaca/image/Subframe.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <string>

namespace orq::network::alpaca {
namespace {

// One axis: what the sensor has, how a region may lie on it, and the part of it that is wanted.
struct Axis {
  int sensor;     ///< pixels
  int startStep;  ///< sensor pixels
  int sizeStep;   ///< delivered pixels
  int least;      ///< delivered pixels
  int start;      ///< binned pixels of the sensor, flips undone
  int size;
};

struct Span {
  int start;   ///< sensor pixels
  int size;    ///< delivered pixels
  int before;  ///< delivered pixels in front of the wanted ones
};

int roundUp(int value, int step) {
  return (value + step - 1) / step * step;
}

// The smallest span of one bin that holds the wanted part. Its start lies where blocks of both colours begin, so
// that every reading bins the same pixels together.
std::optional<Span> spanOf(const Axis& axis, int bin) {
  const int grid = std::max(std::lcm(axis.startStep, 2 * bin), 1);
  int start = axis.start * bin / grid * grid;
  for (; start >= 0; start -= grid) {
    const int before = axis.start - start / bin;
    const int size = std::max(roundUp(before + axis.size, std::max(axis.sizeStep, 1)), axis.least);
    if (start + size * bin <= axis.sensor) return Span{start, size, before};
  }
  return std::nullopt;
}

// The same on single pixels, of which blocks are binned: those at the sensor's end may be cut off.
std::optional<Span> pixelSpanOf(const Axis& axis, int bin) {
  const int first = axis.start / 2 * 2 * bin;
  const int last = std::min((axis.start + axis.size + 1) / 2 * 2 * bin, axis.sensor);
  Axis pixels = axis;
  pixels.start = first;
  pixels.size = last - first;
  return spanOf(pixels, 1);
}

bool sameRegion(const orq_region& a, const orq_region& b) {
  return a.start_x == b.start_x && a.start_y == b.start_y && a.width == b.width && a.height == b.height &&
         a.bin == b.bin;
}

orq_region regionOf(const Span& x, const Span& y, int bin, int format) {
  auto region = sized<orq_region>();
  region.start_x = x.start;
  region.start_y = y.start;
  region.width = x.size;
  region.height = y.size;
  region.bin = bin;
  region.format = format;
  return region;
}

// Where the wanted part lies in the delivered frame: a flip counts it from the other end.
Subframe insideOf(const Span& x, const Span& y, const Subframe& wanted, int flips) {
  Subframe inside{x.before, y.before, wanted.width, wanted.height};
  if ((flips & ORQ_FLIP_HORIZONTAL) != 0) inside.startX = x.size - x.before - wanted.width;
  if ((flips & ORQ_FLIP_VERTICAL) != 0) inside.startY = y.size - y.before - wanted.height;
  return inside;
}

void check(int start, int size, int whole, const char* axis) {
  if (start >= 0 && size >= 1 && size <= whole && start <= whole - size) return;
  throw RangeError("the subframe does not lie in the picture: along " + std::string(axis) + " it has " +
                   std::to_string(whole) + " pixels at this bin");
}

}  // namespace

int pictureWidth(const orq_camera_info& info, int bin) {
  return info.sensor_width / bin;
}

int pictureHeight(const orq_camera_info& info, int bin) {
  return info.sensor_height / bin;
}

Reading planReading(const orq_camera_info& info, const Optics& optics, const Subframe& wanted, const Fit& fit) {
  const int width = pictureWidth(info, optics.bin);
  const int height = pictureHeight(info, optics.bin);
  check(wanted.startX, wanted.width, width, "x");
  check(wanted.startY, wanted.height, height, "y");
  const bool flipX = (optics.flips & ORQ_FLIP_HORIZONTAL) != 0;
  const bool flipY = (optics.flips & ORQ_FLIP_VERTICAL) != 0;
  const Axis x = {info.sensor_width,
                  info.start_x_step,
                  info.width_step,
                  info.least_width,
                  flipX ? width - wanted.startX - wanted.width : wanted.startX,
                  wanted.width};
  const Axis y = {info.sensor_height,
                  info.start_y_step,
                  info.height_step,
                  info.least_height,
                  flipY ? height - wanted.startY - wanted.height : wanted.startY,
                  wanted.height};

  const std::optional<Span> spanX = spanOf(x, optics.bin);
  const std::optional<Span> spanY = spanOf(y, optics.bin);
  if (spanX && spanY) {
    const orq_region region = regionOf(*spanX, *spanY, optics.bin, optics.format);
    if (sameRegion(fit(region), region)) return {region, insideOf(*spanX, *spanY, wanted, optics.flips), 1};
  }
  if (optics.bin > 1 && !optics.bright) {
    const std::optional<Span> pixelsX = pixelSpanOf(x, optics.bin);
    const std::optional<Span> pixelsY = pixelSpanOf(y, optics.bin);
    if (pixelsX && pixelsY) {
      const orq_region region = regionOf(*pixelsX, *pixelsY, 1, optics.format);
      if (sameRegion(fit(region), region)) return {region, {x.start, y.start, x.size, y.size}, optics.bin};
    }
  }
  throw RangeError("the camera cannot read this subframe at bin " + std::to_string(optics.bin) +
                   "; leave out some pixels at the right and at the bottom");
}

}  // namespace orq::network::alpaca
