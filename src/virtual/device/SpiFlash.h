// The virtual camera's SPI flash chip.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace orq {

/// 8 MiB of NOR flash: erasing sets every bit of a 64 KiB sector, programming can only clear bits. Callers check
/// ranges with `Contains`. Caller-serialised.
class SpiFlash {
 public:
  static constexpr std::uint32_t kBytes = 0x800000;
  static constexpr std::uint32_t kSectorBytes = 0x10000;
  static constexpr std::uint32_t kSectors = kBytes / kSectorBytes;
  static constexpr std::uint32_t kPageBytes = 256;

  /// Factory state: every bit set.
  SpiFlash();

  static bool Contains(std::uint32_t address, std::size_t bytes) {
    return address <= kBytes && bytes <= kBytes - address;
  }

  void Erase(std::uint32_t sector);
  /// Page programs as the controller issues them: one per 256 bytes of data, the first at `address`. Within a page
  /// program the chip's address counter wraps at the end of the page.
  void Program(std::uint32_t address, std::span<const std::uint8_t> data);
  std::span<const std::uint8_t> Read(std::uint32_t address, std::size_t bytes) const;
  std::span<std::uint8_t> Cells(std::uint32_t address, std::size_t bytes);

 private:
  std::vector<std::uint8_t> cells_;
};

}  // namespace orq
