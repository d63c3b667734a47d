#include "output/Chart.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string_view>

#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr double kLeastSpan = 0.5;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kSteps = 8;  // of one character cell
constexpr std::array<std::string_view, kSteps + 1> kBlocks = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};

struct Scale {
  double low = 0.0;
  double high = 0.0;
};

Scale ScaleOf(std::span<const double> values) {
  Scale scale{kInfinity, -kInfinity};
  for (const double value : values) {
    if (!std::isfinite(value)) continue;
    scale.low = std::min(scale.low, value);
    scale.high = std::max(scale.high, value);
  }
  if (scale.low > scale.high) return {0.0, kLeastSpan};
  const double missing = std::max(kLeastSpan - (scale.high - scale.low), 0.0);
  return {scale.low - missing / 2, scale.high + missing / 2};
}

// Height of a column in steps: from 1, or 0 for a gap.
int Height(double value, const Scale& scale, std::size_t rows) {
  if (!std::isfinite(value)) return 0;
  const double most = static_cast<double>(rows) * kSteps - 1.0;
  return 1 + static_cast<int>(std::lround(most * (value - scale.low) / (scale.high - scale.low)));
}

std::string Label(std::size_t row, std::size_t rows, const Scale& scale) {
  if (row == 0) return Format("%8.2f |", scale.high);
  if (row + 1 == rows) return Format("%8.2f |", scale.low);
  return "         |";
}

}  // namespace

std::vector<std::string> DrawChart(std::span<const double> values, std::size_t columns, std::size_t rows) {
  values = values.last(std::min(values.size(), columns));
  const Scale scale = ScaleOf(values);
  std::vector<std::string> lines;
  for (std::size_t row = 0; row < rows; ++row) {
    std::string line = Label(row, rows, scale);
    const int below = static_cast<int>(rows - 1 - row) * kSteps;
    for (const double value : values) {
      const int filled = std::clamp(Height(value, scale, rows) - below, 0, kSteps);
      line += kBlocks[static_cast<std::size_t>(filled)];
    }
    lines.push_back(line);
  }
  return lines;
}

std::string GrowingChart::Add(double value, const std::string& caption) {
  constexpr std::size_t kColumns = 60;
  constexpr std::size_t kRows = 6;
  if (history_.size() == kColumns) history_.erase(history_.begin());
  const bool first = history_.empty();
  history_.push_back(value);
  std::string text = first ? "" : Format("\033[%zuA", kRows + 1);  // back to the chart's first line
  for (const std::string& line : DrawChart(history_, kColumns, kRows)) text += line + "\033[K\n";
  return text + caption + "\033[K";
}

}  // namespace orq::cli
