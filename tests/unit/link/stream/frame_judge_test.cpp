#include "link/stream/FrameJudge.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>

#include "FrameMaker.h"
#include "link/stream/FrameStreamParser.h"

namespace orq {
namespace {

using test::Bytes;
using test::MakeFrame;
using test::Put16;
using test::Put32;

constexpr StreamFormat kFormat{.width = 40, .height = 5, .bin = 1, .format = 0};
constexpr std::size_t kPayload = 200;

/// Sends whole frames through the parser and tells what the judge thinks of each.
class FrameJudging : public testing::Test {
 protected:
  FrameJudging() {
    ring_.SetCheck(&FrameJudging::Remember, this);
    ring_.StartInstBufThr();
  }

  /// The slot that the frame ended in; its contents stay until the next frame.
  const CirBuf::Slot& Send(const Bytes& frame) {
    parser_.Feed(frame, 1);
    parser_.EndFrame(2);
    ring_.WaitJudged();
    return *slot_;
  }
  FrameJudge::Result Judge(const Bytes& frame) { return judge_.Judge(Send(frame)); }
  FrameVerdict Verdict(const Bytes& frame) { return Judge(frame).verdict; }

  StreamStats stats_;

 private:
  static bool Remember(void* self, const CirBuf::Slot& slot) {
    static_cast<FrameJudging*>(self)->slot_ = &slot;
    return false;
  }

  CirBuf ring_{kPayload, 1};
  FrameStreamParser parser_{ring_, kFormat, stats_};
  FrameJudge judge_{kFormat};
  const CirBuf::Slot* slot_ = nullptr;
};

TEST_F(FrameJudging, AcceptsAWholeFrame) {
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 7)), FrameVerdict::Good);
}

TEST_F(FrameJudging, FindsEveryShorterLengthShort) {
  const Bytes frame = MakeFrame(kFormat, 7);
  for (std::size_t length = 1; length < frame.size(); ++length) {
    ASSERT_EQ(Verdict(Bytes(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length))),
              FrameVerdict::Short)
        << length;
  }
}

TEST_F(FrameJudging, FindsALongerFrameOversize) {
  Bytes frame = MakeFrame(kFormat, 7);
  frame.push_back(0);
  EXPECT_EQ(Verdict(frame), FrameVerdict::Oversize);
}

TEST_F(FrameJudging, FindsDamageOfTheHeaderOrTrailerInEveryByteThatMatters) {
  for (const std::size_t at : {0U, 3U, 4U, 6U, 9U, 12U, 16U, 18U, 24U, 25U, 264U, 267U, 268U, 272U}) {
    Bytes frame = MakeFrame(kFormat, 7);
    frame[at] ^= 0x10;
    EXPECT_EQ(Verdict(frame), FrameVerdict::Marks) << "byte " << at;
  }
}

TEST_F(FrameJudging, FindsAFrameOfAnotherGeometryByItsHeaderWhateverItsLength) {
  StreamFormat wider = kFormat;
  wider.width = 41;
  EXPECT_EQ(Verdict(MakeFrame(wider, 7)), FrameVerdict::Marks);
  StreamFormat lower = kFormat;
  lower.height = 4;
  EXPECT_EQ(Verdict(MakeFrame(lower, 8)), FrameVerdict::Marks);
  StreamFormat turned{.width = 5, .height = 40, .bin = 1, .format = 0};
  EXPECT_EQ(Verdict(MakeFrame(turned, 9)), FrameVerdict::Marks);
  StreamFormat binned = kFormat;
  binned.bin = 2;
  EXPECT_EQ(Verdict(MakeFrame(binned, 10)), FrameVerdict::Marks);
}

TEST_F(FrameJudging, LooksAtNoTagWhereNoneIsCounted) {
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 7, 0x12345678)), FrameVerdict::Good);
}

/// A capture that began with tag 4 after one that its program did not count.
class TagJudging : public FrameJudging {
 protected:
  TagJudging() {
    tag_.StartAwayFrom(0);
    tag_.CountUp();
    first_ = tag_.CountUp();
    format_.fresh = {first_, &tag_};
    judge_.emplace(format_);
  }
  FrameVerdict Verdict(const Bytes& frame) { return judge_->Judge(Send(frame)).verdict; }
  FrameVerdict VerdictOf(std::uint32_t tag) { return Verdict(MakeFrame(kFormat, sequence_++, tag)); }

  SettingsTag tag_;
  std::uint32_t first_ = 0;
  StreamFormat format_ = kFormat;

 private:
  std::optional<FrameJudge> judge_;
  std::uint32_t sequence_ = 1;
};

TEST_F(TagJudging, TakesTheTagsFromTheCapturesFirstToTheNewestAndNoOther) {
  EXPECT_EQ(VerdictOf(first_), FrameVerdict::Good);
  EXPECT_EQ(VerdictOf(first_ - 1), FrameVerdict::Stale);
  EXPECT_EQ(VerdictOf(first_ + 1), FrameVerdict::Stale) << "not counted yet: another program's";
  EXPECT_EQ(VerdictOf(0), FrameVerdict::Stale);
  EXPECT_EQ(tag_.CountUp(), first_ + 1);
  EXPECT_EQ(tag_.CountUp(), first_ + 2);
  EXPECT_EQ(VerdictOf(first_ + 1), FrameVerdict::Good) << "an older tag of this capture";
  EXPECT_EQ(VerdictOf(first_ + 2), FrameVerdict::Good);
  EXPECT_EQ(VerdictOf(first_ + 3), FrameVerdict::Stale);
}

TEST_F(TagJudging, FindsALeftOverFrameStaleWhateverElseItIs) {
  const Bytes frame = MakeFrame(kFormat, 7, first_ - 1);
  for (const std::size_t length : {64U, 65U, 200U, 279U}) {
    EXPECT_EQ(Verdict(Bytes(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(length))),
              FrameVerdict::Stale)
        << length;
  }
  StreamFormat wider = kFormat;
  wider.width = 41;
  EXPECT_EQ(Verdict(MakeFrame(wider, 7, first_ - 1)), FrameVerdict::Stale);
  Bytes damaged = frame;
  damaged[264] ^= 0xFF;
  EXPECT_EQ(Verdict(damaged), FrameVerdict::Stale);
}

TEST_F(TagJudging, WithoutAHeaderThereIsNoTagToSayWhoseFrameItIs) {
  EXPECT_EQ(Verdict(Bytes(63)), FrameVerdict::Short);
  EXPECT_EQ(Verdict(Bytes(280)), FrameVerdict::Marks);
}

TEST_F(TagJudging, AStaleFrameSetsNoSequence) {
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 1000, first_ - 1)), FrameVerdict::Stale);
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 5, first_)), FrameVerdict::Good);
}

TEST_F(TagJudging, CountsStaleFramesApartAndKeepsTheIdentity) {
  FrameCheck check(format_, stats_);
  EXPECT_FALSE(check.Check(Send(MakeFrame(kFormat, 1, first_ - 1))));
  EXPECT_TRUE(check.Check(Send(MakeFrame(kFormat, 2, first_))));
  EXPECT_FALSE(check.Check(Send(MakeFrame(kFormat, 3, first_ - 2))));
  const StreamCounters c = stats_.Snapshot();
  EXPECT_EQ(c.started, 3U);
  EXPECT_EQ(c.stale, 2U);
  EXPECT_EQ(c.completed, 1U);
  EXPECT_EQ(c.failed, 0U);
  EXPECT_EQ(c.lost, 0U);
  EXPECT_TRUE(c.IdentityHolds());
}

TEST_F(FrameJudging, DoesNotLookAtThePayload) {
  Bytes frame = MakeFrame(kFormat, 7);
  frame[100] ^= 0xFF;
  EXPECT_EQ(Verdict(frame), FrameVerdict::Good);
}

TEST_F(FrameJudging, CountsTheFramesThatAGapCost) {
  EXPECT_EQ(Judge(MakeFrame(kFormat, 10)).lost, 0U);
  EXPECT_EQ(Judge(MakeFrame(kFormat, 11)).lost, 0U);
  const auto result = Judge(MakeFrame(kFormat, 15));
  EXPECT_EQ(result.verdict, FrameVerdict::Good);
  EXPECT_EQ(result.lost, 3U);  // 12, 13, 14
}

TEST_F(FrameJudging, TakesTheFirstGoodFramesNumberAsItIs) {
  const auto result = Judge(MakeFrame(kFormat, 0xDEADBEEF));
  EXPECT_EQ(result.verdict, FrameVerdict::Good);
  EXPECT_EQ(result.lost, 0U);
}

TEST_F(FrameJudging, GoesOnAcrossTheWrapOfTheNumbers) {
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 0xFFFFFFFE)), FrameVerdict::Good);
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 0xFFFFFFFF)), FrameVerdict::Good);
  const auto result = Judge(MakeFrame(kFormat, 0));
  EXPECT_EQ(result.verdict, FrameVerdict::Good);
  EXPECT_EQ(result.lost, 0U);
  EXPECT_EQ(Judge(MakeFrame(kFormat, 2)).lost, 1U);
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 0xFFFFFFFF)), FrameVerdict::Sequence);
}

TEST_F(FrameJudging, RefusesARepeatedNumberAndOneThatGoesBack) {
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 10)), FrameVerdict::Good);
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 10)), FrameVerdict::Sequence);
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 9)), FrameVerdict::Sequence);
  const auto result = Judge(MakeFrame(kFormat, 11));
  EXPECT_EQ(result.verdict, FrameVerdict::Good);
  EXPECT_EQ(result.lost, 0U);
}

TEST_F(FrameJudging, FallsOnTheRightSideOfHalfTheNumbers) {
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 0)), FrameVerdict::Good);
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 0x80000000)), FrameVerdict::Sequence);
  const auto result = Judge(MakeFrame(kFormat, 0x7FFFFFFF));
  EXPECT_EQ(result.verdict, FrameVerdict::Good);
  EXPECT_EQ(result.lost, 0x7FFFFFFEU);  // 1 to 0x7FFFFFFE
}

TEST_F(FrameJudging, DoesNotCountAFrameThatArrivedDamagedAsLost) {
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 10)), FrameVerdict::Good);
  Bytes damaged = MakeFrame(kFormat, 11);
  damaged.resize(120);
  EXPECT_EQ(Verdict(damaged), FrameVerdict::Short);
  EXPECT_EQ(Judge(MakeFrame(kFormat, 12)).lost, 0U);
}

TEST_F(FrameJudging, ARepeatedFrameHidesNoLostOne) {
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 10)), FrameVerdict::Good);
  EXPECT_EQ(Verdict(MakeFrame(kFormat, 10)), FrameVerdict::Sequence);
  EXPECT_EQ(Judge(MakeFrame(kFormat, 12)).lost, 1U);
}

TEST_F(FrameJudging, CountsEachVerdictOnceAndKeepsTheIdentity) {
  FrameCheck check(kFormat, stats_);
  const auto send = [&](const Bytes& frame) { return check.Check(Send(frame)); };
  Bytes shorter = MakeFrame(kFormat, 4);
  shorter.pop_back();
  Bytes longer = MakeFrame(kFormat, 5);
  longer.push_back(1);
  Bytes marked = MakeFrame(kFormat, 6);
  marked[0] = 'X';
  EXPECT_TRUE(send(MakeFrame(kFormat, 1)));
  EXPECT_FALSE(send(MakeFrame(kFormat, 1)));
  EXPECT_TRUE(send(MakeFrame(kFormat, 3)));
  EXPECT_FALSE(send(shorter));
  EXPECT_FALSE(send(longer));
  EXPECT_FALSE(send(marked));
  const StreamCounters c = stats_.Snapshot();
  EXPECT_EQ(c.started, 6U);
  EXPECT_EQ(c.completed, 2U);
  EXPECT_EQ(c.failed, 4U);
  EXPECT_EQ(c.failedSequence, 1U);
  EXPECT_EQ(c.failedShort, 1U);
  EXPECT_EQ(c.failedOversize, 1U);
  EXPECT_EQ(c.failedMarks, 1U);
  EXPECT_EQ(c.lost, 1U);
  EXPECT_EQ(c.filling, 0U);
  EXPECT_TRUE(c.IdentityHolds());
}

TEST(StreamFormat, CountsTwoBytesForSixteenBitSamplesAndNeverOverflows) {
  EXPECT_EQ((StreamFormat{.width = 1936, .height = 1096, .bin = 1, .format = 0}).PayloadBytes(), 2121856U);
  EXPECT_EQ((StreamFormat{.width = 1936, .height = 1096, .bin = 1, .format = 1}).PayloadBytes(), 4243712U);
  EXPECT_EQ((StreamFormat{.width = 65535, .height = 65535, .bin = 1, .format = 1}).PayloadBytes(), 0xFFFFFFFFU);
  EXPECT_EQ((StreamFormat{.width = 0, .height = 5, .bin = 1, .format = 0}).PayloadBytes(), 0U);
}

}  // namespace
}  // namespace orq
