#include "options/AutoControl.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "autoctl/ExposureDecision.h"
#include "camera/ControlAccess.h"
#include "output/Signals.h"
#include "output/StatusLine.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kWait{100};
// Cycles without any change; every fourth looks at the colours.
constexpr int kSteadyCycles = 3;
constexpr int kSteadyCyclesOfColours = 8;
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

std::string Values(const AutoReading& now) {
  std::string text;
  if (now.mean != 0) text = Format("mean %d of %d, ", now.mean, now.target);
  text += "exposure " + ExposureText(now.exposureUs) + Format(", gain %d", now.gain);
  if (now.whiteBalance)
    text += Format(", white balance %d and %d", now.whiteBalance->first, now.whiteBalance->second);
  return text;
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

void AutoReading::AddTo(Report& report) const {
  if (mean != 0) {
    report.Add("mean", mean);
    report.Add("target", target);
  }
  report.Add("exposure", exposureUs, "us");
  report.Add("gain", gain);
  if (!whiteBalance) return;
  report.Add("wb_red", whiteBalance->first);
  report.Add("wb_blue", whiteBalance->second);
}

AutoControl::AutoControl(Session& session, const AutoSettings& settings)
    : session_(session),
      timeoutSeconds_(ParseSeconds(settings.timeout, kTimeoutOption)),
      before_{session.Camera().AutoExp, session.Camera().AutoGain, session.Camera().autoWB} {
  CModelCamera& camera = session.Camera();
  if (settings.whiteBalance && camera.bIsColor == 0) {
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
  const bool colours = camera.bIsColor != 0 && camera.autoWB != 0;
  if (camera.AutoExp == 0 && camera.AutoGain == 0 && !colours) return;
  if (camera.StartAutoControlThr() == 0)
    throw CliError(Status::Internal, "automatic control could not be started");
  runs_ = true;
}

AutoControl::~AutoControl() {
  if (!runs_) return;
  CModelCamera& camera = session_.Camera();
  camera.StopAutoControlThr();
  camera.AutoExp = before_.exposure;
  camera.AutoGain = before_.gain;
  camera.autoWB = before_.whiteBalance;
}

AutoReading AutoControl::Read() const {
  const CModelCamera& camera = session_.Camera();
  AutoReading now{.mean = camera.autoMean,
                  .target = camera.DestBrightness,
                  .exposureUs = camera.exposureUs,
                  .gain = camera.gain,
                  .whiteBalance = std::nullopt};
  if (camera.bIsColor != 0 && camera.autoWB != 0) now.whiteBalance.emplace(camera.WB_Red, camera.WB_Blue);
  return now;
}

bool AutoControl::AtRest() const {
  const CModelCamera& camera = session_.Camera();
  const bool colours = camera.bIsColor != 0 && camera.autoWB != 0;
  return camera.autoSteadyCycles >= (colours ? kSteadyCyclesOfColours : kSteadyCycles);
}

void AutoControl::Settle(VideoShooter& shooter) {
  const auto start = Clock::now();
  const auto limit = std::chrono::duration<double>(timeoutSeconds_);
  StatusLine line;
  FramePtr frame;
  while (!AtRest()) {
    if (Clock::now() - start > limit) {
      throw CliError(Status::Timeout,
                     Format("automatic control has not settled after %g s: %s; allow it more time with %s",
                            timeoutSeconds_, Values(Read()).c_str(), kTimeoutOption));
    }
    line.Show("settling: " + Values(Read()));
    switch (shooter.TakeWithin(frame, kWait)) {
      case ShotResult::Good:
      case ShotResult::Failed:
        break;
      case ShotResult::Ended:
        throw CliError(Status::Refused, shooter.Reason());
      case ShotResult::Lost:
        throw CliError(kExitCameraLost, "the camera was lost; check its cable");
      case ShotResult::Interrupted:
        break;
    }
    if (StopRequested()) throw CliError(Status::Cancelled, "interrupted before automatic control had settled");
  }
  const AutoReading now = Read();
  if (now.mean == 0 || std::abs(now.mean - now.target) <= ToleranceOf(now.target)) return;
  Complain("the brightness rests away from its target: " + Values(now) +
           "; what may be chosen goes no further (see --auto-max-exposure, --auto-max-gain)");
}

}  // namespace orq::cli
