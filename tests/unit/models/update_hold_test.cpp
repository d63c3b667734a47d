// The FPGA's update hold is one register for all sequences that use it.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "models/camera/RegisterBatch.h"
#include "support/FakePort.h"
#include "support/RecordingCamera.h"

namespace orq {
namespace {

/// Notes which FPGA registers are written, in order, and lets a test wait for a write.
class WritesPort : public test::FakePort {
 public:
  struct Write {
    std::uint16_t reg;
    std::uint16_t value;
    bool operator==(const Write&) const = default;
  };

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    {
      const std::lock_guard lock(mutex_);
      writes_.push_back({setup.value, setup.index});
    }
    changed_.notify_all();
    return test::FakePort::ControlTransfer(setup, data, timeoutMs);
  }
  std::vector<Write> Writes() const {
    const std::lock_guard lock(mutex_);
    return writes_;
  }
  /// Gives another thread the time to write out of turn.
  void AwaitMoreThan(std::size_t count, std::chrono::milliseconds atMost) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, atMost, [&] { return writes_.size() > count; });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Write> writes_;
};

struct HoldUser {
  const char* name;
  bool (*run)(CCameraBase& camera);
  std::uint16_t firstRegister;
};

bool WriteExposure(CCameraBase& link) {
  RegisterBatch batch;
  batch.Fpga(0x30, 0x0504030201, 5);
  return WriteHeld(link, batch, batch);
}

const HoldUser kUsers[] = {
    {"SyncADelay", [](CCameraBase& l) { return l.SetExtSyncADelayTime(1); }, 0x04},
    {"SyncAKeep", [](CCameraBase& l) { return l.SetExtSyncAKeepTime(1); }, 0x08},
    {"SyncBDelay", [](CCameraBase& l) { return l.SetExtSyncBDelayTime(1); }, 0x0C},
    {"SyncBKeep", [](CCameraBase& l) { return l.SetExtSyncBKeepTime(1); }, 0x10},
    {"GpsLine", [](CCameraBase& l) { return l.GPSSetLine(0, 5) == CTRL_OK; }, 0x47},
    {"RegisterBatch", WriteExposure, 0x30},
};

using Write = WritesPort::Write;

/// A camera whose writes are noted.
class UpdateHoldLink {
 protected:
  UpdateHoldLink() {
    link.UsePort(port);
    link.usbHandle = port->Handle();
    link.bOpened = 1;
    link.iMaxHeight = 10;
  }

  std::shared_ptr<WritesPort> port = std::make_shared<WritesPort>();
  test::BareCamera link;
};

class UpdateHold : public UpdateHoldLink, public testing::TestWithParam<HoldUser> {};

TEST_P(UpdateHold, IsNotEndedByAnotherThreadThatUsesIt) {
  auto hold = link.LockUpdateHold();
  ASSERT_TRUE(link.WriteFPGAREG(0x01, 1));
  std::thread other([this] { EXPECT_TRUE(GetParam().run(link)); });
  port->AwaitMoreThan(1, std::chrono::milliseconds(50));
  EXPECT_TRUE(link.WriteFPGAREG(0x35, 0xAA));
  EXPECT_TRUE(link.WriteFPGAREG(0x01, 0));
  hold.unlock();
  other.join();

  const std::vector<Write> writes = port->Writes();
  ASSERT_GT(writes.size(), 4U);
  EXPECT_EQ(writes[0], (Write{0x01, 1}));
  EXPECT_EQ(writes[1], (Write{0x35, 0xAA}));
  EXPECT_EQ(writes[2], (Write{0x01, 0}));
  EXPECT_EQ(writes[3], (Write{0x01, 1}));
  EXPECT_EQ(writes[4].reg, GetParam().firstRegister);
  EXPECT_EQ(writes.back(), (Write{0x01, 0}));
}

TEST_P(UpdateHold, IsFreeAgainAfterARefusal) {
  port->refusedRegisters.insert({0xD1, GetParam().firstRegister});
  EXPECT_FALSE(GetParam().run(link));
  EXPECT_EQ(port->Writes().back(), (WritesPort::Write{0x01, 0}));
  const auto hold = link.LockUpdateHold();
  EXPECT_TRUE(hold.owns_lock());
}

/// A batch of one register of the FPGA, and what to go back to.
RegisterBatch One(std::uint16_t reg, std::uint8_t value) {
  RegisterBatch batch;
  batch.Fpga(reg, value, 1);
  return batch;
}

class HeldBatch : public UpdateHoldLink, public testing::Test {};

// A frame that carries the new tag was exposed with all of the new settings: the tag comes after them, and no
// frame begins between the two.
TEST_F(HeldBatch, EndsWithItsTagBeforeTheHoldIsReleased) {
  const std::uint32_t before = link.Tag().CountUp();
  ASSERT_TRUE(WriteHeld(link, One(0x30, 7), One(0x30, 6)));
  const std::uint32_t tag = before + 1;
  EXPECT_EQ(port->Writes(), (std::vector<Write>{{0x01, 1},
                                                {0x30, 7},
                                                {0x38, static_cast<std::uint16_t>(tag & 0xFF)},
                                                {0x39, static_cast<std::uint16_t>(tag >> 8 & 0xFF)},
                                                {0x3A, static_cast<std::uint16_t>(tag >> 16 & 0xFF)},
                                                {0x3B, static_cast<std::uint16_t>(tag >> 24)},
                                                {0x01, 0}}));
}

// Some of the refused batch may have reached the camera: frames from now on must not pass for frames of the
// settings before it, so they have a tag of their own, again written under the hold.
TEST_F(HeldBatch, ThatIsRefusedGoesBackUnderATagOfItsOwn) {
  const std::uint32_t before = link.Tag().CountUp();
  port->refusedRegisters.insert({0xD1, 0x34});
  RegisterBatch batch = One(0x30, 7);
  batch.Fpga(0x34, 9, 1);
  ASSERT_FALSE(WriteHeld(link, batch, One(0x30, 6)));
  const std::uint32_t tag = before + 1;
  EXPECT_EQ(port->Writes(), (std::vector<Write>{{0x01, 1},
                                                {0x30, 7},
                                                {0x34, 9},
                                                {0x30, 6},
                                                {0x38, static_cast<std::uint16_t>(tag & 0xFF)},
                                                {0x39, static_cast<std::uint16_t>(tag >> 8 & 0xFF)},
                                                {0x3A, static_cast<std::uint16_t>(tag >> 16 & 0xFF)},
                                                {0x3B, static_cast<std::uint16_t>(tag >> 24)},
                                                {0x01, 0}}));
}

INSTANTIATE_TEST_SUITE_P(Link, UpdateHold, testing::ValuesIn(kUsers),
                         [](const auto& instance) { return std::string(instance.param.name); });

// As long as a sensor's data sheet asks for.
TEST(RegisterBatch, IsSentWholeHoweverLongItIs) {
  const auto port = std::make_shared<WritesPort>();
  test::BareCamera link;
  link.UsePort(port);
  link.usbHandle = port->Handle();
  link.bOpened = 1;
  constexpr std::uint16_t kWrites = 300;
  RegisterBatch batch;
  for (std::uint16_t i = 0; i < kWrites; ++i) batch.Sensor(static_cast<std::uint16_t>(0x3000 + i), i % 251U);
  ASSERT_TRUE(WriteHeld(link, batch, batch));
  const std::vector<WritesPort::Write> writes = port->Writes();
  ASSERT_EQ(writes.size(), 1U + kWrites + 4U + 1U) << "hold, batch, tag, hold";
  for (std::uint16_t i = 0; i < kWrites; ++i) {
    EXPECT_EQ(writes[1U + i],
              (WritesPort::Write{static_cast<std::uint16_t>(0x3000 + i), static_cast<std::uint16_t>(i % 251U)}));
  }
}

}  // namespace
}  // namespace orq
