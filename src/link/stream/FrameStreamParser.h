// Cuts the byte stream of the frame endpoint into frames; FrameJudge.h decides which of them are good.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "link/stream/CirBuf.h"
#include "link/stream/PayloadCopy.h"
#include "link/stream/StreamFormat.h"
#include "link/stream/StreamStats.h"

namespace orq {

/// Fed with the bytes that transfers brought, in order, and with the ends of frames (short or zero-length
/// packets). A frame begins only at the start of the stream, after the end of another, or after `Restart`;
/// bytes elsewhere are skipped and counted. Header and trailer go to the slot's marks, the payload is copied
/// once into the slot's buffer, samples of 16 bits in host byte order, whatever has no place is counted. A frame
/// for which no slot is free is read and counted as dropped. Nothing is judged here: the ring's thread does that,
/// by `FrameCheck`. Single-threaded; never blocks, never allocates.
class FrameStreamParser {
 public:
  /// Why a frame in work cannot be completed.
  enum class Fault : std::uint8_t { Stalled, Transport, TimedOut };

  /// `format`: of every frame; its payload is at most `ring.FrameBytes()` long.
  FrameStreamParser(CirBuf& ring, const StreamFormat& format, StreamStats& stats);

  /// Bytes that arrived at `nowNs` (host monotonic time).
  void Feed(std::span<const std::uint8_t> bytes, std::uint64_t nowNs);
  /// A short or zero-length packet ended the frame; nothing when no frame was in work.
  void EndFrame(std::uint64_t nowNs);
  /// The stream broke: the frame in work has failed, and bytes are skipped until a frame's end or `Restart`.
  void Break(Fault fault);
  /// The endpoint was cleared: the next byte begins a frame. Call `Break` first.
  void Restart();
  /// The stream was stopped: the frame in work is aborted, and all bytes are skipped until `Restart`.
  void Abort();

 private:
  enum class State : std::uint8_t {
    Between,     ///< the next byte begins a frame
    Filling,     ///< a frame goes into `slot_`
    Discarding,  ///< a frame for which no slot was free
    Skipping,    ///< what comes until the next end is no whole frame
  };

  void BeginFrame(std::uint64_t nowNs);
  void Store(std::span<const std::uint8_t> bytes);
  std::span<const std::uint8_t> StoreMarks(std::span<const std::uint8_t> bytes, std::size_t markEnd);
  std::span<const std::uint8_t> StorePayload(std::span<const std::uint8_t> bytes);
  void CountDiscarded(std::size_t bytes);

  CirBuf& ring_;
  const std::size_t payloadBytes_;
  const PayloadCopy copy_;
  StreamStats& stats_;
  State state_ = State::Between;
  CirBuf::Slot* slot_ = nullptr;
  std::uint64_t framesBegun_ = 0;
};

}  // namespace orq
