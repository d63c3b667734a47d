#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "devices/ThermistorTable.h"
#include "support/LogText.h"
#include "support/RecordingCamera.h"

using orq::test::BareCamera;
using orq::test::Line;
using orq::test::LogText;

namespace {
bool g_unameFails = false;
}

/// In front of the C library's: the kernel's own call, or a failure on demand.
extern "C" int uname(utsname* names) noexcept {
  if (g_unameFails) {
    errno = EFAULT;
    return -1;
  }
  return static_cast<int>(syscall(SYS_uname, names));
}

namespace {

std::string SystemLines() {
  utsname names{};
  syscall(SYS_uname, &names);
  return Line("SysInfo", std::string(names.sysname) + "\n") + Line("SysInfo", std::string(names.version) + "\n") +
         Line("SysInfo", std::string(names.machine) + "\n");
}

TEST(Construction, LeavesTheStatedDefaults) {
  const BareCamera camera;
  EXPECT_EQ(camera.iBin, 1);
  EXPECT_EQ(camera.AutoGainMax, 50);
  EXPECT_EQ(camera.AutoExpMaxMs, 30000);
  EXPECT_EQ(camera.DestBrightness, 100);
  EXPECT_EQ(camera.lastSetExp, -1);
  EXPECT_EQ(camera.lastSetExpAuto, 0);
  EXPECT_EQ(camera.transferUnit, 33);
  EXPECT_EQ(camera.pinAHigh, 1);
  EXPECT_EQ(camera.pinBHigh, 1);
  EXPECT_EQ(camera.binList[0], 1);
  EXPECT_EQ(camera.binList[1], 0);
  EXPECT_TRUE(camera.bHPCForce);
  EXPECT_EQ(camera.hpcLastStartX, -1);
  EXPECT_EQ(camera.hpcLastStartY, -1);
}

TEST(Construction, LeavesAllControlStateZero) {
  const BareCamera camera;
  EXPECT_EQ(camera.exposureUs, 0U);
  EXPECT_EQ(camera.gain, 0);
  EXPECT_EQ(camera.gamma, 0);
  EXPECT_EQ(camera.Brightness, 0);
  EXPECT_EQ(camera.Fclk, 0);
  EXPECT_EQ(camera.HighSpeed, 0);
  EXPECT_EQ(camera.RawOutput, 0);
  EXPECT_EQ(camera.bandwidthPerc, 0);
  EXPECT_EQ(camera.AutoFPS, 0);
  EXPECT_EQ(camera.FlipRow, 0);
  EXPECT_EQ(camera.FlipColumn, 0);
  EXPECT_EQ(camera.WB_Red, 0);
  EXPECT_EQ(camera.WB_Blue, 0);
  EXPECT_EQ(camera.Pattern, 0);
  EXPECT_EQ(camera.AutoExp, 0);
  EXPECT_EQ(camera.AutoGain, 0);
  EXPECT_EQ(camera.autoWB, 0);
  EXPECT_EQ(camera.HardwareBin, 0);
  EXPECT_EQ(camera.HPC, 0);
  EXPECT_EQ(camera.CutDark, 0);
  EXPECT_EQ(camera.OverCLKPerc, 0);
  EXPECT_EQ(camera.DebugPrint, 0);
  EXPECT_EQ(camera.snapMode, 0);
  EXPECT_EQ(camera.camMode, 0);
  EXPECT_EQ(camera.expStatus, ExpIdle);
  EXPECT_EQ(camera.captureStartMark, 0);
  EXPECT_EQ(camera.controlCount, 0);
  EXPECT_EQ(camera.bOpened, 0);
  EXPECT_EQ(camera.usbHandle, nullptr);
  EXPECT_EQ(camera.sensorClockStopped, 0);
}

TEST(Construction, FillsEveryByteOfTheBinOffsetsWith127) {
  const BareCamera camera;
  static_assert(orq::kBinOffsets * sizeof(orq::BinOffset) == 80);
  ASSERT_NE(camera.pBinOffsets, nullptr);
  unsigned char bytes[80];
  std::memcpy(bytes, camera.pBinOffsets.get(), sizeof bytes);
  EXPECT_TRUE(std::all_of(std::begin(bytes), std::end(bytes), [](unsigned char byte) { return byte == 127; }));
}

TEST(Construction, MakesAWorkBufferOf512Bytes) {
  const BareCamera camera;
  ASSERT_NE(camera.workBuf, nullptr);
  camera.workBuf[511] = 1;  // the address sanitizer watches the bound
  static_assert(orq::kWorkBufferBytes == 512);
}

TEST(Construction, MakesNoImageBuffersYet) {
  const BareCamera camera;
  EXPECT_EQ(camera.gammaTable16, nullptr);
  EXPECT_EQ(camera.pHPCFullMap, nullptr);
  EXPECT_EQ(camera.pHPCMap, nullptr);
  EXPECT_EQ(camera.pDarkFull, nullptr);
  EXPECT_EQ(camera.pDarkBuf, nullptr);
  EXPECT_EQ(camera.ring, nullptr);
}

TEST(Construction, AcceptsTheWholeThermistorCurve) {
  const BareCamera camera;
  EXPECT_EQ(camera.ntcTempMin, -50);
  EXPECT_EQ(camera.ntcTempMax, 113);
  EXPECT_EQ(camera.ntcTemp, 0.0F);
}

TEST(Construction, MakesTheOwnedObjectsInTheirOrderOfDestruction) {
  const BareCamera camera;
  // Members are made in the order of their addresses and destroyed the other way round.
  const void* order[] = {&camera.HPCMutex,   &camera.DarkListMutex, &camera.DarkAccumMutex, &camera.DarkBufMutex,
                         &camera.captureThr, &camera.exposureThr,   &camera.algorithm,      &camera.autoThr};
  EXPECT_TRUE(std::is_sorted(std::begin(order), std::end(order), std::less<>()));
}

TEST(Construction, LogsTheHostSystem) {
  LogText log;
  {
    const BareCamera camera;
    const std::string text = log.Text();
    EXPECT_EQ(text, SystemLines());
  }
}

TEST(Construction, SurvivesAHostWithoutNames) {
  LogText log;
  g_unameFails = true;
  const BareCamera camera;
  g_unameFails = false;
  EXPECT_EQ(log.Text(), "uname: Bad address\n");
}

TEST(SysInfo, LogsSystemVersionAndMachine) {
  BareCamera camera;
  LogText log;
  camera.SysInfo();
  EXPECT_EQ(log.Text(), SystemLines());
}

TEST(Destruction, LogsItself) {
  auto camera = std::make_unique<BareCamera>();
  LogText log;
  camera.reset();
  EXPECT_EQ(log.Text(), Line("~CCameraBase", "~CCameraBase\n"));
}

TEST(Destruction, DoesNotCloseTheCameraThroughTheTable) {
  auto camera = std::make_unique<orq::test::RecordingCamera>();
  camera->InitVariable();
  ASSERT_EQ(camera->OpenCamera(0), 1);
  LogText log;
  camera.reset();
  EXPECT_EQ(log.Text(), Line("~CCameraBase", "~CCameraBase\n"));
}

TEST(InitVariable, MakesTheBuffersInTheirSizes) {
  BareCamera camera;
  camera.iMaxWidth = 31;
  camera.iMaxHeight = 17;
  camera.InitVariable();
  ASSERT_NE(camera.gammaTable16, nullptr);
  ASSERT_NE(camera.pHPCFullMap, nullptr);
  ASSERT_NE(camera.pHPCMap, nullptr);
  ASSERT_NE(camera.pImgBuf, nullptr);
  ASSERT_NE(camera.pBinBuf, nullptr);
  ASSERT_NE(camera.autoBuf, nullptr);
  camera.gammaTable16[65535] = 1;  // the address sanitizer watches these bounds
  for (int i = 0; i < 31 * 17; ++i) {
    ASSERT_EQ(camera.pHPCFullMap[static_cast<std::size_t>(i)], 0);
    ASSERT_EQ(camera.pHPCMap[static_cast<std::size_t>(i)], 0);
  }
  constexpr std::size_t kLast = 31 * 17 * 2 - 1;
  camera.pImgBuf[kLast] = 1;
  camera.pBinBuf[kLast] = 1;
  camera.autoBuf[kLast] = 1;
  EXPECT_EQ(camera.pDarkFull, nullptr);
  EXPECT_EQ(camera.pDarkBuf, nullptr);
}

TEST(InitVariable, StartsARingOfTwoWholeFrames) {
  BareCamera camera;
  camera.iMaxWidth = 31;
  camera.iMaxHeight = 17;
  camera.InitVariable();
  ASSERT_NE(camera.ring, nullptr);
  EXPECT_EQ(camera.ring->FrameBytes(), 31U * 17U * 2U);
  EXPECT_EQ(camera.ring->Count(), 2);
  // Its thread runs: a filled slot gets judged.
  CirBuf::Slot* slot = camera.ring->BeginFrame();
  ASSERT_NE(slot, nullptr);
  camera.ring->EndFrame(*slot);
  camera.ring->WaitJudged();
  EXPECT_EQ(camera.ring->Discard(), 1);
}

TEST(InitVariable, SurvivesASensorWithoutPixels) {
  for (const auto& [width, height] : {std::pair{0, 10}, std::pair{-5, -5}}) {
    BareCamera camera;
    camera.iMaxWidth = width;
    camera.iMaxHeight = height;
    camera.InitVariable();
    EXPECT_EQ(camera.ring->FrameBytes(), 0U);
  }
}

TEST(ThermistorTable, FallsFromMinus50To113Degrees) {
  ASSERT_EQ(orq::RTlist.size(), 164U);
  for (std::size_t i = 0; i < orq::RTlist.size(); ++i) {
    EXPECT_EQ(orq::RTlist[i].celsius, static_cast<int>(i) - 50);
    if (i > 0) EXPECT_LT(orq::RTlist[i].kiloOhm, orq::RTlist[i - 1].kiloOhm);
  }
  EXPECT_EQ(orq::RTlist[0].kiloOhm, 505.7038);
  EXPECT_EQ(orq::RTlist[75].kiloOhm, 10.0);  // 25 degrees
  EXPECT_EQ(orq::RTlist[163].kiloOhm, 0.4654);
}

/// Luminance of the top-left pixel of a 2x2 frame with 200, 0, 0, 0. Its red, green and blue are 200 at the colour
/// of that site and the mean of the other sites elsewhere: 0.
int LuminanceOfTheFirstSite(const CCameraBase& camera) {
  const std::uint8_t bayer[] = {200, 0, 0, 0};
  std::uint8_t luminance[4] = {};
  camera.algorithm.BayerToY8(bayer, 2, 2, luminance);
  return luminance[0];
}

TEST(Construction, SetsUpTheColourConversion) {
  const BareCamera camera;
  EXPECT_EQ(LuminanceOfTheFirstSite(camera), 60);  // red: (77 * 200 + 128) / 256
}

TEST(InitVariable, TellsTheImageAlgorithmTheBayerPattern) {
  BareCamera camera;
  camera.iMaxWidth = camera.iMaxHeight = 2;
  camera.bayerPattern = 1;
  camera.InitVariable();
  EXPECT_EQ(LuminanceOfTheFirstSite(camera), 23);  // blue: (29 * 200 + 128) / 256
}

}  // namespace
