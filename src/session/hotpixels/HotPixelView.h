// A hot-pixel table as users see it: what is repaired how, lists, pictures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "models/flash/HotPixelStore.h"

namespace orq::session {

/// A table of the whole sensor. Rows that are bad as a whole are repaired as rows; their pixels are not among the
/// hot ones.
struct HotPixelView {
  struct Pixel {
    int x, y;
  };
  int width = 0, height = 0;  ///< sensor pixels
  HotPixelMarks marks;        ///< of the table
  std::vector<Pixel> pixels;  ///< hot ones, row by row
  std::vector<int> badRows;
  std::size_t leftOut = 0;  ///< hot pixels beyond the number that is repaired
};
/// `marks` of a sensor of `width` x `height` pixels.
HotPixelView ViewOf(HotPixelMarks marks, int width, int height);

/// "x_px,y_px,value": every marked pixel, counted from the top left; 1 hot, 2 in a bad row.
std::vector<std::uint8_t> EncodeCsv(const HotPixelView& view);
/// An 8-bit BMP as `SaveBMPToFile` makes it of a dark: 255 marked, 0 good.
std::vector<std::uint8_t> EncodeBmp(const HotPixelView& view);
/// A grey PNG: white hot, grey in a bad row, black good.
std::vector<std::uint8_t> EncodeMap(const HotPixelView& view);

}  // namespace orq::session
