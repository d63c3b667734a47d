// What a watcher wants to see.
#pragma once

#include "http/Parameters.h"

namespace orq::network {

/// How pixel values become the eight bits of a picture.
struct StretchWish {
  bool automatic = true;
  double black = 0.0;  ///< of full scale, 0 to 1: all below is black
  double white = 1.0;  ///< likewise: all above is white
  double mid = 0.5;    ///< where between the two the middle grey lies, 0 to 1
  bool operator==(const StretchWish&) const = default;
};

/// A picture as one watcher asks for it. Equal ones are made once.
struct PictureRequest {
  int fitWidth = 1280;  ///< of what it is shown in, pixels: the picture is about as large, by whole steps
  int fitHeight = 1280;
  int x = 0;  ///< of the part of the frame that is shown, frame pixels; cut to fit
  int y = 0;
  int width = 0;  ///< 0: all of the frame
  int height = 0;
  int quality = 80;  ///< of the JPEG, 20 to 95
  StretchWish stretch;
  bool operator==(const PictureRequest&) const = default;
};

/// Reads width, height, x, y, w, h, quality, black, white and mid. Throws InvalidError that says what would have
/// been right.
PictureRequest pictureRequestOf(const Parameters& query);

/// A whole number of a query, or `otherwise`. Throws InvalidError beyond its limits.
int wholeNumberOf(const Parameters& query, const char* name, int otherwise, int least, int most);

}  // namespace orq::network
