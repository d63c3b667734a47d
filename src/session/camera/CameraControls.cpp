#include "session/camera/CameraControls.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "session/LinkFailure.h"
#include "session/camera/CameraAutomatic.h"
#include "session/controls/FreshValues.h"
#include "session/cooling/Climate.h"
#include "session/cooling/CoolerWork.h"

namespace orq::session {
namespace {

// Of these a change restarts a running capture.
bool ChangesFrames(ORQ_CONTROL_TYPE id) {
  constexpr std::array kThose = {ORQ_HARDWARE_BIN, ORQ_HIGH_SPEED_MODE, ORQ_MONO_BIN, ORQ_READOUT_MODE};
  return std::ranges::find(kThose, id) != kThose.end();
}

// With a change of these automatic control has something new to settle.
bool SteersAutomatic(const Control& control) {
  constexpr std::array kLimits = {ORQ_AUTO_EXP_MAX_GAIN, ORQ_AUTO_EXP_MAX_EXP_MS, ORQ_AUTO_EXP_TARGET_BRIGHTNESS};
  return control.caps.isAutoSupported != 0 || std::ranges::find(kLimits, control.id) != kLimits.end();
}

// A loss cuts it short as an abort does.
void RunCooling(Camera& camera, CModelCamera& device, const std::function<void(const CoolingWatch&)>& work) {
  try {
    work({.tell = {}, .pause = camera.UntilAborted()});
  } catch (const Failure& failure) {
    if (failure.Code() == Status::Cancelled && device.DeviceLost()) camera.Fail("the cooler cannot be watched");
    throw;
  }
}

}  // namespace

std::vector<Control> ControlsOf(Camera& camera) {
  return ListControls(*Camera::Use(camera));
}

Control ControlOf(Camera& camera, std::string_view name) {
  return FindControl(*Camera::Use(camera), name);
}

Control ControlOf(Camera& camera, std::int32_t id) {
  if (id < 0 || id > ORQ_READOUT_MODE)
    throw Failure(Status::Invalid, "there is no control with the number " + std::to_string(id));
  return FindControl(*Camera::Use(camera), static_cast<ORQ_CONTROL_TYPE>(id));
}

ControlReading Read(Camera& camera, const Control& control) {
  ControlReading reading = ReadControl(*Camera::Use(camera), control);
  if (!reading.trouble.empty()) throw Failure(Status::Refused, reading.trouble);
  return reading;
}

void Write(Camera& camera, const Control& control, const ControlSetting& setting) {
  if (setting.automatic || SteersAutomatic(control) || ChangesFrames(control.id)) {
    const Camera::Turn turn(camera);
    WriteControl(*turn, control, setting);
    if (SteersAutomatic(control)) RunAutomatic(*turn);
    return;
  }
  WriteControl(*Camera::Use(camera), control, setting);
  if (control.id == ORQ_COOLER_ON) camera.NoteCooling(setting.raw != 0);
}

PresetGain PresetOf(Camera& camera, GainPreset preset) {
  return GainOf(camera.Model(), Camera::Use(camera)->GetReadoutMode(), preset);
}

CoolerState Cooling(Camera& camera) {
  const Camera::Use device(camera);
  DemandCooler(*device);
  CoolerState state;
  state.on = IsCoolerOn(*device);
  state.targetC = device->TargetTemp;
  state.sensorC = SensorCelsius(*device);
  state.power = static_cast<double>(device->coolPowerPerc);
  state.reachC = device->CoolerReach();
  state.trouble = device->CoolerTrouble();
  if (device->DeviceLost()) camera.Fail("cannot read the cooler");
  return state;
}

void Cool(Camera& camera, bool on, double targetC, bool keep) {
  const Camera::Use device(camera);
  DemandCooler(*device);
  if (on) {
    if (!std::isfinite(targetC)) throw Failure(Status::Range, "the target must be a temperature");
    const Control target = FindControl(*device, ORQ_TARGET_TEMP);
    const std::int64_t whole = std::llround(std::clamp(targetC, -1000.0, 1000.0));
    WriteControl(*device, target, {.raw = whole});
  }
  SwitchCooler(*device, on, keep);
  camera.NoteCooling(on);
}

void AwaitCold(Camera& camera, double seconds) {
  const Camera::Use device(camera);
  DemandCooler(*device);
  const auto work = [&](const CoolingWatch& watch) { AwaitTarget(*device, seconds, watch); };
  RunCooling(camera, *device, work);
}

void Warm(Camera& camera, double seconds) {
  const Camera::Use device(camera);
  DemandCooler(*device);
  const auto work = [&](const CoolingWatch& watch) { WarmUp(*device, seconds, watch); };
  RunCooling(camera, *device, work);
  camera.NoteCooling(false);
}

double Temperature(Camera& camera) {
  const Camera::Use device(camera);
  if (!HasThermometer(*device)) throw Failure(Status::Unsupported, "this camera has no thermometer");
  const std::optional<double> celsius = SensorCelsius(*device);
  if (device->DeviceLost()) camera.Fail("cannot read the temperature");
  if (!celsius) camera.Fail("the thermometer does not answer");
  return *celsius;
}

double SupplyVoltage(Camera& camera) {
  const Camera::Use device(camera);
  const std::optional<double> volts = SupplyVolts(*device);
  if (volts) return *volts;
  if (device->DeviceLost()) camera.Fail("the supply voltage cannot be read");
  throw Failure(Status::Unsupported, "this camera does not measure its supply voltage");
}

void Guide(Camera& camera, GuideD direction, int ms) {
  const Camera::Use device(camera);
  if (device->hasGuidePort == 0) throw Failure(Status::Unsupported, "this camera has no guide port");
  constexpr int kLongestMs = 60'000;
  if (ms < 1 || ms > kLongestMs) throw Failure(Status::Range, "a guide pulse lasts 1 to 60000 ms");
  const GuideOutcome outcome = SendGuidePulse(*device, direction, ms, camera.UntilAborted(), [](const auto&) {});
  if (outcome.interrupted) throw Failure(Status::Cancelled, "the guide pulse was cut short");
}

GpsReceiver ReceiverOf(Camera& camera) {
  const Camera::Use device(camera);
  DemandGps(*device);
  GpsReceiver receiver;
  const int result = device->GPSGetData(&receiver.start, &receiver.end);
  if (result != CTRL_OK && result != CTRL_GPS_DATA_INVALID && result != CTRL_GPS_VER_TOO_LOW)
    camera.Fail("cannot read the GPS receiver");
  receiver.version = device->GPSVer();
  receiver.readable = result != CTRL_GPS_VER_TOO_LOW;
  receiver.fix = result == CTRL_OK;
  return receiver;
}

void CheckGpsTimes(Camera& camera) {
  DemandGpsTimes(*Camera::Use(camera));
}

GpsLines LinesOf(Camera& camera, bool& follow) {
  const Camera::Use device(camera);
  DemandGps(*device);
  const auto lines = ReadGpsLines(*device);
  if (!lines) throw LinkFailure(*device, "cannot read the GPS lines");
  follow = device->GpsLinesFollow();
  return *lines;
}

void SetLines(Camera& camera, const GpsLines& lines) {
  const Camera::Use device(camera);
  DemandGps(*device);
  if (lines.start < 0 || lines.end < 0 || lines.start >= device->iMaxHeight || lines.end >= device->iMaxHeight)
    throw Failure(Status::Range, "GPS lines must be from 0 to " + std::to_string(device->iMaxHeight - 1));
  std::string left;
  if (SetGpsLines(*device, lines, left) != CTRL_OK)
    throw LinkFailure(*device, "cannot set the GPS lines (" + left + ")");
  if (!device->FollowGpsLines(false))
    throw LinkFailure(*device, "the GPS lines were set, but move with the region still");
}

void FollowLines(Camera& camera, bool follow) {
  const Camera::Use device(camera);
  DemandGps(*device);
  if (!device->FollowGpsLines(follow)) throw LinkFailure(*device, "cannot set the GPS lines");
}

}  // namespace orq::session
