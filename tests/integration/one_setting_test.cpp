// The registers of one setting, as a frame sees them.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "support/Cameras.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::VirtualRig;

class OneSetting : public testing::TestWithParam<const char*> {};

/// As many frames as the device makes when its time stands still.
void FullSpeed(VirtualOptions& options) {
  options.timeScale = 0;
  options.scene = "dark";
}

// Frames by what `of` says of them, while `toggle` is called again and again with 0 and 1.
template <class Toggle, class Of>
std::map<std::uint64_t, int> SeenWhile(const VirtualRig& rig, Toggle toggle, Of of) {
  constexpr int kFrames = 150;
  std::map<std::uint64_t, int> seen;
  toggle(0);
  EXPECT_EQ(rig.camera->StartCapture(false), 1);
  std::atomic<bool> over{false};
  std::thread other([&] {
    for (int i = 1; !over; ++i) toggle(i % 2);
  });
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  for (int i = 0; i < kFrames || (seen.size() < 2 && std::chrono::steady_clock::now() < giveUp); ++i) {
    FrameInfo info;
    if (!rig.Fetch(info)) break;
    ++seen[static_cast<std::uint64_t>(of(info))];
  }
  over = true;
  other.join();
  rig.camera->StopCapture();
  return seen;
}

TEST_P(OneSetting, IsSeenWholeByAFrame) {
  const VirtualRig rig(GetParam(), FullSpeed, 32);
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  // One step that changes both bytes where the gain has two, or the least that the sensor can do.
  const int low = camera.limits.gainMax > 255 ? 255 : 15;
  const auto stored = [&](int gain) {
    EXPECT_TRUE(camera.SetGain(gain, false));
    return static_cast<std::uint64_t>(camera.gain);
  };
  std::array set{stored(low), stored(low + 1)};
  if (set[0] == set[1]) set[1] = stored(camera.limits.gainMax);
  const auto toggle = [&](int i) { camera.SetGain(static_cast<int>(set[static_cast<std::size_t>(i)]), false); };
  const auto seen = SeenWhile(rig, toggle, [](const FrameInfo& info) { return info.gain; });
  EXPECT_EQ(seen.size(), 2U);
  for (const auto& [gain, frames] : seen)
    EXPECT_TRUE(gain == set[0] || gain == set[1]) << frames << " frames of gain " << gain;
}

TEST_P(OneSetting, OfTheExposureIsSeenWholeByAFrame) {
  const VirtualRig rig(GetParam(), FullSpeed, 32);
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  // 255 and 256 of what the camera counts, lines or microseconds.
  const bool counts = camera.Model().sensor->NearestExposure(1, 1'000'000) != 1;
  const std::uint64_t unitNs = counts ? camera.Model().lineTimeNs : 1000;
  const std::array us{(255 * unitNs + 500) / 1000, (256 * unitNs + 500) / 1000};
  const auto toggle = [&](int i) { camera.SetExp(us[static_cast<std::size_t>(i)], false); };
  const auto seen = SeenWhile(rig, toggle, [](const FrameInfo& info) { return info.exposureUs; });
  EXPECT_EQ(seen.size(), 2U);
  for (const auto& [exposure, frames] : seen)
    EXPECT_TRUE(exposure == us[0] || exposure == us[1]) << frames << " frames of " << exposure << " us";
}

INSTANTIATE_TEST_SUITE_P(Models, OneSetting, testing::ValuesIn(test::CameraKeys()),
                         [](const auto& instance) { return std::string(instance.param); });

TEST(OddSensor, TakesDarksThoughItsWidthIsNoMultipleOfTheStep) {
  VirtualOptions options;
  options.model = "k1m";
  options.timeScale = 0;
  options.scene = "dark";
  std::string error;
  const auto device = VirtualCamera::Make(options, error);
  ASSERT_NE(device, nullptr) << error;
  const auto bus = std::make_shared<VirtualBus>();
  bus->Attach(device);
  ModelData model = *FindModel("k1m");
  model.maxWidth = 70;   // in steps of 8
  model.maxHeight = 67;  // in steps of 2
  CModelCamera camera(model);
  camera.UsePort(MakeVirtualPort(bus));
  EXPECT_EQ(camera.iMaxWidth, 64);
  EXPECT_EQ(camera.iMaxHeight, 66);
  ASSERT_EQ(camera.OpenCamera(0), 1);
  camera.SetBrightness(96);  // 6 of 8 bits
  FrameRegion applied;
  std::string reason;
  EXPECT_FALSE(camera.SetRegion({0, 0, 70, 67, 1, ORQ_IMG_RAW8}, applied, reason)) << "more than can be shown";
  ASSERT_TRUE(camera.SetRegion({0, 0, 64, 66, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
  camera.GettingDark(true, camera.exposureUs);
  camera.iDarkFrames = 1;
  std::vector<std::uint8_t> frame(std::size_t{64} * 66);
  ASSERT_EQ(camera.StartExposure(), 1);
  EXPECT_EQ(camera.GetImageData(frame.data(), static_cast<int>(frame.size()), VirtualRig::kPatienceMs), 1);
  EXPECT_EQ(camera.bGettingDark, 0) << "the frame is the dark";
  const std::scoped_lock lock(camera.DarkAccumMutex);
  ASSERT_NE(camera.pDarkFull, nullptr);
  EXPECT_TRUE(std::equal(frame.begin(), frame.end(), camera.pDarkFull.get()));
}

}  // namespace
}  // namespace orq
