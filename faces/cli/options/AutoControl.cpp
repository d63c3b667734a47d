#include "options/AutoControl.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <future>

#include "camera/ControlUse.h"
#include "options/Quantities.h"
#include "output/Signals.h"
#include "output/StatusLine.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::chrono::milliseconds kWait{100};
constexpr const char* kTimeoutOption = "--auto-timeout";

std::int64_t Milliseconds(const std::string& time) {
  const std::uint64_t us = ParseTime(time, "--auto-max-exposure");
  return static_cast<std::int64_t>((us + 999) / 1000);
}

void Write(Device& camera, std::int32_t id, std::int64_t raw) {
  const auto controls = camera->controls();
  const auto control = std::ranges::find(controls, id, &orq_control_info::id);
  if (control != controls.end()) return WriteControl(camera, *control, {raw, false});
  camera->control(id, raw);  // says what this camera has instead
}

// "mean 80 of 100, exposure 20ms, gain 12".
std::string AutoText(const orq_automatic_state& state) {
  std::string text;
  if (state.mean != 0) text = Format("mean %d of %d, ", state.mean, state.target);
  text += "exposure " + session::ExposureText(state.exposure_us) + Format(", gain %d", state.gain);
  if (state.wb_r != 0) text += Format(", white balance %d and %d", state.wb_r, state.wb_b);
  return text;
}

}  // namespace

void AutoSettings::AddTo(const Command& command) {
  command.AddFlag("--auto-exposure", exposure, "Keep the brightness at its target by the exposure (from -e on)");
  command.AddFlag("--auto-gain", gain, "Keep the brightness at its target by the gain");
  command.AddFlag("--auto-wb", whiteBalance, "Keep the colours balanced (colour cameras)");
  command.AddOption("--auto-target", target,
                    "Brightness to keep: mean of the frame's centre, 0 to 255 (default: the camera's)");
  command.AddOption("--auto-max-exposure", maxExposure,
                    "Longest exposure that may be chosen: 500ms, 10s (default: the camera's)");
  command.AddOption("--auto-max-gain", maxGain, "Highest gain that may be chosen (default: the camera's)");
}

void AutoSettings::AddTimeoutTo(const Command& command) {
  command.AddOption(kTimeoutOption, timeout, "Give up when nothing has settled after this many seconds")
      .Default(timeout);
}

void AutoSettings::Check() const {
  if (target) ParseInteger(*target, "--auto-target");
  if (maxExposure) Milliseconds(*maxExposure);
  if (maxGain) ParseInteger(*maxGain, "--auto-max-gain");
  ParseSeconds(timeout, kTimeoutOption);
}

void AddTo(Report& report, const orq_automatic_state& state) {
  if (state.mean != 0) {
    report.Add("mean", state.mean);
    report.Add("target", state.target);
  }
  report.Add("exposure", state.exposure_us, "us");
  report.Add("gain", state.gain);
  if (state.wb_r == 0) return;
  report.Add("wb_red", state.wb_r);
  report.Add("wb_blue", state.wb_b);
}

AutoControl::AutoControl(Device& camera, const AutoSettings& settings)
    : camera_(camera), timeoutSeconds_(ParseSeconds(settings.timeout, kTimeoutOption)) {
  if (settings.whiteBalance && camera.Info().bayer == ORQ_BAYER_NONE)
    throw CliError(ORQ_ERROR_UNSUPPORTED, "--auto-wb needs a colour camera");
  if (settings.target)
    Write(camera, ORQ_CONTROL_AUTO_TARGET_BRIGHTNESS, ParseInteger(*settings.target, "--auto-target"));
  if (settings.maxExposure) Write(camera, ORQ_CONTROL_AUTO_MAX_EXPOSURE_MS, Milliseconds(*settings.maxExposure));
  if (settings.maxGain)
    Write(camera, ORQ_CONTROL_AUTO_MAX_GAIN, ParseInteger(*settings.maxGain, "--auto-max-gain"));
  if (settings.exposure) camera->automatic(ORQ_CONTROL_EXPOSURE);
  if (settings.gain) camera->automatic(ORQ_CONTROL_GAIN);
  if (settings.whiteBalance) camera->automatic(ORQ_CONTROL_WB_R);
  runs_ = Start();
}

// What the settings have automatic begins as well.
bool AutoControl::Start() {
  constexpr std::array kFollowed = {ORQ_CONTROL_EXPOSURE, ORQ_CONTROL_GAIN, ORQ_CONTROL_WB_R};
  for (const orq_control_info& control : camera_->controls()) {
    const bool followed = std::ranges::find(kFollowed, control.id) != kFollowed.end();
    if (!followed || control.automatic == 0 || !camera_->isAutomatic(control.id)) continue;
    if (control.id == ORQ_CONTROL_WB_R && camera_.Info().bayer == ORQ_BAYER_NONE) continue;
    camera_->automatic(control.id);
    return true;
  }
  return false;
}

void AutoControl::Settle(VideoShooter& shooter) {
  std::future<void> settled = std::async(
      std::launch::async, [this] { camera_->awaitSettled(std::chrono::duration<double>(timeoutSeconds_)); });
  StatusLine line;
  Frame frame;
  while (settled.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
    if (StopRequested()) camera_->abort();
    const ShotResult result = shooter.TakeWithin(frame, kWait);
    if (result == ShotResult::Lost) break;
    if (line.IsShown()) line.Show("settling: " + AutoText(Read()));
  }
  frame = Frame();
  try {
    settled.get();
  } catch (const LostError&) {
    throw CliError(kExitCameraLost, "the camera was lost; check its cable");
  } catch (const TimeoutError& late) {
    throw CliError(ORQ_ERROR_TIMEOUT, std::string(late.what()) + " with " + kTimeoutOption);
  } catch (const Error&) {
    // Whatever the wait met when it was aborted.
    if (StopRequested()) throw CliError(ORQ_ERROR_CANCELLED, "interrupted before automatic control had settled");
    throw;
  }
  const orq_automatic_state state = Read();
  if (state.on_target != 0) return;
  Complain("the brightness rests away from its target: " + AutoText(state) +
           "; what may be chosen goes no further (see --auto-max-exposure, --auto-max-gain)");
}

}  // namespace orq::cli
