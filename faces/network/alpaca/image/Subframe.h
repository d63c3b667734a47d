// Which part of the sensor a camera reads so that a client gets exactly the subframe that it asked for.
#pragma once

#include <functional>
#include <orqcam/orqcam.hpp>

namespace orq::network::alpaca {

/// A part of the picture, in binned pixels from its top left.
struct Subframe {
  int startX = 0;
  int startY = 0;
  int width = 0;
  int height = 0;
};

/// How the camera is set.
struct Optics {
  int bin = 1;
  int flips = 0;        ///< a sum of ORQ_FLIP_...
  bool colour = false;  ///< binning keeps colours apart
  bool bright = false;  ///< the camera bins before it reads: what it sums cannot be made of single pixels
  int format = ORQ_FORMAT_RAW16;
};

/// What the camera reads, and how the subframe is cut out of it.
struct Reading {
  orq_region region{};
  Subframe inside;  ///< of the frame as it is delivered; where the computer bins, of what it makes of it
  /// More than 1: the camera's own region of that bin would not hold the subframe, so it reads single pixels, of
  /// which the computer makes those of the subframe.
  int computerBin = 1;
};

/// The nearest region that the camera offers: orq_region_fit.
using Fit = std::function<orq_region(const orq_region&)>;

/// Plans a subframe: one region of the camera, a little larger where its steps ask for it. `info` tells the steps.
/// Throws RangeError when it cannot be had.
Reading planReading(const orq_camera_info& info, const Optics& optics, const Subframe& wanted, const Fit& fit);

/// Pixels of the whole picture at that bin.
int pictureWidth(const orq_camera_info& info, int bin);
int pictureHeight(const orq_camera_info& info, int bin);

}  // namespace orq::network::alpaca
