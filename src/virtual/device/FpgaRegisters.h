// The FPGA's register file with its update hold.
#pragma once

#include <array>
#include <cstdint>

namespace orq {

/// 256 eight-bit registers. While the update hold is set, writes to the registers of region, format, exposure,
/// settings tag, GPS lines and output pulses wait; clearing the hold lets them take effect together. Until then
/// they read as before. Caller-serialised.
class FpgaRegisters {
 public:
  static constexpr std::uint16_t kCount = 256;

  /// A write by the host; writes to read-only registers are ignored.
  void Write(std::uint8_t reg, std::uint8_t value);
  /// Whether the update hold is on.
  bool Holding() const;
  std::uint8_t Read(std::uint8_t reg) const { return values_[reg]; }
  /// `bytes` registers from `reg` on, least significant first.
  std::uint64_t ReadWide(std::uint8_t reg, int bytes) const;

  /// Sets a register from inside the device: read-only ones too, past the hold.
  void Set(std::uint8_t reg, std::uint8_t value) { values_[reg] = value; }
  void SetWide(std::uint8_t reg, int bytes, std::uint64_t value);
  /// All registers 0, nothing waiting.
  void Clear();

  const std::array<std::uint8_t, kCount>& All() const { return values_; }
  /// Gives every register that the host may write the value it had in `values`. What is under way is not taken up
  /// again: frame output, the update hold and the hub's reset.
  void Restore(const std::array<std::uint8_t, kCount>& values);

 private:
  void TakeEffect();

  std::array<std::uint8_t, kCount> values_{};
  std::array<std::uint8_t, kCount> waiting_{};
  std::array<bool, kCount> isWaiting_{};
};

}  // namespace orq
