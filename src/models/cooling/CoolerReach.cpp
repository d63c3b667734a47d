#include "models/cooling/CoolerReach.h"

#include <cmath>

namespace orq {
namespace {

constexpr double kFullPercent = 99.5;
constexpr double kNearTarget = 0.5;      // what is left is the regulator's business
constexpr double kWindowSeconds = 60.0;  // twice the time in which a sensor follows its cooler
constexpr double kLeastGain = 0.2;       // in a window
constexpr double kSameReach = 1.0;       // a changed evening, not a wavering reading

}  // namespace

std::optional<double> CoolerReach::Look(double temperature, double target, double percent, double seconds) {
  if (percent < kFullPercent || temperature <= target + kNearTarget) {
    window_.reset();
    reach_.reset();
    return reach_;
  }
  if (!window_) {
    window_ = Window{.from = temperature};
    return reach_;
  }
  window_->seconds += seconds;
  if (window_->seconds < kWindowSeconds) return reach_;
  if (window_->from - temperature >= kLeastGain)
    reach_.reset();
  else if (!reach_ || std::abs(*reach_ - temperature) >= kSameReach)
    reach_ = temperature;
  window_ = Window{.from = temperature};
  return reach_;
}

}  // namespace orq
