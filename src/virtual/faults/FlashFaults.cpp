#include "virtual/faults/FlashFaults.h"

#include <algorithm>

#include "virtual/device/SpiFlash.h"
#include "virtual/faults/FaultScript.h"

namespace orq {

void FlashFaults::Add(const FlashFault& fault) {
  const bool erase = fault.kind == FlashFault::Kind::Erase;
  const std::uint64_t done = erase ? erases_ : fault.kind == FlashFault::Kind::Read ? reads_ : writes_;
  faults_.push_back({fault.kind, done + fault.operation});
}

FlashFaults::Write FlashFaults::NextWrite() {
  ++writes_;
  if (Strikes(FlashFault::Kind::PowerLoss, writes_)) return Write::PowerLoss;
  return Strikes(FlashFault::Kind::WeakWrite, writes_) ? Write::Weak : Write::Good;
}

bool FlashFaults::Strikes(FlashFault::Kind kind, std::uint64_t number) const {
  return std::ranges::any_of(
      faults_, [=](const FlashFault& fault) { return fault.kind == kind && fault.operation == number; });
}

std::vector<std::uint8_t> WeaklyProgrammed(std::span<const std::uint8_t> data, std::uint64_t seed) {
  std::vector<std::uint8_t> programmed(data.begin(), data.end());
  const std::uint64_t first = data.empty() ? 0 : SeededNumber(seed, data.size()) % data.size();
  for (std::size_t i = 0; i < data.size(); ++i) {
    std::uint8_t& byte = programmed[(first + i) % data.size()];
    if (byte != 0xFF) {
      byte |= static_cast<std::uint8_t>(byte + 1U);  // its lowest clear bit
      break;
    }
  }
  return programmed;
}

std::size_t ProgrammedBeforePowerLoss(std::size_t bytes) {
  constexpr std::size_t kPage = SpiFlash::kPageBytes;
  const std::size_t wholePages = bytes == 0 ? 0 : (bytes - 1) / kPage / 2 * kPage;
  return wholePages + std::min(kPage, bytes - wholePages) / 2;
}

}  // namespace orq
