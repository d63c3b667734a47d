#include "link/stream/FrameJudge.h"

#include <algorithm>
#include <limits>
#include <span>

namespace orq {

std::uint32_t StreamFormat::PayloadBytes() const {
  const std::uint64_t samples = std::uint64_t{width} * height;
  const std::uint64_t bytes = (format & wire::kFormat16Bit) != 0 ? samples * 2 : samples;
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(bytes, std::numeric_limits<std::uint32_t>::max()));
}

FrameJudge::Result FrameJudge::Judge(const CirBuf::Slot& slot) {
  const auto header = wire::GetHeader(std::span(slot.marks).first(std::min(slot.markBytes, wire::kHeaderBytes)));
  Result result;
  result.verdict = JudgeShape(slot, header);
  if (result.verdict != FrameVerdict::Good) return result;
  if (!last_) {
    last_ = Arrived{header->sequence, slot.tag};
    return result;
  }
  const std::uint32_t ahead = header->sequence - last_->sequence;
  if (ahead == 0 || ahead > static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
    // A repeated frame fills no gap: as if it had not arrived.
    ++last_->tag;
    result.verdict = FrameVerdict::Sequence;
    return result;
  }
  const std::uint64_t arrived = slot.tag - last_->tag;
  if (ahead > arrived) result.lost = ahead - static_cast<std::uint32_t>(arrived);
  last_ = Arrived{header->sequence, slot.tag};
  return result;
}

FrameVerdict FrameJudge::JudgeShape(const CirBuf::Slot& slot,
                                    const std::optional<wire::FrameHeader>& header) const {
  if (header && !format_.fresh.Holds(header->settingsTag)) return FrameVerdict::Stale;
  // The header says best what is wrong: a frame of another geometry has another length, too.
  if (header && !Fits(*header)) return FrameVerdict::Marks;
  if (slot.markBytes < wire::kHeaderBytes + wire::kTrailerBytes) return FrameVerdict::Short;
  if (slot.excessBytes != 0) return FrameVerdict::Oversize;
  if (!header || slot.payloadBytes != header->payloadBytes) return FrameVerdict::Marks;
  const auto trailer = wire::GetTrailer(std::span(slot.marks).subspan(wire::kHeaderBytes, wire::kTrailerBytes),
                                        header->payloadBytes);
  return trailer == header->sequence ? FrameVerdict::Good : FrameVerdict::Marks;
}

bool FrameJudge::Fits(const wire::FrameHeader& header) const {
  return header.width == format_.width && header.height == format_.height && header.bin == format_.bin &&
         header.format == format_.format && header.payloadBytes == format_.PayloadBytes();
}

bool FrameCheck::Check(const CirBuf::Slot& slot) {
  const FrameJudge::Result result = judge_.Judge(slot);
  stats_.Update([&result](StreamCounters& c) {
    --c.filling;
    c.lost += result.lost;
    switch (result.verdict) {
      case FrameVerdict::Good:
        ++c.completed;
        return;
      case FrameVerdict::Stale:
        ++c.stale;
        return;
      case FrameVerdict::Short:
        ++c.failedShort;
        break;
      case FrameVerdict::Oversize:
        ++c.failedOversize;
        break;
      case FrameVerdict::Marks:
        ++c.failedMarks;
        break;
      case FrameVerdict::Sequence:
        ++c.failedSequence;
        break;
    }
    ++c.failed;
  });
  return result.verdict == FrameVerdict::Good;
}

}  // namespace orq
