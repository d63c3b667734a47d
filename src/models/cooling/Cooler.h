// The cooler of a camera: its controls and the loop that regulates the sensor's temperature.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "models/cooling/CoolerReach.h"
#include "models/table/ModelData.h"
#include "support/threads/Mutex.h"
#include "support/threads/Relaxed.h"

class CCameraBase;

namespace orq {

/// Cooling of one camera. Off until it is switched on, or found on when the camera is opened; off again when the
/// camera is closed, unless it is to be kept, and when it is lost.
///
/// While it is on, a thread of its own reads the sensor's temperature once per second of the camera's time,
/// decides the drive (CoolerRegulator.h) and writes it. Every write feeds the hardware's watchdog, which ends the
/// cooling when the program does not. A reading that fails holds the drive; after `kFailuresHeld` in a row the
/// drive goes to 0 until readings return, and the ramp then begins anew. When the camera is gone the thread ends.
///
/// Target and drive are the camera's `TargetTemp` and `coolPowerPerc`. The device keeps the target, too, for the
/// next program. Switching and asking are any-thread; `Adopt`, `Leave` and `Abandon` are caller-serialised with
/// opening and closing.
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

  /// Takes over what runs: a driven cooler is regulated on from its drive to its target, with its watchdog armed,
  /// and kept when the camera is closed. What is off stays off. False when the camera does not answer.
  bool Adopt();
  /// Whether `Leave` leaves a running cooler on. Any-thread.
  void Keep(bool keep) { keep_ = keep; }
  /// Ends the regulating. Cooler, heater and watchdog go off; a cooler that is kept stays at its drive until the
  /// watchdog, set to its longest, ends it or the next program takes it over.
  void Leave();
  /// Ends the thread and forgets what was on, without a word to the device: it is gone, or another one by now.
  void Abandon();

  /// What keeps the loop from regulating, as one line for a user; empty when nothing does.
  std::string Trouble() const;
  /// How cold the sensor gets at full power, degrees Celsius, once that is known to fall short of the target.
  std::optional<double> Reach() const;

 private:
  /// What the thread remembers between two steps.
  struct Loop {
    RegulatorState state;
    CoolerReach reach;
    int failures = 0;
    std::optional<int> target;  ///< as the device has it
  };

  bool StartThread(const Loop& loop) ORQ_REQUIRES(switching_);
  void EndThread() ORQ_REQUIRES(switching_);
  void Run(Loop loop);
  bool Regulate(Loop& loop, double seconds);
  void TellTarget(Loop& loop, int target);
  bool WriteDrive(double percent);
  bool WriteOff();
  bool Wait(std::chrono::steady_clock::duration time);
  void SetTrouble(std::string text, std::optional<double> reach = {});

  CCameraBase& camera_;
  const CoolerData data_;
  const double timeScale_;

  Mutex switching_;  ///< one switching at a time; never taken by the thread
  std::thread thread_ ORQ_GUARDED_BY(switching_);
  Relaxed<bool> on_{false};
  Relaxed<bool> heater_{false};
  Relaxed<bool> keep_{false};

  mutable Mutex mutex_;
  std::condition_variable wake_;
  bool quit_ ORQ_GUARDED_BY(mutex_) = false;
  std::string trouble_ ORQ_GUARDED_BY(mutex_);
  std::optional<double> reach_ ORQ_GUARDED_BY(mutex_);
};

/// Whether the camera's thermometer answers with a reading that can be one. The readers of temperatures
/// answer with the last good value when it does not, which a regulator must know. Any-thread.
bool ThermometerAnswers(CCameraBase& camera);

}  // namespace orq
