#include "Cooling.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "Climate.h"
#include "ControlAccess.h"
#include "Signals.h"
#include "StatusLine.h"
#include "Text.h"
#include "Units.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kSettledWithin = 0.2;
constexpr double kHundredth = 0.005;  // readings are rounded
constexpr int kSteadyReadings = 5;    // one per second of the camera
constexpr double kFullPower = 99.5;

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
  if (!session.Model().cooled) throw CliError(ErrorName::Unsupported, "this camera has no cooler");
}

void StartCooler(Session& session, const std::optional<std::string>& target) {
  DemandCooler(session);
  CModelCamera& camera = session.Camera();
  if (target) {
    const Control control = FindControl(camera, ORQ_TARGET_TEMP);
    WriteControl(session, control, ParseSetting(control, *target));
  }
  if (camera.SetControlValue(ORQ_COOLER_ON, 1, false) != CTRL_OK) session.Fail("cannot switch the cooler on");
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
    if (!IsOn(camera)) throw CliError(kExitFailed, "the cooler has stopped: " + camera.CoolerTrouble());
    steady = celsius && std::abs(*celsius - target) <= kSettledWithin + kHundredth ? steady + 1 : 0;
    if (steady == kSteadyReadings) return;
    const double passed = Seconds(Clock::now() - start).count();
    if (passed > seconds) throw CliError(ErrorName::Timeout, LateText(camera, celsius, seconds));
    line.Show(Format("cooling: %s, target %g C, power %.0f %%, %.0f s", Celsius(celsius).c_str(), target,
                     static_cast<double>(camera.coolPowerPerc), passed));
    if (WaitForStop(std::chrono::ceil<std::chrono::milliseconds>(period))) {
      throw CliError(ErrorName::Cancelled, Format("interrupted before the sensor reached %g C", target));
    }
  }
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
}

void CoolSettings::Check() const {
  if (target) ParseInteger(*target, "--cool");
  ParseSeconds(timeout, "--cool-timeout");
}

void CoolSettings::Apply(Session& session) const {
  if (!target) return;
  StartCooler(session, target);
  if (wait) AwaitTarget(session, ParseSeconds(timeout, "--cool-timeout"));
}

}  // namespace orq::cli
