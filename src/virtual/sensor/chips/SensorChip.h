// What an image sensor makes of its registers.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "virtual/sensor/SensorData.h"

namespace orq {

/// What its registers make a sensor do from the next exposure on.
struct ChipSetting {
  bool running = false;                     ///< gives frames, as long as it has its clock
  bool warm = true;                         ///< heats itself, as long as it has its clock
  std::optional<std::uint64_t> exposureUs;  ///< by a shutter of its own; none: the FPGA's exposure counts
  std::uint64_t lineTimeNs = 0;         ///< of the readout mode, at full rate; 0: that of the sensor's table row
  int gain = 0;                         ///< as the frame's header states it
  int blackLevel = 0;                   ///< likewise
  int mode = 0;                         ///< readout mode, as the frame's header states it
  std::optional<PixelReadout> readout;  ///< what a pixel then reads; none: by gain and black level
};

/// The control side of one image sensor. Its registers (16-bit address, 8 bits each) stand in the firmware's
/// register file; the chip acts on what is written there. Caller-serialised.
class SensorChip {
 public:
  using Registers = std::span<std::uint8_t>;
  using Time = std::chrono::steady_clock::time_point;

  virtual ~SensorChip() = default;

  /// Power comes on, with the clock running: registers at their reset values.
  virtual void PowerUp(Registers registers) = 0;
  /// The registers were set other than by single writes, and the chip has been at work with them for long.
  virtual void TakeUp(Registers) {}
  virtual void SetClock(bool, Time) {}
  /// The host writes a register. `fpgaHold`: while the FPGA's update hold is on.
  virtual void Write(Registers registers, std::uint16_t reg, std::uint8_t value, bool fpgaHold, Time now) = 0;
  /// The FPGA's update hold has ended.
  virtual void EndFpgaHold(Registers) {}
  virtual ChipSetting Setting(std::span<const std::uint8_t> registers) const = 0;
};

/// Writes that take effect together, later.
class WaitingWrites {
 public:
  void Add(std::uint16_t reg, std::uint8_t value) { writes_.emplace_back(reg, value); }
  void TakeEffect(SensorChip::Registers registers) {
    for (const auto& [reg, value] : writes_) registers[reg] = value;
    writes_.clear();
  }
  void Forget() { writes_.clear(); }

 private:
  std::vector<std::pair<std::uint16_t, std::uint8_t>> writes_;
};

/// The chip of a model (`virtual:<model>`).
std::unique_ptr<SensorChip> MakeSensorChip(std::string_view model);

}  // namespace orq
