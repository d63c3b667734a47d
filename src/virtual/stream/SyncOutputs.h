// The two trigger outputs: a pulse at each exposure.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "virtual/stream/SyncEdge.h"

namespace orq {

class FpgaRegisters;

struct SyncSetting {
  bool on = false;
  bool activeHigh = false;
  std::uint32_t delayUs = 0;  ///< from the start of the exposure
  std::uint32_t keepUs = 0;   ///< length of the pulse; 0: none
};

inline constexpr std::size_t kSyncOutputs = 2;

std::array<SyncSetting, kSyncOutputs> SyncSettingsOf(const FpgaRegisters& fpga);

/// One output line. Off it is low; on it rests at its inactive level. An exposure that begins during a pulse, or
/// while one is awaited, begins the pulse anew. Times are device time in µs. Caller-serialised.
class SyncOutput {
 public:
  static constexpr std::size_t kLoggedEdges = 4096;  ///< older ones are forgotten

  void Set(const SyncSetting& setting, std::uint64_t nowUs);
  void ExposureBegins(std::uint64_t startUs);
  /// The exposure was broken off: no pulse any more.
  void Stop(std::uint64_t nowUs);
  /// Power-up: low and without a past.
  void Reset() { *this = SyncOutput(); }
  /// All edges until now.
  const std::vector<SyncEdge>& Edges(std::uint64_t nowUs);

 private:
  void Advance(std::uint64_t nowUs);
  void Drive(std::uint64_t timeUs);

  SyncSetting setting_;
  bool active_ = false;
  bool high_ = false;
  std::optional<std::uint64_t> beginUs_;  ///< of the pulse that is awaited
  std::optional<std::uint64_t> endUs_;    ///< of the pulse that is awaited or under way
  std::vector<SyncEdge> edges_;
};

}  // namespace orq
