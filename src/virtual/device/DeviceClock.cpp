#include "virtual/device/DeviceClock.h"

#include <algorithm>

namespace orq {
namespace {

constexpr double kLongestSeconds = 1e12;  ///< keeps the arithmetic finite at the smallest time scales

}  // namespace

double DeviceClock::At(std::chrono::steady_clock::time_point moment) const {
  const double advanced = advanced_.load();
  if (rate_ <= 0) return advanced;
  const std::chrono::duration<double> passed = moment - start_;
  return std::min(passed.count() * rate_, kLongestSeconds) + advanced;
}

void DeviceClock::Advance(double seconds) {
  if (seconds > 0) advanced_.fetch_add(std::min(seconds, kLongestSeconds));
}

}  // namespace orq
