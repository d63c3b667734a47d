#include "session/autocontrol/AutomaticControl.h"

#include <chrono>
#include <cstdlib>

#include "autoctl/ExposureDecision.h"
#include "session/Failure.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::session {

namespace {

using Clock = std::chrono::steady_clock;

// Cycles without any change; every fourth looks at the colours.
constexpr int kSteadyCycles = 3;
constexpr int kSteadyCyclesOfColours = 8;

bool BalancesColours(const CModelCamera& camera) {
  return camera.bIsColor != 0 && camera.autoWB != 0;
}

}  // namespace

std::string AutoText(const AutoReading& reading) {
  std::string text;
  if (reading.mean != 0) text = Format("mean %d of %d, ", reading.mean, reading.target);
  text += "exposure " + ExposureText(reading.exposureUs) + Format(", gain %d", reading.gain);
  if (reading.whiteBalance)
    text += Format(", white balance %d and %d", reading.whiteBalance->first, reading.whiteBalance->second);
  return text;
}

AutoReading AutomaticControl::Read() const {
  AutoReading now{.mean = camera_.autoMean,
                  .target = camera_.DestBrightness,
                  .exposureUs = camera_.exposureUs,
                  .gain = camera_.gain,
                  .whiteBalance = std::nullopt};
  if (BalancesColours(camera_)) now.whiteBalance.emplace(camera_.WB_Red, camera_.WB_Blue);
  return now;
}

bool AutomaticControl::AtRest() const {
  return camera_.autoSteadyCycles >= (BalancesColours(camera_) ? kSteadyCyclesOfColours : kSteadyCycles);
}

bool AutomaticControl::OnTarget() const {
  const AutoReading now = Read();
  return now.mean == 0 || std::abs(now.mean - now.target) <= ToleranceOf(now.target);
}

void AutomaticControl::Settle(double seconds, const SettleSteps& steps) const {
  const auto start = Clock::now();
  const auto limit = std::chrono::duration<double>(seconds);
  while (!AtRest()) {
    if (Clock::now() - start > limit) {
      throw Failure(Status::Timeout, Format("automatic control has not settled after %g s: %s; allow it more time",
                                            seconds, AutoText(Read()).c_str()));
    }
    if (!steps.mayGoOn(Read()))
      throw Failure(Status::Cancelled, "interrupted before automatic control had settled");
    steps.takeFrame();
  }
}

}  // namespace orq::session
