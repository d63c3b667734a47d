// Listing cameras and finding them by name.
#include <gtest/gtest.h>

#include <array>

#include "link/ProductIds.h"
#include "link/WireProtocol.h"
#include "session/CameraList.h"
#include "virtual/bus/VirtualBus.h"
#include "virtual/bus/VirtualCamera.h"
#include "virtual/bus/VirtualPort.h"

namespace orq {
namespace {

/// A bus that stands for the computer's USB ports.
struct Desk {
  std::shared_ptr<VirtualCamera> Plug(const char* key, const char* serial) {
    VirtualOptions options;
    options.model = key;
    options.serial = serial;
    options.scene = "dark";
    std::string error;
    auto device = VirtualCamera::Make(options, error);
    EXPECT_NE(device, nullptr) << error;
    bus->Attach(device);
    return device;
  }
  PortMaker Ports() const {
    return [shared = bus] { return MakeVirtualPort(shared); };
  }
  std::vector<CameraEntry> List() const { return ListCameras(Ports()); }
  NamedCamera Make(std::string_view name) const { return MakeCamera(name, Ports()); }

  std::shared_ptr<VirtualBus> bus = std::make_shared<VirtualBus>();
};

void WriteId(VirtualCamera& device, std::string_view text) {
  std::array<std::uint8_t, 10> record{'I', 'D'};
  std::copy(text.begin(), text.end(), record.begin() + 2);
  device.SetFlash(0x70000, record);
}

constexpr const char* kFirst = "00112233aabbccdd";
constexpr const char* kSecond = "0000000000000002";
constexpr const char* kThird = "0000000000000003";

struct FullDesk : Desk {
  FullDesk() {
    colour = Plug("k1c", kFirst);
    mono = Plug("x26m", kSecond);
    guide = Plug("k1c", kThird);
    WriteId(*guide, "Guide");
  }
  std::shared_ptr<VirtualCamera> colour, mono, guide;
};

TEST(CameraList, IsEmptyWithoutCameras) {
  EXPECT_TRUE(Desk().List().empty());
}

TEST(CameraList, ShowsEveryCameraWithItsFacts) {
  const FullDesk desk;
  const auto list = desk.List();
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[0].index, 0);
  EXPECT_EQ(list[0].model, "Tavix ORQ-K1C");
  EXPECT_EQ(list[0].productId, pid::kK1C);
  EXPECT_EQ(list[0].serial, kFirst);
  EXPECT_EQ(list[0].userId, "");
  EXPECT_EQ(list[0].speed, "USB 3");
  EXPECT_EQ(list[0].trouble, "");
  EXPECT_EQ(list[1].model, "Tavix ORQ-X26M");
  EXPECT_EQ(list[1].serial, kSecond);
  EXPECT_EQ(list[2].index, 2);
  EXPECT_EQ(list[2].serial, kThird);
  EXPECT_EQ(list[2].userId, "Guide");
}

TEST(CameraList, LeavesEveryCameraClosed) {
  const FullDesk desk;
  desk.List();
  EXPECT_EQ(desk.List().size(), 3U);
  for (const char* name : {"0", "1", "2"}) {
    NamedCamera named = desk.Make(name);
    ASSERT_NE(named.camera, nullptr) << named.error;
    EXPECT_EQ(named.camera->OpenCamera(named.openIndex), 1);
  }
}

TEST(CameraList, ShowsABusyCameraWithItsTrouble) {
  const FullDesk desk;
  NamedCamera user = desk.Make("1");
  ASSERT_EQ(user.camera->OpenCamera(user.openIndex), 1);
  const auto list = desk.List();
  ASSERT_EQ(list.size(), 3U);
  EXPECT_EQ(list[1].serial, "");
  EXPECT_FALSE(list[1].trouble.empty());
  EXPECT_EQ(list[1].model, "Tavix ORQ-X26M");
  EXPECT_EQ(list[2].trouble, "");
}

TEST(CameraList, ShowsForbiddenCamerasWithTheRemedy) {
  const FullDesk desk;
  desk.bus->RefuseOpens(kUsbAccess);
  for (const CameraEntry& entry : desk.List()) EXPECT_NE(entry.trouble.find("udev"), std::string::npos);
}

TEST(CameraList, ShowsACameraThatDoesNotAnswer) {
  const FullDesk desk;
  desk.colour->FailRequests(wire::kReqFirmwareVersion, kUsbTimeout);
  EXPECT_FALSE(desk.List()[0].trouble.empty());
}

TEST(CameraList, KeepsATextReadableWhateverTheFlashHolds) {
  const FullDesk desk;
  WriteId(*desk.guide, "a\x01\xFFz");
  EXPECT_EQ(desk.List()[2].userId, "a??z");
}

std::uint16_t ProductOf(const NamedCamera& named) {
  return named.camera ? static_cast<std::uint16_t>(named.camera->iPID) : std::uint16_t{0};
}

TEST(CameraNames, FindByIndexAmongAllModels) {
  const FullDesk desk;
  EXPECT_EQ(ProductOf(desk.Make("0")), pid::kK1C);
  EXPECT_EQ(ProductOf(desk.Make("1")), pid::kX26M);
  const NamedCamera third = desk.Make("2");
  EXPECT_EQ(ProductOf(third), pid::kK1C);
  EXPECT_EQ(third.openIndex, 1) << "the second one of its model";
  ASSERT_EQ(third.camera->OpenCamera(third.openIndex), 1);
  _ORQ_ID serial{};
  ASSERT_TRUE(third.camera->GetSerialNumber(&serial));
  EXPECT_EQ(serial.id[7], 3);
}

TEST(CameraNames, FindBySerialInAnyCase) {
  const FullDesk desk;
  EXPECT_EQ(ProductOf(desk.Make("serial:00112233AABBccdd")), pid::kK1C);
  EXPECT_EQ(ProductOf(desk.Make("serial:0000000000000002")), pid::kX26M);
  EXPECT_EQ(desk.Make("serial:0000000000000003").openIndex, 1);
}

TEST(CameraNames, FindByTheIdInFlash) {
  const FullDesk desk;
  EXPECT_EQ(desk.Make("id:Guide").openIndex, 1);
  const NamedCamera other = desk.Make("id:guide");
  EXPECT_EQ(other.trouble, NameTrouble::NoSuchCamera) << "an id is what the user wrote";
  EXPECT_NE(other.error.find("id:Guide"), std::string::npos) << other.error;
}

TEST(CameraNames, AnEmptyIdFindsNothing) {
  const FullDesk desk;
  EXPECT_EQ(desk.Make("id:").trouble, NameTrouble::BadName);
  EXPECT_EQ(desk.Make("serial:").trouble, NameTrouble::BadName);
}

TEST(CameraNames, AWrongIndexNamesTheRightOnes) {
  const FullDesk desk;
  const NamedCamera named = desk.Make("3");
  EXPECT_EQ(named.camera, nullptr);
  EXPECT_EQ(named.trouble, NameTrouble::NoSuchCamera);
  EXPECT_NE(named.error.find("0 to 2"), std::string::npos) << named.error;
}

TEST(CameraNames, NoCameraAtAllSuggestsAVirtualOne) {
  const NamedCamera named = Desk().Make("0");
  EXPECT_EQ(named.trouble, NameTrouble::NoSuchCamera);
  EXPECT_NE(named.error.find("virtual:k1c"), std::string::npos) << named.error;
}

TEST(CameraNames, WhatIsNoSerialNumberIsSaidToBeNone) {
  const FullDesk desk;
  for (const char* text : {"serial:123", "serial:00112233aabbccdg", "serial:00112233aabbccdd0"}) {
    const NamedCamera named = desk.Make(text);
    EXPECT_EQ(named.trouble, NameTrouble::BadName) << text;
    EXPECT_NE(named.error.find("16 hexadecimal digits"), std::string::npos) << named.error;
  }
}

TEST(CameraNames, FindsACameraAgainByItsSerialNumber) {
  const FullDesk desk;
  const NamedCamera named = desk.Make(std::string("serial:") + kFirst);
  EXPECT_EQ(FindAgain(named, kFirst), named.openIndex);
  EXPECT_EQ(FindAgain(named, "0123456789abcdef"), std::nullopt) << "another camera of the model is not it";
}

TEST(CameraNames, AWrongSerialNamesTheConnectedOnesAndWhatWasInTheWay) {
  const FullDesk desk;
  desk.mono->FailRequests(wire::kReqFirmwareVersion, kUsbTimeout);
  const NamedCamera named = desk.Make("serial:0000000000000123");
  EXPECT_EQ(named.trouble, NameTrouble::NoSuchCamera);
  EXPECT_NE(named.error.find(std::string("serial:") + kFirst), std::string::npos) << named.error;
  EXPECT_NE(named.error.find("camera 1: "), std::string::npos) << named.error;
  EXPECT_EQ(named.error.find('\n'), std::string::npos);
}

TEST(CameraNames, OtherFormsAreBadNames) {
  const FullDesk desk;
  for (const char* name : {"", "k1c", "-1", "1x", " 1", "99999999999999999999999", "Serial:1", "virtual"}) {
    const NamedCamera named = desk.Make(name);
    EXPECT_EQ(named.trouble, NameTrouble::BadName) << name;
    EXPECT_NE(named.error.find("virtual:MODEL"), std::string::npos) << named.error;
  }
}

TEST(CameraNames, VirtualNamesMakeACameraOnABusOfItsOwn) {
  NamedCamera named = MakeCamera("virtual:x26m,serial=00000000000000ff,scene=dark");
  ASSERT_NE(named.camera, nullptr) << named.error;
  ASSERT_NE(named.device, nullptr);
  ASSERT_NE(named.bus, nullptr);
  EXPECT_EQ(named.camera->Model().key, "x26m");
  ASSERT_EQ(named.camera->OpenCamera(named.openIndex), 1);
  _ORQ_ID serial{};
  ASSERT_TRUE(named.camera->GetSerialNumber(&serial));
  EXPECT_EQ(serial.id[7], 0xFF);
  named.bus->Unplug(named.device);
  EXPECT_FALSE(named.camera->SetGain(1, false));
}

TEST(CameraNames, WrongVirtualNamesAreExplained) {
  const NamedCamera model = MakeCamera("virtual:k2");
  EXPECT_EQ(model.trouble, NameTrouble::BadName);
  EXPECT_NE(model.error.find("x26m"), std::string::npos) << model.error;
  EXPECT_EQ(MakeCamera("virtual:k1c,sed=1").trouble, NameTrouble::BadName);
  EXPECT_EQ(MakeCamera("virtual:").trouble, NameTrouble::BadName);
}

TEST(CameraNames, AReplayFileThatCannotBeUsedIsNoCamera) {
  const NamedCamera named = MakeCamera("virtual:replay,file=/nonexistent/frame.fits");
  EXPECT_EQ(named.camera, nullptr);
  EXPECT_EQ(named.trouble, NameTrouble::NoSuchCamera);
  EXPECT_NE(named.error.find("/nonexistent/frame.fits"), std::string::npos) << named.error;
}

}  // namespace
}  // namespace orq
