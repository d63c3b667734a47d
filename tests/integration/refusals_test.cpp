// A camera that refuses one request of an open or of a stream's start, or does not answer it: that ends with a
// word or goes on, and whatever comes next brings the frame that was asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "link/WireProtocol.h"
#include "support/Cameras.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::Eventually;
using test::VirtualRig;

constexpr std::uint8_t kOut = 0x40;
constexpr std::uint64_t kAskedUs = 40'000;
constexpr int kAskedGain = 6;  // a step of every sensor
constexpr FrameRegion kAsked{16, 8, 64, 48, 1, ORQ_IMG_RAW8};

std::size_t EntriesOf(const char* folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

std::string Name(const SetupPacket& setup) {
  char text[64];
  std::snprintf(text, sizeof text, "%02X %02X value %04X index %04X", setup.requestType, setup.request,
                setup.value, setup.index);
  return text;
}

bool IsFpgaWrite(const SetupPacket& setup, std::uint16_t reg, std::uint16_t value) {
  return setup.request == wire::kReqWriteFpga && setup.value == reg && setup.index == value;
}

/// Whether a refusal of the request leaves a camera whose frames would not be those that were asked for; nothing:
/// said elsewhere. `early`: before the sensor is started, while the camera is brought into a known state.
std::optional<bool> EndsTheOpen(const SetupPacket& setup, bool early) {
  const bool fpga = setup.request == wire::kReqReadFpga || setup.request == wire::kReqWriteFpga;
  if (fpga && setup.value == wire::kFpgaTriggerInput) return true;
  if (!early) return std::nullopt;
  const bool tag = setup.value >= wire::kFpgaSettingsTag && setup.value < wire::kFpgaSettingsTag + 4;
  const bool single = setup.value == wire::kFpgaSingle || setup.value == wire::kFpgaUpdateHold;
  if (setup.request == wire::kReqGpifBusWidth || IsFpgaWrite(setup, wire::kFpgaRun, 0)) return true;
  if (fpga && (tag || single)) return true;
  if ((fpga && setup.value == wire::kFpgaHostMode) || setup.request == wire::kReqGuideOff) return false;
  return std::nullopt;
}

/// A camera that fails requests, and a program that uses it.
class Refusing : public testing::Test {
 protected:
  static VirtualRig Rig(const char* key) {
    return VirtualRig(
        key,
        [](VirtualOptions& options) {
          options.timeScale = 0.01;
          options.fpgaType = 0xC0;  // with a trigger unit
        });
  }

  /// As a program that died may have left it.
  static void LeaveInDisorder(VirtualCamera& device) {
    const auto write = [&](std::uint16_t reg, std::uint16_t value) {
      EXPECT_EQ(device.Control({kOut, wire::kReqWriteFpga, reg, value, 0}, {}), 0);
    };
    write(wire::kFpgaSingle, 1);
    write(wire::kFpgaTriggerInput, wire::kTriggerEnable | wire::kTriggerExternal | wire::kTriggerEdge);
    write(wire::kFpgaRun, wire::kRunOutput);
    write(wire::kFpgaUpdateHold, 1);
    write(wire::kFpgaExposure, 0xFF);
    device.Control({kOut, wire::kReqGuideOn, 1, 0, 0}, {});
  }

  static void Ask(CModelCamera& camera) {
    FrameRegion applied;
    std::string reason;
    EXPECT_TRUE(camera.SetExp(kAskedUs, false));
    EXPECT_TRUE(camera.SetGain(kAskedGain, false));
    EXPECT_TRUE(camera.SetRegion(kAsked, applied, reason)) << reason;
    EXPECT_EQ(applied, kAsked);
  }

  /// The next frame is one of those asked for; false when none comes.
  static bool NextIsAsAsked(const VirtualRig& rig) {
    std::vector<std::uint8_t> frame = rig.Buffer();
    std::vector<std::uint8_t> sent;
    FrameInfo info;
    // The device remembers its latest frames only: on a slow computer a video may be ahead of its reader.
    for (int tries = 0; sent.empty() && tries < 100; ++tries) {
      const int size = static_cast<int>(frame.size());
      if (rig.camera->GetFrame(frame.data(), size, VirtualRig::kPatienceMs, info) == 0) return false;
      sent = rig.device->SentPayload(info.sequence);
    }
    EXPECT_EQ(info.exposureUs, kAskedUs);
    EXPECT_EQ(info.gain, kAskedGain);
    EXPECT_EQ(info.region, kAsked);
    EXPECT_TRUE(frame == sent) << "sequence " << info.sequence;
    return true;
  }

  static void ExpectWorks(const VirtualRig& rig, bool snap) {
    ASSERT_EQ(rig.camera->StartCapture(snap), 1);
    EXPECT_TRUE(NextIsAsAsked(rig)) << rig.camera->CaptureTrouble();
    rig.camera->StopCapture();
    EXPECT_TRUE(rig.camera->Counters().IdentityHolds());
  }
};

/// What the camera is told, in short; empty for what only asks.
std::string Told(const SetupPacket& setup) {
  if (setup.request == wire::kReqGpifBusWidth) return setup.value == 1 ? "bus" : "no bus";
  if (setup.request == wire::kReqGuideOff) return "line " + std::to_string(setup.value) + " off";
  if (setup.request == wire::kReqStartSensorClock) return "clock";
  if (setup.request != wire::kReqWriteFpga) return {};
  const std::string value = std::to_string(setup.index);
  switch (setup.value) {
    case wire::kFpgaRun:
      return "run " + value;
    case wire::kFpgaUpdateHold:
      return "hold " + value;
    case wire::kFpgaSingle:
      return "single " + value;
    case wire::kFpgaHostMode:
      return "host mode " + value;
    default:
      return setup.value >= wire::kFpgaSettingsTag && setup.value < wire::kFpgaSettingsTag + 4 ? "tag" : "";
  }
}

/// All that a camera was told until it was told `last`.
std::vector<std::string> ToldUntil(const std::string& last, const VirtualCamera& device) {
  std::vector<std::string> told;
  for (const LoggedRequest& request : device.Requests()) {
    if (std::string text = Told(request.setup); !text.empty()) told.push_back(std::move(text));
    if (!told.empty() && told.back() == last) break;
  }
  return told;
}

// Each step has an effect of its own on a camera that a program left in the middle of something. Those that are
// made twice, at opening and at a stream's start, are for what happened between the two.
TEST_F(Refusing, IsAboutStepsThatAreMadeInThisOrder) {
  for (const char* key : test::CameraKeys()) {
    const VirtualRig rig = Rig(key);
    LeaveInDisorder(*rig.device);
    rig.device->SetFpgaRegister(wire::kFpgaHostMode, wire::kHostUsb3 | wire::kHostSnap);
    rig.device->ClearRequests();
    ASSERT_TRUE(rig.Open()) << rig.camera->LinkError();
    std::vector<std::string> known{"run 0", "bus", "hold 0", "single 0", "host mode 1"};
    if (rig.camera->hasGuidePort != 0)
      known.insert(known.end(), {"line 0 off", "line 1 off", "line 2 off", "line 3 off"});
    known.insert(known.end(), {"host mode 1", "clock"});
    std::vector<std::string> told = ToldUntil("clock", *rig.device);
    std::ranges::sort(told.begin() + 5, told.end());  // whichever line first
    std::ranges::sort(known.begin() + 5, known.end());
    EXPECT_EQ(told, known) << key;
    Ask(*rig.camera);
    for (const bool snap : {true, false}) {
      rig.device->ClearRequests();
      ExpectWorks(rig, snap);
      std::vector<std::string> start = ToldUntil("run 1", *rig.device);
      std::erase_if(start,
                    [](const std::string& text) { return text.starts_with("host mode"); });  // of older ones
      EXPECT_EQ(start, (std::vector<std::string>{"run 0", snap ? "single 1" : "single 0", "hold 1", "tag", "tag",
                                                 "tag", "tag", "hold 0", "bus", "run 0", "run 1"}))
          << key;
    }
    rig.camera->CloseCamera();
  }
}

// What the program before counted, and frames that it left, are of no tag that this one will ever count.
TEST_F(Refusing, ATagThatWasLeftBehindIsNeverCountedAgain) {
  constexpr std::uint32_t kFar = 1U << 30U;
  for (const char* key : test::CameraKeys()) {
    const VirtualRig rig = Rig(key);
    for (const std::uint32_t held : {0x12345678U, 0xFFFFFFF0U}) {
      for (int i = 0; i < 4; ++i) {
        rig.device->SetFpgaRegister(static_cast<std::uint16_t>(wire::kFpgaSettingsTag + i),
                                    static_cast<std::uint8_t>(held >> (8 * i)));
      }
      ASSERT_TRUE(rig.Open()) << rig.camera->LinkError();
      std::uint32_t tag = 0;
      for (int i = 0; i < 4; ++i) {
        tag |= std::uint32_t{rig.device->FpgaRegister(static_cast<std::uint16_t>(wire::kFpgaSettingsTag + i))}
               << (8 * i);
      }
      EXPECT_EQ(tag, rig.camera->Tag().Newest());
      EXPECT_GE(tag - held, kFar) << key;
      EXPECT_LT(tag - held, 3 * kFar + 100) << key;
      rig.camera->CloseCamera();
    }
  }
}

// The camera's own register says which settings a frame shows; a foreign value in it makes strangers of the
// frames.
TEST_F(Refusing, AFrameWithAForeignTagIsCountedAndNeverDelivered) {
  for (const char* key : test::CameraKeys()) {
    const VirtualRig rig = Rig(key);
    ASSERT_TRUE(rig.Open()) << rig.camera->LinkError();
    Ask(*rig.camera);
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    ASSERT_TRUE(NextIsAsAsked(rig)) << rig.camera->CaptureTrouble();
    const std::uint32_t own = rig.camera->Tag().Newest();
    constexpr auto kTopByte = static_cast<std::uint16_t>(wire::kFpgaSettingsTag + 3);
    const auto top = static_cast<std::uint8_t>(own >> 24U);
    rig.device->SetFpgaRegister(kTopByte, static_cast<std::uint8_t>(top ^ 0x80U));
    ASSERT_TRUE(Eventually([&] { return rig.camera->Counters().stale >= 2; })) << key;
    rig.device->SetFpgaRegister(kTopByte, top);
    const std::uint64_t before = rig.camera->Counters().completed;
    EXPECT_TRUE(Eventually([&] { return rig.camera->Counters().completed > before; }));
    FrameInfo info;
    ASSERT_TRUE(rig.Fetch(info));
    EXPECT_EQ(info.settingsTag, own);
    rig.camera->StopCapture();
    EXPECT_TRUE(rig.camera->Counters().IdentityHolds());
    rig.camera->CloseCamera();
  }
}

/// The writes of a sensor's long table are all alike: of each sixteen in a row one stands for all.
bool IsOneOfMany(const std::vector<LoggedRequest>& requests, std::size_t i) {
  constexpr std::size_t kAlike = 16;
  const auto isTable = [](const LoggedRequest& request) { return request.setup.request == wire::kReqWriteSensor; };
  const std::size_t first = i / kAlike * kAlike;
  if (i == first || first + kAlike > requests.size()) return false;
  const auto run = std::span(requests).subspan(first, kAlike);
  return std::ranges::all_of(run, isTable);
}

class Refusals : public Refusing, public testing::WithParamInterface<UsbError> {};

TEST_P(Refusals, OfOneRequestEndTheOpenOrLetItGoOnAndTheNextFrameIsTheOneAskedFor) {
  for (const char* key : test::CameraKeys()) {
    const VirtualRig rig = Rig(key);
    LeaveInDisorder(*rig.device);
    rig.device->ClearRequests();
    ASSERT_TRUE(rig.Open()) << rig.camera->LinkError();
    const std::vector<LoggedRequest> requests = rig.device->Requests();
    Ask(*rig.camera);
    ExpectWorks(rig, true);
    rig.camera->CloseCamera();
    const std::size_t threads = EntriesOf("/proc/self/task");
    const std::size_t descriptors = EntriesOf("/proc/self/fd");
    std::set<bool> met;
    bool early = true;
    for (std::size_t i = 0; i < requests.size(); ++i) {
      early = early && requests[i].setup.request != wire::kReqStartSensorClock;
      if (IsOneOfMany(requests, i)) continue;
      const std::optional<bool> ends = EndsTheOpen(requests[i].setup, early);
      SCOPED_TRACE(std::string(key) + " request " + std::to_string(i) + ": " + Name(requests[i].setup));
      LeaveInDisorder(*rig.device);
      rig.device->FailRequests(0, GetParam(), static_cast<int>(i), 1);
      const bool opened = rig.Open();
      rig.device->ClearFailures();
      if (ends) {
        met.insert(*ends);
        EXPECT_NE(opened, *ends);
      }
      if (!opened) {
        EXPECT_EQ(rig.camera->bOpened, 0);
        EXPECT_EQ(rig.camera->usbHandle, nullptr);
        EXPECT_FALSE(rig.camera->LinkError().empty());
        ASSERT_TRUE(rig.Open()) << rig.camera->LinkError();
      }
      Ask(*rig.camera);
      ExpectWorks(rig, i % 2 == 0);
      rig.camera->CloseCamera();
      if (HasFatalFailure()) return;
    }
    EXPECT_EQ(met.size(), 2U) << key;
    EXPECT_TRUE(Eventually([&] { return EntriesOf("/proc/self/task") <= threads; })) << key;
    EXPECT_EQ(EntriesOf("/proc/self/fd"), descriptors) << key;
  }
}

TEST_P(Refusals, OfOneRequestAtAStreamsStartFailItWithASentenceOrBringTheFrameAskedFor) {
  for (const char* key : test::CameraKeys()) {
    const VirtualRig rig = Rig(key);
    ASSERT_TRUE(rig.Open());
    Ask(*rig.camera);
    for (const bool snap : {true, false}) {
      ExpectWorks(rig, !snap);  // so that the start has something to change
      rig.device->ClearRequests();
      ExpectWorks(rig, snap);
      std::vector<SetupPacket> start;
      for (const LoggedRequest& request : rig.device->Requests()) {
        start.push_back(request.setup);
        if (IsFpgaWrite(request.setup, wire::kFpgaRun, wire::kRunOutput)) break;
      }
      std::size_t failed = 0;
      for (std::size_t i = 0; i < start.size(); ++i) {
        SCOPED_TRACE(std::string(key) + (snap ? " exposure" : " video") + " request " + std::to_string(i) + ": " +
                     Name(start[i]));
        ExpectWorks(rig, !snap);
        rig.device->FailRequests(0, GetParam(), static_cast<int>(i), 1);
        ASSERT_EQ(rig.camera->StartCapture(snap), 1);
        bool works = NextIsAsAsked(rig);
        for (int more = 0; works && !snap && more < 2; ++more) works = NextIsAsAsked(rig);
        const std::string trouble = rig.camera->CaptureTrouble();
        rig.camera->StopCapture();
        rig.device->ClearFailures();
        EXPECT_EQ(works, trouble.empty()) << trouble;
        // What older products answer when they are told of the mode is not examined.
        if (start[i].value != wire::kFpgaHostMode)
          EXPECT_EQ(trouble.find("sent no frame"), std::string::npos) << trouble;
        failed += works ? 0 : 1;
        ExpectWorks(rig, snap);
        if (HasFatalFailure()) return;
      }
      EXPECT_GE(failed, 7U) << "the hold, the tag's four bytes, its end and the output's start";
      EXPECT_LT(failed, start.size()) << "what is done twice may fail once";
    }
    rig.camera->CloseCamera();
  }
}

INSTANTIATE_TEST_SUITE_P(All, Refusals, testing::Values(kUsbPipe, kUsbTimeout), [](const auto& named) {
  return named.param == kUsbPipe ? std::string("Stalled") : std::string("Unanswered");
});

}  // namespace
}  // namespace orq
