// The bytes of every vendor request, compared with literals, and what becomes of requests that fail.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>

#include "ScriptedPort.h"
#include "link/CameraFX3.h"
#include "link/stream/CirBuf.h"

namespace orq {
namespace {

using test::Bytes;
using test::ScriptedPort;

constexpr int kOut = 0x40;
constexpr int kIn = 0xC0;

struct Packet {
  int requestType;
  int request;
  int value;
  int index;
  int length;
  bool operator==(const Packet&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Packet& s) {
  return out << std::hex << "{" << s.requestType << " " << s.request << " " << s.value << " " << s.index << " "
             << s.length << "}";
}

Packet Seen(const SetupPacket& packet) {
  return {packet.requestType, packet.request, packet.value, packet.index, packet.length};
}

class Requests : public testing::Test {
 protected:
  Requests() {
    link_.UsePort(port_);
    Open();
  }
  void Open() {
    link_.usbContext = link_.Port().Context();
    link_.usbHandle = link_.Port().libusb_open_device_with_vid_pid_index(link_.usbContext, 0, 0, 0);
    link_.bOpened = 1;
    link_.handleNumber = 1;
  }
  std::vector<Packet> Sent() {
    std::vector<Packet> sent;
    for (const auto& request : port_->requests) sent.push_back(Seen(request.setup));
    port_->requests.clear();
    return sent;
  }
  /// Requests from the `nth` on (from 1) fail with `result`.
  void FailFrom(int nth, int result) {
    port_->answer = [nth, result, count = 0](const SetupPacket& setup, std::span<std::uint8_t> data) mutable {
      if (setup.In()) std::fill(data.begin(), data.end(), std::uint8_t{0xA5});
      return ++count >= nth ? result : static_cast<int>(data.size());
    };
  }

  std::shared_ptr<ScriptedPort> port_ = std::make_shared<ScriptedPort>();
  CCameraFX3 link_;
};

// Operations whose result is "all requests worked" -----------------------------------------------------------

struct Operation {
  const char* name;
  bool (*run)(CCameraFX3& link);
  std::vector<Packet> sent;
};

/// Registers read as 0xA5 = 1010 0101.
const Operation kOperations[] = {
    {"SendCMD", [](CCameraFX3& l) { return l.SendCMD(0xAF); }, {{kOut, 0xAF, 0, 0, 0}}},
    {"SendCMDOut",
     [](CCameraFX3& l) { return l.SendCMD(0xB5, 0x1234, 0x5678, false, nullptr, 0); },
     {{kOut, 0xB5, 0x1234, 0x5678, 0}}},
    {"WriteFPGAREG", [](CCameraFX3& l) { return l.WriteFPGAREG(0xFA, 0x12C); }, {{kOut, 0xD1, 0xFA, 0x2C, 0}}},
    {"WriteSONYREG", [](CCameraFX3& l) { return l.WriteSONYREG(0x0A02, 0x7F); }, {{kOut, 0xD3, 0x0A02, 0x7F, 0}}},
    {"GpifOn", [](CCameraFX3& l) { return l.EnableGPIF32DQ(true); }, {{kOut, 0xD6, 1, 0, 0}}},
    {"GpifOff", [](CCameraFX3& l) { return l.EnableGPIF32DQ(false); }, {{kOut, 0xD6, 0, 0, 0}}},
    {"FPGAStart", [](CCameraFX3& l) { return l.FPGAStart(); }, {{kOut, 0xD1, 0, 1, 0}}},
    {"FPGAStop", [](CCameraFX3& l) { return l.FPGAStop(); }, {{kOut, 0xD1, 0, 0, 0}}},
    {"SendSoftTrigger", [](CCameraFX3& l) { return l.SendSoftTrigger(); }, {{kOut, 0xD7, 0, 0, 0}}},
    {"EraseSector", [](CCameraFX3& l) { return l.EraseSectorOfSPIFlash(7, 0xC4) == 0; }, {{kOut, 0xC4, 7, 0, 0}}},
    {"TriggerModeOn",
     [](CCameraFX3& l) { return l.EnableFPGATriggerMode(true); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xA5, 0}}},
    {"TriggerModeOff",
     [](CCameraFX3& l) { return l.EnableFPGATriggerMode(false); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xA4, 0}}},
    {"TriggerExternal",
     [](CCameraFX3& l) { return l.SelectExtTrigSource(true); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xA7, 0}}},
    {"TriggerInternal",
     [](CCameraFX3& l) { return l.SelectExtTrigSource(false); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xA5, 0}}},
    {"TriggerEdge",
     [](CCameraFX3& l) { return l.SelectExtTrigType(true); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xA5, 0}}},
    {"TriggerLevel",
     [](CCameraFX3& l) { return l.SelectExtTrigType(false); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xA1, 0}}},
    {"TriggerHigh",
     [](CCameraFX3& l) { return l.SelectExtTrigValidType(true); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xAD, 0}}},
    {"TriggerLow",
     [](CCameraFX3& l) { return l.SelectExtTrigValidType(false); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xA5, 0}}},
    {"TriggerSoftOn",
     [](CCameraFX3& l) { return l.SelectExtTrigSoftMode(true); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xB5, 0}}},
    {"TriggerSoftOff",
     [](CCameraFX3& l) { return l.SelectExtTrigSoftMode(false); },
     {{kIn, 0xD0, 2, 0, 1}, {kOut, 0xD1, 2, 0xA5, 0}}},
    {"SyncAOn",
     [](CCameraFX3& l) { return l.EnableExtSyncA(true); },
     {{kIn, 0xD0, 3, 0, 1}, {kOut, 0xD1, 3, 0xA5, 0}}},
    {"SyncAOff",
     [](CCameraFX3& l) { return l.EnableExtSyncA(false); },
     {{kIn, 0xD0, 3, 0, 1}, {kOut, 0xD1, 3, 0xA4, 0}}},
    {"SyncBOn",
     [](CCameraFX3& l) { return l.EnableExtSyncB(true); },
     {{kIn, 0xD0, 3, 0, 1}, {kOut, 0xD1, 3, 0xA7, 0}}},
    {"SyncBOff",
     [](CCameraFX3& l) { return l.EnableExtSyncB(false); },
     {{kIn, 0xD0, 3, 0, 1}, {kOut, 0xD1, 3, 0xA5, 0}}},
    {"SyncAHigh",
     [](CCameraFX3& l) { return l.SelectExtSyncALevel(true); },
     {{kIn, 0xD0, 3, 0, 1}, {kOut, 0xD1, 3, 0xA5, 0}}},
    {"SyncALow",
     [](CCameraFX3& l) { return l.SelectExtSyncALevel(false); },
     {{kIn, 0xD0, 3, 0, 1}, {kOut, 0xD1, 3, 0xA1, 0}}},
    {"SyncBHigh",
     [](CCameraFX3& l) { return l.SelectExtSyncBLevel(true); },
     {{kIn, 0xD0, 3, 0, 1}, {kOut, 0xD1, 3, 0xAD, 0}}},
    {"SyncBLow",
     [](CCameraFX3& l) { return l.SelectExtSyncBLevel(false); },
     {{kIn, 0xD0, 3, 0, 1}, {kOut, 0xD1, 3, 0xA5, 0}}},
    {"MonoBinOn",
     [](CCameraFX3& l) { return l.SetFPGABinType(true); },
     {{kIn, 0xD0, 0x27, 0, 1}, {kOut, 0xD1, 0x27, 0x25, 0}}},
    {"MonoBinOff",
     [](CCameraFX3& l) { return l.SetFPGABinType(false); },
     {{kIn, 0xD0, 0x27, 0, 1}, {kOut, 0xD1, 0x27, 0xA5, 0}}},
    {"SyncADelay",
     [](CCameraFX3& l) { return l.SetExtSyncADelayTime(0x04030201); },
     {{kOut, 0xD1, 1, 1, 0},
      {kOut, 0xD1, 4, 1, 0},
      {kOut, 0xD1, 5, 2, 0},
      {kOut, 0xD1, 6, 3, 0},
      {kOut, 0xD1, 7, 4, 0},
      {kOut, 0xD1, 1, 0, 0}}},
    {"SyncAKeep",
     [](CCameraFX3& l) { return l.SetExtSyncAKeepTime(0xFFFFFFFF); },
     {{kOut, 0xD1, 1, 1, 0},
      {kOut, 0xD1, 8, 0xFF, 0},
      {kOut, 0xD1, 9, 0xFF, 0},
      {kOut, 0xD1, 10, 0xFF, 0},
      {kOut, 0xD1, 11, 0xFF, 0},
      {kOut, 0xD1, 1, 0, 0}}},
    {"SyncBDelay",
     [](CCameraFX3& l) { return l.SetExtSyncBDelayTime(1000000); },  // 0x0F4240
     {{kOut, 0xD1, 1, 1, 0},
      {kOut, 0xD1, 12, 0x40, 0},
      {kOut, 0xD1, 13, 0x42, 0},
      {kOut, 0xD1, 14, 0x0F, 0},
      {kOut, 0xD1, 15, 0, 0},
      {kOut, 0xD1, 1, 0, 0}}},
    {"SyncBKeep",
     [](CCameraFX3& l) { return l.SetExtSyncBKeepTime(0x80); },
     {{kOut, 0xD1, 1, 1, 0},
      {kOut, 0xD1, 16, 0x80, 0},
      {kOut, 0xD1, 17, 0, 0},
      {kOut, 0xD1, 18, 0, 0},
      {kOut, 0xD1, 19, 0, 0},
      {kOut, 0xD1, 1, 0, 0}}},
};

class EveryOperation : public Requests, public testing::WithParamInterface<Operation> {};

TEST_P(EveryOperation, SendsTheseBytesAndSucceeds) {
  EXPECT_TRUE(GetParam().run(link_));
  EXPECT_EQ(Sent(), GetParam().sent);
}

TEST_P(EveryOperation, FailsWhenAnyOfItsRequestsFails) {
  for (int failing = 1; failing <= static_cast<int>(GetParam().sent.size()); ++failing) {
    FailFrom(failing, kUsbPipe);
    EXPECT_FALSE(GetParam().run(link_)) << "request " << failing;
  }
  EXPECT_FALSE(link_.DeviceLost());
}

TEST_P(EveryOperation, NotesThatTheDeviceIsGone) {
  FailFrom(1, kUsbNoDevice);
  EXPECT_FALSE(GetParam().run(link_));
  EXPECT_TRUE(link_.DeviceLost());
}

INSTANTIATE_TEST_SUITE_P(OfTheLink, EveryOperation, testing::ValuesIn(kOperations),
                         [](const auto& operation) { return std::string(operation.param.name); });

TEST_F(Requests, WriteNothingWhenTheReadOfAReadModifyWriteFailsOrIsShort) {
  for (const int result : {static_cast<int>(kUsbTimeout), 0}) {
    FailFrom(1, result);
    EXPECT_FALSE(link_.EnableFPGATriggerMode(true));
    EXPECT_EQ(Sent(), (std::vector<Packet>{{kIn, 0xD0, 2, 0, 1}}));
    FailFrom(1, result);
    EXPECT_FALSE(link_.SetFPGABinType(true));
    EXPECT_EQ(Sent(), (std::vector<Packet>{{kIn, 0xD0, 0x27, 0, 1}}));
  }
}

TEST_F(Requests, ReleaseTheUpdateHoldAlsoWhenAWriteUnderItFails) {
  FailFrom(3, kUsbPipe);
  EXPECT_FALSE(link_.SetExtSyncADelayTime(1));
  EXPECT_EQ(Sent(),
            (std::vector<Packet>{
                {kOut, 0xD1, 1, 1, 0}, {kOut, 0xD1, 4, 1, 0}, {kOut, 0xD1, 5, 0, 0}, {kOut, 0xD1, 1, 0, 0}}));
  FailFrom(1, kUsbPipe);
  EXPECT_FALSE(link_.SetExtSyncADelayTime(1));
  EXPECT_EQ(Sent(), (std::vector<Packet>{{kOut, 0xD1, 1, 1, 0}, {kOut, 0xD1, 1, 0, 0}}));
}

// Reads ------------------------------------------------------------------------------------------------------

struct ReadOperation {
  const char* name;
  bool (*run)(CCameraFX3& link, unsigned char* out);
  Packet sent;
};

const ReadOperation kReads[] = {
    {"ReadFPGAREG",
     [](CCameraFX3& l, unsigned char* out) { return l.ReadFPGAREG(0x1C, out); },
     {kIn, 0xD0, 0x1C, 0, 1}},
    {"ReadSONYREG",
     [](CCameraFX3& l, unsigned char* out) { return l.ReadSONYREG(0x0A27, out); },
     {kIn, 0xD2, 0x0A27, 0, 1}},
    {"GetMainBoardType",
     [](CCameraFX3& l, unsigned char* out) { return l.GetMainBoardType(out); },
     {kIn, 0xD5, 0, 0, 1}},
    {"GetFirmwareVer",
     [](CCameraFX3& l, unsigned char* out) { return l.GetFirmwareVer(out); },
     {kIn, 0xD4, 0, 0, 4}},
    {"SerialNumber",
     [](CCameraFX3& l, unsigned char* out) { return l.SendCMD(0xC8, 0, 0, true, out, 8); },
     {kIn, 0xC8, 0, 0, 8}},
    {"ReadFromSPIFlash",
     [](CCameraFX3& l, unsigned char* out) { return l.ReadFromSPIFlash(out, 0x12345, 16, 0xC3); },
     {kIn, 0xC3, 0x0001, 0x2345, 16}},
};

class EveryRead : public Requests, public testing::WithParamInterface<ReadOperation> {
 protected:
  std::array<unsigned char, 16> out_ = {};
};

TEST_P(EveryRead, AsksForTheseBytesAndDeliversThem) {
  out_.fill(0x11);
  EXPECT_TRUE(GetParam().run(link_, out_.data()));
  EXPECT_EQ(Sent(), std::vector<Packet>{GetParam().sent});
  for (std::size_t at = 0; at < 16; ++at)
    EXPECT_EQ(out_[at], at < static_cast<std::size_t>(GetParam().sent.length) ? 0xA5 : 0x11) << at;
}

TEST_P(EveryRead, LeavesTheOutBytesAsTheyWereWhenItFailsOrIsShort) {
  for (const int result :
       {static_cast<int>(kUsbPipe), static_cast<int>(kUsbTimeout), GetParam().sent.length - 1}) {
    out_.fill(0x11);
    FailFrom(1, result);
    EXPECT_FALSE(GetParam().run(link_, out_.data())) << result;
    for (const unsigned char byte : out_) EXPECT_EQ(byte, 0x11);
  }
}

INSTANTIATE_TEST_SUITE_P(OfTheLink, EveryRead, testing::ValuesIn(kReads),
                         [](const auto& read) { return std::string(read.param.name); });

TEST_F(Requests, ReadsIntoNothingAreRefused) {
  EXPECT_FALSE(link_.ReadFPGAREG(1, nullptr));
  EXPECT_FALSE(link_.ReadSONYREG(1, nullptr));
  EXPECT_FALSE(link_.GetMainBoardType(nullptr));
  EXPECT_FALSE(link_.ReadFromSPIFlash(nullptr, 0, 1, 0xC3));
  EXPECT_TRUE(Sent().empty());
}

TEST_F(Requests, KeepTheFirmwareVersionOnlyWhenItWasRead) {
  port_->answer = [](const SetupPacket&, std::span<std::uint8_t> data) {
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i + 1);
    return static_cast<int>(data.size());
  };
  std::array<unsigned char, 4> version{};
  ASSERT_TRUE(link_.GetFirmwareVer(version.data()));
  EXPECT_EQ(version, (std::array<unsigned char, 4>{1, 2, 3, 4}));
  EXPECT_EQ(link_.firmwareVersion, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
  FailFrom(1, kUsbPipe);
  EXPECT_FALSE(link_.GetFirmwareVer(version.data()));
  EXPECT_EQ(link_.firmwareVersion, (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
}

// Commands with data -----------------------------------------------------------------------------------------

TEST_F(Requests, SendTheBytesOfAnOutgoingCommand) {
  Bytes data = {1, 2, 3};
  EXPECT_TRUE(link_.SendCMD(0xE0, 0xFFFF, 0x8000, false, data.data(), 3));
  ASSERT_EQ(port_->requests.size(), 1U);
  EXPECT_EQ(port_->requests[0].data, data);
  EXPECT_EQ(Sent(), (std::vector<Packet>{{kOut, 0xE0, 0xFFFF, 0x8000, 3}}));
  FailFrom(1, 2);
  EXPECT_FALSE(link_.SendCMD(0xE0, 0, 0, false, data.data(), 3)) << "only two of three bytes went out";
}

TEST_F(Requests, RefuseLengthsAndBuffersThatCannotBe) {
  Bytes data(5000);
  for (const bool in : {false, true}) {
    EXPECT_FALSE(link_.SendCMD(0xE0, 0, 0, in, data.data(), -1));
    EXPECT_FALSE(link_.SendCMD(0xE0, 0, 0, in, data.data(), 4097));
    EXPECT_FALSE(link_.SendCMD(0xE0, 0, 0, in, data.data(), 0x100000001));
    EXPECT_FALSE(link_.SendCMD(0xE0, 0, 0, in, nullptr, 1));
    EXPECT_TRUE(Sent().empty());
    EXPECT_TRUE(link_.SendCMD(0xE0, 0, 0, in, data.data(), 4096));
    EXPECT_EQ(Sent(), (std::vector<Packet>{{in ? kIn : kOut, 0xE0, 0, 0, 4096}}));
    EXPECT_TRUE(link_.SendCMD(0xE0, 0, 0, in, nullptr, 0));
    Sent();
  }
}

TEST_F(Requests, WaitOneSecondForAnAnswerAndLongerForAnErase) {
  link_.SendCMD(0xAF);
  link_.EraseSectorOfSPIFlash(4, 0xC4);
  ASSERT_EQ(port_->requests.size(), 2U);
  EXPECT_EQ(port_->requests[0].timeoutMs, 1000U);
  EXPECT_GT(port_->requests[1].timeoutMs, 1000U);
}

// Flash ------------------------------------------------------------------------------------------------------

TEST_F(Requests, SplitLongFlashTransfersAt2048Bytes) {
  Bytes data(5000);
  EXPECT_TRUE(link_.ReadFromSPIFlash(data.data(), 0x4FC00, 5000, 0xC3));
  EXPECT_EQ(Sent(), (std::vector<Packet>{
                        {kIn, 0xC3, 4, 0xFC00, 2048}, {kIn, 0xC3, 5, 0x0400, 2048}, {kIn, 0xC3, 5, 0x0C00, 904}}));
  EXPECT_TRUE(link_.ReadFromSPIFlash(data.data(), 0, 2048, 0xC3));
  EXPECT_EQ(Sent(), (std::vector<Packet>{{kIn, 0xC3, 0, 0, 2048}}));
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * 7);
  EXPECT_TRUE(link_.WriteToSPIFlash(data.data(), 0x40000, 2049, 0xC2));
  ASSERT_EQ(port_->requests.size(), 2U);
  EXPECT_EQ(port_->requests[0].data, Bytes(data.begin(), data.begin() + 2048));
  EXPECT_EQ(port_->requests[1].data, Bytes{data[2048]});
  EXPECT_EQ(Sent(), (std::vector<Packet>{{kOut, 0xC2, 4, 0, 2048}, {kOut, 0xC2, 4, 0x0800, 1}}));
}

TEST_F(Requests, LeaveTheBufferAloneWhenAFlashReadFailsHalfWay) {
  Bytes data(4096, 0x11);
  FailFrom(2, kUsbPipe);
  EXPECT_FALSE(link_.ReadFromSPIFlash(data.data(), 0, 4096, 0xC3));
  EXPECT_EQ(data, Bytes(4096, 0x11));
}

TEST_F(Requests, EndAFlashWriteAtItsFirstFailure) {
  Bytes data(6000);
  FailFrom(2, kUsbPipe);
  EXPECT_FALSE(link_.WriteToSPIFlash(data.data(), 0, 6000, 0xC2));
  EXPECT_EQ(Sent().size(), 2U);
}

TEST_F(Requests, RefuseFlashRangesBeyondTheAddressSpace) {
  Bytes data(16);
  EXPECT_TRUE(link_.ReadFromSPIFlash(data.data(), 0xFFFFFFF0, 16, 0xC3));
  EXPECT_EQ(Sent(), (std::vector<Packet>{{kIn, 0xC3, 0xFFFF, 0xFFF0, 16}}));
  EXPECT_FALSE(link_.ReadFromSPIFlash(data.data(), 0xFFFFFFF1, 16, 0xC3));
  EXPECT_FALSE(link_.WriteToSPIFlash(data.data(), 0xFFFFFFF1, 16, 0xC2));
  EXPECT_FALSE(link_.WriteToSPIFlash(nullptr, 0, 16, 0xC2));
  EXPECT_NE(link_.EraseSectorOfSPIFlash(0x10000, 0xC4), 0);
  EXPECT_TRUE(Sent().empty());
  EXPECT_EQ(link_.EraseSectorOfSPIFlash(0xFFFF, 0xC4), 0);
}

TEST_F(Requests, TransferNoFlashBytesWithoutAsking) {
  EXPECT_TRUE(link_.ReadFromSPIFlash(nullptr, 5, 0, 0xC3));
  EXPECT_TRUE(link_.WriteToSPIFlash(nullptr, 5, 0, 0xC2));
  EXPECT_TRUE(Sent().empty());
}

TEST_F(Requests, EraseReturnsZeroOnSuccessAndNonZeroOnFailure) {
  EXPECT_EQ(link_.EraseSectorOfSPIFlash(4, 0xC4), 0);
  FailFrom(1, kUsbPipe);
  EXPECT_NE(link_.EraseSectorOfSPIFlash(4, 0xC4), 0);
}

// Threads ----------------------------------------------------------------------------------------------------

TEST_F(Requests, NeverOverlapAndReadModifyWritesLoseNoBit) {
  std::atomic<int> inside{0};
  bool overlapped = false;  // unguarded on purpose: the link serialises
  std::uint8_t trigger = 0;
  port_->answer = [&](const SetupPacket& setup, std::span<std::uint8_t> data) {
    overlapped |= ++inside > 1;
    if (setup.In())
      data[0] = trigger;
    else
      trigger = static_cast<std::uint8_t>(setup.index);
    std::this_thread::yield();
    --inside;
    return static_cast<int>(data.size());
  };
  const auto toggle = [this](bool (CCameraFX3::*select)(bool)) {
    for (int i = 0; i < 200; ++i) (link_.*select)(i % 2 == 0);
    (link_.*select)(true);
  };
  std::thread a(toggle, &CCameraFX3::EnableFPGATriggerMode);
  std::thread b(toggle, &CCameraFX3::SelectExtTrigType);
  std::thread c(toggle, &CCameraFX3::SelectExtTrigSoftMode);
  a.join();
  b.join();
  c.join();
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(trigger, 0x15);
}

// Opening, closing, the stream -------------------------------------------------------------------------------

TEST_F(Requests, TellUsb3FromUsb2BySpeed) {
  EXPECT_TRUE(link_.IsUSB3Host());
  port_->speed = UsbSpeed::SuperPlus;
  EXPECT_TRUE(link_.IsUSB3Host());
  port_->speed = UsbSpeed::High;
  EXPECT_FALSE(link_.IsUSB3Host());
  port_->speed = UsbSpeed::Unknown;
  EXPECT_FALSE(link_.IsUSB3Host());
  port_->speed = UsbSpeed::Super;
  link_.CloseDevice();
  EXPECT_FALSE(link_.IsUSB3Host());
}

TEST_F(Requests, CloseReleasesThenClosesAndClearsTheState) {
  link_.CloseDevice();
  EXPECT_EQ(port_->pipe.Calls(), (std::vector<std::string>{"release 0", "close"}));
  EXPECT_EQ(link_.bOpened, 0);
  EXPECT_EQ(link_.usbHandle, nullptr);
  EXPECT_EQ(link_.handleNumber, 0);
  link_.CloseDevice();
  EXPECT_EQ(port_->pipe.Calls().size(), 2U);
}

TEST_F(Requests, TheDestructorCloses) {
  {
    CCameraFX3 other;
    other.UsePort(port_);
    other.usbHandle = port_->libusb_open_device_with_vid_pid_index(nullptr, 0, 0, 0);
    other.bOpened = 1;
  }
  EXPECT_EQ(port_->pipe.Calls(), (std::vector<std::string>{"release 0", "close"}));
}

TEST_F(Requests, AnUnplugLeavesTheOpenedFlagAndIsForgottenByTheNextOpen) {
  FailFrom(1, kUsbNoDevice);
  EXPECT_FALSE(link_.SendCMD(0xAF));
  EXPECT_TRUE(link_.DeviceLost());
  EXPECT_EQ(link_.bOpened, 1);
  link_.CloseDevice();
  EXPECT_TRUE(link_.DeviceLost());
  Open();
  FailFrom(100, kUsbPipe);
  std::array<unsigned char, 4> version{};
  EXPECT_TRUE(link_.GetFirmwareVer(version.data()));
  EXPECT_FALSE(link_.DeviceLost());
}

TEST_F(Requests, ToAClosedCameraDoNotMakeItALostOne) {
  link_.CloseDevice();
  FailFrom(1, kUsbNoDevice);
  EXPECT_FALSE(link_.SendCMD(0xAF));
  EXPECT_FALSE(link_.DeviceLost());
}

TEST_F(Requests, TheLinksErrorIsThePortsWhenNoStreamFailed) {
  EXPECT_EQ(link_.LinkError(), "");
  port_->lastError = "the camera is in use by another program: close it and try again";
  EXPECT_EQ(link_.LinkError(), port_->lastError);
}

class LinkStream : public Requests {
 protected:
  LinkStream() { ring_.StartInstBufThr(); }

  const StreamFormat format_{.width = 100, .height = 10, .bin = 1, .format = 0};
  CirBuf ring_{1000, 2};
};

TEST_F(LinkStream, QueuesBeforeItTellsTheFpgaToSendAndStopsTheFpgaBeforeItCancels) {
  ASSERT_TRUE(link_.StartStream(ring_, format_)) << link_.LinkError();
  auto calls = port_->pipe.Calls();
  const std::vector<std::string> submits(8, "submit");
  // First whatever another program left: its output, the bus that it released, what is in the pipe.
  std::vector<std::string> expected{"D6 1 0", "clear", "D1 0 0"};
  expected.insert(expected.end(), submits.begin(), submits.end());
  expected.insert(expected.end(), 8, "cancel");
  expected.emplace_back("clear");
  expected.insert(expected.end(), submits.begin(), submits.end());
  expected.emplace_back("D1 0 1");
  ASSERT_EQ(calls, expected);
  EXPECT_TRUE(link_.StreamAlive());
  port_->pipe.SendFrame(test::MakeFrame(format_, 3));
  ring_.WaitJudged();
  EXPECT_EQ(link_.Counters().completed, 1U);
  link_.StopStream();
  calls = port_->pipe.Calls();
  expected.emplace_back("submit");  // the transfer that had brought the frame
  expected.emplace_back("D1 0 0");
  expected.insert(expected.end(), 8, "cancel");
  ASSERT_EQ(calls, expected);
  EXPECT_FALSE(link_.StreamAlive());
  EXPECT_EQ(link_.Counters().completed, 1U);
  link_.StopStream();
  EXPECT_EQ(port_->pipe.Calls(), calls);
}

TEST_F(LinkStream, RefusesAClosedCameraAndFramesThatDoNotFit) {
  EXPECT_FALSE(link_.StartStream(ring_, {.width = 100, .height = 11, .bin = 1, .format = 0}));
  EXPECT_NE(link_.LinkError().find("does not fit"), std::string::npos);
  EXPECT_FALSE(link_.StartStream(ring_, {.width = 100, .height = 10, .bin = 1, .format = 1}));
  EXPECT_FALSE(link_.StartStream(ring_, {.width = 0, .height = 10, .bin = 1, .format = 0}));
  link_.CloseDevice();
  EXPECT_FALSE(link_.StartStream(ring_, format_));
  EXPECT_NE(link_.LinkError().find("not open"), std::string::npos);
  EXPECT_EQ(port_->pipe.Count("submit"), 0);
}

TEST_F(LinkStream, FailsWithTheEnginesReasonWhenTheFpgaRefuses) {
  FailFrom(1, kUsbPipe);
  EXPECT_FALSE(link_.StartStream(ring_, format_));
  EXPECT_NE(link_.LinkError().find("refused to start"), std::string::npos);
  EXPECT_FALSE(link_.StreamAlive());
  EXPECT_EQ(port_->pipe.Alive(), 0);
  port_->lastError = "permission denied";
  EXPECT_EQ(link_.LinkError(), "permission denied") << "the newer failure";
}

TEST_F(LinkStream, NotesAnUnplugAndStillStopsAndCloses) {
  ASSERT_TRUE(link_.StartStream(ring_, format_));
  port_->pipe.Complete(TransferStatus::NoDevice);
  EXPECT_FALSE(link_.StreamAlive());
  EXPECT_TRUE(link_.DeviceLost());
  EXPECT_NE(link_.LinkError().find("unplugged"), std::string::npos);
  FailFrom(1, kUsbNoDevice);
  link_.StopStream();
  EXPECT_TRUE(link_.DeviceLost());
  EXPECT_EQ(link_.bOpened, 1);
  link_.CloseDevice();
  EXPECT_EQ(port_->pipe.Alive(), 0);
  EXPECT_EQ(port_->pipe.Calls().back(), "close");
}

TEST_F(LinkStream, MayBeStoppedByTwoThreadsAtOnce) {
  ASSERT_TRUE(link_.StartStream(ring_, format_));
  const int before = port_->pipe.Count("D1 0 0");
  std::thread other([this] { link_.StopStream(); });
  link_.StopStream();
  EXPECT_EQ(port_->pipe.Alive(), 0);
  other.join();
  EXPECT_EQ(port_->pipe.Count("D1 0 0"), before + 1);
}

TEST_F(LinkStream, AFlashOperationIsRefusedWhileItRuns) {
  ASSERT_TRUE(link_.StartStream(ring_, format_));
  const auto calls = port_->pipe.Calls();
  EXPECT_FALSE(link_.AcquireFlash());
  EXPECT_EQ(port_->pipe.Calls(), calls) << "the stream keeps its bus";
  link_.StopStream();
  EXPECT_TRUE(link_.AcquireFlash());
  EXPECT_EQ(port_->pipe.Calls().back(), "D6 0 0");
  link_.ReleaseFlash();
  EXPECT_EQ(port_->pipe.Calls().back(), "D6 1 0");
}

TEST_F(LinkStream, IsRefusedDuringAFlashOperation) {
  ASSERT_TRUE(link_.AcquireFlash());
  ASSERT_TRUE(link_.AcquireFlash());
  link_.ReleaseFlash();
  EXPECT_EQ(port_->pipe.Calls().back(), "D6 0 0") << "the outer operation goes on";
  EXPECT_FALSE(link_.StartStream(ring_, format_));
  EXPECT_NE(link_.LinkError().find("flash"), std::string::npos);
  EXPECT_EQ(port_->pipe.Count("submit"), 0);
  link_.ReleaseFlash();
  EXPECT_TRUE(link_.StartStream(ring_, format_));
}

TEST_F(LinkStream, CloseStopsTheStreamFirst) {
  ASSERT_TRUE(link_.StartStream(ring_, format_));
  link_.CloseDevice();
  const auto calls = port_->pipe.Calls();
  EXPECT_EQ(port_->pipe.Alive(), 0);
  EXPECT_EQ(calls[calls.size() - 2], "release 0");
  EXPECT_EQ(calls.back(), "close");
}

TEST_F(LinkStream, StartsAnewWhenOneRunsAlready) {
  ASSERT_TRUE(link_.StartStream(ring_, format_));
  port_->pipe.SendFrame(test::MakeFrame(format_, 3));
  ring_.WaitJudged();
  ASSERT_TRUE(link_.StartStream(ring_, format_));
  EXPECT_EQ(link_.Counters().started, 0U);
  EXPECT_EQ(port_->pipe.Alive(), 8);
  EXPECT_TRUE(link_.StreamAlive());
}

TEST_F(LinkStream, ACloseWaitsForAStreamThatAnotherThreadStartsAndNothingIsQueuedAfterIt) {
  std::atomic<bool> done{false};
  std::thread worker([&] {
    while (!done) {
      link_.StartStream(ring_, format_);
      link_.StopStream();
    }
  });
  for (int i = 0; i < 100; ++i) {
    std::this_thread::yield();
    link_.CloseDevice();
    EXPECT_EQ(port_->pipe.Queued(), 0);
    port_->pipe.Log("open");
    Open();
  }
  done = true;
  worker.join();
  bool open = true;
  int queuedWhileClosed = 0;
  for (const std::string& call : port_->pipe.Calls()) {
    if (call == "close") open = false;
    if (call == "open") open = true;
    if (call == "submit" && !open) ++queuedWhileClosed;
  }
  EXPECT_EQ(queuedWhileClosed, 0);
}

}  // namespace
}  // namespace orq
