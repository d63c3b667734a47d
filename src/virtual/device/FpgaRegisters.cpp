#include "virtual/device/FpgaRegisters.h"

#include "link/WireProtocol.h"

namespace orq {
namespace {

struct RegisterRange {
  std::uint16_t first;
  std::uint16_t last;
};

constexpr RegisterRange kHeld[] = {
    {wire::kFpgaSyncADelay, wire::kFpgaBin},
    {wire::kFpgaStartX, wire::kFpgaBandwidth},
    {wire::kFpgaSettingsTag, wire::kFpgaSettingsTag + 3},
    {wire::kFpgaGpsStartLine, wire::kFpgaGpsEndLine + 1},
};

constexpr RegisterRange kReadOnly[] = {
    {wire::kFpgaType, wire::kFpgaType},
    {wire::kFpgaGpsStatus, wire::kFpgaGpsStatus},
    {wire::kFpgaGpsStartBlock, wire::kFpgaExposureCount + 4},
    {wire::kFpgaAdjustable, wire::kFpgaAdjustable},
};

template <std::size_t N>
constexpr bool In(const RegisterRange (&ranges)[N], std::uint8_t reg) {
  for (const RegisterRange& range : ranges)
    if (reg >= range.first && reg <= range.last) return true;
  return false;
}

}  // namespace

bool FpgaRegisters::Holding() const {
  return (values_[wire::kFpgaUpdateHold] & 1U) != 0;
}

void FpgaRegisters::Write(std::uint8_t reg, std::uint8_t value) {
  if (In(kReadOnly, reg)) return;
  if (Holding() && In(kHeld, reg)) {
    waiting_[reg] = value;
    isWaiting_[reg] = true;
    return;
  }
  values_[reg] = value;
  if (reg == wire::kFpgaUpdateHold && !Holding()) TakeEffect();
}

void FpgaRegisters::TakeEffect() {
  for (std::size_t reg = 0; reg < kCount; ++reg)
    if (isWaiting_[reg]) values_[reg] = waiting_[reg];
  isWaiting_.fill(false);
}

std::uint64_t FpgaRegisters::ReadWide(std::uint8_t reg, int bytes) const {
  std::uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value |= std::uint64_t{values_[static_cast<std::size_t>(reg + i)]} << (8 * i);
  return value;
}

void FpgaRegisters::SetWide(std::uint8_t reg, int bytes, std::uint64_t value) {
  for (int i = 0; i < bytes; ++i)
    values_[static_cast<std::size_t>(reg + i)] = static_cast<std::uint8_t>(value >> (8 * i));
}

void FpgaRegisters::Clear() {
  values_.fill(0);
  isWaiting_.fill(false);
}

void FpgaRegisters::Restore(const std::array<std::uint8_t, kCount>& values) {
  for (std::size_t reg = 0; reg < kCount; ++reg) {
    const bool underWay = reg == wire::kFpgaRun || reg == wire::kFpgaUpdateHold || reg == wire::kFpgaHubCommand;
    if (!underWay && !In(kReadOnly, static_cast<std::uint8_t>(reg))) values_[reg] = values[reg];
  }
}

}  // namespace orq
