// Decides whether a received frame, as FrameStreamParser.h cut it from the stream, is whole and good.
#pragma once

#include <cstdint>
#include <optional>

#include "link/WireProtocol.h"
#include "link/stream/CirBuf.h"
#include "link/stream/StreamFormat.h"
#include "link/stream/StreamStats.h"

namespace orq {

enum class FrameVerdict : std::uint8_t { Good, Stale, Short, Oversize, Marks, Sequence };

/// Judges frames in the order in which they arrived. A frame is good when its header and trailer are whole,
/// describe the stream's format and bear the same sequence number, its length is exact, and its number is
/// later than that of the good frame before (the first good frame is always in sequence). A frame whose header is
/// whole and bears a settings tag from before the capture is stale, whatever else it is.
class FrameJudge {
 public:
  struct Result {
    FrameVerdict verdict = FrameVerdict::Good;
    std::uint32_t lost = 0;  ///< sequence numbers between the good frame before and this one that never arrived
  };

  explicit FrameJudge(const StreamFormat& format) : format_(format) {}

  /// `slot.tag` numbers the frames that arrived (also those that are not judged), so that frames dropped on
  /// this side are not taken for lost ones.
  Result Judge(const CirBuf::Slot& slot);

 private:
  FrameVerdict JudgeShape(const CirBuf::Slot& slot, const std::optional<wire::FrameHeader>& header) const;
  bool Fits(const wire::FrameHeader& header) const;

  struct Arrived {
    std::uint32_t sequence = 0;
    std::uint64_t tag = 0;
  };

  const StreamFormat format_;
  std::optional<Arrived> last_;  ///< the last good frame
};

/// The judge as a ring's check: counts its verdicts. Ring's thread only.
class FrameCheck {
 public:
  FrameCheck(const StreamFormat& format, StreamStats& stats) : judge_(format), stats_(stats) {}

  bool Check(const CirBuf::Slot& slot);
  /// For `CirBuf::SetCheck`, with a `FrameCheck` as the context.
  static bool Run(void* check, const CirBuf::Slot& slot) { return static_cast<FrameCheck*>(check)->Check(slot); }

 private:
  FrameJudge judge_;
  StreamStats& stats_;
};

}  // namespace orq
