// Dark, repairs, mono bin and gamma in the frames that the application gets, against the samples that were sent.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <mutex>
#include <vector>

#include "support/Cameras.h"
#include "support/FrameReference.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::VirtualRig;

constexpr int kSide = 128;
constexpr int kDark = 10;
constexpr int kHotDark = 200;

/// Defects of the sensor: the dark image knows one, the hot-pixel table another. Both lie inside every region
/// used.
struct Point {
  int x, y;
};
constexpr Point kDarkDefect{45, 41};
constexpr Point kHotPixel{51, 47};

void TellTheCamera(CModelCamera& camera) {
  {
    const std::scoped_lock locks(camera.DarkAccumMutex, camera.DarkBufMutex);
    camera.pDarkFull = std::make_unique<std::uint8_t[]>(kSide * kSide);
    camera.pDarkBuf = std::make_unique<std::uint8_t[]>(kSide * kSide);
    std::fill_n(camera.pDarkFull.get(), kSide * kSide, std::uint8_t{kDark});
    camera.pDarkFull[kDarkDefect.y * kSide + kDarkDefect.x] = kHotDark;
  }
  camera.AdjustDarkBuff();
  camera.UsingDark(true);
  {
    const std::scoped_lock lock(camera.HPCMutex);
    camera.pHPCFullMap[kHotPixel.y * kSide + kHotPixel.x] = 1;
    camera.bHPCForce = true;
  }
  camera.AdjustHPCTable();
  camera.HPC = 1;
}

/// The frame on the wire, corrected sample by sample: the dark's average is that of the plain pixels, for one hot
/// one among thousands is lost in the division.
std::vector<std::uint8_t> Corrected(const ModelData& model, const FrameInfo& info,
                                    std::vector<std::uint8_t> sent) {
  const int width = info.region.width * info.region.bin;
  const bool wide = info.region.format == ORQ_IMG_RAW16;
  const auto at = [&](int x, int y) { return static_cast<std::size_t>(y * width + x); };
  std::vector<int> samples(sent.size() / (wide ? 2 : 1));
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const int first = sent[wide ? 2 * i : i];
    const int second = wide ? sent[2 * i + 1] : 0;
    samples[i] = !wide ? first : model.msbFirst ? first * 256 + second : second * 256 + first;
  }
  const int step = model.colour ? 2 : 1;
  const auto local = [&](Point p) { return Point{p.x - info.region.startX, p.y - info.region.startY}; };
  const Point dark = local(kDarkDefect);
  const int unit = wide ? 256 : 1;
  int& darkSample = samples[at(dark.x, dark.y)];
  darkSample = std::max(0, darkSample - (kHotDark - kDark) * unit);

  const Point hot = local(kHotPixel);
  const int sum = samples[at(hot.x, hot.y - step)] + samples[at(hot.x - step, hot.y)] +
                  samples[at(hot.x + step, hot.y)] + samples[at(hot.x, hot.y + step)];
  int& hotSample = samples[at(hot.x, hot.y)];
  hotSample = sum / 4;
  if (wide) hotSample -= hotSample % (1 << (16 - model.adcBits));  // what the depth leaves at the low end is zero
  darkSample = (samples[at(dark.x - step, dark.y)] + samples[at(dark.x + step, dark.y)]) / 2;

  for (std::size_t i = 0; i < samples.size(); ++i) {
    const auto high = static_cast<std::uint8_t>(samples[i] >> 8);
    const auto low = static_cast<std::uint8_t>(samples[i]);
    if (!wide) {
      sent[i] = low;
    } else {
      sent[2 * i] = model.msbFirst ? high : low;
      sent[2 * i + 1] = model.msbFirst ? low : high;
    }
  }
  return sent;
}

test::RawFrame Shape(const ModelData& model, const FrameInfo& info) {
  return {.width = info.region.width,
          .height = info.region.height,
          .hostBin = info.region.bin,
          .bayer = model.colour,
          .wide = info.region.format == ORQ_IMG_RAW16,
          .msbFirst = model.msbFirst,
          .flipHorizontal = info.flipHorizontal,
          .flipVertical = info.flipVertical};
}

/// Fetches the next frame of `region` whose samples the device still has.
bool NextOf(const VirtualRig& rig, const FrameRegion& region, FrameInfo& info, std::vector<std::uint8_t>& frame,
            std::vector<std::uint8_t>& sent) {
  return test::Eventually([&] {
    frame = rig.Buffer();
    if (rig.camera->GetFrame(frame.data(), static_cast<int>(frame.size()), VirtualRig::kPatienceMs, info) == 0)
      return false;
    sent = rig.device->SentPayload(info.sequence);
    return info.region == region && !sent.empty();
  });
}

TEST(Corrections, FollowEveryGeometryWhileItStreams) {
  for (const char* key : test::CameraKeysOfAllBins()) {
    const VirtualRig rig(key, {}, kSide);
    ASSERT_TRUE(rig.Open());
    TellTheCamera(*rig.camera);
    ASSERT_EQ(rig.camera->StartCapture(false), 1);
    for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
      for (const auto& [x, y, bin] : std::initializer_list<std::array<int, 3>>{
               {0, 0, 1}, {8, 4, 1}, {8, 4, 2}, {16, 20, 2}, {4, 2, 3}, {0, 16, 1}, {2, 8, 4}}) {
        FrameRegion applied;
        std::string reason;
        ASSERT_TRUE(rig.camera->SetRegion({x, y, 24, 20, bin, format}, applied, reason)) << reason;
        // Regions at bin 1 are too small to hold the defects: take all that is left of the sensor.
        if (bin < 4) {
          const int size = (kSide - 24) / bin / 8 * 8;
          ASSERT_TRUE(rig.camera->SetRegion({x, y, size, size, bin, format}, applied, reason)) << reason;
        }
        if (applied.startX + applied.width * bin < kHotPixel.x + 3) continue;
        FrameInfo info;
        std::vector<std::uint8_t> frame;
        std::vector<std::uint8_t> sent;
        ASSERT_TRUE(NextOf(rig, applied, info, frame, sent)) << rig.camera->CaptureTrouble();
        const ModelData& model = rig.camera->Model();
        EXPECT_EQ(test::Differences(Shape(model, info), Corrected(model, info, sent), frame), 0)
            << key << " format " << format << " start " << x << "," << y << " bin " << bin;
      }
    }
    rig.camera->StopCapture();
  }
}

TEST(Corrections, AreLeftOutWhenSwitchedOff) {
  const VirtualRig rig("k1m", {}, kSide);
  ASSERT_TRUE(rig.Open());
  TellTheCamera(*rig.camera);
  rig.camera->HPC = 0;
  rig.camera->UsingDark(false);
  FrameInfo info;
  const auto frame = rig.Snap(info);
  const auto sent = rig.device->SentPayload(info.sequence);
  ASSERT_FALSE(sent.empty());
  EXPECT_EQ(test::Differences(Shape(rig.camera->Model(), info), sent, frame), 0);
}

TEST(Corrections, TheListOfADarkThatIsGoneEndsWithItsGeometry) {
  const VirtualRig rig("k1m", {}, kSide);
  ASSERT_TRUE(rig.Open());
  TellTheCamera(*rig.camera);
  rig.camera->HPC = 0;
  rig.camera->UsingDark(false);
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({8, 4, 96, 96, 1, ORQ_IMG_RAW16}, applied, reason)) << reason;
  rig.camera->UsingDark(true);
  FrameInfo info;
  const auto frame = rig.Snap(info);
  const auto sent = rig.device->SentPayload(info.sequence);
  ASSERT_FALSE(sent.empty());
  EXPECT_EQ(rig.camera->iDarkPixCount, 0);
  EXPECT_EQ(test::Differences(Shape(rig.camera->Model(), info), sent, frame), 0);
}

TEST(Corrections, ADarkIsCollectedFromWholeFramesOfEightBitsOnly) {
  const VirtualRig rig("k1m", {}, kSide);
  ASSERT_TRUE(rig.Open());
  rig.camera->SetExp(30'000, false);  // five frames
  ASSERT_EQ(rig.camera->GettingDark(true, 0), 5);
  FrameInfo info;
  rig.Snap(info);  // 16 bit
  EXPECT_EQ(rig.camera->iDarkFrameCount, 0);
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 64, 64, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
  rig.Snap(info);
  EXPECT_EQ(rig.camera->iDarkFrameCount, 0);

  ASSERT_TRUE(rig.camera->SetRegion({0, 0, kSide, kSide, 1, ORQ_IMG_RAW8}, applied, reason)) << reason;
  std::vector<int> expected(kSide * kSide, 0);
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(rig.camera->bGettingDark, 1);
    rig.Snap(info);
    const auto sent = rig.device->SentPayload(info.sequence);
    ASSERT_EQ(sent.size(), expected.size());
    for (std::size_t p = 0; p < sent.size(); ++p) expected[p] = std::min(255, expected[p] + sent[p] / 5);
  }
  EXPECT_EQ(rig.camera->bGettingDark, 0);
  const std::scoped_lock lock(rig.camera->DarkAccumMutex);
  ASSERT_NE(rig.camera->pDarkFull, nullptr);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), rig.camera->pDarkFull.get()));
}

TEST(Corrections, MonoBinAndColourFramesExcludeEachOther) {
  const VirtualRig rig("k1c", {}, kSide);
  ASSERT_TRUE(rig.Open());
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 32, 32, 2, ORQ_IMG_RGB24}, applied, reason)) << reason;
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_MONO_BIN, 1, false), CTRL_SET_FAILED);
  ASSERT_TRUE(rig.camera->SetRegion({0, 0, 32, 32, 2, ORQ_IMG_RAW8}, applied, reason)) << reason;
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_MONO_BIN, 1, false), CTRL_OK);
  EXPECT_FALSE(rig.camera->SetRegion({0, 0, 32, 32, 2, ORQ_IMG_RGB24}, applied, reason));
  EXPECT_NE(reason.find("mono bin"), std::string::npos);
  EXPECT_TRUE(rig.camera->SetRegion({0, 0, 32, 32, 1, ORQ_IMG_RGB24}, applied, reason)) << reason;
}

TEST(AutoFrame, IsCopiedWhileAutomaticControlRunsAndOpensTheGateForTheSettingInForce) {
  const VirtualRig rig("k1c", {}, kSide);
  ASSERT_TRUE(rig.Open());
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  FrameInfo info;
  ASSERT_TRUE(rig.Fetch(info));
  EXPECT_EQ(rig.camera->autoGateLimit, 0) << "no automatic control, no copies";
  rig.camera->autoThr.InitFuncPt([](bool* running, void*) {
    while (ThreadCtrl::KeepRunning(running)) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  });
  ASSERT_EQ(rig.camera->autoThr.Start(rig.camera.get()), 1);
  EXPECT_TRUE(test::Eventually([&] { return rig.Fetch(info) && rig.camera->autoGateLimit != 0; }));
  rig.camera->StopAutoControlThr();
  rig.camera->SetGain(rig.camera->gain + 5, false);
  EXPECT_EQ(rig.camera->autoGateLimit, 0) << "what was copied is of another gain";
  rig.camera->StopCapture();
}

}  // namespace
}  // namespace orq
