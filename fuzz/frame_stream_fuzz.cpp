// The frame stream as any device might send it: cut into frames, judged, counted.
// Input: one byte of options, then records: 3 bits of kind and 13 of length, then that many bytes of stream.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "link/stream/FrameJudge.h"
#include "link/stream/FrameStreamParser.h"

namespace {

using namespace orq;

constexpr StreamFormat kFormat{.width = 8, .height = 6, .bin = 1, .format = 0};

void Require(bool condition) {
  if (!condition) std::abort();
}

/// A consumer that looks at all that a good frame claims to be.
void TakeAll(CirBuf& ring, std::unique_ptr<std::uint8_t[]>& buffer, std::uint64_t& taken) {
  CirBuf::Frame frame;
  while (ring.Take(buffer, frame, 0)) {
    ++taken;
    Require(frame.payloadBytes == kFormat.PayloadBytes());
    Require(frame.markBytes == wire::kHeaderBytes + wire::kTrailerBytes);
    const auto header = wire::GetHeader(std::span(frame.marks).first(wire::kHeaderBytes));
    Require(header && header->width == kFormat.width && header->height == kFormat.height);
    Require(wire::GetTrailer(std::span(frame.marks).subspan(wire::kHeaderBytes), header->payloadBytes) ==
            header->sequence);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::span<const std::uint8_t> input(data, size);
  const bool slowConsumer = (input[0] & 1U) != 0;
  input = input.subspan(1);

  CirBuf ring(kFormat.PayloadBytes(), 2);
  StreamStats stats;
  FrameStreamParser parser(ring, kFormat, stats);
  FrameCheck check(kFormat, stats);
  ring.SetCheck(&FrameCheck::Run, &check);
  ring.StartInstBufThr();
  auto buffer = std::make_unique<std::uint8_t[]>(ring.FrameBytes());
  std::uint64_t taken = 0;
  std::uint64_t fed = 0;

  while (input.size() >= 2) {
    const unsigned kind = input[0] >> 5U;
    const std::size_t length = std::min<std::size_t>((input[0] & 31U) * 256U + input[1], input.size() - 2);
    const auto bytes = input.subspan(2, length);
    input = input.subspan(2 + length);
    parser.Feed(bytes, fed);
    fed += bytes.size();
    switch (kind) {
      case 0:
      case 1:
      case 2:
        break;  // the frame goes on
      case 3:
      case 4:
        parser.EndFrame(fed);
        break;
      case 5:
        parser.Break(FrameStreamParser::Fault::Stalled);
        parser.Restart();
        break;
      case 6:
        parser.Break(FrameStreamParser::Fault::Transport);
        break;
      default:
        parser.Break(FrameStreamParser::Fault::TimedOut);
        parser.Restart();
        break;
    }
    Require(stats.Snapshot().IdentityHolds());
    if (!slowConsumer) {
      ring.WaitJudged();
      TakeAll(ring, buffer, taken);
    }
  }
  parser.Abort();
  ring.WaitJudged();
  TakeAll(ring, buffer, taken);
  const StreamCounters counters = stats.Snapshot();
  Require(counters.IdentityHolds());
  Require(counters.filling == 0);
  Require(counters.completed == taken);
  Require(counters.bytesDiscarded <= fed);
  for (int free = 0; free < ring.Count(); ++free) Require(ring.BeginFrame() != nullptr);
  return 0;
}
