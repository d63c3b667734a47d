// Faults at random, from one frame in ten to one in ten thousand.
#include <array>
#include <random>

#include "OpenLink.h"

namespace orq::test {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 32;
constexpr std::size_t kPayloadBytes = std::size_t{2} * kWidth * kHeight;
constexpr StreamFormat kFormat{kWidth, kHeight, 1, wire::kFormat16Bit};

/// Whether these are the pixels that the 12-bit sensor gave this frame, 16 bits a sample, low byte first.
bool AreOfFrame(const std::vector<std::uint8_t>& payload, std::uint64_t frameNumber) {
  if (payload.size() != kPayloadBytes) return false;
  ExposureSettings settings;
  settings.frameNumber = frameNumber;
  std::size_t at = 0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x, at += 2)
      if ((payload[at] | payload[at + 1] << 8) != PatternSource::Sample(settings, x, y) << 4) return false;
  }
  return true;
}

template <typename Door>
class FaultRates : public LinkTest<Door> {
 protected:
  void TearDown() override {
    this->link.StopStream();
    LinkTest<Door>::TearDown();
  }

  /// Every kind of fault that a camera survives, each frame with a chance of one in `oneIn`; but no wrong numbers:
  /// next to a lost frame nobody can tell them.
  void AddFaults(int oneIn, int frames) {
    using Kind = FrameFault::Kind;
    constexpr std::array kKinds{Kind::Short, Kind::Oversize, Kind::BadHeader, Kind::BadTrailer,
                                Kind::Drop,  Kind::Stall,    Kind::Error};
    std::mt19937 random(static_cast<unsigned>(oneIn));
    for (int frame = 1; frame <= frames; ++frame) {
      if (random() % static_cast<unsigned>(oneIn) != 0) continue;
      this->camera->AddFrameFault({kKinds[random() % kKinds.size()], static_cast<std::uint64_t>(frame)});
    }
  }

  /// Takes `count` frames, and more until a fault has struck one.
  void ExpectFramesAsSent(int oneIn, int count) {
    SCOPED_TRACE("one in " + std::to_string(oneIn));
    // About as fast as frames can be taken, so that most that are struck would have come.
    this->PlugAndOpen(VirtualOptions(), kWidth, kHeight, 6000);
    AddFaults(oneIn, 20 * count);
    Program(this->link, kFormat);
    EXPECT_TRUE(this->link.WriteFPGAREG(wire::kFpgaExposure, 100));
    EXPECT_TRUE(this->link.WriteFPGAREG(wire::kFpgaExposure + 1, 0));  // 10 ms at first
    ring_.StartInstBufThr();
    ASSERT_TRUE(this->link.StartStream(ring_, kFormat)) << this->link.LinkError();
    std::uint64_t next = 0;
    for (int taken = 0; taken < count || this->link.Counters().failed == 0; ++taken) {
      ASSERT_LT(taken, 10 * count) << "no fault has struck";
      const auto frame = TakeFrame(ring_);
      ASSERT_TRUE(frame) << this->link.LinkError();
      const std::uint32_t exposed = frame->header.sequence - FrameStream::kFirstSequence;
      ASSERT_GE(exposed, next) << "in order, and none twice";
      ASSERT_TRUE(AreOfFrame(frame->payload, exposed)) << "frame " << exposed;
      next = exposed + 1ULL;
    }
    this->link.StopStream();
    const StreamCounters counters = this->link.Counters();
    EXPECT_EQ(counters.inFlight, 0U);
    EXPECT_TRUE(counters.IdentityHolds());
  }

 private:
  CirBuf ring_{kPayloadBytes, 4};
};
TYPED_TEST_SUITE(FaultRates, BothDoors, DoorNames);

TYPED_TEST(FaultRates, OneFrameInTen) {
  this->ExpectFramesAsSent(10, 300);
}

TYPED_TEST(FaultRates, OneFrameInAHundred) {
  this->ExpectFramesAsSent(100, 1000);
}

TYPED_TEST(FaultRates, OneFrameInAThousand) {
  this->ExpectFramesAsSent(1000, 3000);
}

TYPED_TEST(FaultRates, OneFrameInTenThousand) {
  this->ExpectFramesAsSent(10'000, 10'000);
}

}  // namespace
}  // namespace orq::test
