#include "models/camera/RegisterBatch.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "link/CameraFX3.h"
#include "link/WireProtocol.h"
#include "models/sensors/PlainSensor.h"
#include "support/LittleEndian.h"

namespace orq {
namespace {

constexpr int kTagBytes = 4;

bool Write(CCameraFX3& link, const RegisterWrite& write) {
  return write.sensor ? link.WriteSONYREG(write.reg, write.value) : link.WriteFPGAREG(write.reg, write.value);
}

bool WriteAll(CCameraFX3& link, const RegisterBatch& batch) {
  return std::ranges::all_of(
      batch.Writes(), [&](const RegisterWrite& write) { return Write(link, write); });
}

/// Last of a batch: a sensor may take its registers up before the FPGA does, and a frame with the new tag has all
/// of them.
bool WriteNextTag(CCameraFX3& link) {
  RegisterBatch tag;
  tag.Fpga(wire::kFpgaSettingsTag, link.Tag().CountUp(), kTagBytes);
  return WriteAll(link, tag);
}

}  // namespace

void RegisterBatch::Add(bool sensor, std::uint16_t reg, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i)
    writes_.push_back({sensor, static_cast<std::uint16_t>(reg + i), static_cast<std::uint8_t>(value >> (8 * i))});
}

bool RunSteps(CCameraFX3& link, std::span<const SensorStep> steps) {
  return std::ranges::all_of(
      steps,
      [&](const SensorStep& step) {
        if (!link.WriteSONYREG(step.reg, step.value)) return false;
        if (step.waitUs != 0) std::this_thread::sleep_for(std::chrono::microseconds(step.waitUs));
        return true;
      });
}

bool WriteHeld(CCameraFX3& link, const RegisterBatch& batch, const RegisterBatch& previous) {
  return WriteHeld(link, batch, previous, kPlainSensor);
}

bool WriteHeld(CCameraFX3& link, const RegisterBatch& batch, const RegisterBatch& previous, const Sensor& sensor) {
  const auto hold = link.LockUpdateHold();
  if (!link.WriteFPGAREG(wire::kFpgaUpdateHold, 1)) return false;
  const bool ofSensor = std::ranges::any_of(batch.Writes(), &RegisterWrite::sensor);
  const auto begin = ofSensor ? sensor.BeginTogether() : std::span<const SensorStep>();
  const auto end = ofSensor ? sensor.EndTogether() : std::span<const SensorStep>();
  if (RunSteps(link, begin) && WriteAll(link, batch) && RunSteps(link, end) && WriteNextTag(link) &&
      link.WriteFPGAREG(wire::kFpgaUpdateHold, 0))
    return true;
  // Each on its own: one refused register must not keep the others from going back.
  for (const RegisterWrite& write : previous.Writes()) Write(link, write);
  RunSteps(link, end);
  WriteNextTag(link);
  link.WriteFPGAREG(wire::kFpgaUpdateHold, 0);
  return false;
}

bool WriteTag(CCameraFX3& link) {
  return WriteHeld(link, {}, {});
}

bool ReadTag(CCameraFX3& link, std::uint32_t& tag) {
  std::array<std::uint8_t, kTagBytes> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i)
    if (!link.ReadFPGAREG(static_cast<unsigned short>(wire::kFpgaSettingsTag + i), &bytes[i])) return false;
  tag = static_cast<std::uint32_t>(GetLittle(bytes, 0, bytes.size()));
  return true;
}

bool ReleaseHold(CCameraFX3& link) {
  const auto hold = link.LockUpdateHold();
  return link.WriteFPGAREG(wire::kFpgaUpdateHold, 0);
}

}  // namespace orq
