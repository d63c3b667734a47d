#include "options/AutoControl.h"

#include <chrono>

#include "camera/ControlAccess.h"
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

void Write(Session& session, ORQ_CONTROL_TYPE id, const ControlSetting& setting) {
  WriteControl(session, FindControl(session.Camera(), id), setting);
}

void SwitchOn(Session& session, ORQ_CONTROL_TYPE id) {
  Write(session, id, {.automatic = true});
}

}  // namespace

void AutoSettings::AddTo(CLI::App& command) {
  command.add_flag("--auto-exposure", exposure, "Keep the brightness at its target by the exposure (from -e on)");
  command.add_flag("--auto-gain", gain, "Keep the brightness at its target by the gain");
  command.add_flag("--auto-wb", whiteBalance, "Keep the colours balanced (colour cameras)");
  command.add_option("--auto-target", target,
                     "Brightness to keep: mean of the frame's centre, 0 to 255 (default: the camera's)");
  command.add_option("--auto-max-exposure", maxExposure,
                     "Longest exposure that may be chosen: 500ms, 10s (default: the camera's)");
  command.add_option("--auto-max-gain", maxGain, "Highest gain that may be chosen (default: the camera's)");
}

void AutoSettings::AddTimeoutTo(CLI::App& command) {
  command.add_option(kTimeoutOption, timeout, "Give up when nothing has settled after this many seconds")
      ->default_str(timeout);
}

void AutoSettings::Check() const {
  if (target) ParseInteger(*target, "--auto-target");
  if (maxExposure) Milliseconds(*maxExposure);
  if (maxGain) ParseInteger(*maxGain, "--auto-max-gain");
  ParseSeconds(timeout, kTimeoutOption);
}

void AddTo(Report& report, const AutoReading& reading) {
  if (reading.mean != 0) {
    report.Add("mean", reading.mean);
    report.Add("target", reading.target);
  }
  report.Add("exposure", reading.exposureUs, "us");
  report.Add("gain", reading.gain);
  if (!reading.whiteBalance) return;
  report.Add("wb_red", reading.whiteBalance->first);
  report.Add("wb_blue", reading.whiteBalance->second);
}

AutoControl::AutoControl(Session& session, const AutoSettings& settings)
    : timeoutSeconds_(ParseSeconds(settings.timeout, kTimeoutOption)), control_(session.Camera()) {
  if (settings.whiteBalance && session.Camera().bIsColor == 0) {
    throw CliError(Status::Unsupported, "--auto-wb needs a colour camera");
  }
  if (settings.target) {
    Write(session, ORQ_AUTO_EXP_TARGET_BRIGHTNESS, {ParseInteger(*settings.target, "--auto-target"), false});
  }
  if (settings.maxExposure) Write(session, ORQ_AUTO_EXP_MAX_EXP_MS, {Milliseconds(*settings.maxExposure), false});
  if (settings.maxGain)
    Write(session, ORQ_AUTO_EXP_MAX_GAIN, {ParseInteger(*settings.maxGain, "--auto-max-gain"), false});
  if (settings.exposure) SwitchOn(session, ORQ_EXPOSURE);
  if (settings.gain) SwitchOn(session, ORQ_GAIN);
  if (settings.whiteBalance) SwitchOn(session, ORQ_WB_R);
  control_.Start();
}

void AutoControl::Settle(VideoShooter& shooter) {
  StatusLine line;
  FramePtr frame;
  const auto takeFrame = [&] {
    const ShotResult result = shooter.TakeWithin(frame, kWait);
    if (result == ShotResult::Ended) throw CliError(Status::Refused, shooter.Reason());
    if (result == ShotResult::Lost) throw CliError(kExitCameraLost, "the camera was lost; check its cable");
  };
  const auto mayGoOn = [&line](const AutoReading& now) {
    line.Show("settling: " + AutoText(now));
    return !StopRequested();
  };
  try {
    control_.Settle(timeoutSeconds_, {.takeFrame = takeFrame, .mayGoOn = mayGoOn});
  } catch (const Failure& failure) {
    if (failure.Code() != Status::Timeout) throw;
    throw Failure(Status::Timeout, std::string(failure.what()) + " with " + kTimeoutOption);
  }
  if (control_.OnTarget()) return;
  Complain("the brightness rests away from its target: " + AutoText(Read()) +
           "; what may be chosen goes no further (see --auto-max-exposure, --auto-max-gain)");
}

}  // namespace orq::cli
