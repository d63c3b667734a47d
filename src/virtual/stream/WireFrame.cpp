#include "virtual/stream/WireFrame.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace orq {

void PackSamples(std::span<const std::uint16_t> adu, int adcBits, std::uint8_t format,
                 std::span<std::uint8_t> out) {
  const int shift = 16 - adcBits;
  if ((format & wire::kFormat16Bit) == 0) {
    for (std::size_t i = 0; i < adu.size(); ++i) out[i] = static_cast<std::uint8_t>((adu[i] << shift) >> 8);
    return;
  }
  const std::size_t low = (format & wire::kFormatMsbFirst) != 0 ? 1 : 0;
  for (std::size_t i = 0; i < adu.size(); ++i) {
    const int value = adu[i] << shift;
    out[2 * i + low] = static_cast<std::uint8_t>(value);
    out[2 * i + 1 - low] = static_cast<std::uint8_t>(value >> 8);
  }
}

void WireFrame::Build(wire::FrameHeader header, std::shared_ptr<const Payload> payload, const FramePlan& plan,
                      std::uint64_t limit, int packet) {
  if (plan.outOfSequence) --header.sequence;
  payload_ = std::move(payload);
  wire::PutHeader(header, header_);
  const auto trailer = std::span(tail_).first<wire::kTrailerBytes>();
  wire::PutTrailer(header.sequence, header.payloadBytes, trailer);
  std::ranges::fill(std::span(tail_).subspan(wire::kTrailerBytes), std::uint8_t{0xEE});
  if (plan.badHeader) header_[0] ^= 0xFFU;
  if (plan.badTrailer) trailer[0] ^= 0xFFU;

  const std::size_t whole = wire::kHeaderBytes + payload_->size() + wire::kTrailerBytes;
  total_ = limit != 0 && whole > limit ? static_cast<std::size_t>(limit) : whole;
  if (plan.oversize) total_ = whole + kOversizeBytes;
  if (plan.shortFrame) total_ = std::min(total_, wire::kHeaderBytes + payload_->size() / 2);
  sent_ = 0;
  event_ = plan.event;
  const auto packetBytes = static_cast<std::size_t>(packet);
  eventAt_ = event_ == FramePlan::Event::None ? total_ : total_ / 2 / packetBytes * packetBytes;
}

void WireFrame::Send(std::span<std::uint8_t> out) {
  const std::span<const std::uint8_t> pieces[] = {header_, *payload_, tail_};
  std::size_t begin = 0;  // of the piece, in the frame
  for (const auto& piece : pieces) {
    if (!out.empty() && sent_ < begin + piece.size()) {
      const std::size_t offset = sent_ - begin;
      const std::size_t bytes = std::min(out.size(), piece.size() - offset);
      std::memcpy(out.data(), piece.data() + offset, bytes);
      out = out.subspan(bytes);
      sent_ += bytes;
    }
    begin += piece.size();
  }
}

}  // namespace orq
