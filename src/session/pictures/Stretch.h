// Automatic stretch: makes a linear, mostly dark image visible.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace orq::session {

/// Counts of the 16-bit values of one image or colour.
class Histogram {
 public:
  void Add(std::uint16_t value) {
    ++counts_[value];
    ++total_;
  }
  std::uint64_t Total() const { return total_; }
  /// The value in the middle (the lower one of two); 0 when empty.
  int Median() const;
  /// Median of the distances from the median.
  int MedianDeviation() const;
  /// Mean of the distances from the median.
  double MeanDeviation() const;

 private:
  std::vector<std::uint32_t> counts_ = std::vector<std::uint32_t>(65536);
  std::uint64_t total_ = 0;
};

/// The midtones transfer function: 0 at 0, `0.5` at `midtones`, 1 at 1; both arguments 0..1.
double Midtones(double midtones, double x);

/// From 16-bit values to 8 bits: the shadows end 2.8 sigma below the median, and the median lands on a quarter of
/// full scale. Sigma comes from the median deviation, or from the mean deviation where more than half of the
/// values are equal. An image without any contrast stays linear.
class StretchTable {
 public:
  explicit StretchTable(const Histogram& histogram);
  std::uint8_t operator[](std::uint16_t value) const { return table_[value]; }

 private:
  std::vector<std::uint8_t> table_;
};

}  // namespace orq::session
