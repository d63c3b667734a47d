#include "models/cooling/Cooler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <system_error>
#include <utility>

#include "camera/CameraBase.h"
#include "devices/Thermistor.h"
#include "devices/Thermometers.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"

namespace orq {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kPeriodSeconds = 1.0;    // of the camera
constexpr double kLeastTimeScale = 1e-3;  // the computer has other things to do
constexpr double kFullDrive = 255.0;
constexpr int kFanFull = 255;
constexpr unsigned short kLongestWatchdog = 255;  // what its register holds
constexpr double kSpareDegrees = 1.0;             // a regulator needs power to spare

// A thermometer without power reads 0, and so does one at 0 degrees: the reading before tells which it is.
constexpr float kNearZeroC = 1.0F;

using Word = std::array<unsigned char, 2>;

bool Ask(CCameraBase& camera, std::uint8_t request, Word& word) {
  return camera.SendCMD(request, 0, 0, true, word.data(), static_cast<long>(word.size()));
}

// A settings file may hold any target, and so may the device.
int HeldTarget(CCameraBase& camera, int target) {
  return std::clamp(target, camera.GetMin(CT_TARGET_TEMP), camera.GetMax(CT_TARGET_TEMP));
}

std::string ReachText(double reach, int target) {
  std::array<char, 160> text{};
  std::snprintf(
      text.data(), text.size(),
      "the cooler runs at full power and cannot reach %d C: the sensor gets no colder than %.1f C; choose "
      "%.0f C or warmer",
      target, reach, std::ceil(reach + kSpareDegrees));
  return text.data();
}

// Counts beyond the thermistor's curve are those of a broken one.
bool OnCurve(int count, int fullScale) {
  return ThermistorCelsius(count, fullScale, kThermistorReferenceKiloOhm).has_value();
}

}  // namespace

bool ThermometerAnswers(CCameraBase& camera) {
  Word word{};
  unsigned char byte = 0;
  switch (static_cast<Thermometer>(camera.tempSensorType)) {
    case Thermometer::Sensor:
      return camera.ReadSONYREG(wire::kSensorTemperature, &byte);
    case Thermometer::Adc081:
      return Ask(camera, wire::kReqTemperatureAdc, word) &&
             OnCurve(Adc081Count(word[0], word[1]), kThermistorCounts8);
    case Thermometer::Ad7142:
      return Ask(camera, wire::kReqTemperatureAdc, word) &&
             OnCurve(Ad7142Count(word[0], word[1]), kThermistorCounts12);
    case Thermometer::Tmp451:
      return Ask(camera, wire::kReqBoardTemperature, word);
    default:
      return Ask(camera, wire::kReqBoardTemperature, word) &&
             (Tmp100Celsius(word[0], word[1]).has_value() || std::abs(camera.sensorTemp.Load()) < kNearZeroC);
  }
}

Cooler::Cooler(CCameraBase& camera, const CoolerData& data, double timeScale)
    : camera_(camera), data_(data), timeScale_(timeScale > 0.0 ? std::max(timeScale, kLeastTimeScale) : 1.0) {}

Cooler::~Cooler() {
  Abandon();
}

bool Cooler::SwitchOn() {
  const MutexLock lock(switching_);
  if (on_) return true;
  EndThread();  // one that ended by itself
  if (camera_.bOpened == 0) return false;
  if (camera_.FanAdjustCheck() && camera_.GetFanSpeed() == 0) camera_.SetFanSpeed(kFanFull);
  if (!camera_.WriteFPGAREG(wire::kFpgaCoolerWatchdog, static_cast<unsigned short>(data_.watchdogSeconds)))
    return false;
  keep_ = false;
  if (StartThread({})) return true;
  WriteOff();
  return false;
}

bool Cooler::StartThread(const Loop& loop) {
  SetTrouble({});
  on_ = true;
  try {
    thread_ = std::thread([this, loop] { Run(loop); });
  } catch (const std::system_error&) {
    on_ = false;
  }
  return on_;
}

bool Cooler::SwitchOff() {
  const MutexLock lock(switching_);
  const bool wasOn = on_;
  EndThread();
  if (wasOn) SetTrouble({});
  return !wasOn || camera_.bOpened == 0 || WriteOff();
}

bool Cooler::SetHeater(bool on) {
  const MutexLock lock(switching_);
  if (camera_.bOpened == 0) return false;
  if (!camera_.WriteFPGAREG(wire::kFpgaHeater, on ? data_.heaterDrive : 0)) return false;
  heater_ = on;
  return true;
}

bool Cooler::Adopt() {
  const MutexLock lock(switching_);
  unsigned char drive = 0;
  unsigned char heater = 0;
  if (!camera_.ReadFPGAREG(wire::kFpgaCoolerPower, &drive) || !camera_.ReadFPGAREG(wire::kFpgaHeater, &heater))
    return false;
  heater_ = heater != 0;
  keep_ = false;
  if (drive == 0) return true;
  unsigned char target = 0;
  if (!camera_.ReadFPGAREG(wire::kFpgaCoolerTarget, &target)) return false;
  if (!camera_.WriteFPGAREG(wire::kFpgaCoolerWatchdog, static_cast<unsigned short>(data_.watchdogSeconds)))
    return false;
  camera_.TargetTemp = HeldTarget(camera_, static_cast<std::int8_t>(target));
  const double percent = drive * 100.0 / kFullDrive;
  camera_.coolPowerPerc = static_cast<float>(percent);
  keep_ = true;
  DbgPrint(-1, "Cooler", "found on, %d C at %.0f %%\n", camera_.TargetTemp.Load(), percent);
  return StartThread({.state = {.integral = percent}, .reach = {}, .failures = 0, .target = camera_.TargetTemp});
}

void Cooler::Leave() {
  const MutexLock lock(switching_);
  const bool kept = on_ && keep_;
  const float percent = camera_.coolPowerPerc;
  EndThread();
  if (camera_.bOpened == 0) return;
  if (kept) {
    camera_.WriteFPGAREG(wire::kFpgaCoolerWatchdog, kLongestWatchdog);
    WriteDrive(static_cast<double>(percent));  // from now on its time counts
    camera_.coolPowerPerc = 0.0F;
    return;
  }
  heater_ = false;
  camera_.WriteFPGAREG(wire::kFpgaHeater, 0);
  WriteOff();
}

void Cooler::Abandon() {
  const MutexLock lock(switching_);
  EndThread();
  heater_ = false;
}

std::string Cooler::Trouble() const {
  const MutexLock lock(mutex_);
  return trouble_;
}

std::optional<double> Cooler::Reach() const {
  const MutexLock lock(mutex_);
  return reach_;
}

// The drive first: without it nothing needs watching.
bool Cooler::WriteOff() {
  const bool driveOff = camera_.WriteFPGAREG(wire::kFpgaCoolerPower, 0);
  return driveOff && camera_.WriteFPGAREG(wire::kFpgaCoolerWatchdog, 0);
}

void Cooler::EndThread() {
  if (thread_.joinable()) {
    {
      const MutexLock lock(mutex_);
      quit_ = true;
    }
    wake_.notify_all();
    thread_.join();
    const MutexLock lock(mutex_);
    quit_ = false;
  }
  on_ = false;
  camera_.coolPowerPerc = 0.0F;
}

void Cooler::Run(Loop loop) {
  const Seconds period(kPeriodSeconds * timeScale_);
  Clock::time_point last = Clock::now();
  while (true) {
    const Clock::time_point now = Clock::now();
    const double seconds = Seconds(now - last).count() / timeScale_;
    last = now;
    if (!Regulate(loop, seconds)) break;
    if (Wait(std::chrono::duration_cast<Clock::duration>(period))) return;
  }
  DbgPrint(-1, "Cooler", "the camera is gone, regulation ends\n");
  SetTrouble("the camera is gone: the cooler is off");
  camera_.coolPowerPerc = 0.0F;
  on_ = false;
}

// One step. False when the camera is gone.
bool Cooler::Regulate(Loop& loop, double seconds) {
  int& failures = loop.failures;
  std::optional<double> reach;
  const int target = HeldTarget(camera_, camera_.TargetTemp);
  const bool answers = ThermometerAnswers(camera_);
  const double temperature = answers ? static_cast<double>(camera_.GetTemp()) : 0.0;
  double drive = static_cast<double>(camera_.coolPowerPerc);
  if (answers && std::isfinite(temperature)) {
    if (failures > kFailuresHeld) DbgPrint(-1, "Cooler", "the thermometer answers again\n");
    failures = 0;
    TellTarget(loop, target);
    drive = NextDrive(data_.tuning, loop.state, temperature, target, seconds);
    reach = loop.reach.Look(temperature, target, drive, seconds);
  } else if (++failures > kFailuresHeld) {
    if (failures == kFailuresHeld + 1) DbgPrint(-1, "Cooler", "the thermometer does not answer, drive 0\n");
    failures = kFailuresHeld + 1;
    loop.state = {};
    drive = 0.0;
  }
  const bool written = WriteDrive(drive);
  if (camera_.DeviceLost() || camera_.bOpened == 0) return false;
  if (failures > kFailuresHeld)
    SetTrouble("the thermometer does not answer: the cooler is held off");
  else if (!written)
    SetTrouble("the camera refuses the cooler's drive");
  else
    SetTrouble(reach ? ReachText(*reach, target) : "", reach);
  return true;
}

// For the next program. One that cannot be told now is told at the next step.
void Cooler::TellTarget(Loop& loop, int target) {
  if (loop.target == target) return;
  const auto byte = static_cast<std::uint8_t>(static_cast<std::int8_t>(target));
  if (camera_.WriteFPGAREG(wire::kFpgaCoolerTarget, byte)) loop.target = target;
}

// Also when it has not changed: each write feeds the watchdog.
bool Cooler::WriteDrive(double percent) {
  const auto drive =
      static_cast<unsigned short>(std::lround(std::clamp(percent, 0.0, 100.0) * kFullDrive / 100.0));
  if (!camera_.WriteFPGAREG(wire::kFpgaCoolerPower, drive)) return false;
  camera_.coolPowerPerc = static_cast<float>(percent);
  return true;
}

// True when the loop is to end.
bool Cooler::Wait(Clock::duration time) {
  MutexLock lock(mutex_);
  return lock.WaitFor(wake_, time, [this]() ORQ_REQUIRES(mutex_) { return quit_; });
}

void Cooler::SetTrouble(std::string text, std::optional<double> reach) {
  const MutexLock lock(mutex_);
  trouble_ = std::move(text);
  reach_ = reach;
}

}  // namespace orq
