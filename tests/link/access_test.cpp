// Cameras that others use, that the user may not open, or that the system has only just found.
#include <filesystem>
#include <thread>

#include "OpenLink.h"
#include "OtherProcess.h"

namespace orq::test {
namespace {

template <typename Door>
class Access : public LinkTest<Door> {};
TYPED_TEST_SUITE(Access, BothDoors, DoorNames);

TYPED_TEST(Access, ASecondPortFindsTheInterfaceBusy) {
  this->PlugAndOpen();
  CCameraFX3 other;
  ASSERT_TRUE(Open(other, this->door.MakePort())) << "the device itself can be opened";
  EXPECT_FALSE(other.GetFirmwareVer(nullptr));
  EXPECT_EQ(other.Port().LastErrorCode(), kUsbBusy);
  EXPECT_NE(other.LinkError().find("in use"), std::string::npos) << other.LinkError();
  EXPECT_TRUE(this->link.GetFirmwareVer(nullptr)) << "the first is not disturbed";
  other.CloseDevice();

  this->link.CloseDevice();
  ASSERT_TRUE(Open(other, this->door.MakePort()));
  EXPECT_TRUE(other.GetFirmwareVer(nullptr)) << "free again";
}

TYPED_TEST(Access, ThereIsNoThirdOfTwoCameras) {
  this->Plug();
  VirtualOptions second = Untimed();
  second.seed = 2;
  this->door.Attach(MakeCamera(second));
  EXPECT_FALSE(Open(this->link, this->door.MakePort(), 2));
  EXPECT_NE(this->link.LinkError().find("no such camera"), std::string::npos) << this->link.LinkError();
  EXPECT_TRUE(Open(this->link, this->door.MakePort(), 1));
}

TYPED_TEST(Access, ProductsAreCountedSeparately) {
  VirtualOptions other = Untimed();
  other.model = "x26m";
  this->door.Attach(MakeCamera(other));
  this->Plug();
  ASSERT_TRUE(Open(this->link, this->door.MakePort(), 0, pid::kK1C));
  this->camera->ClearRequests();
  EXPECT_TRUE(this->link.GetFirmwareVer(nullptr));
  EXPECT_EQ(this->camera->Requests().size(), 1U) << "the right one was asked";
}

using InProcessAccess = LinkTest<VirtualDoor>;

TEST_F(InProcessAccess, AUserWithoutAccessIsToldOfTheRule) {
  Plug();
  door.Bus().RefuseOpens(kUsbAccess);
  EXPECT_FALSE(Open(link, door.MakePort()));
  EXPECT_EQ(link.Port().LastErrorCode(), kUsbAccess);
  EXPECT_NE(link.LinkError().find("70-orqcam.rules"), std::string::npos) << link.LinkError();
}

using UsbAccess = LinkTest<LibusbDoor>;

TEST_F(UsbAccess, ASecondProcessFindsTheInterfaceBusy) {
  PlugAndOpen();
  EXPECT_EQ(AskOtherProcess("claim"), kUsbBusy);
  EXPECT_TRUE(link.GetFirmwareVer(nullptr)) << "this process is not disturbed";
  link.CloseDevice();
  EXPECT_EQ(AskOtherProcess("claim"), kUsbOk);
  ASSERT_TRUE(Open(link, door.MakePort()));
  EXPECT_TRUE(link.GetFirmwareVer(nullptr)) << "the other process has let go";
}

TEST_F(UsbAccess, AUserWithoutAccessToTheNodeIsRefusedAndToldOfTheRule) {
  EmulatedDevice::PlugOptions ownersOnly;
  ownersOnly.mode = ::getuid() == 0 ? 0600 : 0;
  camera = MakeCamera(Untimed());
  number = door.Attach(camera, ownersOnly);
  // So that another user's libusb can listen for arrivals.
  std::filesystem::permissions(door.Bus().Root(), std::filesystem::perms::all);
  EXPECT_EQ(AskOtherProcess("unprivileged"), kUsbAccess);
  door.Device(number).SetMode(0666);
  EXPECT_EQ(AskOtherProcess("unprivileged"), kUsbOk);
}

TEST_F(UsbAccess, OpeningWaitsUntilTheSystemHasConfiguredTheDevice) {
  EmulatedDevice::PlugOptions early;
  early.configured = false;
  camera = MakeCamera(Untimed());
  number = door.Attach(camera, early);
  std::thread system([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // what a kernel may take
    door.Device(number).Configure();
  });
  EXPECT_TRUE(Open(link, door.MakePort()));
  system.join();
  EXPECT_TRUE(link.GetFirmwareVer(nullptr)) << link.LinkError();
}

}  // namespace
}  // namespace orq::test
