#include "virtual/gps/GpsUnit.h"

#include <algorithm>
#include <utility>

#include "virtual/gps/GpsBlocks.h"

namespace orq {
namespace {

bool Within(std::uint8_t reg, std::uint16_t first, std::size_t bytes) {
  return reg >= first && reg < first + bytes;
}

/// What follows the counter.
std::span<std::uint8_t> PutCount(std::uint32_t count, std::span<std::uint8_t> out) {
  for (std::size_t i = 0; i < wire::kGpsLatchCountBytes; ++i) out[i] = static_cast<std::uint8_t>(count >> (8 * i));
  return out.subspan(wire::kGpsLatchCountBytes);
}

}  // namespace

bool GpsUnit::Make(const DeviceData& device, const VirtualOptions& options, std::optional<GpsUnit>& unit,
                   std::string& error) {
  if (device.gpsVersion < 0) return true;
  const VirtualGps gps = options.gps.value_or(VirtualGps());
  std::optional<GpsReceiver> receiver = GpsReceiver::Make(gps, error);
  if (receiver) unit = GpsUnit(device, gps.version.value_or(device.gpsVersion), std::move(*receiver));
  return receiver.has_value();
}

void GpsUnit::BeforeRead(std::uint8_t reg, FpgaRegisters& fpga, const GpsLatch& latch) const {
  if (version_ < 1) return;
  if (reg == wire::kFpgaGpsLatchCount) {
    fpga.SetWide(reg, wire::kGpsLatchCountBytes, latch.count);
    return;
  }
  const bool start = Within(reg, wire::kFpgaGpsStartBlock, wire::kGpsBlockV1Bytes);
  if (start || Within(reg, wire::kFpgaGpsEndBlock, wire::kGpsBlockV1Bytes)) {
    const GpsBlockV1 block = PackGpsV1(FixOf(latch, start), device_->gpsTicksPerSecond);
    const int base = start ? wire::kFpgaGpsStartBlock : wire::kFpgaGpsEndBlock;
    fpga.Set(reg, block[static_cast<std::size_t>(reg - base)]);
  }
}

bool GpsUnit::ReadBlock(int line, const GpsLatch& latch, std::span<std::uint8_t> out) const {
  if (version_ != 0 || line > 1) return false;
  std::ranges::copy(PackGpsV0(FixOf(latch, line == 0)), PutCount(latch.count, out).begin());
  return true;
}

bool GpsUnit::ReadLatch(const GpsLatch& latch, std::span<std::uint8_t> out) const {
  if (version_ < 1) return false;
  const std::span<std::uint8_t> blocks = PutCount(latch.count, out);
  for (const bool start : {true, false}) {
    std::ranges::copy(PackGpsV1(FixOf(latch, start), device_->gpsTicksPerSecond),
                      blocks.subspan(start ? 0 : wire::kGpsBlockV1Bytes).begin());
  }
  return true;
}

/// The lines are latched ahead of their exposure by a time that the host knows.
GpsFix GpsUnit::FixOf(const GpsLatch& latch, bool start) const {
  if (latch.count == 0) return GpsFix();
  return receiver_.At((start ? latch.startSeconds : latch.endSeconds) - device_->gpsLeadUs * 1e-6);
}

}  // namespace orq
