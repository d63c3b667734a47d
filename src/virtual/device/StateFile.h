// What a virtual camera keeps between processes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "virtual/device/FpgaRegisters.h"
#include "virtual/device/SpiFlash.h"

namespace orq {

inline constexpr std::size_t kSensorRegisters = 0x10000;

/// The temperatures of a camera whose cooler was left on, and when that was.
struct DeviceWarmth {
  double sensorC = 0;  ///< kept to a hundredth
  double hotSideC = 0;
  std::int64_t unixMs = 0;
};

/// The registers as a program left them.
struct DeviceRegisters {
  std::array<std::uint8_t, FpgaRegisters::kCount> fpga{};
  std::vector<std::uint8_t> sensor = std::vector<std::uint8_t>(kSensorRegisters);
  std::optional<DeviceWarmth> warmth{};  ///< none: the cooler was off
};

/// What of a camera outlives the program that uses it.
struct DeviceMemory {
  std::array<std::uint8_t, 8> serial{};
  SpiFlash flash;
  std::optional<DeviceRegisters> registers;  ///< none: power-up values
};

enum class StateLoad { Loaded, Missing, Failed };

/// Reads `path` into `memory`. Missing: there is no such file. Failed: it cannot be read, is damaged or belongs to
/// another model; the reason is in `error` and `memory` is as it was.
StateLoad LoadState(const std::string& path, std::uint16_t productId, DeviceMemory& memory, std::string& error);

/// Replaces `path` as a whole (a file beside it, then a rename), so that a reader never sees half of it. False
/// with a reason in `error`; the old file is then still there.
bool SaveState(const std::string& path, std::uint16_t productId, const DeviceMemory& memory, std::string& error);

}  // namespace orq
