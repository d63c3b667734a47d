#include "link/stream/FrameStreamParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>

#include "FrameMaker.h"
#include "support/FreeSlots.h"

namespace orq {
namespace {

using test::Bytes;
using test::MakeFrame;

constexpr StreamFormat kFormat{.width = 40, .height = 5, .bin = 1, .format = 0};
constexpr std::size_t kPayload = 200;
constexpr std::size_t kFrame = 280;

/// Keeps what the ring's thread was given, in order.
class FrameStreamParsing : public testing::Test {
 protected:
  struct Ended {
    Bytes payload;
    Bytes marks;
    std::uint64_t excess;
    std::uint64_t tag;
    std::uint64_t beginNs;
    std::uint64_t endNs;
  };

  FrameStreamParsing() {
    ring_.SetCheck(&FrameStreamParsing::Keep, this);
    ring_.StartInstBufThr();
  }

  void Feed(const Bytes& bytes, std::uint64_t nowNs = 1) { parser_.Feed(bytes, nowNs); }
  const std::vector<Ended>& EndedFrames() {
    ring_.WaitJudged();
    return ended_;
  }
  StreamCounters Counters() const { return stats_.Snapshot(); }

  CirBuf ring_{kPayload, 2};
  StreamStats stats_;
  FrameStreamParser parser_{ring_, kFormat, stats_};

 private:
  static bool Keep(void* context, const CirBuf::Slot& slot) {
    const auto* payload = slot.payload.get();
    static_cast<FrameStreamParsing*>(context)->ended_.push_back(
        {Bytes(payload, payload + slot.payloadBytes),
         Bytes(slot.marks.begin(), slot.marks.begin() + static_cast<std::ptrdiff_t>(slot.markBytes)),
         slot.excessBytes, slot.tag, slot.beginNs, slot.endNs});
    return false;
  }

  std::vector<Ended> ended_;
};

TEST_F(FrameStreamParsing, PutsHeaderAndTrailerIntoTheMarksAndThePayloadIntoItsBuffer) {
  const Bytes frame = MakeFrame(kFormat, 5);
  Feed(frame, 100);
  parser_.EndFrame(200);
  ASSERT_EQ(EndedFrames().size(), 1U);
  const Ended& ended = EndedFrames()[0];
  EXPECT_EQ(ended.payload, Bytes(frame.begin() + 64, frame.begin() + 264));
  Bytes marks(frame.begin(), frame.begin() + 64);
  marks.insert(marks.end(), frame.begin() + 264, frame.end());
  EXPECT_EQ(ended.marks, marks);
  EXPECT_EQ(ended.excess, 0U);
  EXPECT_EQ(ended.beginNs, 100U);
  EXPECT_EQ(ended.endNs, 200U);
}

TEST_F(FrameStreamParsing, GivesTheSameFrameWhereverTheBytesAreCut) {
  const Bytes frame = MakeFrame(kFormat, 5);
  Feed(frame);
  parser_.EndFrame(1);
  const Ended whole = EndedFrames()[0];
  for (std::size_t cut = 1; cut < kFrame; ++cut) {
    const auto at = frame.begin() + static_cast<std::ptrdiff_t>(cut);
    Feed(Bytes(frame.begin(), at));
    Feed(Bytes(at, frame.end()));
    parser_.EndFrame(1);
    const Ended& ended = EndedFrames().back();
    ASSERT_EQ(ended.payload, whole.payload) << cut;
    ASSERT_EQ(ended.marks, whole.marks) << cut;
  }
  for (const std::uint8_t byte : frame) Feed({byte});
  parser_.EndFrame(1);
  EXPECT_EQ(EndedFrames().back().payload, whole.payload);
  EXPECT_EQ(EndedFrames().back().marks, whole.marks);
}

TEST_F(FrameStreamParsing, CountsExcessBytesAndStoresNoneOfThem) {
  Bytes frame = MakeFrame(kFormat, 5);
  frame.insert(frame.end(), 1000, 0xFF);
  Feed(frame);
  Feed(Bytes(7, 0xEE));
  parser_.EndFrame(1);
  ASSERT_EQ(EndedFrames().size(), 1U);
  EXPECT_EQ(EndedFrames()[0].excess, 1007U);
  EXPECT_EQ(EndedFrames()[0].payload.size(), kPayload);
  EXPECT_EQ(EndedFrames()[0].marks.size(), 80U);
  EXPECT_EQ(Counters().bytesDiscarded, 1007U);
}

TEST_F(FrameStreamParsing, TakesAnEndWithoutBytesForNoFrame) {
  parser_.EndFrame(1);
  parser_.Feed({}, 1);
  parser_.EndFrame(1);
  EXPECT_EQ(Counters().started, 0U);
  EXPECT_TRUE(EndedFrames().empty());
}

TEST_F(FrameStreamParsing, NumbersFramesAsTheyArrive) {
  for (int i = 0; i < 3; ++i) {
    Feed({1, 2, 3});
    parser_.EndFrame(1);
    ring_.WaitJudged();
  }
  ASSERT_EQ(EndedFrames().size(), 3U);
  EXPECT_EQ(EndedFrames()[0].tag, 1U);
  EXPECT_EQ(EndedFrames()[2].tag, 3U);
}

TEST_F(FrameStreamParsing, ReadsAndDropsAFrameForWhichNoSlotIsFree) {
  CirBuf::Slot* a = ring_.BeginFrame();
  CirBuf::Slot* b = ring_.BeginFrame();
  Feed(MakeFrame(kFormat, 1));
  // A slot that becomes free in the middle of a frame is for the next frame.
  ring_.AbortFrame(*a);
  Feed({1, 2, 3});
  parser_.EndFrame(1);
  StreamCounters c = Counters();
  EXPECT_EQ(c.started, 1U);
  EXPECT_EQ(c.dropped, 1U);
  EXPECT_EQ(c.filling, 0U);
  EXPECT_EQ(c.bytesDiscarded, kFrame + 3);
  Feed(MakeFrame(kFormat, 2));
  parser_.EndFrame(1);
  ASSERT_EQ(EndedFrames().size(), 1U);
  EXPECT_EQ(EndedFrames()[0].tag, 2U);
  ring_.AbortFrame(*b);
}

TEST_F(FrameStreamParsing, FailsTheFrameInWorkByTheKindOfTheBreak) {
  using Fault = FrameStreamParser::Fault;
  for (const Fault fault : {Fault::Stalled, Fault::Transport, Fault::TimedOut}) {
    Feed({1, 2, 3});
    EXPECT_EQ(Counters().filling, 1U);
    parser_.Break(fault);
    EXPECT_TRUE(Counters().IdentityHolds());
    parser_.Restart();
  }
  const StreamCounters c = Counters();
  EXPECT_EQ(c.started, 3U);
  EXPECT_EQ(c.failed, 3U);
  EXPECT_EQ(c.failedStalled, 1U);
  EXPECT_EQ(c.failedTransport, 1U);
  EXPECT_EQ(c.failedTimedOut, 1U);
  EXPECT_EQ(test::FreeSlots(ring_), 2);
}

TEST_F(FrameStreamParsing, ABreakBetweenFramesFailsNone) {
  parser_.Break(FrameStreamParser::Fault::Stalled);
  EXPECT_EQ(Counters().failed, 0U);
}

TEST_F(FrameStreamParsing, ABreakInADroppedFrameCountsItOnce) {
  CirBuf::Slot* a = ring_.BeginFrame();
  CirBuf::Slot* b = ring_.BeginFrame();
  Feed({1, 2, 3});
  parser_.Break(FrameStreamParser::Fault::Stalled);
  const StreamCounters c = Counters();
  EXPECT_EQ(c.dropped, 1U);
  EXPECT_EQ(c.failed, 0U);
  EXPECT_TRUE(c.IdentityHolds());
  ring_.AbortFrame(*a);
  ring_.AbortFrame(*b);
}

TEST_F(FrameStreamParsing, SkipsBytesAfterABreakUntilAFramesEnd) {
  Feed({1, 2, 3});
  parser_.Break(FrameStreamParser::Fault::Transport);
  Feed(MakeFrame(kFormat, 1));
  EXPECT_EQ(Counters().bytesDiscarded, kFrame);
  parser_.EndFrame(1);
  EXPECT_EQ(Counters().started, 1U);
  Feed(MakeFrame(kFormat, 2));
  parser_.EndFrame(1);
  ASSERT_EQ(EndedFrames().size(), 1U);
  EXPECT_EQ(EndedFrames()[0].payload.size(), kPayload);
  EXPECT_EQ(Counters().started, 2U);
}

TEST_F(FrameStreamParsing, BeginsAFrameAtOnceAfterARestart) {
  Feed({1, 2, 3});
  parser_.Break(FrameStreamParser::Fault::Stalled);
  parser_.Restart();
  Feed(MakeFrame(kFormat, 2));
  parser_.EndFrame(1);
  ASSERT_EQ(EndedFrames().size(), 1U);
  EXPECT_EQ(EndedFrames()[0].payload.size(), kPayload);
}

TEST_F(FrameStreamParsing, AnAbortReturnsTheFrameInWork) {
  Feed({1, 2, 3});
  parser_.Abort();
  parser_.Abort();
  const StreamCounters c = Counters();
  EXPECT_EQ(c.aborted, 1U);
  EXPECT_EQ(c.filling, 0U);
  EXPECT_TRUE(c.IdentityHolds());
  EXPECT_EQ(test::FreeSlots(ring_), 2);
  Feed({1, 2, 3});
  EXPECT_EQ(Counters().started, 1U);
}

TEST(FrameStreamParser, NeverWritesBeyondASlotThatIsSmallerThanTheFrame) {
  CirBuf ring(100, 1);
  StreamStats stats;
  FrameStreamParser parser(ring, kFormat, stats);
  parser.Feed(MakeFrame(kFormat, 1), 1);
  parser.EndFrame(1);
  // 64 header + 100 payload + 16 marks; the rest had no place.
  EXPECT_EQ(stats.Snapshot().bytesDiscarded, kFrame - 180);
}

TEST(FrameStreamParser, NeverWritesHalfASampleBeyondASlotOfOddSize) {
  // The order that this computer does not have: samples are swapped in pairs of bytes.
  constexpr std::uint8_t kSwapped = std::endian::native == std::endian::little ? 0x03 : 0x01;
  constexpr StreamFormat kWide{.width = 40, .height = 5, .bin = 1, .format = kSwapped};
  CirBuf ring(101, 1);
  StreamStats stats;
  FrameStreamParser parser(ring, kWide, stats);
  for (const std::uint8_t byte : Bytes(64 + 400 + 16)) parser.Feed({&byte, 1}, 1);
  parser.EndFrame(1);
  // 64 header + 100 payload + 16 marks; the rest had no place.
  EXPECT_EQ(stats.Snapshot().bytesDiscarded, 480U - 180U);
}

// The samples 0x0102, 0x0304, ... in the order of the wire's format bits, cut anywhere, read as this computer
// reads.
TEST(FrameStreamParser, BringsSamplesOf16BitsIntoHostOrder) {
  for (const bool msbFirst : {false, true}) {
    const StreamFormat format{
        .width = 4, .height = 3, .bin = 1, .format = static_cast<std::uint8_t>(msbFirst ? 0x03 : 0x01)};
    for (const std::size_t cut : {1U, 64U, 65U, 70U, 77U, 88U, 100U}) {
      Bytes frame(64 + 24 + 16);
      for (std::size_t i = 0; i < 12; ++i) {
        const auto high = static_cast<std::uint8_t>(2 * i + 1);
        const auto low = static_cast<std::uint8_t>(2 * i + 2);
        frame[64 + 2 * i] = msbFirst ? high : low;
        frame[64 + 2 * i + 1] = msbFirst ? low : high;
      }
      CirBuf ring(24, 1);
      StreamStats stats;
      FrameStreamParser parser(ring, format, stats);
      ring.StartInstBufThr();
      parser.Feed(std::span(frame).first(cut), 1);
      parser.Feed(std::span(frame).subspan(cut), 1);
      parser.EndFrame(1);
      auto samples = std::make_unique<std::uint8_t[]>(24);
      CirBuf::Frame taken;
      ASSERT_TRUE(ring.Take(samples, taken, 10'000));
      for (std::size_t i = 0; i < 12; ++i) {
        std::uint16_t sample = 0;
        std::memcpy(&sample, samples.get() + 2 * i, sizeof sample);
        EXPECT_EQ(sample, (2 * i + 1) * 256 + 2 * i + 2) << "cut at " << cut;
      }
    }
  }
}

}  // namespace
}  // namespace orq
