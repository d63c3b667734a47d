#include "session/pictures/Picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <string_view>

#include "image/frame/Algorithm.h"
#include "session/Failure.h"
#include "session/frame/FrameFacts.h"
#include "session/pictures/Stretch.h"

namespace orq::session {

namespace {

constexpr std::size_t kColours = 3;

// Which channel of a picture a sample of the frame belongs to.
struct ChannelMap {
  std::size_t channels = 1;
  std::size_t perPixel = 1;            ///< samples of a pixel
  std::array<std::size_t, 4> bayer{};  ///< by 2 * (row & 1) + (column & 1)

  explicit ChannelMap(std::string_view pattern) : channels(pattern.empty() ? 1 : kColours) {
    for (std::size_t i = 0; i < pattern.size(); ++i) bayer[i] = pattern[i] == 'R' ? 0 : pattern[i] == 'G' ? 1 : 2;
  }
  /// Blue, green and red of a pixel stand beside each other.
  static ChannelMap Interleaved() {
    ChannelMap map{std::string_view()};
    map.channels = map.perPixel = kColours;
    return map;
  }
  bool IsMosaic() const { return channels != perPixel; }
  std::size_t Of(std::size_t row, std::size_t column) const {
    if (perPixel != 1) return kColours - 1 - column % kColours;
    return bayer[2 * (row & 1U) + (column & 1U)];
  }
};

// A frame's samples: 16-bit values whatever its format, and eight bits by a table for each channel.
class Samples {
 public:
  Samples(std::span<const std::uint8_t> bytes, const FrameInfo& info, bool stretch)
      : map(info.region.format == ORQ_IMG_RGB24 ? ChannelMap::Interleaved() : ChannelMap(BayerText(info))),
        rows(static_cast<std::size_t>(info.region.height)),
        columns(static_cast<std::size_t>(info.region.width) * map.perPixel),
        bytes_(bytes),
        wide_(info.region.format == ORQ_IMG_RAW16) {
    if (stretch) Measure();
  }

  /// Eight bits a sample.
  void Row(std::size_t row, std::uint8_t* out) const {
    for (std::size_t column = 0; column < columns; ++column) {
      const std::uint16_t value = At(row * columns + column);
      out[column] = tables_.empty() ? static_cast<std::uint8_t>(value >> 8U) : tables_[map.Of(row, column)][value];
    }
  }

  const ChannelMap map;
  const std::size_t rows;
  const std::size_t columns;  ///< samples of a row

 private:
  std::uint16_t At(std::size_t index) const {
    if (!wide_) return static_cast<std::uint16_t>(bytes_[index] * 257U);  // 255 becomes 65535
    std::uint16_t value = 0;
    std::memcpy(&value, bytes_.data() + 2 * index, sizeof value);
    return value;
  }
  void Measure() {
    std::vector<Histogram> histograms(map.channels);
    for (std::size_t row = 0; row < rows; ++row)
      for (std::size_t column = 0; column < columns; ++column)
        histograms[map.Of(row, column)].Add(At(row * columns + column));
    for (const Histogram& histogram : histograms) tables_.emplace_back(histogram);
  }

  std::span<const std::uint8_t> bytes_;
  bool wide_;
  std::vector<StretchTable> tables_;  ///< none: no stretch
};

// Averages, by channel, of what falls into each pixel of a picture.
class Reducer {
 public:
  Reducer(Picture& picture, const ChannelMap& map, std::size_t rows, std::size_t columns)
      : picture_(picture),
        map_(map),
        rows_(rows),
        places_(columns),
        sums_(static_cast<std::size_t>(picture.width) * map.channels),
        counts_(sums_.size()) {
    const std::size_t pixels = columns / map.perPixel;
    for (std::size_t column = 0; column < columns; ++column)
      places_[column] = column / map.perPixel * static_cast<std::size_t>(picture.width) / pixels * map.channels;
    picture_.samples.reserve(sums_.size() * static_cast<std::size_t>(picture.height));
  }

  /// Rows in their order.
  void Add(std::size_t row, const std::uint8_t* samples) {
    for (std::size_t column = 0; column < places_.size(); ++column) {
      const std::size_t place = places_[column] + map_.Of(row, column);
      sums_[place] += samples[column];
      ++counts_[place];
    }
    if (row + 1 == rows_ || TargetOf(row + 1) != TargetOf(row)) Finish();
  }

 private:
  std::size_t TargetOf(std::size_t row) const { return row * static_cast<std::size_t>(picture_.height) / rows_; }
  void Finish() {
    for (std::size_t i = 0; i < sums_.size(); ++i) {
      const std::uint64_t rounded = sums_[i] + counts_[i] / 2;
      picture_.samples.push_back(static_cast<std::uint8_t>(rounded / std::max<std::uint64_t>(counts_[i], 1)));
    }
    std::ranges::fill(sums_, 0);
    std::ranges::fill(counts_, 0);
  }

  Picture& picture_;
  const ChannelMap map_;
  const std::size_t rows_;
  std::vector<std::size_t> places_;
  std::vector<std::uint64_t> sums_;
  std::vector<std::uint64_t> counts_;
};

std::vector<std::uint8_t> Demosaiced(const Samples& samples, const FrameInfo& info) {
  std::vector<std::uint8_t> bayer(samples.rows * samples.columns);
  for (std::size_t row = 0; row < samples.rows; ++row) samples.Row(row, bayer.data() + row * samples.columns);
  CAlgorithm algorithm;
  algorithm.RGBYUV_Init();
  algorithm.SetBayer(info.bayerPattern);
  std::vector<std::uint8_t> bgr(bayer.size() * kColours);
  algorithm.BayerToRGB24(bayer.data(), info.region.width, info.region.height, bgr.data());
  return bgr;
}

}  // namespace

Picture PictureOf(const FrameInfo& info, const PictureOptions& options) {
  Picture picture;
  picture.width = info.region.width;
  picture.height = info.region.height;
  picture.channels = info.region.format == ORQ_IMG_RGB24 || !BayerText(info).empty() ? 3 : 1;
  const auto share = [](int limit, int size) {
    return limit == 0 ? 1.0 : static_cast<double>(limit) / static_cast<double>(size);
  };
  const double scale =
      std::min({1.0, share(options.maxWidth, picture.width), share(options.maxHeight, picture.height)});
  const auto scaled = [scale](int size) { return std::max(1, static_cast<int>(std::lround(size * scale))); };
  picture.width = scaled(picture.width);
  picture.height = scaled(picture.height);
  return picture;
}

Picture MakePicture(std::span<const std::uint8_t> bytes, const FrameInfo& info, const PictureOptions& options) {
  const auto width = static_cast<std::size_t>(info.region.width);
  const auto height = static_cast<std::size_t>(info.region.height);
  if (bytes.size() != width * height * static_cast<std::size_t>(BytesPerPixel(info.region.format)))
    throw Failure(Status::Invalid, "cannot make the picture: the pixels are not those of the region");
  Picture picture = PictureOf(info, options);
  const Samples samples(bytes, info, options.stretch);
  const bool holdsCells = width >= 2 * static_cast<std::size_t>(picture.width) &&
                          height >= 2 * static_cast<std::size_t>(picture.height);
  if (samples.map.IsMosaic() && !holdsCells) {
    const std::vector<std::uint8_t> bgr = Demosaiced(samples, info);
    Reducer reducer(picture, ChannelMap::Interleaved(), height, width * kColours);
    for (std::size_t row = 0; row < height; ++row) reducer.Add(row, bgr.data() + row * width * kColours);
    return picture;
  }
  Reducer reducer(picture, samples.map, height, samples.columns);
  std::vector<std::uint8_t> row8(samples.columns);
  for (std::size_t row = 0; row < height; ++row) {
    samples.Row(row, row8.data());
    reducer.Add(row, row8.data());
  }
  return picture;
}

}  // namespace orq::session
