#include "emulation/common/FrameEndpoint.h"

#include <algorithm>
#include <cerrno>

#include "link/WireProtocol.h"

namespace orq {
namespace {

using Clock = FrameEndpoint::Clock;

constexpr auto kAtOnce = Clock::time_point::min();
constexpr auto kOnEvent = Clock::time_point::max();
/// Small enough to stay in the processor's cache between the two copies that another process's memory takes.
constexpr std::size_t kBounceBytes = std::size_t{128} << 10U;

}  // namespace

FrameEndpoint::FrameEndpoint(std::shared_ptr<VirtualCamera> camera, UrbQueue& queue, int packetBytes)
    : camera_(std::move(camera)), queue_(queue), packet_(static_cast<std::size_t>(packetBytes)) {}

Clock::time_point FrameEndpoint::Serve() {
  Urb* urb = gone_ ? nullptr : queue_.Oldest(wire::kFrameEndpoint);
  if (urb == nullptr) {
    return kOnEvent;
  }
  if (!failures_.empty()) {
    queue_.Finish(*urb, failures_.front());
    failures_.pop_front();
    return kAtOnce;
  }
  if (halted_) {
    queue_.Finish(*urb, -EPIPE);
    return kAtOnce;
  }
  return urb->Remaining() >= packet_ ? Move(*urb) : MovePart(*urb);
}

void FrameEndpoint::ClearHalt() {
  halted_ = false;
  camera_->ClearHalt();
}

Clock::time_point FrameEndpoint::Move(Urb& urb) {
  const std::span<std::uint8_t> window = Window(urb);
  const BulkStep step = camera_->ReadStream(window);
  if (step.kind == BulkStep::Kind::Data && !Deliver(urb, step.bytes)) {
    queue_.Finish(urb, -EFAULT);
    return kAtOnce;
  }
  return Take(urb, step);
}

/// Less than a packet fits. A device sends whole packets: a longer one is too much for the transfer.
Clock::time_point FrameEndpoint::MovePart(Urb& urb) {
  std::vector<std::uint8_t> packet(packet_);
  const BulkStep step = camera_->ReadStream(packet);
  if (step.kind != BulkStep::Kind::Data) {
    return Take(urb, step);
  }
  const std::size_t fitting = std::min(step.bytes, urb.Remaining());
  const auto place = static_cast<std::size_t>(urb.record.actual_length);
  if (urb.memory->AnyTime()) {
    urb.memory->Write(urb.Buffer() + place, std::span(packet).first(fitting));
  } else {
    urb.staged.resize(static_cast<std::size_t>(urb.record.buffer_length));
    std::copy_n(packet.begin(), fitting, urb.staged.begin() + static_cast<std::ptrdiff_t>(place));
  }
  urb.record.actual_length += static_cast<int>(fitting);
  queue_.Finish(urb, step.bytes > fitting ? -EOVERFLOW : 0);
  return kAtOnce;
}

Clock::time_point FrameEndpoint::Take(Urb& urb, const BulkStep& step) {
  switch (step.kind) {
    case BulkStep::Kind::Data:
      if (step.endOfTransfer || urb.Remaining() == 0) {
        queue_.Finish(urb, 0);
      }
      return kAtOnce;
    case BulkStep::Kind::Wait:
      return step.wakeAt;
    case BulkStep::Kind::Stall:
      halted_ = true;
      queue_.Finish(urb, -EPIPE);
      return kAtOnce;
    case BulkStep::Kind::Error:
      queue_.Finish(urb, -EPROTO);
      return kAtOnce;
    case BulkStep::Kind::Gone:
      break;
  }
  gone_ = true;
  return kOnEvent;
}

/// Where the camera is to put its next bytes: whole packets.
std::span<std::uint8_t> FrameEndpoint::Window(Urb& urb) {
  const std::size_t whole = urb.Remaining() / packet_ * packet_;
  if (std::uint8_t* direct = urb.memory->Direct(urb.Buffer())) {
    return {direct + urb.record.actual_length, whole};
  }
  if (urb.memory->AnyTime()) {
    bounce_.resize(kBounceBytes);
    return std::span(bounce_).first(std::min(whole, kBounceBytes));
  }
  urb.staged.resize(static_cast<std::size_t>(urb.record.buffer_length));
  return std::span(urb.staged).subspan(static_cast<std::size_t>(urb.record.actual_length), whole);
}

/// Accounts for bytes that the camera put into the window; false when the client's memory is out of reach.
bool FrameEndpoint::Deliver(Urb& urb, std::size_t bytes) {
  const std::uint64_t place = urb.Buffer() + static_cast<std::uint64_t>(urb.record.actual_length);
  urb.record.actual_length += static_cast<int>(bytes);
  const bool inBounce = urb.memory->AnyTime() && urb.memory->Direct(urb.Buffer()) == nullptr;
  return !inBounce || urb.memory->Write(place, std::span(bounce_).first(bytes));
}

}  // namespace orq
