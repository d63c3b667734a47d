// Noise that is cut off at 0.
#pragma once

#include <string>

#include "files/Frame.h"

namespace orq::cli {

/// Share of the pixels of a raw frame that are 0, from 0 to 1; 0 for other formats.
double ZeroShare(const Frame& frame);
/// What to say of a dark or bias in which more than a thousandth of the pixels is 0: its mean is too high there,
/// and what is subtracted with it is wrong. Empty for others.
std::string ClippingWarning(const Frame& frame);

/// Puts the warning into frames, and tells it once.
class ClippingWatch {
 public:
  /// `judges`: the frames are darks or biases.
  explicit ClippingWatch(bool judges) : judges_(judges) {}
  void Look(Frame& frame);

 private:
  bool judges_;
  bool told_ = false;
};

}  // namespace orq::cli
