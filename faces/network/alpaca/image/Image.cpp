#include "alpaca/image/Image.h"

#include <algorithm>
#include <vector>

namespace orq::network::alpaca {
namespace {

/// A frame of single pixels, as places on the sensor find their samples in it.
struct Pixels {
  const std::uint8_t* bytes;
  orq_frame_info info;

  int endX() const { return info.start_x + info.width; }
  int endY() const { return info.start_y + info.height; }
  unsigned at(int x, int y) const {
    const int column = (info.flips & ORQ_FLIP_HORIZONTAL) != 0 ? endX() - 1 - x : x - info.start_x;
    const int row = (info.flips & ORQ_FLIP_VERTICAL) != 0 ? endY() - 1 - y : y - info.start_y;
    const std::size_t index =
        static_cast<std::size_t>(row) * static_cast<std::size_t>(info.width) + static_cast<std::size_t>(column);
    return info.bytes_per_pixel == 1 ? bytes[index] : reinterpret_cast<const std::uint16_t*>(bytes)[index];
  }
};

// Where the pixels of one binned pixel begin on the sensor, and how far apart they are: those of one colour are
// two apart, and the colours take turns among the binned ones, too.
struct Block {
  int first;
  int step;
};

Block blockOf(int binned, int bin, bool colour) {
  return colour ? Block{binned / 2 * 2 * bin + binned % 2, 2} : Block{binned * bin, 1};
}

// Sixteen-bit samples are averaged, those of eight bits summed, as the library bins. At the sensor's end a block
// may lack some of its pixels: its mean is that of the others.
unsigned binned(const Pixels& pixels, Block x, Block y, int bin) {
  unsigned sum = 0;
  unsigned count = 0;
  for (int j = 0; j < bin; ++j) {
    for (int i = 0; i < bin; ++i) {
      const int column = x.first + i * x.step;
      const int row = y.first + j * y.step;
      if (column >= pixels.endX() || row >= pixels.endY()) continue;
      sum += pixels.at(column, row);
      ++count;
    }
  }
  const auto whole = static_cast<unsigned>(bin * bin);
  if (pixels.info.bytes_per_pixel == 1) return std::min(sum * whole / count, 255U);
  return (sum + count / 2) / count;
}

}  // namespace

Image imageOf(const Frame& frame, const Reading& reading, const Optics& optics) {
  const orq_frame_info info = frame.info();
  if (info.width != reading.region.width || info.height != reading.region.height ||
      info.bin != reading.region.bin || info.format != reading.region.format) {
    throw StateError("the camera's region was changed during the exposure; take it again");
  }
  Image image;
  image.width = reading.inside.width;
  image.height = reading.inside.height;
  image.sampleBytes = info.bytes_per_pixel;
  image.exposureUs = info.exposure_us;
  image.startUnixNs = info.time_unix_ns;
  image.electronsPerAdu = info.electrons_per_adu;
  const auto sample = static_cast<std::size_t>(info.bytes_per_pixel);
  if (reading.computerBin == 1) {
    image.owner = std::make_shared<Frame>(frame);
    image.rowBytes = static_cast<std::size_t>(info.width) * sample;
    image.topLeft = frame.data() + static_cast<std::size_t>(reading.inside.startY) * image.rowBytes +
                    static_cast<std::size_t>(reading.inside.startX) * sample;
    return image;
  }

  const int bin = reading.computerBin;
  const Pixels pixels{frame.data(), info};
  image.rowBytes = static_cast<std::size_t>(image.width) * sample;
  auto made = std::make_shared<std::vector<std::uint8_t>>(image.rowBytes * static_cast<std::size_t>(image.height));
  std::uint8_t* to = made->data();
  for (int y = 0; y < image.height; ++y) {
    const int row = (info.flips & ORQ_FLIP_VERTICAL) != 0 ? image.height - 1 - y : y;
    const Block rows = blockOf(reading.inside.startY + row, bin, optics.colour);
    for (int x = 0; x < image.width; ++x, to += sample) {
      const int column = (info.flips & ORQ_FLIP_HORIZONTAL) != 0 ? image.width - 1 - x : x;
      const unsigned value =
          binned(pixels, blockOf(reading.inside.startX + column, bin, optics.colour), rows, bin);
      if (sample == 1) {
        *to = static_cast<std::uint8_t>(value);
      } else {
        *reinterpret_cast<std::uint16_t*>(to) = static_cast<std::uint16_t>(value);
      }
    }
  }
  image.topLeft = made->data();
  image.owner = std::move(made);
  if (sample == 2) image.electronsPerAdu *= bin * bin;  // a mean of that many pixels
  return image;
}

}  // namespace orq::network::alpaca
