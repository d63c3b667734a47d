// What is still done when this program crashes: guide lines go off.
#pragma once

#include <orqcam/orqcam.h>

#include <cstddef>

namespace orq::indi {

/// While it lives, a guide pulse of `camera` may be under way, which a crash of the program ends first. Any
/// thread.
class PulseUnderWay {
 public:
  explicit PulseUnderWay(orq_camera* camera);
  ~PulseUnderWay();
  PulseUnderWay(const PulseUnderWay&) = delete;
  PulseUnderWay& operator=(const PulseUnderWay&) = delete;

 private:
  std::size_t at_;
};

/// From now on the signals of a crash end all pulses, within a second, before they end the program. A thread that
/// waits for them does so: what crashed may be anywhere, and only little may be called there. When it was the
/// thread of a pulse itself, its line stays on until the camera is opened again.
void endPulsesOnCrash();

}  // namespace orq::indi
