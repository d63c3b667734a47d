// The cooler of a camera: its controls and the loop that regulates the sensor's temperature.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <string>
#include <thread>

#include "models/ModelData.h"
#include "support/Mutex.h"
#include "support/Relaxed.h"

class CCameraBase;

namespace orq {

/// Cooling of one camera. Off until it is switched on, and off again whenever the camera is closed or lost.
///
/// While it is on, a thread of its own reads the sensor's temperature once per second of the camera's time,
/// decides the drive (CoolerRegulator.h) and writes it. Every write feeds the hardware's watchdog, which ends the
/// cooling when the program does not. A reading that fails holds the drive; after `kFailuresHeld` in a row the
/// drive goes to 0 until readings return, and the ramp then begins anew. When the camera is gone the thread ends.
///
/// Target and drive are the camera's `TargetTemp` and `coolPowerPerc`. Switching and asking are any-thread;
/// `MakeSafe` and `Abandon` are caller-serialised with opening and closing.
class Cooler {
 public:
  static constexpr int kFailuresHeld = 5;

  /// `camera` must outlive it. `timeScale`: seconds of the computer per second of the camera; 0, where the
  /// camera's time stands still, counts as 1.
  Cooler(CCameraBase& camera, const CoolerData& data, double timeScale);
  /// Ends the thread and touches the device no more.
  ~Cooler();

  /// Arms the watchdog, starts a fan that stands still, and starts regulating. False when the camera is closed or
  /// refuses; nothing is then on.
  bool SwitchOn();
  /// The drive falls to 0 at once; to warm the sensor slowly, raise the target first. False when the camera is
  /// open and refuses (the watchdog then ends the cooling).
  bool SwitchOff();
  bool IsOn() const { return on_; }

  /// False when the camera is closed or refuses.
  bool SetHeater(bool on);
  bool HeaterOn() const { return heater_; }

  /// Cooler and heater off, watchdog off, whatever ran before. False when the camera refuses.
  bool MakeSafe();
  /// Ends the thread and forgets what was on, without a word to the device: it is gone, or another one by now.
  void Abandon();

  /// What keeps the loop from regulating, as one line for a user; empty when nothing does.
  std::string Trouble() const;

 private:
  void EndThread() ORQ_REQUIRES(switching_);
  void Run();
  bool Regulate(RegulatorState& state, int& failures, double seconds);
  bool WriteDrive(double percent);
  bool WriteOff();
  bool Wait(std::chrono::steady_clock::duration time);
  void SetTrouble(std::string text);

  CCameraBase& camera_;
  const CoolerData data_;
  const double timeScale_;

  Mutex switching_;  ///< one switching at a time; never taken by the thread
  std::thread thread_ ORQ_GUARDED_BY(switching_);
  Relaxed<bool> on_{false};
  Relaxed<bool> heater_{false};

  mutable Mutex mutex_;
  std::condition_variable wake_;
  bool quit_ ORQ_GUARDED_BY(mutex_) = false;
  std::string trouble_ ORQ_GUARDED_BY(mutex_);
};

/// Whether the camera's thermometer answers with a reading that can be one. The readers of temperatures
/// answer with the last good value when it does not, which a regulator must know. Any-thread.
bool ThermometerAnswers(CCameraBase& camera);

}  // namespace orq
