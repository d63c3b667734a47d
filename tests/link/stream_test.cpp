// Frames over the device link: each one compared with what the sensor sent.
#include <bit>
#include <numeric>
#include <utility>

#include "OpenLink.h"
#include "support/FrameReference.h"
#include "support/VirtualRig.h"

namespace orq::test {
namespace {

constexpr std::uint8_t k8Bit = 0;
constexpr std::uint8_t k16LsbFirst = wire::kFormat16Bit;
constexpr std::uint8_t k16MsbFirst = wire::kFormat16Bit | wire::kFormatMsbFirst;

struct Form {
  const char* name;
  int width;
  int height;
  std::uint8_t bin;
  std::uint8_t format;
  int startX;
  int startY;
};

// A frame on the wire is 80 bytes longer than its payload.
constexpr Form kForms[] = {
    {"8 bit", 64, 32, 1, k8Bit, 0, 0},
    {"16 bit, least significant byte first", 64, 32, 1, k16LsbFirst, 0, 0},
    {"16 bit, most significant byte first", 64, 32, 1, k16MsbFirst, 0, 0},
    {"8 bit, region", 40, 17, 1, k8Bit, 8, 3},
    {"16 bit, region", 40, 17, 1, k16LsbFirst, 8, 3},
    {"16 bit, most significant byte first, region", 40, 17, 1, k16MsbFirst, 8, 3},
    {"one sample", 1, 1, 1, k8Bit, 5, 5},
    {"one SuperSpeed packet exactly", 118, 8, 1, k8Bit, 0, 0},
    {"one high-speed packet exactly", 108, 4, 1, k8Bit, 0, 0},
    {"one byte more than a packet", 135, 7, 1, k8Bit, 0, 0},
    {"one transfer exactly", 6143, 80, 1, k8Bit, 0, 0},
    {"one packet more than a transfer", 6144, 80, 1, k16MsbFirst, 0, 0},
    {"several transfers", 6200, 200, 1, k16LsbFirst, 0, 0},
};

/// Value of a sample on the 12-bit sensor in the frame's form, samples of 16 bits as this computer reads them:
/// independent of the firmware's own packing.
std::vector<std::uint8_t> Expected(const wire::FrameHeader& header, std::uint64_t frameNumber) {
  ExposureSettings settings;
  settings.startX = header.startX;
  settings.startY = header.startY;
  settings.frameNumber = frameNumber;
  std::vector<std::uint8_t> bytes;
  for (int y = 0; y < header.height; ++y) {
    for (int x = 0; x < header.width; ++x) {
      const unsigned sample = PatternSource::Sample(settings, x, y);
      if (header.format == k8Bit) {
        bytes.push_back(static_cast<std::uint8_t>(sample >> 4U));
        continue;
      }
      const auto low = static_cast<std::uint8_t>((sample << 4U) & 0xFFU);
      const auto high = static_cast<std::uint8_t>(sample >> 4U);
      constexpr bool lowFirst = std::endian::native == std::endian::little;
      bytes.push_back(lowFirst ? low : high);
      bytes.push_back(lowFirst ? high : low);
    }
  }
  return bytes;
}

/// What arrives of a payload that was sent.
std::vector<std::uint8_t> Arrived(std::vector<std::uint8_t> sent, std::uint8_t format) {
  return format == k8Bit ? sent : InHostOrder(std::move(sent), format == k16MsbFirst);
}

StreamFormat FormatOf(const Form& form) {
  return {static_cast<std::uint16_t>(form.width), static_cast<std::uint16_t>(form.height), form.bin, form.format};
}

template <typename Door>
class Stream : public LinkTest<Door> {
 protected:
  static constexpr int kSensorWidth = 6200;
  static constexpr int kSensorHeight = 200;

  /// A ring for the largest frame (3 MB), its thread running.
  CirBuf& Ring() {
    if (ring_ == nullptr) {
      ring_ = std::make_unique<CirBuf>(std::size_t{3'000'000}, 4);
      ring_->StartInstBufThr();
    }
    return *ring_;
  }
  void TearDown() override {
    this->link.StopStream();
    LinkTest<Door>::TearDown();
  }

  void ExpectFrames(const Form& form, int count) {
    SCOPED_TRACE(form.name);
    Program(this->link, FormatOf(form), form.startX, form.startY);
    ASSERT_TRUE(this->link.StartStream(Ring(), FormatOf(form))) << this->link.LinkError();
    for (int i = 0; i < count; ++i) {
      ASSERT_TRUE(this->link.SendSoftTrigger());
      const auto frame = TakeFrame(Ring());
      ASSERT_TRUE(frame) << this->link.LinkError();
      EXPECT_EQ(frame->header.width, form.width);
      EXPECT_EQ(frame->header.height, form.height);
      EXPECT_EQ(frame->header.format, form.format);
      EXPECT_EQ(frame->header.startX, form.startX);
      EXPECT_EQ(frame->header.startY, form.startY);
      EXPECT_TRUE(frame->payload == Arrived(this->camera->SentPayload(frame->header.sequence), form.format))
          << "frame " << i;
      EXPECT_TRUE(frame->payload == Expected(frame->header, this->camera->FramesExposed() - 1)) << "frame " << i;
    }
    this->link.StopStream();
    const StreamCounters counters = this->link.Counters();
    EXPECT_EQ(counters.completed, static_cast<std::uint64_t>(count));
    EXPECT_EQ(counters.failed, 0U);
    EXPECT_TRUE(counters.IdentityHolds());
  }

 private:
  std::unique_ptr<CirBuf> ring_;
};
TYPED_TEST_SUITE(Stream, BothDoors, DoorNames);

TYPED_TEST(Stream, FramesOfEveryFormArriveAsTheSensorSentThem) {
  this->PlugAndOpen(Untimed(), this->kSensorWidth, this->kSensorHeight);
  UseSoftTrigger(this->link);
  for (const Form& form : kForms) {
    this->ExpectFrames(form, 3);
    if (this->HasFatalFailure()) return;
  }
}

TYPED_TEST(Stream, FramesOfEveryFormArriveOverUsb2) {
  VirtualOptions options = Untimed();
  options.usb3 = false;
  this->PlugAndOpen(options, this->kSensorWidth, this->kSensorHeight);
  UseSoftTrigger(this->link);
  for (const Form& form : kForms) {
    this->ExpectFrames(form, 2);
    if (this->HasFatalFailure()) return;
  }
}

TYPED_TEST(Stream, BinnedFramesArriveAsTheSensorSentThem) {
  this->PlugAndOpen(Untimed(), this->kSensorWidth, this->kSensorHeight);
  UseSoftTrigger(this->link);
  for (const std::uint8_t bin : std::initializer_list<std::uint8_t>{2, 3, 4}) {
    const StreamFormat format{60, 20, bin, k16MsbFirst};
    Program(this->link, format);
    ASSERT_TRUE(this->link.StartStream(this->Ring(), format)) << this->link.LinkError();
    ASSERT_TRUE(this->link.SendSoftTrigger());
    const auto frame = TakeFrame(this->Ring());
    ASSERT_TRUE(frame) << "bin " << int{bin};
    EXPECT_EQ(frame->header.bin, bin);
    EXPECT_TRUE(frame->payload == Arrived(this->camera->SentPayload(frame->header.sequence), k16MsbFirst));
    this->link.StopStream();
  }
}

TYPED_TEST(Stream, AFreeRunningStreamBringsFramesInOrderAndCountsWhatAHostMissed) {
  VirtualOptions options;  // in real time: 200 rows of 50 us, 100 frames a second
  this->PlugAndOpen(options, 256, 200, 50'000);
  const StreamFormat format{256, 200, 1, k16LsbFirst};
  Program(this->link, format);
  EXPECT_TRUE(this->link.WriteFPGAREG(wire::kFpgaExposure, 100));
  ASSERT_TRUE(this->link.StartStream(this->Ring(), format)) << this->link.LinkError();
  std::uint32_t next = FrameStream::kFirstSequence;
  std::uint64_t missing = 0;
  for (int i = 0; i < 60; ++i) {
    const auto frame = TakeFrame(this->Ring());
    ASSERT_TRUE(frame) << this->link.LinkError();
    const std::uint32_t gap = frame->header.sequence - next;
    ASSERT_LT(gap, 1000U) << "in order, frame " << i;
    missing += gap;
    next = frame->header.sequence + 1;
    const std::uint64_t frameNumber = frame->header.sequence - FrameStream::kFirstSequence;
    EXPECT_TRUE(frame->payload == Expected(frame->header, frameNumber)) << "frame " << i;
  }
  this->link.StopStream();
  const StreamCounters counters = this->link.Counters();
  EXPECT_EQ(counters.failed, 0U);
  EXPECT_LE(missing, counters.lost + counters.dropped);
  EXPECT_EQ(counters.inFlightMax, 8U);
  EXPECT_EQ(counters.inFlight, 0U);
  EXPECT_TRUE(counters.IdentityHolds());
}

TYPED_TEST(Stream, StartsAndStopsAgainAndAgain) {
  VirtualOptions options;
  this->PlugAndOpen(options, 256, 200, 10'000);
  const StreamFormat format{256, 200, 1, k8Bit};
  Program(this->link, format);
  EXPECT_TRUE(this->link.WriteFPGAREG(wire::kFpgaExposure, 100));
  for (int run = 0; run < 10; ++run) {
    ASSERT_TRUE(this->link.StartStream(this->Ring(), format)) << this->link.LinkError();
    const auto frame = TakeFrame(this->Ring());
    ASSERT_TRUE(frame) << "run " << run;
    const std::uint64_t frameNumber = frame->header.sequence - FrameStream::kFirstSequence;
    EXPECT_TRUE(frame->payload == Expected(frame->header, frameNumber)) << "run " << run;
    this->link.StopStream();
    this->Ring().Discard();
    EXPECT_EQ(this->link.Counters().failed, 0U) << "a frame that a stop cuts off is an aborted one";
    EXPECT_EQ(this->link.Counters().inFlight, 0U);
    EXPECT_TRUE(this->link.Counters().IdentityHolds());
  }
}

TYPED_TEST(Stream, ADamagedFrameIsCountedAndNeverDelivered) {
  using Kind = FrameFault::Kind;
  struct Case {
    Kind kind;
    std::uint64_t StreamCounters::*counter;
    std::uint64_t lost;
    std::uint64_t resyncs;
  };
  // The frame with the old number is a failed one, and the number that it should have had never comes.
  const Case cases[] = {{Kind::Short, &StreamCounters::failedShort, 0, 0},
                        {Kind::Oversize, &StreamCounters::failedOversize, 0, 0},
                        {Kind::BadHeader, &StreamCounters::failedMarks, 0, 0},
                        {Kind::BadTrailer, &StreamCounters::failedMarks, 0, 0},
                        {Kind::OutOfSequence, &StreamCounters::failedSequence, 1, 0},
                        {Kind::Stall, &StreamCounters::failedStalled, 0, 1},
                        {Kind::Error, &StreamCounters::failedTransport, 0, 1}};
  // Large enough that whole transfers have come before a frame breaks off.
  this->PlugAndOpen(Untimed(), 1500, 1000);
  UseSoftTrigger(this->link);
  const StreamFormat format{1500, 1000, 1, k16LsbFirst};
  Program(this->link, format);
  for (const Case& one : cases) {
    SCOPED_TRACE(static_cast<int>(one.kind));
    ASSERT_TRUE(this->link.StartStream(this->Ring(), format)) << this->link.LinkError();
    this->camera->AddFrameFault({one.kind, this->camera->FramesExposed() + 2});
    std::vector<std::uint32_t> sequences;
    for (int i = 0; i < 3; ++i) {
      const std::uint64_t before = this->link.Counters().started;
      ASSERT_TRUE(this->link.SendSoftTrigger());
      if (i == 1) {
        // The next trigger would be lost during this exposure.
        EXPECT_TRUE(Eventually([this] { return this->link.Counters().failed == 1; }));
        EXPECT_FALSE(TakeFrame(this->Ring(), 0)) << "the damaged frame";
        continue;
      }
      const auto frame = TakeFrame(this->Ring());
      EXPECT_TRUE(frame) << "frame " << i << " of " << before;
      if (frame) {
        sequences.push_back(frame->header.sequence);
        EXPECT_TRUE(frame->payload == this->camera->SentPayload(frame->header.sequence)) << "frame " << i;
      }
    }
    EXPECT_TRUE(this->link.StreamAlive());
    this->link.StopStream();
    const StreamCounters counters = this->link.Counters();
    EXPECT_EQ(counters.*one.counter, 1U);
    EXPECT_EQ(counters.failed, 1U);
    EXPECT_EQ(counters.completed, 2U);
    EXPECT_EQ(counters.lost, one.lost);
    EXPECT_EQ(counters.resyncs, one.resyncs);
    EXPECT_TRUE(counters.IdentityHolds());
  }
}

}  // namespace
}  // namespace orq::test
