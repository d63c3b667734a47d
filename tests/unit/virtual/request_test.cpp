#include <algorithm>
#include <atomic>

#include "TestCamera.h"

namespace orq::test {
namespace {

constexpr SetupPacket kReadVersion{kVendorIn, 0xD4, 0, 0, 4};

std::vector<std::uint8_t> In(VirtualCamera& camera, std::uint8_t request, std::uint16_t length,
                             std::uint16_t value = 0, std::uint16_t index = 0) {
  std::vector<std::uint8_t> data(length);
  const int result = camera.Control({kVendorIn, request, value, index, length}, data);
  EXPECT_EQ(length, result);
  return data;
}

TEST(VirtualRequests, AnswersIdentity) {
  VirtualOptions options = Untimed();
  options.serial = "0123456789abcdef";
  auto camera = MakeCamera(options);
  EXPECT_EQ((std::vector<std::uint8_t>{1, 0, 0, 1}), In(*camera, 0xD4, 4));
  EXPECT_EQ((std::vector<std::uint8_t>{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}), In(*camera, 0xC8, 8));
  EXPECT_EQ(1, In(*camera, 0xD5, 1)[0]);
  camera->SetBoardType(5);
  EXPECT_EQ(5, In(*camera, 0xD5, 1)[0]);
}

TEST(VirtualRequests, SerialNumberFollowsSeedAndModel) {
  VirtualOptions options = Untimed();
  const auto first = In(*MakeCamera(options), 0xC8, 8);
  EXPECT_EQ(first, In(*MakeCamera(options), 0xC8, 8));
  options.seed = 2;
  const auto otherSeed = In(*MakeCamera(options), 0xC8, 8);
  EXPECT_NE(first, otherSeed);
  options.model = "x26m";
  EXPECT_NE(otherSeed, In(*MakeCamera(options), 0xC8, 8));
}

TEST(VirtualRequests, SupplyVoltageReadsTwelveVolts) {
  const auto word = In(*MakeCamera(Untimed()), 0xE9, 2);
  EXPECT_NEAR(12.0, ((word[1] << 8 | word[0]) >> 4) * 12.296 / 4096, 0.01);
}

TEST(VirtualRequests, RefusesWhatItDoesNotKnow) {
  auto camera = MakeCamera(Untimed());
  for (int request = 0; request < 256; ++request) {
    const auto code = static_cast<std::uint8_t>(request);
    static constexpr std::uint8_t kKnown[] = {0xAE, 0xAF, 0xB0, 0xB1, 0xB3, 0xB5, 0xC2, 0xC3, 0xC4, 0xC7, 0xC8,
                                              0xD0, 0xD1, 0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xE9, 0xBA};
    if (std::find(std::begin(kKnown), std::end(kKnown), code) == std::end(kKnown))
      EXPECT_EQ(kUsbPipe, Out(*camera, code)) << request;
  }
}

TEST(VirtualRequests, RefusesWrongDirectionLengthAndType) {
  auto camera = MakeCamera(Untimed());
  std::uint8_t data[4096] = {};
  const auto control = [&](std::uint8_t type, std::uint8_t request, std::uint16_t length) {
    return camera->Control({type, request, 0, 0, length}, std::span(data).first(length));
  };
  EXPECT_EQ(kUsbPipe, control(kVendorOut, 0xD4, 4));
  EXPECT_EQ(kUsbPipe, control(kVendorIn, 0xD4, 3));
  EXPECT_EQ(kUsbPipe, control(kVendorIn, 0xD4, 5));
  EXPECT_EQ(kUsbPipe, control(0xC1, 0xD4, 4));  // to an interface
  EXPECT_EQ(kUsbPipe, control(0x80, 0xD4, 4));  // a standard request
  EXPECT_EQ(kUsbPipe, control(kVendorIn, 0xAE, 0));
  EXPECT_EQ(kUsbPipe, control(kVendorOut, 0xAE, 1));
  static constexpr std::uint8_t kReads[] = {0xB3, 0xC3, 0xC7, 0xC8, 0xD0, 0xD2, 0xD5, 0xE9};
  for (const std::uint8_t in : kReads) {
    EXPECT_EQ(kUsbPipe, control(kVendorIn, in, 0)) << int{in};
    EXPECT_EQ(kUsbPipe, control(kVendorIn, in, 4096)) << int{in};
    EXPECT_EQ(kUsbPipe, control(kVendorOut, in, 1)) << int{in};
  }
  EXPECT_EQ(kUsbPipe, camera->Control(kReadVersion, std::span(data).first(2)));
}

TEST(VirtualRequests, KeepsALogOfAtMostSoMany) {
  auto camera = MakeCamera(Untimed());
  camera->ClearRequests();
  EXPECT_EQ(0, Out(*camera, 0xD1, 0x30, 0x77));
  In(*camera, 0xD4, 4);
  EXPECT_EQ(kUsbPipe, Out(*camera, 0x01));
  const auto log = camera->Requests();
  ASSERT_EQ(3U, log.size());
  EXPECT_EQ(0xD1, log[0].setup.request);
  EXPECT_EQ(0x30, log[0].setup.value);
  EXPECT_EQ(0x77, log[0].setup.index);
  EXPECT_EQ(0, log[0].result);
  EXPECT_EQ((std::vector<std::uint8_t>{1, 0, 0, 1}), log[1].data);
  EXPECT_EQ(4, log[1].result);
  EXPECT_EQ(kUsbPipe, log[2].result);
  for (std::size_t i = 0; i < Firmware::kLoggedRequests + 10; ++i) Out(*camera, 0xB0, 1);
  EXPECT_EQ(Firmware::kLoggedRequests, camera->Requests().size());
  camera->ClearRequests();
  EXPECT_TRUE(camera->Requests().empty());
}

TEST(VirtualRequests, FailAsScripted) {
  auto camera = MakeCamera(Untimed());
  std::uint8_t data[4] = {};
  camera->FailRequests(0xD4, kUsbTimeout, 1, 2);
  EXPECT_EQ(4, camera->Control(kReadVersion, data));
  EXPECT_EQ(kUsbTimeout, camera->Control(kReadVersion, data));
  EXPECT_EQ(0, Out(*camera, 0xB0));
  EXPECT_EQ(kUsbTimeout, camera->Control(kReadVersion, data));
  EXPECT_EQ(4, camera->Control(kReadVersion, data));

  camera->FailRequests(0, kUsbIo, 0, -1);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(kUsbIo, Out(*camera, 0xB0));
  camera->ClearFailures();
  EXPECT_EQ(0, Out(*camera, 0xB0));
}

TEST(VirtualRequests, AFailedWriteDoesNothing) {
  auto camera = MakeCamera(Untimed());
  camera->FailRequests(0xD1, kUsbPipe, 0, 1);
  EXPECT_EQ(kUsbPipe, WriteFpga(*camera, 0x19, 7));
  EXPECT_EQ(0, ReadFpga(*camera, 0x19));
}

TEST(VirtualRequests, OptionsRefuseForGood) {
  VirtualOptions options = Untimed();
  options.refuse = {0xD4, 0xB0};
  auto camera = MakeCamera(options);
  std::uint8_t data[4] = {};
  EXPECT_EQ(kUsbPipe, camera->Control(kReadVersion, data));
  camera->ClearFailures();
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xB0));
  EXPECT_EQ(0, Out(*camera, 0xB1));
}

TEST(VirtualRegisters, ReadBackWhatWasWritten) {
  auto camera = MakeCamera(Untimed());
  EXPECT_EQ(0, WriteFpga(*camera, 0xFA, 200));
  EXPECT_EQ(200, ReadFpga(*camera, 0xFA));
  EXPECT_EQ(200, camera->FpgaRegister(0xFA));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xD1, 0x100, 1));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xD1, 0x10, 0x100));
  std::uint8_t byte = 0;
  EXPECT_EQ(kUsbPipe, camera->Control({kVendorIn, 0xD0, 0x100, 0, 1}, std::span(&byte, 1)));
  EXPECT_EQ(0, camera->FpgaRegister(0x100));
}

TEST(VirtualRegisters, SensorRegistersCoverSixteenBits) {
  auto camera = MakeCamera(Untimed());
  EXPECT_EQ(0, Out(*camera, 0xD3, 0xFFFF, 0x5A));
  EXPECT_EQ(0x5A, In(*camera, 0xD2, 1, 0xFFFF)[0]);
  EXPECT_EQ(0x5A, camera->SensorRegister(0xFFFF));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xD3, 0x0204, 0x100));
  camera->SetSensorRegister(0x0A27, 0xAB);
  EXPECT_EQ(0xAB, In(*camera, 0xD2, 1, 0x0A27)[0]);
}

TEST(VirtualRegisters, ReadOnlyOnesIgnoreWrites) {
  auto camera = MakeCamera(Untimed());
  static constexpr std::uint8_t kReadOnly[] = {0x1C, 0x46, 0x50, 0x90, 0xCF, 0xD0, 0xD4, 0xFE};
  for (const std::uint8_t reg : kReadOnly) {
    const std::uint8_t before = ReadFpga(*camera, reg);
    EXPECT_EQ(0, WriteFpga(*camera, reg, static_cast<std::uint8_t>(before + 1)));
    EXPECT_EQ(before, ReadFpga(*camera, reg)) << int{reg};
  }
  camera->SetFpgaRegister(0x1C, 0xA5);
  EXPECT_EQ(0xA5, ReadFpga(*camera, 0x1C));
}

TEST(VirtualRegisters, HeldWritesTakeEffectTogether) {
  auto camera = MakeCamera(Untimed());
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 0x0102030405U);
  WriteFpga(*camera, wire::kFpgaUpdateHold, 1);
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 0xA1A2A3A4A5U);
  WriteFpga(*camera, wire::kFpgaWidth, 32);
  WriteFpga(*camera, wire::kFpgaSyncBKeep + 3, 9);
  WriteFpga(*camera, wire::kFpgaGpsEndLine + 1, 3);
  WriteFpga(*camera, wire::kFpgaLed, 12);  // not a held register
  EXPECT_EQ(0x05, ReadFpga(*camera, wire::kFpgaExposure));
  EXPECT_EQ(64, ReadFpga(*camera, wire::kFpgaWidth));
  EXPECT_EQ(0, ReadFpga(*camera, wire::kFpgaSyncBKeep + 3));
  EXPECT_EQ(0, ReadFpga(*camera, wire::kFpgaGpsEndLine + 1));
  EXPECT_EQ(12, ReadFpga(*camera, wire::kFpgaLed));
  WriteFpga(*camera, wire::kFpgaUpdateHold, 0);
  for (int i = 0; i < 5; ++i)
    EXPECT_EQ(0xA5 - i, ReadFpga(*camera, static_cast<std::uint16_t>(wire::kFpgaExposure + i)));
  EXPECT_EQ(32, ReadFpga(*camera, wire::kFpgaWidth));
  EXPECT_EQ(9, ReadFpga(*camera, wire::kFpgaSyncBKeep + 3));
  EXPECT_EQ(3, ReadFpga(*camera, wire::kFpgaGpsEndLine + 1));
}

TEST(VirtualRegisters, NoFrameSeesHalfOfAHeldUpdate) {
  auto camera = MakeCamera(Untimed());
  WriteFpgaWide(*camera, wire::kFpgaExposure, 5, 0x00FF);
  RunOutput(*camera);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int i = 0; i < 200; ++i) {
      WriteFpga(*camera, wire::kFpgaUpdateHold, 1);
      WriteFpgaWide(*camera, wire::kFpgaExposure, 2, i % 2 == 0 ? 0xFF00 : 0x00FF);
      WriteFpga(*camera, wire::kFpgaUpdateHold, 0);
    }
    done = true;
  });
  while (!done) {
    const auto header = ReadFrame(*camera).Header();
    const std::uint64_t exposureUs = header ? header->exposureUs : 0;
    EXPECT_TRUE(exposureUs == 0xFF00 || exposureUs == 0x00FF) << exposureUs;
  }
  writer.join();
}

TEST(VirtualRegisters, PowerCycleRestoresRegistersAndKeepsFlash) {
  auto camera = MakeCamera(Untimed());
  const std::uint8_t mark[] = {1, 2, 3};
  camera->SetFlash(0x70000, mark);
  WriteFpga(*camera, wire::kFpgaLed, 1);
  WriteFpga(*camera, wire::kFpgaUpdateHold, 1);
  WriteFpga(*camera, wire::kFpgaWidth, 8);
  Out(*camera, 0xD3, 0x0204, 9);
  camera->PowerCycle();
  EXPECT_EQ(0xFF, ReadFpga(*camera, wire::kFpgaLed));
  WriteFpga(*camera, wire::kFpgaUpdateHold, 0);
  EXPECT_EQ(64, ReadFpga(*camera, wire::kFpgaWidth));
  EXPECT_EQ(0, camera->SensorRegister(0x0204));
  EXPECT_EQ((std::vector<std::uint8_t>{1, 2, 3}), camera->Flash(0x70000, 3));
}

TEST(VirtualRequests, AnswerNoDeviceWhilePulledOut) {
  auto camera = MakeCamera(Untimed());
  camera->Disconnect();
  EXPECT_EQ(kUsbNoDevice, Out(*camera, 0xB0));
  std::uint8_t byte = 0;
  EXPECT_EQ(BulkStep::Kind::Gone, camera->ReadStream(std::span(&byte, 1)).kind);
  camera->PowerCycle();
  EXPECT_EQ(0, Out(*camera, 0xB0));
}

}  // namespace
}  // namespace orq::test
