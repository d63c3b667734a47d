// A camera whose setters apply and store, for the tests of automatic control.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <vector>

#include "support/RecordingCamera.h"

namespace orq::test {

/// Frames of `width` x `height` samples fill half of its buffer with one byte per sample, all of it with two.
class AutoCamera : public RecordingCamera {
 public:
  explicit AutoCamera(int width = 64, int height = 48) {
    modelName = "Tavix ORQ-T46C";
    iMaxWidth = width;
    iMaxHeight = height;
    iWidth = width;
    iHeight = height;
    limits.gainMin = 0;
    limits.gainMax = 600;  // steps of 6 and 12
    gain = 20;
    exposureUs = 50'000;
    expReg = 1000;
    WB_Red = WB_Blue = 50;
    InitVariable();
    TakeCalls();
  }

  bool SetGain(int value, bool on) override {
    RecordingCamera::SetGain(value, on);
    gain = std::clamp(value, limits.gainMin, limits.gainMax);
    AutoGain = on;
    ++sets;
    return true;
  }
  bool SetExp(unsigned long long us, bool on) override {
    RecordingCamera::SetExp(us, on);
    exposureUs = us;
    AutoExp = on;
    ++sets;
    return true;
  }
  bool SetWB(int red, int blue, bool on) override {
    RecordingCamera::SetWB(red, blue, on);
    WB_Red = red;
    WB_Blue = blue;
    autoWB = on;
    ++balances;
    return true;
  }
  bool IsHardBinRun() override {
    RecordingCamera::IsHardBinRun();
    return hardBinRuns;
  }

  std::size_t BufferBytes() const {
    return static_cast<std::size_t>(iMaxWidth) * static_cast<std::size_t>(iMaxHeight) * 2;
  }
  void Fill(int value) { std::memset(autoBuf.get(), value, BufferBytes()); }
  void Measure() { AutoExpGain(autoBuf.get()); }
  /// The setters called so far, oldest first; forgets them.
  std::vector<std::string> TakeSets() {
    std::vector<std::string> taken = TakeCalls();
    std::erase(taken, "IsHardBinRun");
    return taken;
  }

  bool hardBinRuns = false;
  std::atomic<int> sets{0};
  std::atomic<int> balances{0};
};

}  // namespace orq::test
