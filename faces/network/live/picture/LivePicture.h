// A frame as a picture for a browser.
#pragma once

#include <cstdint>
#include <orqcam/orqcam.hpp>
#include <vector>

#include "live/picture/PictureRequest.h"
#include "live/picture/Reduce.h"
#include "live/picture/Stretch.h"

namespace orq::network {

/// A JPEG, and what it shows.
struct LivePicture {
  std::vector<std::uint8_t> jpeg;
  int width = 0;  ///< of the JPEG, pixels
  int height = 0;
  Crop crop;  ///< frame pixels
  std::vector<StretchPoints> stretch;
};

/// Makes pictures; keeps its memory from one to the next. One thread at a time.
class PictureMaker {
 public:
  PictureMaker();
  ~PictureMaker();
  PictureMaker(const PictureMaker&) = delete;
  PictureMaker& operator=(const PictureMaker&) = delete;

  LivePicture make(const Frame& frame, const PictureRequest& wish);

 private:
  std::vector<std::uint8_t> compress(int quality);

  void* compressor_;
  Planes planes_;
  std::vector<std::uint8_t> pixels_;
  std::vector<std::uint8_t> jpeg_;
};

}  // namespace orq::network
