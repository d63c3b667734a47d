// Every operation of the device link, and the bytes with which it reaches the device.
#include <gmock/gmock.h>

#include <array>
#include <functional>
#include <numeric>

#include "OpenLink.h"
#include "support/FakePort.h"

namespace orq::test {
namespace {

/// Setup bytes (little-endian words) and out data of the requests that the camera received, in order.
std::vector<std::string> ReceivedBytes(const VirtualCamera& camera) {
  std::vector<std::string> all;
  for (const LoggedRequest& request : camera.Requests()) all.push_back(WireText(request.setup, request.data));
  return all;
}

struct Operation {
  const char* name;
  std::function<bool(CCameraFX3&)> run;
  std::vector<std::string> bytes;
  int trigger = 0;  ///< register 0x02 beforehand
  int sync = 0;     ///< register 0x03 beforehand
  int monoBin = 0;  ///< register 0x27 beforehand
};

using Link = CCameraFX3;

unsigned char g_scratch[4096];

const std::vector<Operation>& Operations() {
  static const std::vector<Operation> all = {
      {"firmware version", [](Link& l) { return l.GetFirmwareVer(g_scratch); }, {"C0 D4 00 00 00 00 04 00"}},
      {"board type", [](Link& l) { return l.GetMainBoardType(g_scratch); }, {"C0 D5 00 00 00 00 01 00"}},
      {"start sensor clock", [](Link& l) { return l.SendCMD(0xAF); }, {"40 AF 00 00 00 00 00 00"}},
      {"stop sensor clock", [](Link& l) { return l.SendCMD(0xAE); }, {"40 AE 00 00 00 00 00 00"}},
      {"transfer count",
       [](Link& l) { return l.SendCMD(0xB5, 0x0102, 0x0304, false, nullptr, 0); },
       {"40 B5 02 01 04 03 00 00"}},
      {"guide on", [](Link& l) { return l.SendCMD(0xB0, 3, 0, false, nullptr, 0); }, {"40 B0 03 00 00 00 00 00"}},
      {"guide off", [](Link& l) { return l.SendCMD(0xB1, 2, 0, false, nullptr, 0); }, {"40 B1 02 00 00 00 00 00"}},
      {"serial number",
       [](Link& l) { return l.SendCMD(0xC8, 0, 0, true, g_scratch, 8); },
       {"C0 C8 00 00 00 00 08 00"}},
      {"board temperature",
       [](Link& l) { return l.SendCMD(0xB3, 0, 0, true, g_scratch, 2); },
       {"C0 B3 00 00 00 00 02 00"}},
      {.name = "temperature converter",  // of another model: refused, but it arrives
       .run = [](Link& l) { return !l.SendCMD(0xC7, 1, 0, true, g_scratch, 2); },
       .bytes = {"C0 C7 01 00 00 00 02 00"}},
      {"ADC channel",
       [](Link& l) { return l.SendCMD(0xE9, 0x34, 0x12, true, g_scratch, 2); },
       {"C0 E9 34 00 12 00 02 00"}},
      {"read FPGA register", [](Link& l) { return l.ReadFPGAREG(0x1C, g_scratch); }, {"C0 D0 1C 00 00 00 01 00"}},
      {"write FPGA register, low 8 bits",
       [](Link& l) { return l.WriteFPGAREG(0xFB, 0x1A7); },
       {"40 D1 FB 00 A7 00 00 00"}},
      {"read sensor register",
       [](Link& l) { return l.ReadSONYREG(0x0205, g_scratch); },
       {"C0 D2 05 02 00 00 01 00"}},
      {"write sensor register", [](Link& l) { return l.WriteSONYREG(0x0204, 0x5A); }, {"40 D3 04 02 5A 00 00 00"}},
      {"release the image bus", [](Link& l) { return l.EnableGPIF32DQ(false); }, {"40 D6 00 00 00 00 00 00"}},
      {"read flash in two pieces",
       [](Link& l) { return l.ReadFromSPIFlash(g_scratch, 0x0002F000, 3000, 0xC3); },
       {"C0 C3 02 00 00 F0 00 08", "C0 C3 02 00 00 F8 B8 03"}},
      {"write flash",
       [](Link& l) {
         unsigned char bytes[] = {0xAA, 0xBB, 0xCC, 0xDD};
         return l.WriteToSPIFlash(bytes, 0x00020010, 4, 0xC2);
       },
       {"40 C2 02 00 10 00 04 00 AA BB CC DD"}},
      {"erase flash sector",
       [](Link& l) { return l.EraseSectorOfSPIFlash(7, 0xC4) == 0; },
       {"40 C4 07 00 00 00 00 00"}},
      {"connect the image bus", [](Link& l) { return l.EnableGPIF32DQ(true); }, {"40 D6 01 00 00 00 00 00"}},
      {"start frame output", [](Link& l) { return l.FPGAStart(); }, {"40 D1 00 00 01 00 00 00"}},
      {"stop frame output", [](Link& l) { return l.FPGAStop(); }, {"40 D1 00 00 00 00 00 00"}},
      {"software trigger", [](Link& l) { return l.SendSoftTrigger(); }, {"40 D7 00 00 00 00 00 00"}},

      {"trigger mode on",
       [](Link& l) { return l.EnableFPGATriggerMode(true); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 01 00 00 00"}},
      {"trigger mode off",
       [](Link& l) { return l.EnableFPGATriggerMode(false); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 1E 00 00 00"},
       0x1F},
      {"external trigger",
       [](Link& l) { return l.SelectExtTrigSource(true); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 02 00 00 00"}},
      {"trigger by software",
       [](Link& l) { return l.SelectExtTrigSource(false); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 1D 00 00 00"},
       0x1F},
      {"trigger at an edge",
       [](Link& l) { return l.SelectExtTrigType(true); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 04 00 00 00"}},
      {"trigger at a level",
       [](Link& l) { return l.SelectExtTrigType(false); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 1B 00 00 00"},
       0x1F},
      {"trigger high",
       [](Link& l) { return l.SelectExtTrigValidType(true); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 08 00 00 00"}},
      {"trigger low",
       [](Link& l) { return l.SelectExtTrigValidType(false); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 17 00 00 00"},
       0x1F},
      {"trigger unit ignores its input",
       [](Link& l) { return l.SelectExtTrigSoftMode(true); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 10 00 00 00"}},
      {"trigger unit heeds its input",
       [](Link& l) { return l.SelectExtTrigSoftMode(false); },
       {"C0 D0 02 00 00 00 01 00", "40 D1 02 00 0F 00 00 00"},
       0x1F},

      {"output A on",
       [](Link& l) { return l.EnableExtSyncA(true); },
       {"C0 D0 03 00 00 00 01 00", "40 D1 03 00 01 00 00 00"}},
      {"output A off",
       [](Link& l) { return l.EnableExtSyncA(false); },
       {"C0 D0 03 00 00 00 01 00", "40 D1 03 00 0E 00 00 00"},
       0,
       0x0F},
      {"output B on",
       [](Link& l) { return l.EnableExtSyncB(true); },
       {"C0 D0 03 00 00 00 01 00", "40 D1 03 00 02 00 00 00"}},
      {"output B off",
       [](Link& l) { return l.EnableExtSyncB(false); },
       {"C0 D0 03 00 00 00 01 00", "40 D1 03 00 0D 00 00 00"},
       0,
       0x0F},
      {"output A active high",
       [](Link& l) { return l.SelectExtSyncALevel(true); },
       {"C0 D0 03 00 00 00 01 00", "40 D1 03 00 04 00 00 00"}},
      {"output A active low",
       [](Link& l) { return l.SelectExtSyncALevel(false); },
       {"C0 D0 03 00 00 00 01 00", "40 D1 03 00 0B 00 00 00"},
       0,
       0x0F},
      {"output B active high",
       [](Link& l) { return l.SelectExtSyncBLevel(true); },
       {"C0 D0 03 00 00 00 01 00", "40 D1 03 00 08 00 00 00"}},
      {"output B active low",
       [](Link& l) { return l.SelectExtSyncBLevel(false); },
       {"C0 D0 03 00 00 00 01 00", "40 D1 03 00 07 00 00 00"},
       0,
       0x0F},
      {"output A delay",
       [](Link& l) { return l.SetExtSyncADelayTime(0x04030201); },
       {"40 D1 01 00 01 00 00 00", "40 D1 04 00 01 00 00 00", "40 D1 05 00 02 00 00 00", "40 D1 06 00 03 00 00 00",
        "40 D1 07 00 04 00 00 00", "40 D1 01 00 00 00 00 00"}},
      {"output A keep",
       [](Link& l) { return l.SetExtSyncAKeepTime(0x14131211); },
       {"40 D1 01 00 01 00 00 00", "40 D1 08 00 11 00 00 00", "40 D1 09 00 12 00 00 00", "40 D1 0A 00 13 00 00 00",
        "40 D1 0B 00 14 00 00 00", "40 D1 01 00 00 00 00 00"}},
      {"output B delay",
       [](Link& l) { return l.SetExtSyncBDelayTime(0x24232221); },
       {"40 D1 01 00 01 00 00 00", "40 D1 0C 00 21 00 00 00", "40 D1 0D 00 22 00 00 00", "40 D1 0E 00 23 00 00 00",
        "40 D1 0F 00 24 00 00 00", "40 D1 01 00 00 00 00 00"}},
      {"output B keep",
       [](Link& l) { return l.SetExtSyncBKeepTime(0xF4F3F2F1); },
       {"40 D1 01 00 01 00 00 00", "40 D1 10 00 F1 00 00 00", "40 D1 11 00 F2 00 00 00", "40 D1 12 00 F3 00 00 00",
        "40 D1 13 00 F4 00 00 00", "40 D1 01 00 00 00 00 00"}},
      {"mono bin",
       [](Link& l) { return l.SetFPGABinType(true); },
       {"C0 D0 27 00 00 00 01 00", "40 D1 27 00 7F 00 00 00"},
       0,
       0,
       0xFF},
      {"no mono bin",
       [](Link& l) { return l.SetFPGABinType(false); },
       {"C0 D0 27 00 00 00 01 00", "40 D1 27 00 80 00 00 00"}},
  };
  return all;
}

template <typename Door>
class Requests : public LinkTest<Door> {};
TYPED_TEST_SUITE(Requests, BothDoors, DoorNames);

TYPED_TEST(Requests, EveryOperationReachesTheDeviceAsTheseBytes) {
  this->PlugAndOpen();
  for (const Operation& operation : Operations()) {
    SCOPED_TRACE(operation.name);
    this->camera->SetFpgaRegister(0x02, static_cast<std::uint8_t>(operation.trigger));
    this->camera->SetFpgaRegister(0x03, static_cast<std::uint8_t>(operation.sync));
    this->camera->SetFpgaRegister(0x27, static_cast<std::uint8_t>(operation.monoBin));
    this->camera->ClearRequests();
    EXPECT_TRUE(operation.run(this->link)) << this->link.LinkError();
    EXPECT_EQ(ReceivedBytes(*this->camera), operation.bytes);
  }
}

TYPED_TEST(Requests, OpeningSendsNoVendorRequests) {
  this->Plug();
  this->camera->ClearRequests();
  ASSERT_TRUE(Open(this->link, this->door.MakePort()));
  EXPECT_THAT(ReceivedBytes(*this->camera), ::testing::IsEmpty());
}

TYPED_TEST(Requests, AnswersArriveUnchanged) {
  this->PlugAndOpen();
  this->camera->SetBoardType(0x5E);
  this->camera->SetFpgaRegister(0x19, 0x87);
  this->camera->SetSensorRegister(0x0300, 0x9C);
  unsigned char value = 0;
  EXPECT_TRUE(this->link.GetMainBoardType(&value));
  EXPECT_EQ(value, 0x5E);
  EXPECT_TRUE(this->link.ReadFPGAREG(0x19, &value));
  EXPECT_EQ(value, 0x87);
  EXPECT_TRUE(this->link.ReadSONYREG(0x0300, &value));
  EXPECT_EQ(value, 0x9C);
  EXPECT_TRUE(this->link.GetFirmwareVer(nullptr));
  EXPECT_THAT(this->link.firmwareVersion, ::testing::ElementsAre(1, 0, 0, 1));
}

TYPED_TEST(Requests, FlashIsWrittenAndReadBackAcrossPieces) {
  this->PlugAndOpen();
  std::vector<unsigned char> written(5000);
  for (std::size_t i = 0; i < written.size(); ++i) written[i] = static_cast<unsigned char>(i * 31 + i / 256);
  std::vector<unsigned char> read(written.size());
  ASSERT_TRUE(this->link.EnableGPIF32DQ(false));
  EXPECT_EQ(this->link.EraseSectorOfSPIFlash(1, wire::kReqFlashErase), 0);
  constexpr unsigned kAddress = 0x10000;  // sector 1, at the start of a page
  EXPECT_TRUE(this->link.WriteToSPIFlash(written.data(), kAddress, 5000, wire::kReqFlashWrite));
  EXPECT_TRUE(this->link.ReadFromSPIFlash(read.data(), kAddress, 5000, wire::kReqFlashRead));
  EXPECT_TRUE(read == written);
  EXPECT_TRUE(this->camera->Flash(kAddress, written.size()) == written);
}

TYPED_TEST(Requests, TheSpeedOfTheConnectionIsKnown) {
  this->PlugAndOpen();
  EXPECT_TRUE(this->link.IsUSB3Host());
  this->link.CloseDevice();
  VirtualOptions slow = Untimed();
  slow.usb3 = false;
  const auto other = MakeCamera(slow);
  this->door.Unplug(this->number);
  this->door.Attach(other);
  ASSERT_TRUE(Open(this->link, this->door.MakePort()));
  EXPECT_FALSE(this->link.IsUSB3Host());
  EXPECT_EQ(this->link.Port().Speed(), UsbSpeed::High);
}

struct Failure {
  UsbError asked;
  UsbError seen;
};

TYPED_TEST(Requests, AFailedRequestLeavesItsByteAndSaysWhy) {
  this->PlugAndOpen();
  for (const UsbError error : {kUsbPipe, kUsbIo, kUsbTimeout}) {
    SCOPED_TRACE(static_cast<int>(error));
    this->camera->FailRequests(wire::kReqReadFpga, error, 0, 1);
    unsigned char value = 0xA5;
    EXPECT_FALSE(this->link.ReadFPGAREG(0x1C, &value));
    EXPECT_EQ(value, 0xA5);
    EXPECT_EQ(this->link.Port().LastErrorCode(), error);
    EXPECT_FALSE(this->link.LinkError().empty());
    EXPECT_FALSE(this->link.DeviceLost());
    EXPECT_TRUE(this->link.ReadFPGAREG(0x1C, &value)) << "the camera works again";
  }
}

TYPED_TEST(Requests, ARefusedSectorEraseIsNotZero) {
  this->PlugAndOpen();
  this->camera->FailRequests(wire::kReqFlashErase, kUsbPipe, 0, 1);
  EXPECT_NE(this->link.EraseSectorOfSPIFlash(1, wire::kReqFlashErase), 0);
}

TYPED_TEST(Requests, AUnknownRequestIsRefused) {
  this->PlugAndOpen();
  EXPECT_FALSE(this->link.SendCMD(0x77));
  EXPECT_EQ(this->link.Port().LastErrorCode(), kUsbPipe);
}

TYPED_TEST(Requests, ThreadsMayControlAtOnce) {
  this->PlugAndOpen();
  constexpr int kThreads = 4;
  constexpr int kWrites = 50;
  std::vector<std::thread> threads;
  std::atomic<int> wrong{0};
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      const auto reg = static_cast<unsigned short>(0xF0 + i);  // nobody else's
      for (int n = 0; n < kWrites; ++n) {
        unsigned char value = 0;
        const bool done = this->link.WriteFPGAREG(reg, static_cast<unsigned short>(n)) &&
                          this->link.ReadFPGAREG(reg, &value) && value == n;
        wrong += done ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace orq::test
