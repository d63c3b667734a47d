#include "session/pictures/Stretch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace orq::session {

namespace {

constexpr double kFullScale = 65535.0;
constexpr double kSigmaPerMedianDeviation = 1.4826;  // both of a normal distribution
constexpr double kSigmaPerMeanDeviation = 1.2533;
constexpr double kShadowSigmas = 2.8;
constexpr double kTargetBackground = 0.25;

double Sigma(const Histogram& histogram) {
  const int median = histogram.MedianDeviation();
  return median > 0 ? median * kSigmaPerMedianDeviation : histogram.MeanDeviation() * kSigmaPerMeanDeviation;
}

}  // namespace

int Histogram::Median() const {
  std::uint64_t below = 0;
  for (std::size_t value = 0; value < counts_.size(); ++value) {
    below += counts_[value];
    if (below != 0 && 2 * below >= total_) return static_cast<int>(value);
  }
  return 0;
}

int Histogram::MedianDeviation() const {
  const int median = Median();
  const int last = static_cast<int>(counts_.size()) - 1;
  std::uint64_t within = total_ == 0 ? 0 : counts_[static_cast<std::size_t>(median)];
  int distance = 0;
  while (2 * within < total_) {
    ++distance;
    if (median - distance >= 0) within += counts_[static_cast<std::size_t>(median - distance)];
    if (median + distance <= last) within += counts_[static_cast<std::size_t>(median + distance)];
  }
  return distance;
}

double Histogram::MeanDeviation() const {
  const int median = Median();
  double sum = 0.0;
  for (std::size_t value = 0; value < counts_.size(); ++value)
    sum += std::abs(static_cast<int>(value) - median) * static_cast<double>(counts_[value]);
  return total_ == 0 ? 0.0 : sum / static_cast<double>(total_);
}

double Midtones(double midtones, double x) {
  if (x <= 0.0) return 0.0;
  if (x >= 1.0) return 1.0;
  return (midtones - 1.0) * x / ((2.0 * midtones - 1.0) * x - midtones);
}

StretchTable::StretchTable(const Histogram& histogram) : table_(65536) {
  const double median = histogram.Median() / kFullScale;
  const double sigma = Sigma(histogram) / kFullScale;
  const double shadows = std::clamp(median - kShadowSigmas * sigma, 0.0, 0.999);
  const double background = (median - shadows) / (1.0 - shadows);
  // The function is its own inverse in this sense: it maps `background` to the target.
  const double midtones = background > 0.0 ? Midtones(kTargetBackground, background) : 0.5;
  for (std::size_t value = 0; value < table_.size(); ++value) {
    const double x = (static_cast<double>(value) / kFullScale - shadows) / (1.0 - shadows);
    table_[value] = static_cast<std::uint8_t>(std::lround(255.0 * Midtones(midtones, x)));
  }
}

}  // namespace orq::session
