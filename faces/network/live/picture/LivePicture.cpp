#include "live/picture/LivePicture.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cstddef>
#include <string>

namespace orq::network {

PictureMaker::PictureMaker() : compressor_(tjInitCompress()) {
  if (compressor_ == nullptr) throw Error(ORQ_ERROR_MEMORY, "pictures cannot be compressed");
}

PictureMaker::~PictureMaker() {
  tjDestroy(compressor_);
}

LivePicture PictureMaker::make(const Frame& frame, const PictureRequest& wish) {
  reduce(frame, wish, planes_);
  LivePicture picture;
  picture.width = planes_.width;
  picture.height = planes_.height;
  picture.crop = planes_.crop;
  picture.stretch = stretchOf(planes_, wish.stretch);
  stretch(planes_, picture.stretch, pixels_);
  picture.jpeg = compress(wish.quality);
  return picture;
}

std::vector<std::uint8_t> PictureMaker::compress(int quality) {
  const bool isColour = planes_.channels == 3;
  const int sampling = isColour ? TJSAMP_420 : TJSAMP_GRAY;
  // Room for the worst picture, several times that of any real one: it stays here, and answers have what they
  // need.
  jpeg_.resize(std::max<std::size_t>(jpeg_.size(), tjBufSize(planes_.width, planes_.height, sampling)));
  unsigned char* to = jpeg_.data();
  unsigned long size = jpeg_.size();
  const int failed =
      tjCompress2(compressor_, pixels_.data(), planes_.width, 0, planes_.height, isColour ? TJPF_RGB : TJPF_GRAY,
                  &to, &size, sampling, quality, TJFLAG_NOREALLOC | TJFLAG_FASTDCT);
  if (failed != 0) {
    throw Error(ORQ_ERROR_INTERNAL,
                std::string("the picture cannot be compressed: ") + tjGetErrorStr2(compressor_));
  }
  return {jpeg_.begin(), jpeg_.begin() + static_cast<std::ptrdiff_t>(size)};
}

}  // namespace orq::network
