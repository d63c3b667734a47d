// The GPS part of the FPGA: what the host reads of a latch.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "virtual/device/DeviceData.h"
#include "virtual/device/FpgaRegisters.h"
#include "virtual/gps/GpsLatch.h"
#include "virtual/gps/GpsReceiver.h"

namespace orq {

/// Constant after construction; any-thread.
class GpsUnit {
 public:
  /// Makes the unit of a model with GPS, nothing for others. False with a one-line reason in `error` when the
  /// receiver cannot be made.
  static bool Make(const DeviceData& device, const VirtualOptions& options, std::optional<GpsUnit>& unit,
                   std::string& error);

  /// The status register: presence and version of the records.
  std::uint8_t Status() const { return static_cast<std::uint8_t>(version_ << 1 | 1); }
  /// Brings a register of the blocks or of the latch counter up to date; the counter as a whole when its first
  /// byte is read.
  void BeforeRead(std::uint8_t reg, FpgaRegisters& fpga, const GpsLatch& latch) const;
  /// The answer to a block request: latch counter and block of the start (0) or end (1) line; false for other
  /// lines and for records of another version.
  bool ReadBlock(int line, const GpsLatch& latch, std::span<std::uint8_t> out) const;
  /// The answer to the request for a whole latch: counter, start block, end block; false for records of another
  /// version.
  bool ReadLatch(const GpsLatch& latch, std::span<std::uint8_t> out) const;

 private:
  GpsUnit(const DeviceData& device, int version, GpsReceiver receiver)
      : device_(&device), version_(version), receiver_(std::move(receiver)) {}

  GpsFix FixOf(const GpsLatch& latch, bool start) const;

  const DeviceData* device_;
  int version_;
  GpsReceiver receiver_;
};

}  // namespace orq
