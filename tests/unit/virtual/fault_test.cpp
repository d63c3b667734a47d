#include "TestCamera.h"

namespace orq::test {
namespace {

using Kind = FrameFault::Kind;
constexpr std::uint32_t kFirst = 0xFFFFFFF0U;
constexpr std::size_t kWhole = 64 + 4096 + 16;

std::shared_ptr<Firmware> CameraWithFaultAtSecond(Kind kind) {
  VirtualOptions options = Untimed();
  options.frameFaults = {{kind, 2}};
  auto camera = MakeCamera(options);
  RunOutput(*camera);
  return camera;
}

void ExpectGood(const Frame& frame, std::uint32_t sequence) {
  ASSERT_TRUE(frame.Header());
  EXPECT_EQ(sequence, frame.Header()->sequence);
  EXPECT_EQ(sequence, frame.Trailer());
  EXPECT_EQ(kWhole, frame.bytes.size());
}

/// The second of three frames; the others must be good.
Frame SecondFrame(Kind kind) {
  auto camera = CameraWithFaultAtSecond(kind);
  ExpectGood(ReadFrame(*camera), kFirst);
  const Frame second = ReadFrame(*camera);
  ExpectGood(ReadFrame(*camera), kFirst + 2);
  return second;
}

TEST(VirtualFaults, ShortFrameEndsEarly) {
  const Frame frame = SecondFrame(Kind::Short);
  EXPECT_EQ(64U + 2048, frame.bytes.size());
  EXPECT_EQ(kFirst + 1, frame.Header().value().sequence);
}

TEST(VirtualFaults, OversizeFrameGoesOnAfterItsTrailer) {
  const Frame frame = SecondFrame(Kind::Oversize);
  EXPECT_EQ(kWhole + 1000, frame.bytes.size());
  EXPECT_EQ(kFirst + 1, frame.Trailer());
}

TEST(VirtualFaults, BadHeaderHasNoMagic) {
  const Frame frame = SecondFrame(Kind::BadHeader);
  EXPECT_EQ(kWhole, frame.bytes.size());
  EXPECT_FALSE(frame.Header());
}

TEST(VirtualFaults, BadTrailerHasNoMagic) {
  const Frame frame = SecondFrame(Kind::BadTrailer);
  EXPECT_EQ(kWhole, frame.bytes.size());
  EXPECT_EQ(kFirst + 1, frame.Header().value().sequence);
  EXPECT_FALSE(frame.Trailer());
}

TEST(VirtualFaults, OutOfSequenceRepeatsANumber) {
  ExpectGood(SecondFrame(Kind::OutOfSequence), kFirst);
}

TEST(VirtualFaults, LostFrameLeavesAGap) {
  auto camera = CameraWithFaultAtSecond(Kind::Drop);
  ExpectGood(ReadFrame(*camera), kFirst);
  ExpectGood(ReadFrame(*camera), kFirst + 2);
}

TEST(VirtualFaults, StallLastsUntilTheHaltIsCleared) {
  auto camera = CameraWithFaultAtSecond(Kind::Stall);
  ExpectGood(ReadFrame(*camera), kFirst);
  const Frame broken = ReadFrame(*camera);
  EXPECT_EQ(BulkStep::Kind::Stall, broken.kind);
  EXPECT_EQ(2048U, broken.bytes.size());
  EXPECT_EQ(BulkStep::Kind::Stall, Transfer(*camera, 1024).kind);
  camera->ClearHalt();
  ExpectGood(ReadFrame(*camera), kFirst + 2);
}

TEST(VirtualFaults, ClearingTheHaltGoesToTheNextFrame) {
  auto camera = MakeCamera(Untimed());
  RunOutput(*camera);
  EXPECT_EQ(1024U, Transfer(*camera, 1024).bytes.size());
  camera->ClearHalt();
  ExpectGood(ReadFrame(*camera), kFirst + 1);
}

TEST(VirtualFaults, TransferErrorCostsTheFrame) {
  auto camera = CameraWithFaultAtSecond(Kind::Error);
  ExpectGood(ReadFrame(*camera), kFirst);
  const Frame broken = ReadFrame(*camera);
  EXPECT_EQ(BulkStep::Kind::Error, broken.kind);
  EXPECT_EQ(2048U, broken.bytes.size());
  ExpectGood(ReadFrame(*camera), kFirst + 2);
}

TEST(VirtualFaults, UnplugEndsEverything) {
  auto camera = CameraWithFaultAtSecond(Kind::Unplug);
  ExpectGood(ReadFrame(*camera), kFirst);
  EXPECT_EQ(BulkStep::Kind::Gone, ReadFrame(*camera).kind);
  EXPECT_EQ(kUsbNoDevice, Out(*camera, 0xB0));
}

TEST(VirtualFaults, CanBeAddedLater) {
  auto camera = MakeCamera(Untimed());
  camera->AddFrameFault({Kind::Short, 1});
  RunOutput(*camera);
  EXPECT_EQ(64U + 2048, ReadFrame(*camera).bytes.size());
}

TEST(VirtualFaults, CombineInOneFrame) {
  VirtualOptions options = Untimed();
  options.frameFaults = {{Kind::Short, 1}, {Kind::BadHeader, 1}};
  auto camera = MakeCamera(options);
  RunOutput(*camera);
  const Frame frame = ReadFrame(*camera);
  EXPECT_EQ(64U + 2048, frame.bytes.size());
  EXPECT_FALSE(frame.Header());
}

TEST(VirtualFaults, ADropRateIsKeptAndFollowsTheSeed) {
  const auto arrivals = [](std::uint64_t seed, double rate) {
    VirtualOptions options = Untimed();
    options.seed = seed;
    options.dropRate = rate;
    auto camera = MakeCamera(options, 8, 8);
    RunOutput(*camera);
    std::vector<std::uint32_t> sequences;
    for (int i = 0; i < 300; ++i) sequences.push_back(ReadFrame(*camera).Header().value().sequence - kFirst);
    return sequences;
  };
  EXPECT_EQ(299U, arrivals(1, 0).back());
  const auto quarter = arrivals(1, 0.25);  // 300 of about 400 arrive; one standard deviation is 12
  EXPECT_GT(quarter.back(), 340U);
  EXPECT_LT(quarter.back(), 460U);
  EXPECT_EQ(quarter, arrivals(1, 0.25));
  EXPECT_NE(quarter, arrivals(2, 0.25));
}

}  // namespace
}  // namespace orq::test
