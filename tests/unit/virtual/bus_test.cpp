#include "TestHost.h"

namespace orq::test {
namespace {

using VirtualBusTest = BusTest;

TEST_F(VirtualBusTest, AReplugIsANewDeviceWithTheSameFlash) {
  auto camera = Plug();
  const std::uint8_t id[] = {0x49, 0x44};
  camera->SetFlash(0x70000, id);
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  const auto serial = host.Serial();
  EXPECT_EQ(0, host.Write(0x19, 5));
  bus->Attach(camera);  // out and in again
  EXPECT_EQ(kUsbNoDevice, host.Version());
  host.port->CloseDevice();
  ASSERT_TRUE(host.OpenAndClaim());
  EXPECT_EQ(serial, host.Serial());
  EXPECT_EQ(0, camera->FpgaRegister(0x19));
  EXPECT_EQ((std::vector<std::uint8_t>{0x49, 0x44}), camera->Flash(0x70000, 2));
}

TEST_F(VirtualBusTest, ListsByProductWithIndexes) {
  auto first = Plug();
  VirtualOptions options = Untimed();
  options.model = "x26m";
  options.usb3 = false;
  ASSERT_TRUE(bus->Attach(MakeCamera(options)));
  Plug(2);
  const auto entries = MakeVirtualPort(bus)->List(0xF055);
  ASSERT_EQ(3U, entries.size());
  EXPECT_EQ(0x1101, entries[0].productId);
  EXPECT_EQ(0, entries[0].index);
  EXPECT_EQ(0x2601, entries[1].productId);
  EXPECT_EQ(0, entries[1].index);
  EXPECT_EQ(UsbSpeed::High, entries[1].speed);
  EXPECT_EQ(0x1101, entries[2].productId);
  EXPECT_EQ(1, entries[2].index);
  EXPECT_EQ(1, entries[0].address);
  EXPECT_EQ(3, entries[2].address);
  EXPECT_TRUE(bus->List(0x1234).empty());
  bus->Unplug(first);
  EXPECT_EQ(0, bus->List(0xF055)[1].index);
  bus->Unplug(first);  // not there: nothing happens
  EXPECT_EQ(2U, bus->List(0xF055).size());
}

/// A device that only has ids, for a bus full of them.
class IdleCamera : public VirtualCamera {
 public:
  const VirtualOptions& Options() const override { return options_; }
  std::uint16_t ProductId() const override { return 0x1101; }
  UsbSpeed Speed() const override { return UsbSpeed::Super; }
  void PowerCycle() override {}
  void Disconnect() override {}
  void SetConfiguration(int) override {}
  int Control(const SetupPacket&, std::span<std::uint8_t>) override { return kUsbPipe; }
  BulkStep ReadStream(std::span<std::uint8_t>) override { return {}; }
  void ClearHalt() override {}
  void SetWake(std::function<void()>) override {}
  std::vector<LoggedRequest> Requests() const override { return {}; }
  void ClearRequests() override {}
  std::uint8_t FpgaRegister(std::uint16_t) const override { return 0; }
  void SetFpgaRegister(std::uint16_t, std::uint8_t) override {}
  std::uint8_t SensorRegister(std::uint16_t) const override { return 0; }
  void SetSensorRegister(std::uint16_t, std::uint8_t) override {}
  std::vector<std::uint8_t> Flash(std::uint32_t, std::size_t) const override { return {}; }
  void SetFlash(std::uint32_t, std::span<const std::uint8_t>) override {}
  void SetBoardType(std::uint8_t) override {}
  DeviceReadings Readings() const override { return {}; }
  void SetAmbient(double) override {}
  void SetFlux(double) override {}
  void AdvanceTime(double) override {}
  void FailRequests(std::uint8_t, UsbError, int, int) override {}
  void ClearFailures() override {}
  void AddFrameFault(const FrameFault&) override {}
  void AddFlashFault(const FlashFault&) override {}
  void SetTriggerLine(bool) override {}
  std::uint64_t TriggersMissed() const override { return 0; }
  std::vector<SyncEdge> SyncEdges(int) const override { return {}; }
  std::uint64_t FramesExposed() const override { return 0; }
  std::vector<std::uint8_t> SentPayload(std::uint32_t) const override { return {}; }
  std::vector<SentFrame> SentFrames() const override { return {}; }

 private:
  VirtualOptions options_;
};

TEST_F(VirtualBusTest, ABusHas255AddressesAndGivesThemOutInTurn) {
  std::vector<std::shared_ptr<IdleCamera>> cameras;
  for (int i = 0; i < 255; ++i) {
    cameras.push_back(std::make_shared<IdleCamera>());
    ASSERT_TRUE(bus->Attach(cameras.back()));
  }
  EXPECT_FALSE(bus->Attach(std::make_shared<IdleCamera>()));
  EXPECT_EQ(255, bus->List(0xF055).back().address);
  EXPECT_EQ(254, bus->List(0xF055).back().index);
  bus->Unplug(cameras[9]);
  ASSERT_TRUE(bus->Attach(cameras[9]));
  EXPECT_EQ(10, bus->List(0xF055).back().address);  // the only free one
}

}  // namespace
}  // namespace orq::test
