// Memory that is taken while frames go from the device to who waits for them: none, once the first have come.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "allocations/CountingAllocator.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::TakenByAll;
using test::TakenByThisThread;
using test::VirtualRig;

constexpr int kWarmUp = 50;
constexpr int kFrames = 200;

/// A temperature is read once a second, in messages that take memory; nothing is taken for each frame.
std::uint64_t NowAndThen(std::chrono::steady_clock::duration time) {
  return kFrames / 10 + 10 * static_cast<std::uint64_t>(std::chrono::ceil<std::chrono::seconds>(time).count());
}

struct Story {
  const char* name;
  const char* key;
  IMG_TYPE format;
  int bin = 1;
  bool automatic = false;
};

class Allocations : public testing::TestWithParam<Story> {};

/// Hot pixels, hot rows, a dark with hot pixels of its own: whole tables, as they come from a dark session.
void AddDefects(CModelCamera& camera) {
  const auto pixels = static_cast<std::size_t>(camera.iMaxWidth) * static_cast<std::size_t>(camera.iMaxHeight);
  {
    const std::scoped_lock locks(camera.DarkAccumMutex, camera.DarkBufMutex);
    camera.pDarkFull = std::make_unique<std::uint8_t[]>(pixels);
    camera.pDarkBuf = std::make_unique<std::uint8_t[]>(pixels);
    for (std::size_t i = 0; i < pixels; ++i) camera.pDarkFull[i] = i % 61 == 0 ? 200 : 8;
  }
  camera.AdjustDarkBuff();
  camera.UsingDark(true);
  {
    const std::scoped_lock lock(camera.HPCMutex);
    for (std::size_t i = 0; i < pixels; ++i) camera.pHPCFullMap[i] = i % 53 == 0 ? 1 : 0;
    camera.bHPCForce = true;
  }
  camera.AdjustHPCTable();
  camera.HPC = 1;
}

TEST_P(Allocations, NoneOnceFramesFlow) {
  const Story story = GetParam();
  const VirtualRig rig(story.key, [](VirtualOptions& options) { options.preRender = 4; });
  ASSERT_TRUE(rig.Open());
  CModelCamera& camera = *rig.camera;
  const FrameRegion region{0, 0, 64, 48, story.bin, story.format};
  FrameRegion applied;
  std::string reason;
  ASSERT_TRUE(camera.SetRegion(region, applied, reason)) << reason;
  AddDefects(camera);
  camera.SetExp(1000, false);
  ASSERT_EQ(camera.SetControlValue(ORQ_GAMMA, 70, false), CTRL_OK);
  ASSERT_EQ(camera.SetControlValue(ORQ_GAIN, 10, story.automatic), CTRL_OK);
  camera.FlipRow = 1;
  camera.FlipColumn = 1;
  camera.SetTimeMark(true);

  std::atomic<std::uint64_t> takenByWorker{0};
  camera.Mailbox().SetDoorbell([&takenByWorker](bool frameWaits) {  // by who publishes, and by who fetches
    if (frameWaits) takenByWorker = TakenByThisThread();
  });
  auto buffer = rig.Buffer();
  FrameInfo info;
  ASSERT_EQ(camera.StartCapture(false), 1);
  auto began = std::chrono::steady_clock::now();
  std::uint64_t worker = 0;
  std::uint64_t reader = 0;
  std::uint64_t all = 0;
  for (int i = 0; i < kWarmUp + kFrames; ++i) {
    if (i == kWarmUp) {
      began = std::chrono::steady_clock::now();
      worker = takenByWorker;
      reader = TakenByThisThread();
      all = TakenByAll();
    }
    ASSERT_EQ(camera.GetFrame(buffer.data(), static_cast<int>(buffer.size()), VirtualRig::kPatienceMs, info), 1);
  }
  const std::uint64_t readerNow = TakenByThisThread();
  const std::uint64_t workerNow = takenByWorker;
  const std::uint64_t allNow = TakenByAll();
  const std::uint64_t few = NowAndThen(std::chrono::steady_clock::now() - began);
  EXPECT_EQ(readerNow - reader, 0U) << "by who fetches";
  EXPECT_GT(worker, 0U) << "it has taken memory at its start, and was seen";
  EXPECT_LT(workerNow - worker, few) << "by the worker that corrects and delivers";
  EXPECT_LT(allNow - all, few) << "by all threads, those of the device among them";
  EXPECT_TRUE(info.hotPixelsRepaired);
  EXPECT_TRUE(info.darkSubtracted);
  camera.Mailbox().SetDoorbell({});
  camera.StopCapture();
}

INSTANTIATE_TEST_SUITE_P(
    Ways, Allocations,
    testing::Values(Story{"Raw16", "k1c", ORQ_IMG_RAW16}, Story{"Colour", "k1c", ORQ_IMG_RGB24},
                    Story{"Luminance", "t46c", ORQ_IMG_Y8}, Story{"Bin2", "k1c", ORQ_IMG_RAW8, 2},
                    Story{"Mono", "x26m", ORQ_IMG_RAW16}, Story{"Automatic", "k1c", ORQ_IMG_RAW16, 1, true}),
    [](const auto& story) { return std::string(story.param.name); });

}  // namespace
}  // namespace orq
