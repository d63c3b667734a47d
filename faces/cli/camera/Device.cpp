#include "camera/Device.h"

#include <chrono>
#include <optional>
#include <string_view>

#include "output/Signals.h"

namespace orq::cli {

namespace {

bool HasSettingsPlace() {
  auto path = sized<orq_path>();
  return orq_settings_path(&path) == ORQ_OK;
}

Camera Open(const Context& context) {
  const std::string name = Device::NameIn(context);
  auto options = sized<orq_open_options>();
  const bool loads = context.settings && HasSettingsPlace();
  options.settings =
      loads ? ORQ_SETTINGS_LOAD : ORQ_SETTINGS_OFF;  // an option of one command holds for that command
  try {
    return Camera(name, options);
  } catch (const NotFoundError& none) {
    throw CliError(kExitNoCamera, none.what());
  }
}

void TellTroubles(Camera& camera) {
  while (const auto event = camera.nextEvent()) {
    if (event->kind == ORQ_EVENT_SETTINGS) Complain(event->text);
    if (event->kind == ORQ_EVENT_UNCORRECTED) Complain(std::string(event->text) + "; see orqcam hotpixels show");
  }
}

}  // namespace

std::string Device::NameIn(const Context& context) {
  if (context.camera == "") {
    throw CliError(
        kExitUsage,
        "\"\" names no camera: a camera is named by its index (0), serial:HEX, id:TEXT or virtual:MODEL");
  }
  return context.camera.value_or("");
}

Device::Device(const Context& context) : strict_(context.strict), camera_(Open(context)), info_(camera_.info()) {
  TellTroubles(camera_);
  // One that was found on is left on.
  if (Can(ORQ_ABILITY_COOLER)) cools_ = keepsCooling_ = camera_.control(ORQ_CONTROL_COOLER_ON) == 1;
}

Device::~Device() {
  try {
    camera_.abort();
    RunFreely();
  } catch (const Error&) {
    // It is gone, and everything with it.
  }
}

void Device::NoteCooling(bool on, bool keep) {
  cools_ = on;
  keepsCooling_ = keep;
}

bool Device::Reconnect() {
  constexpr std::chrono::milliseconds kReturnLook{250};
  Complain("the camera was lost: waiting for it to come back");
  bool told = false;
  while (!WaitForStop(kReturnLook)) {
    if (!Reopen(told)) continue;
    Complain("the camera is back: going on");
    return true;
  }
  return false;
}

// False when it is not there yet, or gone again.
bool Device::Reopen(bool& told) {
  try {
    camera_.reopen();
    if (!cools_) return true;
    try {
      camera_.cool(camera_.cooler().target_c, keepsCooling_);
    } catch (const LostError&) {
      return false;
    } catch (const Error&) {
      Complain("the cooler cannot be switched on again");
    }
    return true;
  } catch (const RefusedError& refused) {
    if (!told && std::string_view(refused.what()).starts_with("another camera of this model")) {
      Complain(std::string("another camera of this model is plugged in: waiting for serial number ") +
               info_.serial);
      told = true;
    }
    return false;
  } catch (const Error&) {
    return false;
  }
}

void Device::DemandKept() {
  if (!HasSettingsPlace())
    throw CliError(ORQ_ERROR_FILE, "set, but not kept: set HOME or XDG_CONFIG_HOME, or give --no-settings");
  try {
    camera_.keepSettings();
  } catch (const FileError& failure) {
    throw CliError(ORQ_ERROR_FILE, std::string("set, but not kept: ") + failure.what());
  }
  TellTroubles(camera_);
}

// The library words its own calls: "cannot do this: why".
void Device::Rethrow(const std::string& what, const Error& error) {
  switch (error.status()) {
    case ORQ_ERROR_LOST:
      throw CliError(ORQ_ERROR_LOST, what + ": the camera was lost; check its cable");
    case ORQ_ERROR_REFUSED:
    case ORQ_ERROR_TIMEOUT:
    case ORQ_ERROR_BUSY:
    case ORQ_ERROR_PERMISSION: {
      const std::string text = error.what();
      const std::size_t reason = text.find(": ");
      throw CliError(error.status(), what + (reason == std::string::npos ? "" : text.substr(reason)));
    }
    default:
      throw;
  }
}

// What is wired to the camera is not to be driven, and the next program not to be kept waiting, when nobody is
// there any more.
void Device::RunFreely() {
  if (camera_.triggerMode() != ORQ_MODE_FREE) camera_.triggerMode(ORQ_MODE_FREE);
  if (!Can(ORQ_ABILITY_TRIGGER)) return;
  for (const int output : {ORQ_OUTPUT_A, ORQ_OUTPUT_B}) {
    orq_trigger_output pulse = camera_.triggerOutput(output);
    if (pulse.length_us == 0) continue;
    pulse.delay_us = pulse.length_us = 0;
    camera_.triggerOutput(output, pulse);
  }
}

}  // namespace orq::cli
