// Several registers of a camera that change together.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

class CCameraFX3;

namespace orq {

struct RegisterWrite {
  bool sensor = false;  ///< of the image sensor; else of the FPGA
  std::uint16_t reg = 0;
  std::uint8_t value = 0;
};

/// Byte writes, in order. Multi-byte values are split least significant byte first.
class RegisterBatch {
 public:
  void Fpga(std::uint16_t reg, std::uint64_t value, int bytes = 1) { Add(false, reg, value, bytes); }
  void Sensor(std::uint16_t reg, std::uint64_t value, int bytes = 1) { Add(true, reg, value, bytes); }
  std::span<const RegisterWrite> Writes() const { return writes_; }

 private:
  void Add(bool sensor, std::uint16_t reg, std::uint64_t value, int bytes);

  std::vector<RegisterWrite> writes_;
};

class Sensor;
struct SensorStep;

/// Writes `batch` and a new settings tag inside the FPGA's update hold, so that a frame sees all of it or nothing,
/// and its header says which. When a write is refused, `previous` (what the registers held) is written again
/// before the hold ends, under one more tag (sensor registers know no hold), and the result is false.
bool WriteHeld(CCameraFX3& link, const RegisterBatch& batch, const RegisterBatch& previous);
/// The same for registers of a sensor that has a way of its own to take them up together.
bool WriteHeld(CCameraFX3& link, const RegisterBatch& batch, const RegisterBatch& previous, const Sensor& sensor);
/// A power sequence of a sensor, with its waits; ends at the first refused write, and is false then.
bool RunSteps(CCameraFX3& link, std::span<const SensorStep> steps);
/// A new settings tag alone: frames exposed before bear another one. False when it was refused.
bool WriteTag(CCameraFX3& link);
/// The tag that the camera has; false when it cannot be read.
bool ReadTag(CCameraFX3& link, std::uint32_t& tag);
/// Ends a hold that somebody left on: what was written under it takes effect.
bool ReleaseHold(CCameraFX3& link);

}  // namespace orq
