// The repair of a frame written down sample by sample, as slow and plain as possible: what tests compare with.
#pragma once

#include <cstddef>
#include <vector>

namespace orq::test {

struct PlainRepair {
  std::vector<long> samples;
  long width = 0;
  long height = 0;
  long step = 1;
  bool wide = false;
  int adcBits = 16;
  std::vector<long> list;  ///< ascending
  std::vector<long> map;   ///< entries that are missing are good

  long Held() const { return static_cast<long>(samples.size()); }
  long& At(long pos) { return samples[static_cast<std::size_t>(pos)]; }
  bool Has(long pos) const { return pos >= 0 && pos < Held(); }
  bool Hot(long pos) const {
    return pos < static_cast<long>(map.size()) && map[static_cast<std::size_t>(pos)] != 0;
  }
  void Copy(long to, long from) {
    if (Has(to) && Has(from)) At(to) = At(from);
  }
  bool Listed(long pos) const {
    for (const long entry : list)
      if (entry == pos) return true;
    return false;
  }

  long BorderSource16(long pos, bool atEnd) const {
    if (atEnd) return pos - step;
    const long last = width * height - 1;
    const long right = pos + step <= last ? pos + step : last;
    // Only the very next hot pixel is looked at.
    long next = -1;
    for (const long entry : list) {
      if (entry > pos) {
        next = entry;
        break;
      }
    }
    if (next != right) return right;
    const long up = pos - step * width;
    if (up >= 0) return up;
    const long down = pos + step * width;
    if (!Listed(down)) return down;
    return down + step <= last ? down + step : last;
  }

  void Average(long x, long y, long pos) {
    if (!Has(pos)) return;
    long sum = 0;
    long used = 0;
    const long places[4][2] = {{x, y - step}, {x - step, y}, {x + step, y}, {x, y + step}};
    for (const auto& place : places) {
      if (place[0] < 0 || place[0] > width - 1 || place[1] < 0 || place[1] > height - 1) continue;
      const long q = place[1] * width + place[0];
      if (!Has(q)) continue;
      if (!Hot(q) || q <= pos) {
        sum += At(q);
        ++used;
      }
    }
    if (used == 0)
      Copy(pos, pos - 1);
    else
      At(pos) = sum / used;
    if (!wide) return;
    if (adcBits % 256 == 16) return;
    At(pos) -= At(pos) % (adcBits % 256 == 14 ? 4 : 16);
  }

  void RepairHotPixels(bool mapExists) {
    for (const long pos : list) {
      if (pos >= width * height) continue;
      const long x = pos % width;
      const long y = pos / width;
      const bool start = x < step || y < step;
      const bool end = x >= width - step || y >= height - step;
      if (start)
        Copy(pos, wide ? BorderSource16(pos, false) : pos + step);
      else if (end)
        Copy(pos, wide ? BorderSource16(pos, true) : pos - step);
      else if (mapExists)
        Average(x, y, pos);
    }
  }

  long HeldRows() const { return Held() / width < height ? Held() / width : height; }

  static long NearestGood(const std::vector<long>& flags, long from, long step, long count) {
    for (long line = from + step; line >= 0 && line < count; line += step)
      if (line >= static_cast<long>(flags.size()) || flags[static_cast<std::size_t>(line)] == 0) return line;
    return -1;
  }
  void RepairLines(const std::vector<long>& flags, long lines, long length, long lineStride, long sampleStride) {
    for (long line = 0; line < lines && line < static_cast<long>(flags.size()); ++line) {
      if (flags[static_cast<std::size_t>(line)] == 0) continue;
      const long before = NearestGood(flags, line, -step, lines);
      const long after = NearestGood(flags, line, step, lines);
      for (long i = 0; i < length; ++i) {
        long& sample = At(line * lineStride + i * sampleStride);
        if (before >= 0 && after >= 0)
          sample = (At(before * lineStride + i * sampleStride) + At(after * lineStride + i * sampleStride)) / 2;
        else if (before >= 0 || after >= 0)
          sample = At((before >= 0 ? before : after) * lineStride + i * sampleStride);
      }
    }
  }
  void RepairRows(const std::vector<long>& flags) { RepairLines(flags, HeldRows(), width, width, 1); }
  void RepairColumns(const std::vector<long>& flags) {
    if (HeldRows() > 0) RepairLines(flags, width, HeldRows(), 1, width);
  }

  void RepairDarkPixels() {
    for (const long pos : list) {
      const long x = pos % width;
      const long y = pos / width;
      if (x < step || y < step)
        Copy(pos, pos + step);
      else if (x >= width - step || y >= height - step)
        Copy(pos, pos - step);
      else if (Has(pos - step) && Has(pos + step))
        At(pos) = (At(pos - step) + At(pos + step)) / 2;
    }
  }
};

}  // namespace orq::test
