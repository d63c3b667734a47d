#include "models/RegisterBatch.h"

#include <algorithm>
#include <cassert>

#include "camera/CameraFX3.h"
#include "link/WireProtocol.h"

namespace orq {
namespace {

bool Write(CCameraFX3& link, const RegisterWrite& write) {
  return write.sensor ? link.WriteSONYREG(write.reg, write.value) : link.WriteFPGAREG(write.reg, write.value);
}

bool WriteAll(CCameraFX3& link, const RegisterBatch& batch) {
  return std::ranges::all_of(batch.Writes(), [&](const RegisterWrite& write) { return Write(link, write); });
}

}  // namespace

void RegisterBatch::Add(bool sensor, std::uint16_t reg, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) {
    assert(count_ < writes_.size());
    writes_[count_++] = {sensor, static_cast<std::uint16_t>(reg + i), static_cast<std::uint8_t>(value >> (8 * i))};
  }
}

bool WriteHeld(CCameraFX3& link, const RegisterBatch& batch, const RegisterBatch& previous) {
  const auto hold = link.LockUpdateHold();
  if (!link.WriteFPGAREG(wire::kFpgaUpdateHold, 1)) return false;
  if (WriteAll(link, batch) && link.WriteFPGAREG(wire::kFpgaUpdateHold, 0)) return true;
  // Each on its own: one refused register must not keep the others from going back.
  for (const RegisterWrite& write : previous.Writes()) Write(link, write);
  link.WriteFPGAREG(wire::kFpgaUpdateHold, 0);
  return false;
}

}  // namespace orq
