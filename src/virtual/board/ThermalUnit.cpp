#include "virtual/board/ThermalUnit.h"

#include <algorithm>
#include <cmath>

namespace orq {
namespace {

constexpr double kDefaultSensorC = 20.0;
constexpr double kFull = 255.0;

double HeldCelsius(double celsius) {
  return std::isnan(celsius) ? kDefaultSensorC : std::clamp(celsius, -100.0, 100.0);
}

int HeldDrive(int drive) {
  return std::clamp(drive, 0, 255);
}

/// Of temperature and surroundings the one that is not given follows from the other, as in a camera that has been
/// running for long.
double StartAmbient(const VirtualOptions& options) {
  return HeldCelsius(options.ambientC.value_or(options.temperatureC.value_or(kDefaultSensorC) - kSelfHeatingC));
}

double StartSensor(const VirtualOptions& options) {
  return options.temperatureC.value_or(StartAmbient(options) + kSelfHeatingC);
}

}  // namespace

ThermalInputs ThermalUnit::Inputs::Model() const {
  return {.ambientC = ambientC,
          .cooler = cooler / kFull,
          .heater = heater / kFull,
          .fan = FanSpeed() / kFull,
          .running = running};
}

ThermalUnit::ThermalUnit(const VirtualOptions& options, const DeviceClock& clock) : clock_(clock) {
  last_.seconds = clock.Seconds();
  last_.inputs.ambientC = StartAmbient(options);
  last_.temperatures = {StartSensor(options), StartAmbient(options)};
}

/// The state at a time from that of the last change on; the watchdog may strike in between.
ThermalUnit::Moment ThermalUnit::At(double seconds) const {
  Moment moment = last_;
  const double strikesAt = std::max(coolerWrittenAt_ + watchdogSeconds_, last_.seconds);
  if (watchdogSeconds_ > 0 && moment.inputs.cooler > 0 && seconds >= strikesAt) {
    moment.temperatures = After(moment.temperatures, moment.inputs.Model(), strikesAt - moment.seconds);
    moment.seconds = strikesAt;
    moment.inputs.cooler = 0;
  }
  moment.temperatures = After(moment.temperatures, moment.inputs.Model(), std::max(seconds - moment.seconds, 0.0));
  moment.seconds = std::max(seconds, moment.seconds);
  return moment;
}

template <class Change>
void ThermalUnit::Apply(Change change) {
  const MutexLock lock(mutex_);
  last_ = At(clock_.Seconds());
  change(last_.inputs);
}

void ThermalUnit::SetAmbient(double celsius) {
  Apply([=](Inputs& inputs) { inputs.ambientC = HeldCelsius(celsius); });
}

void ThermalUnit::SetRunning(bool running) {
  Apply([=](Inputs& inputs) { inputs.running = running; });
}

void ThermalUnit::SetCooler(int drive) {
  Apply([this, drive](Inputs& inputs) ORQ_REQUIRES(mutex_) {
    inputs.cooler = HeldDrive(drive);
    coolerWrittenAt_ = last_.seconds;
  });
}

void ThermalUnit::SetHeater(int drive) {
  Apply([=](Inputs& inputs) { inputs.heater = HeldDrive(drive); });
}

void ThermalUnit::SetWatchdog(int seconds) {
  Apply([this, seconds](Inputs&) ORQ_REQUIRES(mutex_) { watchdogSeconds_ = std::max(seconds, 0); });
}

void ThermalUnit::SetFan(std::optional<int> speed) {
  Apply([=](Inputs& inputs) { inputs.fan = speed ? std::optional(HeldDrive(*speed)) : std::nullopt; });
}

void ThermalUnit::Resume(const ThermalState& temperatures, double away) {
  const MutexLock lock(mutex_);
  last_ = At(clock_.Seconds());
  last_.seconds -= away;
  last_.temperatures = temperatures;
  last_.inputs.running = true;
  coolerWrittenAt_ = last_.seconds;
}

void ThermalUnit::Reset() {
  Apply([this](Inputs& inputs) ORQ_REQUIRES(mutex_) {
    inputs.cooler = 0;
    inputs.heater = 0;
    inputs.fan.reset();
    watchdogSeconds_ = 0;
  });
}

double ThermalUnit::SensorC() const {
  return Now().temperatures.sensorC;
}

int ThermalUnit::CoolerDrive() const {
  return Now().coolerDrive;
}

ThermalUnit::Snapshot ThermalUnit::Now() const {
  const MutexLock lock(mutex_);
  const Moment now = At(clock_.Seconds());
  return {.temperatures = now.temperatures,
          .ambientC = now.inputs.ambientC,
          .coolerDrive = now.inputs.cooler,
          .heaterDrive = now.inputs.heater,
          .fanSpeed = now.inputs.FanSpeed()};
}

}  // namespace orq
