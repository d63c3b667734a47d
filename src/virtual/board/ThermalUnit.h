// The camera's temperatures over time: cooler with watchdog, window heater, fan, self-heating.
#pragma once

#include <optional>

#include "support/threads/Mutex.h"
#include "virtual/board/ThermalModel.h"
#include "virtual/bus/VirtualOptions.h"
#include "virtual/device/DeviceClock.h"

namespace orq {

/// Drives are 0 to 255. Asking changes nothing, so that the trajectory does not depend on who looks how often.
/// Any-thread; takes no other lock.
class ThermalUnit {
 public:
  /// `clock` must outlive the unit.
  ThermalUnit(const VirtualOptions& options, const DeviceClock& clock);

  /// Surroundings, °C, held to -100 … 100.
  void SetAmbient(double celsius);
  void SetRunning(bool running);
  /// Also starts the watchdog's time anew.
  void SetCooler(int drive);
  void SetHeater(int drive);
  /// Seconds from the last `SetCooler` until the drive falls to 0; 0: never.
  void SetWatchdog(int seconds);
  /// Nothing: the fan follows the cooler's drive.
  void SetFan(std::optional<int> speed);
  /// Goes on from these temperatures, which were there `away` seconds ago when the drive was last written.
  void Resume(const ThermalState& temperatures, double away);
  /// Cooler, heater and watchdog 0, the fan follows the cooler.
  void Reset();

  double SensorC() const;
  int CoolerDrive() const;

  struct Snapshot {
    ThermalState temperatures;
    double ambientC = 0;
    int coolerDrive = 0;
    int heaterDrive = 0;
    int fanSpeed = 0;
  };
  Snapshot Now() const;

 private:
  struct Inputs {
    double ambientC = 0;
    int cooler = 0;
    int heater = 0;
    std::optional<int> fan;
    bool running = true;

    int FanSpeed() const { return fan.value_or(cooler); }
    ThermalInputs Model() const;
  };
  struct Moment {
    double seconds = 0;  ///< device time
    ThermalState temperatures;
    Inputs inputs;  ///< from that time on
  };

  Moment At(double seconds) const ORQ_REQUIRES(mutex_);
  template <class Change>
  void Apply(Change change);

  const DeviceClock& clock_;
  mutable Mutex mutex_;
  Moment last_ ORQ_GUARDED_BY(mutex_);  ///< of the last change
  double coolerWrittenAt_ ORQ_GUARDED_BY(mutex_) = 0;
  int watchdogSeconds_ ORQ_GUARDED_BY(mutex_) = 0;
};

}  // namespace orq
