#include "TestCamera.h"

namespace orq::test {
namespace {

TEST(VirtualStream, SendsWholeFramesFromPowerUpSettings) {
  auto camera = MakeCamera(Untimed());
  RunOutput(*camera);
  for (std::uint32_t i = 0; i < 20; ++i) {
    const Frame frame = ReadFrame(*camera);
    const auto header = frame.Header();
    ASSERT_TRUE(header.has_value());
    EXPECT_EQ(0xFFFFFFF0U + i, header->sequence);
    EXPECT_EQ(0xFFFFFFF0U + i, frame.Trailer());
    EXPECT_EQ(64 * 32 * 2U, header->payloadBytes);
    EXPECT_EQ(64 + 4096 + 16U, frame.bytes.size());
    EXPECT_EQ(64, header->width);
    EXPECT_EQ(32, header->height);
    EXPECT_EQ(12, header->adcBits);
    EXPECT_EQ(10000U, header->exposureUs);
    EXPECT_EQ(0, header->flags);
    ASSERT_EQ(frame.Payload(), camera->SentPayload(header->sequence));
    const ExposureSettings at{.frameNumber = i};
    for (int y : {0, 31}) {
      for (int x : {0, 63}) {
        const std::size_t place = static_cast<std::size_t>(2 * (y * 64 + x));
        const int sample = frame.Payload()[place] | frame.Payload()[place + 1] << 8;
        EXPECT_EQ(PatternSource::Sample(at, x, y) << 4, sample);
      }
    }
  }
}

TEST(VirtualStream, LeftAlignsSamplesInEveryFormat) {
  auto camera = MakeCamera(Untimed());
  const auto firstSample = [&](std::uint8_t format) {
    WriteFpga(*camera, wire::kFpgaFormat, format);
    RunOutput(*camera);
    const Frame frame = ReadFrame(*camera);
    RunOutput(*camera, false);
    camera->ClearHalt();
    EXPECT_EQ(format, frame.Header()->format);
    return frame.Payload();
  };
  // 31 counts per frame number, 1 per column: sample 1 of the n-th exposure is 31 n + 1. Which exposure it was is
  // in the low byte; the layouts must agree on it.
  const auto lsb = firstSample(wire::kFormat16Bit);
  ASSERT_EQ(4096U, lsb.size());
  EXPECT_EQ(0, lsb[0] & 0x0F);
  EXPECT_EQ(16, (lsb[2] | lsb[3] << 8) - (lsb[0] | lsb[1] << 8));
  const auto msb = firstSample(wire::kFormat16Bit | wire::kFormatMsbFirst);
  EXPECT_EQ(0, msb[1] & 0x0F);
  EXPECT_EQ(16, (msb[2] << 8 | msb[3]) - (msb[0] << 8 | msb[1]));
  const auto eight = firstSample(0);
  ASSERT_EQ(2048U, eight.size());
  EXPECT_EQ(1, eight[17] - eight[1]);  // 16 columns further, 16 counts of 12 bits: one of 8 bits
}

TEST(VirtualStream, PacksSamplesByHand) {
  const std::uint16_t adu[] = {0x0ABC, 0x0001, 0x0FFF};
  std::vector<std::uint8_t> out(6);
  PackSamples(adu, 12, wire::kFormat16Bit, out);
  EXPECT_EQ((std::vector<std::uint8_t>{0xC0, 0xAB, 0x10, 0x00, 0xF0, 0xFF}), out);
  PackSamples(adu, 12, wire::kFormat16Bit | wire::kFormatMsbFirst, out);
  EXPECT_EQ((std::vector<std::uint8_t>{0xAB, 0xC0, 0x00, 0x10, 0xFF, 0xF0}), out);
  out.resize(3);
  PackSamples(adu, 12, 0, out);
  EXPECT_EQ((std::vector<std::uint8_t>{0xAB, 0x00, 0xFF}), out);
  const std::uint16_t deep[] = {0xFEDC, 0, 0xFFFF};
  PackSamples(deep, 16, 0, out);
  EXPECT_EQ((std::vector<std::uint8_t>{0xFE, 0x00, 0xFF}), out);
}

TEST(VirtualStream, HeaderCarriesTheSettingsOfTheFrame) {
  auto camera = MakeCamera(Untimed());
  SetRegion(*camera, 16, 8);
  WriteFpga(*camera, wire::kFpgaBin, 2);
  WriteFpgaWide(*camera, wire::kFpgaStartX, 2, 20);
  WriteFpgaWide(*camera, wire::kFpgaStartY, 2, 6);
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 0x1234567890U);
  for (const auto& [reg, value] : {std::pair{0x0204, 0x11}, {0x0205, 0x01}, {0x0208, 0x22}, {0x0209, 0x02}})
    Out(*camera, 0xD3, static_cast<std::uint16_t>(reg), static_cast<std::uint16_t>(value));
  RunOutput(*camera);
  const Frame frame = ReadFrame(*camera);
  const auto header = frame.Header();
  ASSERT_TRUE(header);
  EXPECT_EQ(16, header->width);
  EXPECT_EQ(8, header->height);
  EXPECT_EQ(2, header->bin);
  EXPECT_EQ(20, header->startX);
  EXPECT_EQ(6, header->startY);
  EXPECT_EQ(0x1234567890U, header->exposureUs);
  EXPECT_EQ(0x0111, header->gain);
  EXPECT_EQ(0x0222, header->blackLevel);
  EXPECT_EQ(0U, header->gpsLatch);
  EXPECT_EQ(64 + 256 + 16U, frame.bytes.size());
  for (int i = 0; i < 5; ++i) {  // the exposure counter reports the last frame, 1 tick per microsecond
    EXPECT_EQ(static_cast<std::uint8_t>(0x1234567890U >> (8 * i)),
              ReadFpga(*camera, static_cast<std::uint16_t>(wire::kFpgaExposureCount + i)));
  }
}

TEST(VirtualStream, SendsNothingWhileItCannot) {
  const auto silentWith = [](const auto& prepare) {
    auto camera = MakeCamera(Untimed());
    prepare(*camera);
    RunOutput(*camera);
    return Silent(*camera);
  };
  EXPECT_FALSE(silentWith([](VirtualCamera&) {}));
  EXPECT_TRUE(silentWith([](VirtualCamera& c) { Out(c, wire::kReqStopSensorClock); }));
  EXPECT_TRUE(silentWith([](VirtualCamera& c) { Out(c, wire::kReqWriteSensor, wire::kSensorStandby, 1); }));
  EXPECT_TRUE(silentWith([](VirtualCamera& c) { Out(c, wire::kReqGpifBusWidth, 0); }));
  EXPECT_TRUE(silentWith([](VirtualCamera& c) { c.SetConfiguration(0); }));
  EXPECT_TRUE(silentWith([](VirtualCamera& c) { SetRegion(c, 0, 8); }));
  EXPECT_TRUE(silentWith([](VirtualCamera& c) { SetRegion(c, 65, 8); }));
  EXPECT_TRUE(silentWith([](VirtualCamera& c) { SetRegion(c, 64, 33); }));
  EXPECT_TRUE(silentWith([](VirtualCamera& c) { WriteFpga(c, wire::kFpgaBin, 2); }));  // 128 columns
}

TEST(VirtualStream, GoesOnWhenClockStandbyAndBusReturn) {
  auto camera = MakeCamera(Untimed());
  RunOutput(*camera);
  ASSERT_TRUE(ReadFrame(*camera).Header());
  Out(*camera, wire::kReqStopSensorClock);
  Out(*camera, wire::kReqStartSensorClock);
  ASSERT_TRUE(ReadFrame(*camera).Header());
  Out(*camera, wire::kReqWriteSensor, wire::kSensorStandby, 1);
  Out(*camera, wire::kReqWriteSensor, wire::kSensorStandby, 0);
  ASSERT_TRUE(ReadFrame(*camera).Header());
  Out(*camera, wire::kReqGpifBusWidth, 0);
  EXPECT_TRUE(Silent(*camera));
  Out(*camera, wire::kReqGpifBusWidth, 1);
  ASSERT_TRUE(ReadFrame(*camera).Header());
}

TEST(VirtualStream, StoppingEndsAHalfSentFrameAfterWhatTheControllerHolds) {
  auto camera = MakeCamera(Untimed(), 256, 256);  // 131,152 bytes
  RunOutput(*camera);
  EXPECT_EQ(1024U, Transfer(*camera, 1024).bytes.size());
  RunOutput(*camera, false);
  EXPECT_EQ(65536U, ReadFrame(*camera).bytes.size());
  EXPECT_TRUE(Silent(*camera));
}

/// A camera whose host stopped reading: the beginning of a frame waits for it.
std::shared_ptr<Firmware> Abandoned() {
  auto camera = MakeCamera(Untimed());
  WriteFpgaWide(*camera, wire::kFpgaSettingsTag, 4, 0x11223344);
  RunOutput(*camera);
  while (camera->SentFrames().size() < 2) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return camera;
}

TEST(VirtualStream, WhatTheControllerHeldComesBeforeTheFramesOfTheNextStart) {
  auto camera = Abandoned();
  RunOutput(*camera, false);
  WriteFpgaWide(*camera, wire::kFpgaSettingsTag, 4, 0x55667788);
  RunOutput(*camera);
  EXPECT_EQ(0x11223344U, ReadFrame(*camera).Header().value().settingsTag);
  EXPECT_EQ(0x55667788U, ReadFrame(*camera).Header().value().settingsTag);
}

TEST(VirtualStream, ClearingTheHaltEmptiesTheController) {
  auto camera = Abandoned();
  RunOutput(*camera, false);
  camera->ClearHalt();
  EXPECT_TRUE(Silent(*camera));
}

TEST(VirtualStream, TheSettingsTagIsLatchedWithTheRestWhenTheHoldEnds) {
  auto camera = MakeCamera(Untimed());
  WriteFpga(*camera, wire::kFpgaSingle, 1);
  const auto next = [&camera] {
    RunOutput(*camera);
    const Frame frame = ReadFrame(*camera);
    RunOutput(*camera, false);
    return frame.Header().value();
  };
  EXPECT_EQ(0U, next().settingsTag);
  WriteFpga(*camera, wire::kFpgaUpdateHold, 1);
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 777);
  WriteFpgaWide(*camera, wire::kFpgaSettingsTag, 4, 0xFEDCBA98);
  const wire::FrameHeader held = next();
  EXPECT_EQ(0U, held.settingsTag);
  EXPECT_EQ(10000U, held.exposureUs);
  WriteFpga(*camera, wire::kFpgaUpdateHold, 0);
  const wire::FrameHeader released = next();
  EXPECT_EQ(0xFEDCBA98U, released.settingsTag);
  EXPECT_EQ(777U, released.exposureUs);
}

TEST(VirtualStream, ASensorThatCountsLinesReportsWhatItDid) {
  VirtualOptions options = Untimed();
  options.countLines = true;
  auto camera = MakeCamera(options, 64, 32, 13'500);
  const auto exposed = [&camera](std::uint64_t us) {
    WriteFpgaWide(*camera, wire::kFpgaExposure, 5, us);
    RunOutput(*camera);
    const auto header = ReadFrame(*camera).Header();
    RunOutput(*camera, false);
    camera->ClearHalt();
    return header.value().exposureUs;
  };
  EXPECT_EQ(999U, exposed(1000));  // 74 lines
  EXPECT_EQ(27U, exposed(40));     // 2 lines
  EXPECT_EQ(13U, exposed(1));      // one line at least
}

TEST(VirtualStream, ANewRegionEndsTheFrameInWork) {
  auto camera = MakeCamera(Untimed());
  RunOutput(*camera);
  EXPECT_EQ(1024U, Transfer(*camera, 1024).bytes.size());
  WriteFpga(*camera, wire::kFpgaHeight, 8);
  EXPECT_TRUE(Transfer(*camera, 1024).ended);
  const Frame frame = ReadFrame(*camera);
  ASSERT_TRUE(frame.Header());
  EXPECT_EQ(8, frame.Header()->height);
  EXPECT_EQ(frame.Payload(), camera->SentPayload(frame.Header()->sequence));
}

TEST(VirtualStream, AllFramesAfterANewFormatHaveIt) {
  auto camera = MakeCamera(Untimed());
  RunOutput(*camera);
  ASSERT_TRUE(ReadFrame(*camera).Header());
  WriteFpga(*camera, wire::kFpgaFormat, 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(64 + 2048 + 16U, ReadFrame(*camera).bytes.size());
}

TEST(VirtualStream, CutsFramesAtTheTransferCount) {
  auto camera = MakeCamera(Untimed(), 256, 128);  // 65,536 + 80 bytes
  Out(*camera, wire::kReqTransferCount, 0, 1);
  RunOutput(*camera);
  EXPECT_EQ(49152U, ReadFrame(*camera, 16384).bytes.size());
  RunOutput(*camera, false);
  camera->ClearHalt();
  Out(*camera, wire::kReqTransferCount, 0, 2);
  RunOutput(*camera);
  EXPECT_EQ(65616U, ReadFrame(*camera, 16384).bytes.size());
  RunOutput(*camera, false);
  camera->ClearHalt();
  Out(*camera, wire::kReqTransferCount, 1, 0);  // 65,536 blocks
  RunOutput(*camera);
  EXPECT_EQ(65616U, ReadFrame(*camera, 16384).bytes.size());
}

struct EndCase {
  bool usb3;
  int rows;  ///< of 8 samples
  std::size_t transfer;
  std::vector<std::pair<std::size_t, bool>> transfers;  ///< bytes and whether a short packet ended it
};

TEST(VirtualStream, EveryFrameEndsInAShortOrZeroLengthPacket) {
  const EndCase cases[] = {
      {true, 59, 1024, {{1024, false}, {0, true}}},      // 1024 bytes fill the transfer: zero-length packet next
      {true, 59, 4096, {{1024, true}}},                  // room left: the zero-length packet ends it
      {true, 3067, 49152, {{49152, false}, {0, true}}},  // one whole block
      {true, 91, 1024, {{1024, false}, {512, true}}},    // 1536 bytes: half a packet
      {true, 91, 4096, {{1536, true}}},
      {false, 91, 512, {{512, false}, {512, false}, {512, false}, {0, true}}},  // three USB 2 packets
      {false, 91, 1024, {{1024, false}, {512, true}}},
      {true, 60, 1024, {{1024, false}, {16, true}}},
  };
  for (const EndCase& c : cases) {
    VirtualOptions options = Untimed();
    options.usb3 = c.usb3;
    auto camera = MakeCamera(options, 8, c.rows);
    EXPECT_EQ(c.usb3 ? UsbSpeed::Super : UsbSpeed::High, camera->Speed());
    RunOutput(*camera);
    for (int frame = 0; frame < 3; ++frame) {
      std::vector<std::uint8_t> bytes;
      for (const auto& [size, ended] : c.transfers) {
        const TransferResult transfer = Transfer(*camera, c.transfer);
        EXPECT_EQ(size, transfer.bytes.size()) << c.rows << " rows, transfers of " << c.transfer;
        EXPECT_EQ(ended, transfer.ended) << c.rows << " rows, transfers of " << c.transfer;
        bytes.insert(bytes.end(), transfer.bytes.begin(), transfer.bytes.end());
      }
      EXPECT_EQ(0xFFFFFFF0U + static_cast<unsigned>(frame), wire::GetHeader(bytes).value().sequence);
    }
  }
}

TEST(VirtualStream, PreRenderedFramesComeInTurn) {
  VirtualOptions options = Untimed();
  options.preRender = 3;
  auto camera = MakeCamera(options);
  RunOutput(*camera);
  std::vector<std::vector<std::uint8_t>> payloads;
  for (std::uint32_t i = 0; i < 7; ++i) {
    const Frame frame = ReadFrame(*camera);
    EXPECT_EQ(0xFFFFFFF0U + i, frame.Header().value().sequence);
    payloads.push_back(frame.Payload());
  }
  EXPECT_NE(payloads[0], payloads[1]);
  EXPECT_NE(payloads[1], payloads[2]);
  EXPECT_EQ(payloads[0], payloads[3]);
  EXPECT_EQ(payloads[1], payloads[4]);
  EXPECT_EQ(payloads[2], payloads[5]);
  EXPECT_EQ(payloads[0], payloads[6]);
  WriteFpga(*camera, wire::kFpgaHeight, 16);
  EXPECT_EQ(2048U, ReadFrame(*camera).Payload().size());
}

TEST(VirtualStream, RemembersOnlyTheLastPayloads) {
  auto camera = MakeCamera(Untimed());
  EXPECT_TRUE(camera->SentPayload(0xFFFFFFF0U).empty());
  RunOutput(*camera);
  for (int i = 0; i < 20; ++i) ReadFrame(*camera);
  EXPECT_TRUE(camera->SentPayload(0xFFFFFFF0U).empty());
  EXPECT_EQ(4096U, camera->SentPayload(3).size());  // the 20th, past the wrap
}

TEST(VirtualStream, SameSeedSameBytes) {
  const auto frames = [](std::uint64_t seed) {
    VirtualOptions options = Untimed();
    options.seed = seed;
    std::string error;
    auto camera = VirtualCamera::Make(options, error);
    EXPECT_NE(nullptr, camera) << error;
    camera->PowerCycle();
    SetRegion(*camera, 64, 64);
    RunOutput(*camera);
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < 3; ++i) {
      const Frame frame = ReadFrame(*camera);
      bytes.insert(bytes.end(), frame.bytes.begin(), frame.bytes.end());
    }
    return bytes;
  };
  const auto first = frames(5);
  EXPECT_EQ(3U * (64 + 8192 + 16), first.size());
  EXPECT_EQ(first, frames(5));
  EXPECT_NE(first, frames(6));
}

TEST(VirtualCameraTest, MakeReportsASourceThatCannotBeUsed) {
  VirtualOptions options;
  options.model = "replay";
  options.file = "/nonexistent/frame.fits";
  std::string error;
  EXPECT_EQ(nullptr, VirtualCamera::Make(options, error));
  EXPECT_FALSE(error.empty());
}

}  // namespace
}  // namespace orq::test
