// Cutting whole-sensor tables written down pixel by pixel, as slow and plain as possible: what tests compare with.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "image/SensorCut.h"

namespace orq::test {

struct PlainTable {
  SensorCut cut;
  std::vector<BinOffset> offsets = std::vector<BinOffset>(40);
  bool scaled = false;  ///< coordinates in single precision

  int W0() const { return cut.width * cut.bin; }
  int H0() const { return cut.height * cut.bin; }
  int B() const { return cut.twoStageBin4 && cut.bin == 4 ? 2 : cut.bin; }
  int Width() const { return cut.hardwareBin ? (cut.bin == 4 ? cut.width * 2 : cut.width) : W0(); }
  int Height() const { return cut.hardwareBin ? (cut.bin == 4 ? cut.height * 2 : cut.height) : H0(); }
  static std::size_t Index(int value) { return static_cast<std::size_t>(value); }

  /// The map, of the sensor's size; what lies outside the sensor is zero.
  std::vector<int> HotMap(const std::vector<int>& full) const {
    std::vector<int> map(full.size());
    const int size = static_cast<int>(full.size());
    for (int r = 0; r < H0(); ++r) {
      for (int c = 0; c < W0(); ++c) {
        const int sensorX = cut.startX + c;
        const int sensorY = cut.startY + r;
        if (sensorX < 0 || sensorX >= cut.sensorWidth || sensorY < 0 || sensorY >= cut.sensorHeight) continue;
        const int v = full[Index(sensorY * cut.sensorWidth + sensorX)];
        if (!cut.hardwareBin) {
          if (r * Width() + c < size) map[Index(r * Width() + c)] = v;
          continue;
        }
        if (v == 0) continue;
        const int px = c & 1;
        const int py = r & 1;
        for (int i = px; i < 8; i += 2) {
          int dx = offsets[Index(cut.bin * 8 + i)].dx;
          if (dx == 127 && i != px) break;
          if (dx == 127) dx = 0;
          for (int j = py; j <= 7; j += 2) {
            int dy = offsets[Index(cut.bin * 8 + j)].dy;
            if (dy == 127 && j != py) break;
            if (dy == 127) dy = 0;
            int x = px + ((c + dx) / (2 * B())) * 2;
            int y = py + ((r + dy) / (2 * B())) * 2;
            if (scaled) {
              const float twoB = static_cast<float>(2 * B());
              const float down = 2 * (static_cast<float>(r) / twoB) + 0.5F;
              const float right = 2 * (static_cast<float>(c) / twoB);
              y = static_cast<int>(down) + dy;
              x = static_cast<int>(right) + dx;
            }
            if (x < 0 || x >= Width() || y < 0 || y >= Height()) continue;
            if (y * Width() + x < size) map[Index(y * Width() + x)] = v;
          }
        }
      }
    }
    return map;
  }

  /// Takes the bad rows out of the map: their numbers.
  std::vector<int> TakeBadRows(std::vector<int>& map) const {
    std::vector<int> bad;
    for (int y = 0; y < Height(); ++y) {
      int sum = 0;
      bool held = false;
      for (int x = 0; x < Width(); ++x) {
        if (Index(y * Width() + x) >= map.size()) continue;
        held = true;
        sum += map[Index(y * Width() + x)];
      }
      if (!held || sum < Width() / 2) continue;
      bad.push_back(y);
      for (int x = 0; x < Width(); ++x)
        if (Index(y * Width() + x) < map.size()) map[Index(y * Width() + x)] = 0;
    }
    return bad;
  }

  /// Cuts a dark image over what `out` holds already.
  void CutDark(const std::vector<int>& full, bool sum, std::vector<int>& out) const {
    const int size = static_cast<int>(full.size());
    const int used = Width() * Height() < size ? Width() * Height() : size;
    if (cut.hardwareBin)
      for (int i = 0; i < used; ++i) out[Index(i)] = 0;
    for (int r = 0; r < H0(); ++r) {
      for (int c = 0; c < W0(); ++c) {
        const int s = cut.startX + c + (cut.startY + r) * cut.sensorWidth;
        if (s < 0 || s >= size) continue;
        if (!cut.hardwareBin) {
          if (r * Width() + c < used) out[Index(r * Width() + c)] = full[Index(s)];
          continue;
        }
        int dx = offsets[Index(cut.bin * 8 + (c & 1))].dx;
        int dy = offsets[Index(cut.bin * 8 + (r & 1))].dy;
        if (dx == 127) dx = 0;
        if (dy == 127) dy = 0;
        const int x = (c & 1) + ((c + dx) / (2 * B())) * 2;
        const int y = (r & 1) + ((r + dy) / (2 * B())) * 2;
        if (x < 0 || x >= Width() || y < 0 || y >= Height()) continue;
        if (y * Width() + x >= used) continue;
        int v = full[Index(s)];
        if (!sum) v = v / B() / B();
        int& target = out[Index(y * Width() + x)];
        target = target + v > 255 ? 255 : target + v;
      }
    }
  }

  std::string Text() const {
    std::string text = cut.hardwareBin ? "hardware bin " : "bin ";
    for (const int value : {cut.bin, int{cut.twoStageBin4}, cut.width, cut.height, cut.startX, cut.startY,
                            cut.sensorWidth, cut.sensorHeight, int{scaled}})
      text += std::to_string(value) + ' ';
    return text;
  }
};

/// Every kind of geometry, well inside, at the edge of and beyond the sensor; `random(low, high)` draws a number.
template <class Random>
PlainTable RandomTable(Random random) {
  PlainTable table;
  table.cut = {.sensorWidth = random(1, 24),
               .sensorHeight = random(1, 24),
               .startX = random(-3, 12),
               .startY = random(-3, 12),
               .width = random(0, 14),
               .height = random(0, 14),
               .bin = random(1, 4),
               .twoStageBin4 = random(0, 1) == 1,
               .hardwareBin = random(0, 2) != 0};
  table.scaled = random(0, 3) == 0;
  if (random(0, 3) != 0) {
    for (BinOffset& offset : table.offsets) {
      if (random(0, 2) != 0) offset.dx = static_cast<std::int8_t>(random(-5, 5));
      if (random(0, 2) != 0) offset.dy = static_cast<std::int8_t>(random(-5, 5));
    }
  }
  return table;
}

}  // namespace orq::test
