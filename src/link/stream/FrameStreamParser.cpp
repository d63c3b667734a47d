#include "link/stream/FrameStreamParser.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "link/WireProtocol.h"

namespace orq {

static_assert(wire::kHeaderBytes + wire::kTrailerBytes <= CirBuf::kMarkBytes);

namespace {

// Most processors' caches hold several frames below this.
constexpr std::size_t kLargeFrame = std::size_t{1} << 20U;

bool IsSwapped(const StreamFormat& format) {
  const bool msbFirst = (format.format & wire::kFormatMsbFirst) != 0;
  return (format.format & wire::kFormat16Bit) != 0 && msbFirst == (std::endian::native == std::endian::little);
}

std::size_t RoomFor(const StreamFormat& format, const CirBuf& ring) {
  const std::size_t room = std::min<std::size_t>(format.PayloadBytes(), ring.FrameBytes());
  return IsSwapped(format) ? room / 2 * 2 : room;
}

}  // namespace

FrameStreamParser::FrameStreamParser(CirBuf& ring, const StreamFormat& format, StreamStats& stats)
    : ring_(ring),
      payloadBytes_(RoomFor(format, ring)),
      copy_{.swapped = IsSwapped(format), .pastCache = payloadBytes_ >= kLargeFrame},
      stats_(stats) {}

void FrameStreamParser::Feed(std::span<const std::uint8_t> bytes, std::uint64_t nowNs) {
  if (bytes.empty()) return;
  if (state_ == State::Between) BeginFrame(nowNs);
  if (state_ == State::Filling)
    Store(bytes);
  else
    CountDiscarded(bytes.size());
}

void FrameStreamParser::BeginFrame(std::uint64_t nowNs) {
  ++framesBegun_;
  slot_ = ring_.BeginFrame();
  state_ = slot_ != nullptr ? State::Filling : State::Discarding;
  stats_.Update([this](StreamCounters& c) {
    ++c.started;
    ++(slot_ != nullptr ? c.filling : c.dropped);
  });
  if (slot_ == nullptr) return;
  slot_->tag = framesBegun_;
  slot_->beginNs = nowNs;
}

void FrameStreamParser::Store(std::span<const std::uint8_t> bytes) {
  bytes = StoreMarks(bytes, wire::kHeaderBytes);
  bytes = StorePayload(bytes);
  bytes = StoreMarks(bytes, wire::kHeaderBytes + wire::kTrailerBytes);
  if (bytes.empty()) return;
  slot_->excessBytes += bytes.size();
  CountDiscarded(bytes.size());
}

std::span<const std::uint8_t> FrameStreamParser::StoreMarks(std::span<const std::uint8_t> bytes,
                                                            std::size_t markEnd) {
  if (slot_->markBytes >= markEnd) return bytes;
  const std::size_t count = std::min(bytes.size(), markEnd - slot_->markBytes);
  if (count != 0) std::memcpy(slot_->marks.data() + slot_->markBytes, bytes.data(), count);
  slot_->markBytes += count;
  return bytes.subspan(count);
}

std::span<const std::uint8_t> FrameStreamParser::StorePayload(std::span<const std::uint8_t> bytes) {
  const std::size_t count = std::min(bytes.size(), payloadBytes_ - slot_->payloadBytes);
  copy_.Put(bytes.first(count), slot_->payload.get(), slot_->payloadBytes);
  slot_->payloadBytes += count;
  return bytes.subspan(count);
}

void FrameStreamParser::EndFrame(std::uint64_t nowNs) {
  state_ = State::Between;
  if (slot_ == nullptr) return;
  slot_->endNs = nowNs;
  ring_.EndFrame(*slot_);
  slot_ = nullptr;
}

void FrameStreamParser::Break(Fault fault) {
  state_ = State::Skipping;
  if (slot_ == nullptr) return;
  stats_.Update([fault](StreamCounters& c) {
    --c.filling;
    ++c.failed;
    ++(fault == Fault::Stalled    ? c.failedStalled
       : fault == Fault::TimedOut ? c.failedTimedOut
                                  : c.failedTransport);
  });
  ring_.AbortFrame(*slot_);
  slot_ = nullptr;
}

void FrameStreamParser::Restart() {
  state_ = State::Between;
}

void FrameStreamParser::Abort() {
  state_ = State::Skipping;
  if (slot_ == nullptr) return;
  stats_.Update([](StreamCounters& c) {
    --c.filling;
    ++c.aborted;
  });
  ring_.AbortFrame(*slot_);
  slot_ = nullptr;
}

void FrameStreamParser::CountDiscarded(std::size_t bytes) {
  stats_.Update([bytes](StreamCounters& c) { c.bytesDiscarded += bytes; });
}

}  // namespace orq
