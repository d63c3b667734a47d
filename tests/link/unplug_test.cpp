// A camera that is pulled out at any moment, and comes back.
#include <atomic>

#include "OpenLink.h"

namespace orq::test {
namespace {

template <typename Door>
class Unplugged : public LinkTest<Door> {
 protected:
  void ExpectLost() {
    unsigned char value = 0xA5;
    EXPECT_FALSE(this->link.ReadFPGAREG(0x1C, &value));
    EXPECT_EQ(value, 0xA5);
    EXPECT_TRUE(this->link.DeviceLost());
    EXPECT_EQ(this->link.Port().LastErrorCode(), kUsbNoDevice);
    EXPECT_NE(this->link.LinkError().find("unplugged"), std::string::npos) << this->link.LinkError();
    EXPECT_NE(this->link.bOpened, 0) << "only closing clears it";
  }
  void ExpectWorking() {
    EXPECT_TRUE(this->link.GetFirmwareVer(nullptr)) << this->link.LinkError();
    EXPECT_FALSE(this->link.DeviceLost());
  }
};
TYPED_TEST_SUITE(Unplugged, BothDoors, DoorNames);

TYPED_TEST(Unplugged, WhileIdle) {
  this->PlugAndOpen();
  this->door.Unplug(this->number);
  this->ExpectLost();
  this->link.CloseDevice();
  EXPECT_EQ(this->link.bOpened, 0);
  EXPECT_FALSE(Open(this->link, this->door.MakePort())) << "there is none";
  EXPECT_FALSE(this->link.LinkError().empty());
  this->door.Replug(this->number);
  ASSERT_TRUE(Open(this->link, this->door.MakePort())) << this->link.LinkError();
  this->ExpectWorking();
}

TYPED_TEST(Unplugged, TheSamePortOpensItAgain) {
  this->Plug();
  const auto port = this->door.MakePort();
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(Open(this->link, port)) << this->link.LinkError();
    this->ExpectWorking();
    this->door.Unplug(this->number);
    this->ExpectLost();
    this->link.CloseDevice();
    this->door.Replug(this->number);
  }
  ASSERT_TRUE(Open(this->link, port)) << this->link.LinkError();
  this->ExpectWorking();
}

TYPED_TEST(Unplugged, WhileItIsOpened) {
  this->Plug();
  const auto port = this->door.MakePort();
  this->link.UsePort(port);
  auto* const context = port->Context();
  auto* const handle = port->libusb_open_device_with_vid_pid_index(context, wire::kVendorId, pid::kK1C, 0);
  ASSERT_NE(handle, nullptr);
  this->door.Unplug(this->number);
  EXPECT_EQ(port->libusb_set_configuration(handle, wire::kConfiguration), kUsbNoDevice);
  EXPECT_EQ(port->libusb_claim_interface(handle, wire::kInterface), kUsbNoDevice);
  std::uint8_t value = 0;
  EXPECT_EQ(port->ControlTransfer({kVendorIn, wire::kReqMainBoardType, 0, 0, 1}, {&value, 1}, 1000), kUsbNoDevice);
  EXPECT_EQ(port->LastErrorCode(), kUsbNoDevice);
  port->CloseDevice();
}

TYPED_TEST(Unplugged, WhileThreadsControlIt) {
  this->PlugAndOpen();
  std::atomic<int> done{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      unsigned char value = 0;
      while (!stop && this->link.ReadFPGAREG(0x1C, &value)) ++done;
    });
  }
  while (done < 30) std::this_thread::yield();
  this->door.Unplug(this->number);
  for (std::thread& thread : threads) thread.join();  // each ends by its own failed read
  this->ExpectLost();
}

TYPED_TEST(Unplugged, WhileItStreamsWithTransfersInFlight) {
  VirtualOptions options;
  this->PlugAndOpen(options, 256, 200, 10'000);
  const StreamFormat format{256, 200, 1, wire::kFormat16Bit};
  Program(this->link, format);
  EXPECT_TRUE(this->link.WriteFPGAREG(wire::kFpgaExposure, 100));
  CirBuf ring(256 * 200 * 2, 3);
  ring.StartInstBufThr();
  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(this->link.StartStream(ring, format)) << this->link.LinkError();
    ASSERT_TRUE(TakeFrame(ring));
    this->door.Unplug(this->number);
    while (this->link.StreamAlive()) TakeFrame(ring, 20);
    EXPECT_TRUE(this->link.DeviceLost());
    this->link.StopStream();
    const StreamCounters counters = this->link.Counters();
    EXPECT_EQ(counters.inFlight, 0U);
    EXPECT_TRUE(counters.IdentityHolds());
    EXPECT_FALSE(this->link.StartStream(ring, format)) << "it is gone";
    this->ExpectLost();
    this->link.CloseDevice();
    ring.Discard();
    this->door.Replug(this->number);
    ASSERT_TRUE(Open(this->link, this->door.MakePort())) << this->link.LinkError();
    this->ExpectWorking();
    Program(this->link, format);
    EXPECT_TRUE(this->link.WriteFPGAREG(wire::kFpgaExposure, 100));
  }
}

TYPED_TEST(Unplugged, ByItselfInTheMiddleOfAFrame) {
  this->PlugAndOpen();
  this->camera->AddFrameFault({FrameFault::Kind::Unplug, 1});
  const StreamFormat format{64, 32, 1, 0};
  Program(this->link, format);
  CirBuf ring(64 * 32, 2);
  ring.StartInstBufThr();
  ASSERT_TRUE(this->link.StartStream(ring, format)) << this->link.LinkError();
  while (this->link.StreamAlive()) TakeFrame(ring, 20);
  this->link.StopStream();
  EXPECT_EQ(this->link.Counters().completed, 0U);
  EXPECT_TRUE(this->link.Counters().IdentityHolds());
  this->ExpectLost();
  this->link.CloseDevice();
  this->door.Replug(this->number);
  ASSERT_TRUE(Open(this->link, this->door.MakePort())) << this->link.LinkError();
  this->ExpectWorking();
}

TYPED_TEST(Unplugged, AListShowsWhatIsThere) {
  this->Plug();
  VirtualOptions other = Untimed();
  other.seed = 2;
  const std::size_t second = this->door.Attach(MakeCamera(other));
  const auto port = this->door.MakePort();
  EXPECT_EQ(port->List(wire::kVendorId).size(), 2U);
  this->door.Unplug(this->number);
  EXPECT_EQ(port->List(wire::kVendorId).size(), 1U);
  this->door.Unplug(second);
  EXPECT_EQ(port->List(wire::kVendorId).size(), 0U);
  this->door.Replug(this->number);
  const auto entries = port->List(wire::kVendorId);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].productId, pid::kK1C);
  EXPECT_EQ(entries[0].index, 0);
  EXPECT_EQ(entries[0].speed, UsbSpeed::Super);
  EXPECT_EQ(port->List(0x1234).size(), 0U) << "another vendor";
}

}  // namespace
}  // namespace orq::test
