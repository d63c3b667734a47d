// The frame endpoint of an emulated camera: moves the firmware's stream into the clients' bulk requests.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <vector>

#include "emulation/bus/UrbQueue.h"
#include "virtual/VirtualCamera.h"

namespace orq {

/// Caller-serialised.
class FrameEndpoint {
 public:
  using Clock = std::chrono::steady_clock;

  FrameEndpoint(std::shared_ptr<VirtualCamera> camera, UrbQueue& queue, int packetBytes);

  /// Moves the next bytes, one step of bounded size. Returns when to come back: `min()` at once, `max()` when
  /// something happens.
  Clock::time_point Serve();
  /// True when the camera said that it is gone.
  bool Gone() const { return gone_; }

  bool Halted() const { return halted_; }
  /// Refuses all transfers until the halt is cleared.
  void Halt() { halted_ = true; }
  void ClearHalt();
  /// Ends the next transfer with this negative errno.
  void FailNext(int error) { failures_.push_back(error); }

 private:
  Clock::time_point Move(Urb& urb);
  Clock::time_point MovePart(Urb& urb);
  Clock::time_point Take(Urb& urb, const BulkStep& step);
  std::span<std::uint8_t> Window(Urb& urb);
  bool Deliver(Urb& urb, std::size_t bytes);

  const std::shared_ptr<VirtualCamera> camera_;
  UrbQueue& queue_;
  const std::size_t packet_;
  bool halted_ = false;
  bool gone_ = false;
  std::deque<int> failures_;
  std::vector<std::uint8_t> bounce_;  ///< on the way into another process
};

}  // namespace orq
