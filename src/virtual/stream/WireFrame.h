// One frame as the device sends it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "link/WireProtocol.h"
#include "virtual/faults/FaultScript.h"

namespace orq {

using Payload = std::vector<std::uint8_t>;

/// Bytes of `samples` samples in a wire format.
constexpr std::size_t PayloadBytes(std::size_t samples, std::uint8_t format) {
  return samples * ((format & wire::kFormat16Bit) != 0 ? 2 : 1);
}

/// ADC counts as transferred samples: left-aligned 16-bit values in the byte order of `format`, or their top 8
/// bits. `out` holds `PayloadBytes(adu.size(), format)` bytes.
void PackSamples(std::span<const std::uint16_t> adu, int adcBits, std::uint8_t format,
                 std::span<std::uint8_t> out);

/// Header, payload and trailer, cut and damaged as planned, read out piece by piece. The payload is shared, never
/// copied but into the host's buffer.
class WireFrame {
 public:
  static constexpr std::size_t kOversizeBytes = 1000;  ///< what an oversize frame has after its trailer

  /// `limit`: longest frame that the controller passes on; 0: none.
  void Build(wire::FrameHeader header, std::shared_ptr<const Payload> payload, const FramePlan& plan,
             std::uint64_t limit, int packet);
  void Release() { payload_.reset(); }
  /// Nothing comes after the first `bytes` bytes, of which `Sent()` have gone.
  void CutAt(std::size_t bytes) {
    total_ = eventAt_ = bytes;
    event_ = FramePlan::Event::None;
  }

  std::size_t Total() const { return total_; }
  std::size_t Sent() const { return sent_; }
  /// Bytes after which the planned event strikes; `Total()` without one.
  std::size_t EventAt() const { return eventAt_; }
  FramePlan::Event Event() const { return event_; }
  /// The next `out.size()` bytes, which must exist.
  void Send(std::span<std::uint8_t> out);

 private:
  std::array<std::uint8_t, wire::kHeaderBytes> header_{};
  std::shared_ptr<const Payload> payload_;
  std::array<std::uint8_t, wire::kTrailerBytes + kOversizeBytes> tail_{};
  std::size_t total_ = 0;
  std::size_t sent_ = 0;
  std::size_t eventAt_ = 0;
  FramePlan::Event event_ = FramePlan::Event::None;
};

}  // namespace orq
