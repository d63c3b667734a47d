#include "session/cooling/CoolerWork.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>

#include "session/LinkFailure.h"
#include "session/cooling/Climate.h"
#include "support/Text.h"

namespace orq::session {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kSettledWithin = 0.2;
constexpr double kHundredth = 0.005;  // readings are rounded
constexpr int kSteadyReadings = 5;    // one per second of the camera
constexpr double kFullPower = 99.5;
constexpr double kHardlyAnyPower = 0.5;

std::string Celsius(const std::optional<double>& celsius) {
  return celsius ? Format("%.2f C", *celsius) : std::string("an unknown temperature");
}

// Why the target was not reached in time, and what to do.
std::string LateText(const CModelCamera& camera, const CoolingProgress& at, double seconds) {
  const std::string trouble = camera.CoolerTrouble();
  const std::string late = Format("after %g s the sensor is at %s, its target is %d C: ", seconds,
                                  Celsius(at.sensorC).c_str(), camera.TargetTemp.Load());
  if (!trouble.empty()) return late + trouble;
  if (at.power > kFullPower) return late + "the cooler runs at full power; choose a warmer target";
  return late + "the cooler is still at work; allow it more time";
}

/// Reads once per second of the camera.
class Readings {
 public:
  Readings(CModelCamera& camera, const CoolingWatch& watch, double targetC)
      : camera_(camera), watch_(watch), targetC_(targetC) {}

  CoolingProgress Read(const char* what) const {
    CoolingProgress at{.sensorC = SensorCelsius(camera_), .targetC = targetC_};
    if (camera_.DeviceLost()) throw LinkFailure(camera_, what);
    at.power = static_cast<double>(camera_.coolPowerPerc);
    at.seconds = Seconds(Clock::now() - start_).count();
    return at;
  }
  /// Tells, and waits for the next one; throws `interrupted` when nobody wants to wait any longer.
  void Await(const CoolingProgress& at, const std::string& interrupted) const {
    if (watch_.tell) watch_.tell(at);
    if (watch_.pause(Period())) throw Failure(Status::Cancelled, interrupted);
  }

 private:
  std::chrono::milliseconds Period() const {
    const double scale = camera_.Model().timeScale;
    const auto period = std::chrono::ceil<std::chrono::milliseconds>(Seconds(scale > 0.0 ? scale : 1.0));
    return std::max(period, std::chrono::milliseconds(1));
  }

  CModelCamera& camera_;
  const CoolingWatch& watch_;
  double targetC_;
  Clock::time_point start_ = Clock::now();
};

}  // namespace

void DemandCooler(const CModelCamera& camera) {
  if (!camera.Model().cooled) throw Failure(Status::Unsupported, "this camera has no cooler");
}

bool IsCoolerOn(CModelCamera& camera) {
  long on = 0;
  return camera.GetControlValue(ORQ_COOLER_ON, &on, nullptr) == CTRL_OK && on == 1;
}

void SwitchCooler(CModelCamera& camera, bool on, bool keep) {
  if (camera.SetControlValue(ORQ_COOLER_ON, on ? 1 : 0, false) == CTRL_OK) {
    camera.KeepCooling(keep);
    return;
  }
  if (on) throw LinkFailure(camera, "cannot switch the cooler on");
  throw LinkFailure(camera, Format("the camera refuses to switch the cooler off; it does so by itself within %d s",
                                   camera.Model().cooler.watchdogSeconds));
}

void AwaitTarget(CModelCamera& camera, double seconds, const CoolingWatch& watch) {
  const double target = camera.TargetTemp;
  const Readings readings(camera, watch, target);
  for (int steady = 0;;) {
    const CoolingProgress at = readings.Read("cannot cool the sensor");
    if (!IsCoolerOn(camera)) throw Failure(Status::Refused, "the cooler has stopped: " + camera.CoolerTrouble());
    const bool there = at.sensorC && std::abs(*at.sensorC - target) <= kSettledWithin + kHundredth;
    steady = there ? steady + 1 : 0;
    if (steady == kSteadyReadings) return;
    if (camera.CoolerReach()) throw Failure(Status::Range, camera.CoolerTrouble());
    if (at.seconds > seconds) throw Failure(Status::Timeout, LateText(camera, at, seconds));
    readings.Await(at, Format("interrupted before the sensor reached %g C", target));
  }
}

void WarmUp(CModelCamera& camera, double seconds, const CoolingWatch& watch) {
  if (!IsCoolerOn(camera)) return;
  camera.KeepCooling(false);
  const int before = camera.TargetTemp;
  const int warmest = camera.GetMax(CT_TARGET_TEMP);
  camera.SetControlValue(ORQ_TARGET_TEMP, warmest, false);
  const Readings readings(camera, watch, warmest);
  const auto end = [&] {
    SwitchCooler(camera, false, false);
    camera.SetControlValue(ORQ_TARGET_TEMP, before, false);  // for whoever cools again
  };
  for (int idle = 0; idle < kSteadyReadings;) {
    const CoolingProgress at = readings.Read("cannot warm the sensor up");
    const bool warm = at.sensorC && *at.sensorC >= warmest - kSettledWithin;
    idle = at.power <= kHardlyAnyPower || warm ? idle + 1 : 0;
    if (at.seconds > seconds) {
      throw Failure(Status::Timeout,
                    Format("after %g s the sensor is at %s and still warms up; allow it more time", seconds,
                           Celsius(at.sensorC).c_str()));
    }
    try {
      readings.Await(at, "interrupted while the sensor warmed up: the cooler goes off at once");
    } catch (const Failure& interrupted) {
      if (interrupted.Code() == Status::Cancelled) end();
      throw;
    }
  }
  end();
}

}  // namespace orq::session
