#include "virtual/stream/SyncOutputs.h"

#include <algorithm>

#include "link/WireProtocol.h"
#include "virtual/device/FpgaRegisters.h"

namespace orq {

std::array<SyncSetting, kSyncOutputs> SyncSettingsOf(const FpgaRegisters& fpga) {
  const int bits = fpga.Read(wire::kFpgaSyncControl);
  const auto time = [&](std::uint16_t reg) {
    return static_cast<std::uint32_t>(fpga.ReadWide(static_cast<std::uint8_t>(reg), 4));
  };
  return {{{.on = (bits & wire::kSyncAEnable) != 0,
            .activeHigh = (bits & wire::kSyncAHigh) != 0,
            .delayUs = time(wire::kFpgaSyncADelay),
            .keepUs = time(wire::kFpgaSyncAKeep)},
           {.on = (bits & wire::kSyncBEnable) != 0,
            .activeHigh = (bits & wire::kSyncBHigh) != 0,
            .delayUs = time(wire::kFpgaSyncBDelay),
            .keepUs = time(wire::kFpgaSyncBKeep)}}};
}

void SyncOutput::Set(const SyncSetting& setting, std::uint64_t nowUs) {
  Advance(nowUs);
  setting_ = setting;
  if (!setting_.on) {
    beginUs_.reset();
    endUs_.reset();
    active_ = false;
  }
  Drive(nowUs);
}

void SyncOutput::ExposureBegins(std::uint64_t startUs) {
  Advance(startUs);
  if (!setting_.on || setting_.keepUs == 0) return;
  if (setting_.delayUs > 0) {
    active_ = false;
    Drive(startUs);
  }
  beginUs_ = startUs + setting_.delayUs;
  endUs_ = *beginUs_ + setting_.keepUs;
}

void SyncOutput::Stop(std::uint64_t nowUs) {
  Advance(nowUs);
  beginUs_.reset();
  endUs_.reset();
  active_ = false;
  Drive(nowUs);
}

const std::vector<SyncEdge>& SyncOutput::Edges(std::uint64_t nowUs) {
  Advance(nowUs);
  return edges_;
}

void SyncOutput::Advance(std::uint64_t nowUs) {
  if (beginUs_ && *beginUs_ <= nowUs) {
    active_ = true;
    Drive(*beginUs_);
    beginUs_.reset();
  }
  if (!beginUs_ && endUs_ && *endUs_ <= nowUs) {
    active_ = false;
    Drive(*endUs_);
    endUs_.reset();
  }
}

/// Brings the line to the level that it is to have.
void SyncOutput::Drive(std::uint64_t timeUs) {
  const bool high = setting_.on && active_ == setting_.activeHigh;
  if (high == high_) return;
  high_ = high;
  if (edges_.size() == kLoggedEdges) edges_.erase(edges_.begin());
  // An exposure may be found to have begun a little before the last change that was asked for.
  edges_.push_back({edges_.empty() ? timeUs : std::max(timeUs, edges_.back().timeUs), high});
}

}  // namespace orq
