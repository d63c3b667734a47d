#include "options/Cooling.h"

#include "camera/CoolerUse.h"
#include "options/Quantities.h"

namespace orq::cli {

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

void CoolSettings::Apply(Device& camera) const {
  const auto demandCooler = [&camera] {
    if (!camera.Can(ORQ_ABILITY_COOLER)) throw CliError(ORQ_ERROR_UNSUPPORTED, "this camera has no cooler");
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
