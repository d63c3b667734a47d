// The whole way of a frame, from the bytes on the wire to the delivered ones, written down sample by sample: what
// tests compare delivered frames with.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "models/camera/FrameTypes.h"
#include "models/table/ModelData.h"
#include "unit/image/hotpixels/PlainRepair.h"
#include "unit/image/hotpixels/PlainTable.h"

namespace orq::test {

struct PlainFramePath {
  const ModelData& model;
  std::vector<int> hotPixels;  ///< one per sensor pixel, not 0 is hot; empty: no repair
  std::vector<int> dark;       ///< the full dark image; empty: no dark
  int gamma = 50;
  bool monoBin = false;
  int red = 50;
  int blue = 50;

  using Bytes = std::vector<std::uint8_t>;

  /// What the application must get for `sent`, without a time mark. The bin factor that the hardware took is seen
  /// from how much was sent.
  Bytes Delivered(const FrameInfo& info, const Bytes& sent) const {
    Frame frame = Received(info, sent);
    if (!dark.empty()) SubtractDark(frame);
    if (!hotPixels.empty()) RepairHotPixels(frame);
    if (!dark.empty()) RepairDarkPixels(frame);
    Bin(frame);
    if (info.region.format == ORQ_IMG_RGB24 || info.region.format == ORQ_IMG_Y8) BalanceWhite(frame);
    for (long& sample : frame.samples) sample = Curved(frame, sample);
    Flip(frame, info.flipHorizontal, info.flipVertical);
    return Formatted(frame, info.region.format);
  }

  /// The frame that automatic control gets, in host order: corrected and balanced, not yet binned.
  std::vector<long> BeforeBinning(const FrameInfo& info, const Bytes& sent) const {
    Frame frame = Received(info, sent);
    if (!dark.empty()) SubtractDark(frame);
    if (!hotPixels.empty()) RepairHotPixels(frame);
    if (!dark.empty()) RepairDarkPixels(frame);
    BalanceWhite(frame);
    return frame.samples;
  }

  /// 0 when `sent` is no frame of the region at any way of binning.
  int HostBin(const FrameInfo& info, const Bytes& sent) const {
    const std::size_t sampleBytes = info.region.format == ORQ_IMG_RAW16 ? 2 : 1;
    const auto pixels = static_cast<std::size_t>(info.region.width * info.region.height) * sampleBytes;
    for (int host = 1; host <= info.region.bin; ++host)
      if (sent.size() == pixels * static_cast<std::size_t>(host * host)) return host;
    return 0;
  }

 private:
  enum Colour : int { Red, Green, Blue, None };

  struct Frame {
    FrameRegion region;
    int host = 1;
    long width = 0;
    long height = 0;
    bool wide = false;
    std::vector<long> samples;
    std::vector<int> colours;  ///< of every sample

    long Largest() const { return wide ? 65535 : 255; }
    std::size_t Index(long x, long y) const { return static_cast<std::size_t>(y * width + x); }
  };

  static int FirstCombined(int first, int second, bool msbFirst) {
    return msbFirst ? first * 256 + second : second * 256 + first;
  }

  Frame Received(const FrameInfo& info, const Bytes& sent) const {
    Frame frame;
    frame.region = info.region;
    frame.host = HostBin(info, sent);
    frame.width = info.region.width * frame.host;
    frame.height = info.region.height * frame.host;
    frame.wide = info.region.format == ORQ_IMG_RAW16;
    for (long y = 0; y < frame.height; ++y) {
      for (long x = 0; x < frame.width; ++x) {
        const std::size_t at = frame.Index(x, y);
        frame.samples.push_back(frame.wide ? FirstCombined(sent.at(2 * at), sent.at(2 * at + 1), model.msbFirst)
                                           : sent.at(at));
        frame.colours.push_back(ColourAt(info.region.startX + x, info.region.startY + y));
      }
    }
    return frame;
  }

  int ColourAt(long x, long y) const {
    if (!model.colour) return None;
    constexpr std::array<std::array<int, 4>, 4> kBlocks{{{Red, Green, Green, Blue},
                                                         {Blue, Green, Green, Red},
                                                         {Green, Red, Blue, Green},
                                                         {Green, Blue, Red, Green}}};
    return kBlocks[static_cast<std::size_t>(model.bayerPattern)][static_cast<std::size_t>(y % 2 * 2 + x % 2)];
  }

  PlainTable Table(const Frame& frame, std::size_t sensorPixels) const {
    const int side = model.maxWidth;
    PlainTable table;
    table.cut = {.sensorWidth = side,
                 .sensorHeight = static_cast<int>(sensorPixels) / side,
                 .startX = frame.region.startX,
                 .startY = frame.region.startY,
                 .width = frame.region.width,
                 .height = frame.region.height,
                 .bin = frame.region.bin,
                 .twoStageBin4 = model.hardwareBin || model.fpgaBin,
                 .hardwareBin = frame.host != frame.region.bin};
    table.offsets.assign(model.binOffsets.begin(), model.binOffsets.end());
    table.scaled = model.productId / 8 * 8 + model.productId % 4 == 0x294A;  // without bit 2
    return table;
  }

  std::vector<int> CutDark(const Frame& frame) const {
    std::vector<int> cut(dark.size());
    Table(frame, dark.size()).CutDark(dark, true, cut);
    cut.resize(frame.samples.size());
    return cut;
  }
  static long MeanOf(const std::vector<int>& values) {
    long sum = 0;
    for (const int value : values) sum += value;
    return sum / static_cast<long>(values.size());
  }

  void SubtractDark(Frame& frame) const {
    const std::vector<int> cut = CutDark(frame);
    const long average = MeanOf(cut);
    const long unit = frame.wide ? 256 : 1;
    for (std::size_t i = 0; i < cut.size(); ++i) {
      const long value = frame.samples[i] - cut[i] * unit + average * unit;
      frame.samples[i] = value < 0 ? 0 : value > frame.Largest() ? frame.Largest() : value;
    }
  }

  PlainRepair Repair(const Frame& frame) const {
    PlainRepair repair;
    repair.samples = frame.samples;
    repair.width = frame.width;
    repair.height = frame.height;
    repair.step = model.colour ? 2 : 1;
    repair.wide = frame.wide;
    repair.adcBits = model.adcBits;
    return repair;
  }

  void RepairHotPixels(Frame& frame) const {
    const PlainTable table = Table(frame, hotPixels.size());
    std::vector<int> map = table.HotMap(hotPixels);
    std::vector<long> badRows(static_cast<std::size_t>(frame.height));
    for (const int row : table.TakeBadRows(map)) badRows[static_cast<std::size_t>(row)] = 1;
    PlainRepair repair = Repair(frame);
    for (std::size_t pos = 0; pos < frame.samples.size(); ++pos) {
      repair.map.push_back(map[pos]);
      if (map[pos] != 0) repair.list.push_back(static_cast<long>(pos));
    }
    repair.RepairHotPixels(true);
    repair.RepairRows(badRows);
    frame.samples = repair.samples;
  }

  void RepairDarkPixels(Frame& frame) const {
    const std::vector<int> cut = CutDark(frame);
    const long average = MeanOf(cut);
    PlainRepair repair = Repair(frame);
    for (std::size_t pos = 0; pos < cut.size(); ++pos)
      if (cut[pos] - average > 30) repair.list.push_back(static_cast<long>(pos));
    repair.RepairDarkPixels();
    frame.samples = repair.samples;
  }

  void BalanceWhite(Frame& frame) const {
    for (std::size_t i = 0; i < frame.samples.size(); ++i) {
      const int factor = frame.colours[i] == Red ? red : frame.colours[i] == Blue ? blue : 50;
      const auto scaled = static_cast<long>(std::floor(static_cast<double>(frame.samples[i] * factor) / 50 + 0.5));
      frame.samples[i] = std::min(scaled, frame.Largest());
    }
  }

  void Bin(Frame& frame) const {
    if (frame.host == 1) return;
    const Frame in = frame;
    const long n = in.host;
    const bool mixes = monoBin || !model.colour;
    const long spacing = mixes ? 1 : 2;
    frame.width = in.width / n;
    frame.height = in.height / n;
    frame.samples.clear();
    frame.colours.clear();
    for (long y = 0; y < frame.height; ++y) {
      for (long x = 0; x < frame.width; ++x) {
        const long left = x / spacing * spacing * n + x % spacing;
        const long top = y / spacing * spacing * n + y % spacing;
        long sum = 0;
        for (long i = 0; i < n * n; ++i)
          sum += in.samples[in.Index(left + i % n * spacing, top + i / n * spacing)];
        const double mean = static_cast<double>(sum) / static_cast<double>(n * n);
        frame.samples.push_back(frame.wide ? static_cast<long>(std::floor(mean + 0.5)) : std::min(sum, 255L));
        frame.colours.push_back(mixes ? int{None} : in.colours[in.Index(left, top)]);
      }
    }
  }

  long Curved(const Frame& frame, long sample) const {
    if (gamma == 50) return sample;
    const auto setting = static_cast<float>(gamma);
    const float exponent = gamma < 50 ? (200 - 2 * setting) / 100 : (150 - setting) / 100;
    const auto largest = static_cast<float>(frame.Largest());
    const double power = std::pow(double{static_cast<float>(sample) / largest}, double{exponent});
    const double y = frame.wide ? double{static_cast<float>(power) * largest} : power * double{largest};
    return std::min(static_cast<long>(y), frame.Largest());
  }

  static void Flip(Frame& frame, bool horizontal, bool vertical) {
    const Frame in = frame;
    for (long y = 0; y < in.height; ++y) {
      for (long x = 0; x < in.width; ++x) {
        const std::size_t from = in.Index(horizontal ? in.width - 1 - x : x, vertical ? in.height - 1 - y : y);
        frame.samples[in.Index(x, y)] = in.samples[from];
        frame.colours[in.Index(x, y)] = in.colours[from];
      }
    }
  }

  /// The colour of the pixel at (x, y): its own sample, or the rounded mean of the nearest of that colour.
  static long Interpolated(const Frame& frame, long x, long y, int colour) {
    if (frame.colours[frame.Index(x, y)] == colour) return frame.samples[frame.Index(x, y)];
    const auto mirrored = [](long place, long size) {
      return place < 0 ? -place : place >= size ? 2 * (size - 1) - place : place;
    };
    const auto mean = [&](const std::array<std::array<long, 2>, 4>& places, long& result) {
      long sum = 0;
      long count = 0;
      for (const auto& place : places) {
        const std::size_t at =
            frame.Index(mirrored(x + place[0], frame.width), mirrored(y + place[1], frame.height));
        if (frame.colours[at] != colour) continue;
        sum += frame.samples[at];
        ++count;
      }
      if (count != 0) result = (2 * sum + count) / (2 * count);
      return count != 0;
    };
    long result = -1;
    if (!mean({{{0, -1}, {-1, 0}, {1, 0}, {0, 1}}}, result)) mean({{{-1, -1}, {1, -1}, {-1, 1}, {1, 1}}}, result);
    return result;
  }

  static Bytes Formatted(const Frame& frame, IMG_TYPE format) {
    Bytes bytes;
    const bool bayer = !frame.colours.empty() && frame.colours.front() != None;
    for (long y = 0; y < frame.height; ++y) {
      for (long x = 0; x < frame.width; ++x) {
        const long sample = frame.samples[frame.Index(x, y)];
        if (bayer && (format == ORQ_IMG_RGB24 || format == ORQ_IMG_Y8)) {
          const long r = Interpolated(frame, x, y, Red);
          const long g = Interpolated(frame, x, y, Green);
          const long b = Interpolated(frame, x, y, Blue);
          if (format == ORQ_IMG_Y8)
            bytes.push_back(static_cast<std::uint8_t>((77 * r + 150 * g + 29 * b + 128) / 256));
          else
            for (const long value : {b, g, r}) bytes.push_back(static_cast<std::uint8_t>(value));
        } else {
          bytes.push_back(static_cast<std::uint8_t>(sample % 256));
          if (frame.wide) bytes.push_back(static_cast<std::uint8_t>(sample / 256));
        }
      }
    }
    return bytes;
  }
};

}  // namespace orq::test
