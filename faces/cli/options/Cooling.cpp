#include "options/Cooling.h"

#include "camera/ControlAccess.h"
#include "camera/CoolerUse.h"
#include "output/Signals.h"
#include "output/StatusLine.h"
#include "session/cooling/CoolerWork.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

std::string Celsius(const std::optional<double>& celsius) {
  return celsius ? Format("%.2f C", *celsius) : std::string("an unknown temperature");
}

}  // namespace

void StartCooler(Session& session, const std::optional<std::string>& target, bool keep) {
  DemandCooler(session.Camera());
  if (target) {
    const Control control = FindControl(session.Camera(), ORQ_TARGET_TEMP);
    WriteControl(session, control, ParseSetting(control, *target));
  }
  session.SwitchCooler(true, keep);
}

void AwaitTarget(Session& session, double seconds) {
  StatusLine line;
  const auto show = [&line](const CoolingProgress& at) {
    line.Show(Format("cooling: %s, target %g C, power %.0f %%, %.0f s", Celsius(at.sensorC).c_str(), at.targetC,
                     at.power, at.seconds));
  };
  session::AwaitTarget(session.Camera(), seconds, {.tell = show, .pause = WaitForStop});
}

void WarmUp(Session& session, double seconds) {
  StatusLine line;
  const auto show = [&line](const CoolingProgress& at) {
    line.Show(Format("warming up: %s, power %.0f %%, %.0f s", Celsius(at.sensorC).c_str(), at.power, at.seconds));
  };
  session::WarmUp(session.Camera(), seconds, {.tell = show, .pause = WaitForStop});
  session.NoteCooling(false, false);
}

void CoolerWatch::Look(Session& session) {
  const std::string trouble = session.Camera().CoolerTrouble();
  if (trouble == told_) return;
  told_ = trouble;
  if (!trouble.empty()) Complain(trouble);
}

void CoolSettings::AddTo(const Command& command) {
  const Option cool = command.AddOption(
      "--cool", target, "Cool the sensor to this temperature, degrees Celsius, while frames are taken");
  const Option waitOption =
      command.AddFlag("--cool-wait", wait, "Take no frame before the sensor is within 0.2 C of it").Needs(cool);
  command.AddOption("--cool-timeout", timeout, "Give up waiting after this many seconds")
      .Default("1800")
      .Needs(waitOption);
  command.AddFlag("--keep-cooling", keep,
                  "Leave the cooler on for the next command; without one the camera switches it off after 255 s");
}

void CoolSettings::Check() const {
  if (target) ParseInteger(*target, "--cool");
  ParseSeconds(timeout, "--cool-timeout");
}

void CoolSettings::Apply(Session& session) const {
  if (keep) DemandCooler(session.Camera());
  if (!target) {
    if (keep && !IsCoolerOn(session.Camera()))
      Complain("the cooler is off, there is nothing to keep; give --cool, too");
    return;
  }
  StartCooler(session, target, keep);
  if (wait) AwaitTarget(session, ParseSeconds(timeout, "--cool-timeout"));
}

void CoolSettings::Apply(Device& camera) const {
  const auto demandCooler = [&camera] {
    if (!camera.Can(ORQ_ABILITY_COOLER)) throw CliError(Status::Unsupported, "this camera has no cooler");
  };
  if (keep) demandCooler();
  if (!target) {
    if (keep && camera->cooler().on == 0)
      Complain("the cooler is off, there is nothing to keep; give --cool, too");
    return;
  }
  demandCooler();
  StartCooler(camera, target, keep);
  if (wait) AwaitTarget(camera, ParseSeconds(timeout, "--cool-timeout"));
}

}  // namespace orq::cli
