#include "emulation/common/FrameEndpoint.h"

#include <algorithm>
#include <cerrno>
#include <vector>

namespace orq {
namespace {

using Clock = FrameEndpoint::Clock;

constexpr auto kAtOnce = Clock::time_point::min();
constexpr auto kOnEvent = Clock::time_point::max();

}  // namespace

FrameEndpoint::FrameEndpoint(std::shared_ptr<VirtualCamera> camera, BulkRequests& requests, int packetBytes)
    : camera_(std::move(camera)), requests_(requests), packet_(static_cast<std::size_t>(packetBytes)) {}

Clock::time_point FrameEndpoint::Serve() {
  BulkRequest* request = gone_ || silent_ ? nullptr : requests_.Oldest();
  if (request == nullptr) return kOnEvent;
  if (!failures_.empty()) {
    requests_.Finish(*request, failures_.front());
    failures_.pop_front();
    return kAtOnce;
  }
  if (halted_) {
    requests_.Finish(*request, -EPIPE);
    return kAtOnce;
  }
  return request->Room() >= packet_ ? Move(*request) : MovePart(*request);
}

void FrameEndpoint::ClearHalt() {
  halted_ = false;
  camera_->ClearHalt();
}

Clock::time_point FrameEndpoint::Move(BulkRequest& request) {
  const BulkStep step = camera_->ReadStream(request.Window(request.Room() / packet_ * packet_));
  if (step.kind == BulkStep::Kind::Data && !request.Keep(step.bytes)) {
    requests_.Finish(request, -EFAULT);
    return kAtOnce;
  }
  return Take(request, step);
}

/// Less than a packet fits. A device sends whole packets: a longer one is too much for the transfer.
Clock::time_point FrameEndpoint::MovePart(BulkRequest& request) {
  std::vector<std::uint8_t> packet(packet_);
  const BulkStep step = camera_->ReadStream(packet);
  if (step.kind != BulkStep::Kind::Data) return Take(request, step);
  const std::size_t fitting = std::min(step.bytes, request.Room());
  std::copy_n(packet.begin(), fitting, request.Window(fitting).begin());
  const bool kept = request.Keep(fitting);
  requests_.Finish(request, !kept ? -EFAULT : step.bytes > fitting ? -EOVERFLOW : 0);
  return kAtOnce;
}

Clock::time_point FrameEndpoint::Take(BulkRequest& request, const BulkStep& step) {
  switch (step.kind) {
    case BulkStep::Kind::Data:
      if (step.endOfTransfer || request.Room() == 0) requests_.Finish(request, 0);
      return kAtOnce;
    case BulkStep::Kind::Wait:
      return step.wakeAt;
    case BulkStep::Kind::Stall:
      halted_ = true;
      requests_.Finish(request, -EPIPE);
      return kAtOnce;
    case BulkStep::Kind::Error:
      requests_.Finish(request, -EPROTO);
      return kAtOnce;
    case BulkStep::Kind::Gone:
      break;
  }
  gone_ = true;
  return kOnEvent;
}

}  // namespace orq
