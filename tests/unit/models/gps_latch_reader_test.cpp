#include "models/frametime/GpsLatchReader.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "unit/gps/GpsCamera.h"

namespace orq {
namespace {

using test::BlockV1;
using test::GoodBlock;

constexpr std::uint32_t kLatch = 0xFFFFFFF3U;
constexpr unsigned kCounter = 0x88;
constexpr unsigned kStartBlock = 0x50;
constexpr unsigned kEndBlock = 0x90;
/// 7 May 2024, 08:09:10.1234567: 54 years with 13 leap days after 1970, four months with a leap day, six days.
constexpr UtcTenths kGoodTime =
    (std::int64_t{54 * 365 + 13 + 31 + 29 + 31 + 30 + 6} * 86'400 + 8 * 3600 + 9 * 60 + 10) * 10'000'000 +
    1'234'567;

/// Does something before a control transfer is answered.
class HookedPort : public test::FakePort {
 public:
  std::function<void(const SetupPacket&)> before;
  std::map<int, std::vector<std::uint8_t>> oldBlocks;  ///< answers to the block request by line
  int transfers = 0;
  int refuse = -1;           ///< the transfer with this number, from 0
  bool offersLatch = false;  ///< in one request, as the registers have it

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    if (before) before(setup);
    if (transfers++ == refuse) return kUsbPipe;
    if (setup.request == 0xD9) return offersLatch ? AnswerLatch(data) : static_cast<int>(kUsbPipe);
    const auto block = oldBlocks.find(setup.value);
    if (setup.request == 0xD8 && block != oldBlocks.end()) {
      std::copy(block->second.begin(), block->second.end(), data.begin());
      return static_cast<int>(block->second.size());
    }
    return FakePort::ControlTransfer(setup, data, timeoutMs);
  }

 private:
  int AnswerLatch(std::span<std::uint8_t> data) {
    if (data.size() != 4 + 2 * 55) return kUsbPipe;
    for (unsigned i = 0; i < 4; ++i) data[i] = fpga[static_cast<std::uint16_t>(kCounter + i)];
    for (unsigned i = 0; i < 55; ++i) {
      data[4 + i] = fpga[static_cast<std::uint16_t>(kStartBlock + i)];
      data[4 + 55 + i] = fpga[static_cast<std::uint16_t>(kEndBlock + i)];
    }
    return static_cast<int>(data.size());
  }
};

class Camera : public test::GpsCamera {
 public:
  Camera() {
    hooked = std::make_shared<HookedPort>();
    hooked->fpga = port->fpga;
    port = hooked;
    UsePort(port);
  }
  int GetRollingInterval(int& value) override {
    value = interval;
    return 1;
  }
  void SetCounter(std::uint32_t count) {
    for (unsigned i = 0; i < 4; ++i)
      port->fpga[static_cast<std::uint16_t>(kCounter + i)] = static_cast<std::uint8_t>(count >> (8 * i));
  }
  std::shared_ptr<HookedPort> hooked;
  int interval = 164;
};

class GpsLatch : public testing::Test {
 protected:
  GpsLatch() {
    BlockV1 later = GoodBlock();
    later[7] = 11;
    camera.Latch(kStartBlock, GoodBlock());
    camera.Latch(kEndBlock, later);
    camera.SetCounter(kLatch);
    camera.port->fpga[0x47] = 5;
    camera.port->fpga[0x49] = 0x34;
    camera.port->fpga[0x4A] = 0x02;
  }
  GpsState StateOf(std::uint32_t latch = kLatch) { return reader.Read(latch).state; }
  /// Runs `change` when the given register is read for the n-th time (from 1) from now on.
  void When(unsigned reg, int nth, const std::function<void()>& change) {
    camera.hooked->before = [=, seen = 0](const SetupPacket& setup) mutable {
      if (setup.request == 0xD0 && setup.value == reg && ++seen == nth) change();
    };
  }
  void PutOldBlock(int line, std::uint32_t count, const std::vector<std::uint8_t>& block) {
    std::vector<std::uint8_t> answer;
    for (unsigned i = 0; i < 4; ++i) answer.push_back(static_cast<std::uint8_t>(count >> (8 * i)));
    answer.insert(answer.end(), block.begin(), block.end());
    camera.hooked->oldBlocks[line] = answer;
  }

  Camera camera;
  GpsLatchReader reader{camera};
};

TEST_F(GpsLatch, OfTheFrameGivesTimesPlaceAndLines) {
  reader.Begin();
  const FrameGps gps = reader.Read(kLatch);
  EXPECT_EQ(gps.state, GpsState::Fix);
  EXPECT_EQ(gps.latched.start, kGoodTime);
  EXPECT_EQ(gps.latched.end, kGoodTime + 10'000'000);
  EXPECT_EQ(gps.latched.startLine, 5);
  EXPECT_EQ(gps.latched.endLine, 0x234);
  EXPECT_EQ(gps.satellites, 9);
  EXPECT_NEAR(gps.latitude.value_or(0), 48 + 7.0381 / 60, 1e-5);
  EXPECT_NEAR(gps.longitude.value_or(0), 11 + 31.5 / 60, 1e-5);
  EXPECT_EQ(gps.altitude, 123.4);
  EXPECT_EQ(reader.Found().rowInterval, 164);
}

TEST_F(GpsLatch, TheOffsetToTheExposureIsAdded) {
  camera.shr0 = 131.2F;
  reader.Begin();
  EXPECT_EQ(reader.Read(kLatch).latched.start, kGoodTime + 1'310);
}

TEST_F(GpsLatch, IsReadTwiceByRegisters) {
  reader.Begin();
  camera.hooked->transfers = 0;
  EXPECT_EQ(StateOf(), GpsState::Fix);
  EXPECT_EQ(camera.hooked->transfers, 4 + 1 + 2 * (4 + 2 * 55)) << "lines, the refused request, two readings";
  EXPECT_EQ(StateOf(), GpsState::Fix);
  EXPECT_EQ(camera.hooked->transfers, 4 + 1 + 2 * (4 + 2 * 55) + 4 + 2 * (4 + 2 * 55)) << "not asked again";
}

TEST_F(GpsLatch, OfAnotherFrameIsMissedAfterTheCounter) {
  reader.Begin();
  EXPECT_EQ(StateOf(), GpsState::Fix);
  camera.hooked->transfers = 0;
  EXPECT_EQ(StateOf(kLatch - 1), GpsState::Missed);
  EXPECT_EQ(camera.hooked->transfers, 4 + 4);
}

TEST_F(GpsLatch, ComesByOneRequestWhereTheCameraOffersIt) {
  camera.hooked->offersLatch = true;
  reader.Begin();
  camera.hooked->transfers = 0;
  const FrameGps gps = reader.Read(kLatch);
  EXPECT_EQ(camera.hooked->transfers, 4 + 1);
  EXPECT_EQ(gps.state, GpsState::Fix);
  EXPECT_EQ(gps.latched.start, kGoodTime);
  EXPECT_EQ(gps.latched.end, kGoodTime + 10'000'000);
  EXPECT_EQ(gps.satellites, 9);
  camera.port->fpga[kEndBlock] = 'V';
  EXPECT_EQ(StateOf(), GpsState::NoFix);
}

TEST_F(GpsLatch, OfAnotherFrameIsThereForTheAsking) {
  for (const bool offers : {true, false}) {
    camera.hooked->offersLatch = offers;
    reader.Begin();
    EXPECT_EQ(StateOf(kLatch - 2), GpsState::Missed);
    camera.hooked->transfers = 0;
    EXPECT_EQ(reader.ReadOther(false).has_value(), offers) << "whoever is in haste does not read registers for it";
    EXPECT_EQ(camera.hooked->transfers, 0);
    const auto other = reader.ReadOther(true);
    EXPECT_EQ(camera.hooked->transfers, offers ? 0 : 2 * (4 + 2 * 55));
    ASSERT_TRUE(other.has_value());
    EXPECT_EQ(other->latch, kLatch);
    EXPECT_EQ(other->gps.state, GpsState::Fix);
    EXPECT_EQ(other->gps.latched.start, kGoodTime);
    EXPECT_EQ(other->gps.latched.startLine, 5);
  }
}

TEST_F(GpsLatch, OfAnotherFrameMustHaveAFix) {
  camera.hooked->offersLatch = true;
  camera.port->fpga[kStartBlock] = 'V';
  reader.Begin();
  EXPECT_EQ(StateOf(kLatch - 1), GpsState::Missed);
  EXPECT_FALSE(reader.ReadOther(true).has_value());
  camera.SetCounter(0);  // nothing has been latched
  EXPECT_EQ(StateOf(), GpsState::Missed);
  EXPECT_FALSE(reader.ReadOther(true).has_value());
}

TEST_F(GpsLatch, WhatTheLastFrameFoundIsNoneOfTheNext) {
  camera.hooked->offersLatch = true;
  reader.Begin();
  EXPECT_EQ(StateOf(kLatch - 1), GpsState::Missed);
  EXPECT_EQ(StateOf(0), GpsState::NoLatch);
  EXPECT_FALSE(reader.ReadOther(true).has_value());
}

TEST_F(GpsLatch, ThatChangesWhileItIsReadIsMissed) {
  reader.Begin();
  BlockV1 next = GoodBlock();
  test::PutReversed(next, 25, "4807.03813");
  // The next frame's latch comes in the middle of the first, then of the second reading.
  for (const int reading : {1, 2}) {
    camera.SetCounter(kLatch);
    camera.Latch(kEndBlock, GoodBlock());
    When(kEndBlock + 20, reading, [&] {
      camera.SetCounter(kLatch + 1);
      camera.Latch(kEndBlock, next);
    });
    EXPECT_EQ(StateOf(), GpsState::Missed) << reading;
  }
}

TEST_F(GpsLatch, TwoEqualReadingsOfThreeAreEnough) {
  reader.Begin();
  BlockV1 torn = GoodBlock();
  torn[7] = 59;
  camera.Latch(kStartBlock, torn);
  When(kEndBlock, 1, [this] { camera.Latch(kStartBlock, GoodBlock()); });
  const FrameGps gps = reader.Read(kLatch);
  EXPECT_EQ(gps.state, GpsState::Fix);
  EXPECT_EQ(gps.latched.start, kGoodTime);
}

TEST_F(GpsLatch, ThreeDifferentReadingsAreNone) {
  reader.Begin();
  int second = 0;
  camera.hooked->before = [&](const SetupPacket& setup) {
    if (setup.request == 0xD0 && setup.value == kStartBlock)
      camera.port->fpga[kStartBlock + 7] = static_cast<std::uint8_t>(++second);
  };
  EXPECT_EQ(StateOf(), GpsState::Missed);
  EXPECT_EQ(second, 3);
}

TEST_F(GpsLatch, AFrameWithoutOneSaysSo) {
  reader.Begin();
  const FrameGps gps = reader.Read(0);
  EXPECT_EQ(gps.state, GpsState::NoLatch);
  EXPECT_EQ(gps.latched.startLine, 5);
}

TEST_F(GpsLatch, WithoutAFixHasNoTime) {
  reader.Begin();
  for (const unsigned block : {kStartBlock, kEndBlock}) {
    camera.port->fpga[static_cast<std::uint16_t>(block)] = 'V';
    EXPECT_EQ(StateOf(), GpsState::NoFix);
    camera.port->fpga[static_cast<std::uint16_t>(block)] = 'A';
  }
  camera.port->fpga[kEndBlock + 24] = 'X';  // the latitude's side
  EXPECT_EQ(StateOf(), GpsState::NoFix);
  camera.port->fpga[kEndBlock + 24] = 'N';
  camera.port->fpga[kStartBlock + 1] = 32;  // the decoder takes any day
  EXPECT_EQ(StateOf(), GpsState::NoFix);
}

TEST_F(GpsLatch, AltitudesThatDoNotFitAreUnknown) {
  for (unsigned n = 48; n <= 52; ++n) camera.port->fpga[static_cast<std::uint16_t>(kStartBlock + n)] = ' ';
  reader.Begin();
  const FrameGps gps = reader.Read(kLatch);
  EXPECT_EQ(gps.state, GpsState::Fix);
  EXPECT_FALSE(gps.altitude.has_value());
}

TEST_F(GpsLatch, NewLinesMakeTwoFramesUncertain) {
  reader.Begin();
  EXPECT_EQ(StateOf(), GpsState::Fix);
  camera.port->fpga[0x47] = 6;
  EXPECT_EQ(StateOf(), GpsState::Unsettled);
  EXPECT_EQ(StateOf(), GpsState::Unsettled);
  EXPECT_EQ(StateOf(), GpsState::Fix);
  camera.interval = 328;
  EXPECT_EQ(StateOf(), GpsState::Unsettled);
  camera.port->fpga[0x4A] = 3;  // meanwhile
  EXPECT_EQ(StateOf(), GpsState::Unsettled);
  EXPECT_EQ(StateOf(), GpsState::Unsettled);
  EXPECT_EQ(StateOf(), GpsState::Fix);
  camera.port->fpga[0x47] = 7;
  reader.Begin();  // a capture that starts with them is sure of them
  EXPECT_EQ(StateOf(), GpsState::Fix);
}

TEST_F(GpsLatch, EveryReadThatFailsIsTold) {
  for (int failing = 0; failing < 4 + 2 * (4 + 2 * 55); ++failing) {
    reader.Begin();
    EXPECT_EQ(StateOf(), GpsState::Fix);  // learns that the latch comes by registers
    camera.hooked->transfers = 0;
    camera.hooked->refuse = failing;
    EXPECT_EQ(StateOf(), GpsState::Unreadable) << failing;
    camera.hooked->refuse = -1;
  }
  EXPECT_EQ(StateOf(), GpsState::Fix);
}

TEST_F(GpsLatch, ARequestThatFailsOnceIsMadeUpForByRegisters) {
  camera.hooked->offersLatch = true;
  reader.Begin();
  camera.hooked->transfers = 0;
  camera.hooked->refuse = 4;
  EXPECT_EQ(StateOf(), GpsState::Fix);
  camera.hooked->refuse = -1;
  camera.hooked->transfers = 0;
  EXPECT_EQ(StateOf(), GpsState::Fix);
  EXPECT_EQ(camera.hooked->transfers, 4 + 2 * (4 + 2 * 55)) << "for the rest of the capture";
  reader.Begin();
  camera.hooked->transfers = 0;
  EXPECT_EQ(StateOf(), GpsState::Fix);
  EXPECT_EQ(camera.hooked->transfers, 4 + 1);
}

TEST_F(GpsLatch, ACameraThatDidNotAnswerAtFirstIsAskedAgain) {
  for (int failing = 0; failing < 3; ++failing) {  // board type, status, version
    camera.hooked->transfers = 0;
    camera.hooked->refuse = failing;
    reader.Begin();
    camera.hooked->refuse = -1;
    EXPECT_EQ(StateOf(), GpsState::Unsettled) << failing;
    EXPECT_EQ(StateOf(), GpsState::Unsettled) << failing;
    EXPECT_EQ(StateOf(), GpsState::Fix) << failing;
  }
}

TEST_F(GpsLatch, ABoardWithoutGpsHasNone) {
  camera.port->fpga[0x46] = 0;
  reader.Begin();
  EXPECT_EQ(StateOf(), GpsState::None);
}

/// The same time in the older form.
std::vector<std::uint8_t> OldBlock() {
  std::vector<std::uint8_t> block(56);
  const std::string text = "A080910";
  const std::size_t at[] = {7, 6, 5, 4, 11, 10, 9};
  for (std::size_t i = 0; i < text.size(); ++i) block[at[i]] = static_cast<std::uint8_t>(text[i]);
  block[14] = 123;
  const std::string date = "070524";
  const std::size_t dateAt[] = {13, 12, 19, 18, 17, 16};
  for (std::size_t i = 0; i < date.size(); ++i) block[dateAt[i]] = static_cast<std::uint8_t>(date[i]);
  block[44] = 4567 & 0xFF;
  block[45] = 4567 >> 8;
  block[53] = '0';
  block[52] = '7';
  return block;
}

TEST_F(GpsLatch, OldRecordsComeByRequestAndGetTheOffsetHere) {
  camera.port->fpga[0x46] = 0x01;
  camera.shr0 = 131.2F;
  PutOldBlock(0, kLatch, OldBlock());
  PutOldBlock(1, kLatch, OldBlock());
  reader.Begin();
  const FrameGps gps = reader.Read(kLatch);
  EXPECT_EQ(gps.state, GpsState::Fix);
  EXPECT_EQ(gps.latched.start, kGoodTime + 1'310);
  EXPECT_EQ(gps.latched.end, kGoodTime + 1'310);
  EXPECT_EQ(gps.satellites, 7);
  EXPECT_FALSE(gps.latitude.has_value()) << "their angles are decoded at another scale";
  EXPECT_FALSE(gps.longitude.has_value());
  EXPECT_FALSE(gps.altitude.has_value());
}

TEST_F(GpsLatch, OldRecordsOfAnotherFrameAreMissed) {
  camera.port->fpga[0x46] = 0x01;
  PutOldBlock(0, kLatch, OldBlock());
  PutOldBlock(1, kLatch + 1, OldBlock());
  reader.Begin();
  EXPECT_EQ(StateOf(), GpsState::Missed);
  PutOldBlock(0, kLatch + 1, OldBlock());
  EXPECT_EQ(StateOf(), GpsState::Missed);
  EXPECT_EQ(StateOf(kLatch + 1), GpsState::Fix);
}

TEST_F(GpsLatch, OldRecordsThatAreNotValidOrRefusedHaveNoTime) {
  camera.port->fpga[0x46] = 0x01;
  std::vector<std::uint8_t> invalid = OldBlock();
  invalid[7] = 'V';
  PutOldBlock(0, kLatch, OldBlock());
  PutOldBlock(1, kLatch, invalid);
  reader.Begin();
  EXPECT_EQ(StateOf(), GpsState::NoFix);
  camera.hooked->oldBlocks.clear();
  camera.port->refusedRequests = {0xD8};
  EXPECT_EQ(StateOf(), GpsState::Unreadable);
}

}  // namespace
}  // namespace orq
