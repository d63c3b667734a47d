#include "virtual/device/SpiFlash.h"

#include <cstring>

namespace orq {

SpiFlash::SpiFlash() : cells_(kBytes, 0xFF) {}

void SpiFlash::Erase(std::uint32_t sector) {
  std::memset(Cells(sector * kSectorBytes, kSectorBytes).data(), 0xFF, kSectorBytes);
}

void SpiFlash::Program(std::uint32_t address, std::span<const std::uint8_t> data) {
  for (std::uint32_t i = 0; i < data.size(); ++i) {
    const std::uint32_t start = address + i / kPageBytes * kPageBytes;
    const std::uint32_t page = start / kPageBytes * kPageBytes;
    const std::uint32_t offset = (start + i % kPageBytes) % kPageBytes;
    cells_[page + offset] &= data[i];
  }
}

std::span<const std::uint8_t> SpiFlash::Read(std::uint32_t address, std::size_t bytes) const {
  return std::span(cells_).subspan(address, bytes);
}

std::span<std::uint8_t> SpiFlash::Cells(std::uint32_t address, std::size_t bytes) {
  return std::span(cells_).subspan(address, bytes);
}

}  // namespace orq
