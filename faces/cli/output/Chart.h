// A chart made of characters.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace orq::cli {

/// The last `columns` of `values`, oldest first, as `rows` lines of text from the top down; the largest and the
/// smallest value stand on the left. A value that is not finite leaves a gap. `rows` from 2. The scale spans half
/// a unit at least, so that noise stays small.
std::vector<std::string> DrawChart(std::span<const double> values, std::size_t columns, std::size_t rows);

/// A chart that is drawn anew in its own place on a terminal with every value.
class GrowingChart {
 public:
  /// What is to be written: chart and caption, over those of the value before. A value that is not finite leaves a
  /// gap.
  std::string Add(double value, const std::string& caption);

 private:
  std::vector<double> history_;
};

}  // namespace orq::cli
