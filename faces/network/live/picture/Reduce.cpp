#include "live/picture/Reduce.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace orq::network {
namespace {

constexpr int kEightToSixteen = 257;  // 255 becomes 65535

// Which colour (0 red, 1 green, 2 blue) lies where in a cell, row by row.
using Cell = std::array<int, 4>;
constexpr std::array<Cell, 4> kCells = {Cell{0, 1, 1, 2}, Cell{2, 1, 1, 0}, Cell{1, 0, 2, 1}, Cell{1, 2, 0, 1}};

// The frame's samples as 16-bit rows.
class Rows {
 public:
  Rows(const Frame& frame, const orq_frame_info& info)
      : data_(frame.data()),
        rowBytes_(static_cast<std::size_t>(info.width) * static_cast<std::size_t>(info.bytes_per_pixel)),
        perPixel_(info.format == ORQ_FORMAT_RGB24 ? 3 : 1),
        wide_(info.format == ORQ_FORMAT_RAW16) {}

  /// Samples `from` to `from + count` of row `y`.
  const std::uint16_t* read(int y, int from, int count, std::vector<std::uint16_t>& buffer) const {
    buffer.resize(static_cast<std::size_t>(count));
    const std::uint8_t* const row = data_ + static_cast<std::size_t>(y) * rowBytes_;
    if (wide_)
      std::memcpy(buffer.data(), row + 2 * static_cast<std::size_t>(from), buffer.size() * 2);
    else
      for (std::size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = static_cast<std::uint16_t>(row[static_cast<std::size_t>(from) + i] * kEightToSixteen);
    return buffer.data();
  }
  int perPixel() const { return perPixel_; }

 private:
  const std::uint8_t* data_;
  std::size_t rowBytes_;
  int perPixel_;
  bool wide_;
};

Crop cropOf(const PictureRequest& wish, const orq_frame_info& info) {
  Crop crop;
  crop.x = std::min(wish.x, info.width - 1);
  crop.y = std::min(wish.y, info.height - 1);
  crop.width = wish.width == 0 ? info.width - crop.x : std::min(wish.width, info.width - crop.x);
  crop.height = wish.height == 0 ? info.height - crop.y : std::min(wish.height, info.height - crop.y);
  return crop;
}

int stepOf(const PictureRequest& wish, const Crop& crop) {
  const auto times = [](int size, int wished) { return (size + wished / 2) / wished; };
  return std::max({1, times(crop.width, wish.fitWidth), times(crop.height, wish.fitHeight)});
}

// Sums of `step` rows become one row of averages; `stride` samples lie between two of one channel.
void averageRow(const std::vector<std::uint32_t>& sums, int step, int stride, int first, int width,
                std::uint16_t* out) {
  // A column's sum has 32 bits up to 65537 rows; that of a square has not, from 257 on.
  const std::uint64_t area = static_cast<std::uint64_t>(step) * static_cast<std::uint64_t>(step);
  for (int x = 0; x < width; ++x) {
    std::uint64_t sum = 0;
    const std::uint32_t* from = sums.data() + static_cast<std::size_t>(x * step * stride + first);
    for (int i = 0; i < step; ++i, from += stride) sum += *from;
    out[x] = static_cast<std::uint16_t>((sum + area / 2) / area);
  }
}

void addRow(const std::uint16_t* row, std::vector<std::uint32_t>& sums) {
  for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += row[i];
}

// Frames whose samples are pixels of one colour, or red, green and blue beside each other.
void averagePixels(const Rows& rows, Planes& planes) {
  const int stride = rows.perPixel();
  const int samples = planes.width * planes.step * stride;
  std::vector<std::uint16_t> buffer;
  std::vector<std::uint32_t> sums(static_cast<std::size_t>(samples));
  for (int y = 0; y < planes.height; ++y) {
    std::fill(sums.begin(), sums.end(), 0U);
    for (int i = 0; i < planes.step; ++i)
      addRow(rows.read(planes.crop.y + y * planes.step + i, planes.crop.x * stride, samples, buffer), sums);
    for (int channel = 0; channel < planes.channels; ++channel) {
      const int first = stride == 1 ? 0 : 2 - channel;  // blue comes first
      averageRow(sums, planes.step, stride, first, planes.width,
                 planes.plane(channel) + static_cast<std::size_t>(y) * static_cast<std::size_t>(planes.width));
    }
  }
}

// Each pixel of the picture holds whole cells of the mosaic.
void averageCells(const Rows& rows, const Cell& cell, Planes& planes) {
  const int cells = planes.step / 2;
  const int samples = planes.width * planes.step;
  std::vector<std::uint16_t> buffer;
  std::array<std::vector<std::uint32_t>, 2> sums;
  std::vector<std::uint16_t> other(static_cast<std::size_t>(planes.width));
  for (int y = 0; y < planes.height; ++y) {
    for (auto& half : sums) half.assign(static_cast<std::size_t>(samples), 0U);
    for (int i = 0; i < planes.step; ++i) {
      addRow(rows.read(planes.crop.y + y * planes.step + i, planes.crop.x, samples, buffer),
             sums[static_cast<std::size_t>(i % 2)]);
    }
    bool greenSeen = false;
    for (int place = 0; place < 4; ++place) {
      const int colour = cell[static_cast<std::size_t>(place)];
      std::uint16_t* const out =
          planes.plane(colour) + static_cast<std::size_t>(y) * static_cast<std::size_t>(planes.width);
      const bool isSecondGreen = colour == 1 && greenSeen;
      averageRow(sums[static_cast<std::size_t>(place / 2)], cells, 2, place % 2, planes.width,
                 isSecondGreen ? other.data() : out);
      if (colour != 1) continue;
      if (isSecondGreen)
        for (std::size_t x = 0; x < other.size(); ++x)
          out[x] = static_cast<std::uint16_t>((out[x] + other[x]) / 2);
      greenSeen = true;
    }
  }
}

// Three rows around one, the outermost ones mirrored at the edges so that colours stay where they are.
class Neighbourhood {
 public:
  Neighbourhood(const Rows& rows, const orq_frame_info& info, const Crop& crop)
      : rows_(rows), info_(info), crop_(crop) {}

  void moveTo(int y) {
    for (int i = 0; i < 3; ++i) {
      const std::size_t at = static_cast<std::size_t>(i);
      const std::uint16_t* const row =
          rows_.read(mirrored(y + i - 1, info_.height), crop_.x, crop_.width, buffers_[at]);
      std::vector<std::uint16_t>& padded = rowsAround_[at];
      padded.resize(static_cast<std::size_t>(crop_.width) + 2);
      std::copy(row, row + crop_.width, padded.begin() + 1);
      padded.front() = edge(y + i - 1, crop_.x - 1);
      padded.back() = edge(y + i - 1, crop_.x + crop_.width);
    }
  }
  /// Column `x` of the crop, `dx` and `dy` from -1 to 1.
  int at(int x, int dx, int dy) const {
    const int row = dy + 1;
    const int column = x + dx + 1;
    return rowsAround_[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
  }

 private:
  static int mirrored(int place, int size) {
    if (place < 0) return std::min(1, size - 1);
    return place < size ? place : std::max(size - 2, 0);
  }
  std::uint16_t edge(int y, int x) {
    return *rows_.read(mirrored(y, info_.height), mirrored(x, info_.width), 1, one_);
  }

  const Rows& rows_;
  const orq_frame_info& info_;
  const Crop& crop_;
  std::array<std::vector<std::uint16_t>, 3> buffers_;
  std::array<std::vector<std::uint16_t>, 3> rowsAround_;
  std::vector<std::uint16_t> one_;
};

void interpolate(const Rows& rows, const orq_frame_info& info, const Cell& cell, Planes& planes) {
  Neighbourhood around(rows, info, planes.crop);
  for (int y = 0; y < planes.height; ++y) {
    const int line = planes.crop.y + y;
    around.moveTo(line);
    for (int x = 0; x < planes.width; ++x) {
      const int column = planes.crop.x + x;
      const int place = 2 * (line & 1) + (column & 1);
      const int own = cell[static_cast<std::size_t>(place)];
      const int beside = cell[static_cast<std::size_t>(place ^ 1)];
      const int cross = (around.at(x, -1, 0) + around.at(x, 1, 0) + around.at(x, 0, -1) + around.at(x, 0, 1)) / 4;
      std::array<int, 3> colour{};
      colour[static_cast<std::size_t>(own)] = around.at(x, 0, 0);
      if (own == 1) {
        colour[static_cast<std::size_t>(beside)] = (around.at(x, -1, 0) + around.at(x, 1, 0)) / 2;
        colour[static_cast<std::size_t>(2 - beside)] = (around.at(x, 0, -1) + around.at(x, 0, 1)) / 2;
      } else {
        colour[1] = cross;
        colour[static_cast<std::size_t>(2 - own)] =
            (around.at(x, -1, -1) + around.at(x, 1, -1) + around.at(x, -1, 1) + around.at(x, 1, 1)) / 4;
      }
      const std::size_t at =
          static_cast<std::size_t>(y) * static_cast<std::size_t>(planes.width) + static_cast<std::size_t>(x);
      for (int channel = 0; channel < 3; ++channel)
        planes.plane(channel)[at] = static_cast<std::uint16_t>(colour[static_cast<std::size_t>(channel)]);
    }
  }
}

}  // namespace

void reduce(const Frame& frame, const PictureRequest& wish, Planes& planes) {
  const orq_frame_info info = frame.info();
  const Rows rows(frame, info);
  planes.crop = cropOf(wish, info);
  const int shorter = std::min(planes.crop.width, planes.crop.height);
  planes.step = std::min(stepOf(wish, planes.crop), shorter);
  const bool isMosaic = info.bayer != ORQ_BAYER_NONE && rows.perPixel() == 1;
  const bool holdsCells = isMosaic && planes.step > 1 && shorter >= 4;
  if (holdsCells) {
    planes.step =
        std::min(planes.step + planes.step % 2, shorter - shorter % 2);  // down would cost twice the time
    planes.crop.x -= planes.crop.x % 2;
    planes.crop.y -= planes.crop.y % 2;
  } else if (isMosaic) {
    planes.step = 1;
  }
  planes.width = planes.crop.width / planes.step;
  planes.height = planes.crop.height / planes.step;
  planes.crop.width = planes.width * planes.step;
  planes.crop.height = planes.height * planes.step;
  planes.channels = isMosaic || rows.perPixel() == 3 ? 3 : 1;
  planes.values.resize(planes.pixels() * static_cast<std::size_t>(planes.channels));
  if (!isMosaic) return averagePixels(rows, planes);
  const Cell& cell = kCells[static_cast<std::size_t>(info.bayer)];
  if (holdsCells) return averageCells(rows, cell, planes);
  interpolate(rows, info, cell, planes);
}

}  // namespace orq::network
