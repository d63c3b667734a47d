// The frame endpoint of an emulated camera: moves the firmware's stream into the hosts' bulk requests.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>

#include "emulation/common/BulkRequests.h"
#include "virtual/bus/VirtualCamera.h"

namespace orq {

/// Caller-serialised.
class FrameEndpoint {
 public:
  using Clock = std::chrono::steady_clock;

  FrameEndpoint(std::shared_ptr<VirtualCamera> camera, BulkRequests& requests, int packetBytes);

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
  /// Leaves all transfers without an answer from now on.
  void Silence() { silent_ = true; }

 private:
  Clock::time_point Move(BulkRequest& request);
  Clock::time_point MovePart(BulkRequest& request);
  Clock::time_point Take(BulkRequest& request, const BulkStep& step);

  const std::shared_ptr<VirtualCamera> camera_;
  BulkRequests& requests_;
  const std::size_t packet_;
  bool halted_ = false;
  bool silent_ = false;
  bool gone_ = false;
  std::deque<int> failures_;
};

}  // namespace orq
