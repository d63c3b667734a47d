#include <gmock/gmock.h>

#include "TestHost.h"

namespace orq::test {
namespace {

using testing::HasSubstr;

using VirtualPortTest = BusTest;

TEST_F(VirtualPortTest, OpensClaimsAndTalks) {
  Plug();
  Host host(bus);
  EXPECT_NE(nullptr, host.port->Context());
  host.port->libusb_set_debug(host.port->Context(), 3);
  ASSERT_TRUE(host.Open());
  EXPECT_EQ(UsbSpeed::Super, host.port->Speed());
  EXPECT_EQ(0, host.port->libusb_set_configuration(host.handle, 1));
  EXPECT_EQ(0, host.Claim());
  EXPECT_EQ(0, host.Claim());
  EXPECT_EQ(4, host.Version());
  EXPECT_EQ("", host.port->LastError());
  EXPECT_EQ(kUsbOk, host.port->LastErrorCode());
  host.port->ReleaseInterface(0);
  host.port->CloseDevice();
  EXPECT_EQ(UsbSpeed::Unknown, host.port->Speed());
  EXPECT_EQ(kUsbNoDevice, host.Version());
  ASSERT_TRUE(host.OpenAndClaim());
  EXPECT_EQ(4, host.Version());
}

TEST_F(VirtualPortTest, NoSuchCameraIsNotFound) {
  Plug();
  Host host(bus);
  EXPECT_FALSE(host.Open(1));
  EXPECT_EQ(kUsbNotFound, host.port->LastErrorCode());
  EXPECT_THAT(host.port->LastError(), HasSubstr("plugged in"));
  EXPECT_FALSE(host.Open(0, 0x2601));
  EXPECT_EQ(nullptr, host.port->libusb_open_device_with_vid_pid_index(host.port->Context(), 0x1234, 0x1101, 0));
  EXPECT_EQ(nullptr, host.port->libusb_open_device_with_vid_pid_index(nullptr, 0xF055, 0x1101, 0));
}

TEST_F(VirtualPortTest, RefusedOpensNameTheUdevRule) {
  Plug();
  bus->RefuseOpens(kUsbAccess);
  Host host(bus);
  EXPECT_FALSE(host.Open());
  EXPECT_EQ(kUsbAccess, host.port->LastErrorCode());
  EXPECT_THAT(host.port->LastError(), HasSubstr("udev rule"));
  bus->RefuseOpens(kUsbIo);
  EXPECT_FALSE(host.Open());
  EXPECT_EQ(kUsbIo, host.port->LastErrorCode());
  bus->RefuseOpens(kUsbOk);
  EXPECT_TRUE(host.Open());
}

TEST_F(VirtualPortTest, OnePortHoldsOneCamera) {
  Plug();
  Plug();
  Host host(bus);
  ASSERT_TRUE(host.Open(0));
  EXPECT_EQ(nullptr, host.port->libusb_open_device_with_vid_pid_index(host.port->Context(), 0xF055, 0x1101, 1));
  EXPECT_EQ(kUsbBusy, host.port->LastErrorCode());
}

TEST_F(VirtualPortTest, ASecondHostIsToldThatTheCameraIsInUse) {
  Plug();
  Host first(bus);
  Host second(bus);
  ASSERT_TRUE(first.OpenAndClaim());
  ASSERT_TRUE(second.Open());
  EXPECT_EQ(kUsbBusy, second.port->libusb_set_configuration(second.handle, 1));
  EXPECT_EQ(kUsbBusy, second.Claim());
  EXPECT_EQ(kUsbBusy, second.Version());
  EXPECT_THAT(second.port->LastError(), HasSubstr("in use by another program"));
  EXPECT_EQ(4, first.Version());
  first.port->CloseDevice();
  EXPECT_EQ(0, second.Claim());
  EXPECT_EQ(4, second.Version());
}

TEST_F(VirtualPortTest, RefusesRequestsBeforeTheClaimAndWrongArguments) {
  Plug();
  Host host(bus);
  EXPECT_EQ(kUsbNoDevice, host.Version());
  EXPECT_EQ(kUsbInvalidParam, host.port->libusb_set_configuration(nullptr, 1));
  EXPECT_EQ(kUsbInvalidParam, host.port->libusb_claim_interface(nullptr, 0));
  ASSERT_TRUE(host.Open());
  EXPECT_LT(host.Version(), 0);
  EXPECT_EQ(kUsbNotFound, host.port->libusb_set_configuration(host.handle, 2));
  EXPECT_EQ(kUsbNotFound, host.port->libusb_claim_interface(host.handle, 1));
  BulkTransfer& transfer = host.Transfer();
  EXPECT_NE(kUsbOk, host.port->Pipe().Submit(transfer));
  EXPECT_EQ(0, host.Claim());
  std::uint8_t data[4] = {};
  EXPECT_EQ(kUsbInvalidParam, host.port->ControlTransfer({0xC0, 0xD4, 0, 0, 3}, data, 1000));
  EXPECT_EQ(nullptr, host.port->Pipe().MakeTransfer(0));
}

TEST_F(VirtualPortTest, RequestFailuresAreDescribed) {
  auto camera = Plug();
  Host host(bus);
  ASSERT_TRUE(host.OpenAndClaim());
  const std::pair<UsbError, const char*> cases[] = {
      {kUsbPipe, "refused"}, {kUsbTimeout, "in time"}, {kUsbIo, "USB error"}};
  for (const auto& [error, text] : cases) {
    camera->FailRequests(0xD4, error, 0, 1);
    EXPECT_EQ(error, host.Version());
    EXPECT_EQ(error, host.port->LastErrorCode());
    EXPECT_THAT(host.port->LastError(), HasSubstr(text));
  }
}

TEST_F(VirtualPortTest, AClosedPortMayVanishBeforeItsCamera) {
  auto camera = Plug();
  {
    Host host(bus);
    ASSERT_TRUE(host.OpenAndClaim());
    bus->Unplug(camera);
  }
  bus->Attach(camera);
  RunOutput(*camera);  // wakes whoever listened last
  EXPECT_TRUE(ReadFrame(*camera).Header());
}

TEST_F(VirtualPortTest, RequestsRunBesideTheStreamFromSeveralThreads) {
  Plug();
  Host host(bus);
  host.resubmissions = 400;
  ASSERT_TRUE(host.OpenAndClaim());
  host.Submitted();
  host.Submitted();
  EXPECT_EQ(0, host.Write(0, 1));
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&host] {
      for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(4, host.Version());
        EXPECT_EQ(0, host.Write(0xFA, 1));
      }
    });
  }
  for (int i = 0; i < 402; ++i) EXPECT_EQ(TransferStatus::Completed, host.Next().status);
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace orq::test
