#include "options/Cooling.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "camera/ControlAccess.h"
#include "output/Signals.h"
#include "output/StatusLine.h"
#include "session/cooling/Climate.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kSettledWithin = 0.2;
constexpr double kHundredth = 0.005;  // readings are rounded
constexpr int kSteadyReadings = 5;    // one per second of the camera
constexpr double kFullPower = 99.5;
constexpr double kHardlyAnyPower = 0.5;

Clock::duration ReadingPeriod(const CModelCamera& camera) {
  const double scale = camera.Model().timeScale;
  return std::max<Clock::duration>(std::chrono::duration_cast<Clock::duration>(Seconds(scale > 0.0 ? scale : 1.0)),
                                   std::chrono::milliseconds(1));
}

bool IsOn(CModelCamera& camera) {
  long on = 0;
  return camera.GetControlValue(ORQ_COOLER_ON, &on, nullptr) == CTRL_OK && on == 1;
}

std::string Celsius(const std::optional<double>& celsius) {
  return celsius ? Format("%.2f C", *celsius) : std::string("an unknown temperature");
}

// Why the target was not reached in time, and what to do.
std::string LateText(CModelCamera& camera, const std::optional<double>& celsius, double seconds) {
  const std::string trouble = camera.CoolerTrouble();
  const std::string late = Format("after %g s the sensor is at %s, its target is %d C: ", seconds,
                                  Celsius(celsius).c_str(), camera.TargetTemp.Load());
  if (!trouble.empty()) return late + trouble;
  if (camera.coolPowerPerc > kFullPower) {
    return late + "the cooler runs at full power; choose a warmer target";
  }
  return late + "the cooler is still at work; allow it more time";
}

}  // namespace

void DemandCooler(Session& session) {
  if (!session.Model().cooled) throw CliError(Status::Unsupported, "this camera has no cooler");
}

void StartCooler(Session& session, const std::optional<std::string>& target, bool keep) {
  DemandCooler(session);
  CModelCamera& camera = session.Camera();
  if (target) {
    const Control control = FindControl(camera, ORQ_TARGET_TEMP);
    WriteControl(session, control, ParseSetting(control, *target));
  }
  if (!session.SwitchCooler(true, keep)) session.Fail("cannot switch the cooler on");
}

void AwaitTarget(Session& session, double seconds) {
  CModelCamera& camera = session.Camera();
  const double target = camera.TargetTemp;
  const auto period = ReadingPeriod(camera);
  const auto start = Clock::now();
  StatusLine line;
  for (int steady = 0;;) {
    const std::optional<double> celsius = SensorCelsius(camera);
    if (camera.DeviceLost()) session.Fail("cannot cool the sensor");
    if (!IsOn(camera)) throw CliError(Status::Refused, "the cooler has stopped: " + camera.CoolerTrouble());
    steady = celsius && std::abs(*celsius - target) <= kSettledWithin + kHundredth ? steady + 1 : 0;
    if (steady == kSteadyReadings) return;
    if (camera.CoolerReach()) throw CliError(Status::Range, camera.CoolerTrouble());
    const double passed = Seconds(Clock::now() - start).count();
    if (passed > seconds) throw CliError(Status::Timeout, LateText(camera, celsius, seconds));
    line.Show(Format("cooling: %s, target %g C, power %.0f %%, %.0f s", Celsius(celsius).c_str(), target,
                     static_cast<double>(camera.coolPowerPerc), passed));
    if (WaitForStop(std::chrono::ceil<std::chrono::milliseconds>(period))) {
      throw CliError(Status::Cancelled, Format("interrupted before the sensor reached %g C", target));
    }
  }
}

void WarmUp(Session& session, double seconds) {
  CModelCamera& camera = session.Camera();
  if (!IsOn(camera)) return;
  camera.KeepCooling(false);
  const int before = camera.TargetTemp;
  const int warmest = camera.GetMax(CT_TARGET_TEMP);
  camera.SetControlValue(ORQ_TARGET_TEMP, warmest, false);
  const auto period = ReadingPeriod(camera);
  const auto start = Clock::now();
  StatusLine line;
  for (int idle = 0; idle < kSteadyReadings;) {
    const std::optional<double> celsius = SensorCelsius(camera);
    if (camera.DeviceLost()) session.Fail("cannot warm the sensor up");
    const double power = static_cast<double>(camera.coolPowerPerc);
    const bool warm = celsius && *celsius >= warmest - kSettledWithin;
    idle = power <= kHardlyAnyPower || warm ? idle + 1 : 0;
    const double passed = Seconds(Clock::now() - start).count();
    if (passed > seconds) {
      throw CliError(Status::Timeout,
                     Format("after %g s the sensor is at %s and still warms up; allow it more time", seconds,
                            Celsius(celsius).c_str()));
    }
    line.Show(Format("warming up: %s, power %.0f %%, %.0f s", Celsius(celsius).c_str(), power, passed));
    if (WaitForStop(std::chrono::ceil<std::chrono::milliseconds>(period))) {
      throw CliError(Status::Cancelled, "interrupted while the sensor warmed up: the cooler goes off at once");
    }
  }
  SwitchCoolerOff(session);
  camera.SetControlValue(ORQ_TARGET_TEMP, before, false);  // for whoever cools again
}

// The end of the session switches it off as well, but has nobody to tell when that fails.
void SwitchCoolerOff(Session& session) {
  if (session.SwitchCooler(false, false)) return;
  session.Fail(Format("the camera refuses to switch the cooler off; it does so by itself within %d s",
                      session.Model().cooler.watchdogSeconds));
}

void CoolerWatch::Look(Session& session) {
  const std::string trouble = session.Camera().CoolerTrouble();
  if (trouble == told_) return;
  told_ = trouble;
  if (!trouble.empty()) Complain(trouble);
}

void CoolSettings::AddTo(CLI::App& command) {
  CLI::Option* cool = command.add_option(
      "--cool", target, "Cool the sensor to this temperature, degrees Celsius, while frames are taken");
  CLI::Option* waitOption =
      command.add_flag("--cool-wait", wait, "Take no frame before the sensor is within 0.2 C of it")->needs(cool);
  command.add_option("--cool-timeout", timeout, "Give up waiting after this many seconds")
      ->default_str("1800")
      ->needs(waitOption);
  command.add_flag("--keep-cooling", keep,
                   "Leave the cooler on for the next command; without one the camera switches it off after 255 s");
}

void CoolSettings::Check() const {
  if (target) ParseInteger(*target, "--cool");
  ParseSeconds(timeout, "--cool-timeout");
}

void CoolSettings::Apply(Session& session) const {
  if (keep) DemandCooler(session);
  if (!target) {
    if (keep && !IsOn(session.Camera())) Complain("the cooler is off, there is nothing to keep; give --cool, too");
    return;
  }
  StartCooler(session, target, keep);
  if (wait) AwaitTarget(session, ParseSeconds(timeout, "--cool-timeout"));
}

}  // namespace orq::cli
