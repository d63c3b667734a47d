// The faults that a virtual camera's flash was told to have.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "virtual/bus/VirtualOptions.h"

namespace orq {

/// Counts the flash's operations and tells which fail. Caller-serialised.
class FlashFaults {
 public:
  explicit FlashFaults(const VirtualOptions& options) : faults_(options.flashFaults) {}

  /// One more fault; its number counts from the next operation on.
  void Add(const FlashFault& fault);

  // Each counts one operation.
  bool NextEraseFails() { return Strikes(FlashFault::Kind::Erase, ++erases_); }
  bool NextReadFails() { return Strikes(FlashFault::Kind::Read, ++reads_); }
  enum class Write : std::uint8_t { Good, Weak, PowerLoss };
  Write NextWrite();

 private:
  bool Strikes(FlashFault::Kind kind, std::uint64_t number) const;

  std::vector<FlashFault> faults_;  ///< numbers count from the camera's making
  std::uint64_t erases_ = 0;
  std::uint64_t reads_ = 0;
  std::uint64_t writes_ = 0;
};

/// `data` as a weak write programs it: one bit that should have been cleared, chosen by `seed`, stays set. Data
/// without such a bit are programmed well.
std::vector<std::uint8_t> WeaklyProgrammed(std::span<const std::uint8_t> data, std::uint64_t seed);

/// How many of `bytes` bytes are programmed when power is lost in the middle: the pages before the middle one, and
/// half of that.
std::size_t ProgrammedBeforePowerLoss(std::size_t bytes);

}  // namespace orq
