#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "support/LogText.h"
#include "support/RecordingCamera.h"

namespace {

using orq::test::BareCamera;
using orq::test::Line;
using orq::test::LogText;

TEST(DebugLog, OnlyOneSwitchesItOn) {
  BareCamera camera;
  for (const ORQ_BOOL on : {1, 0, 1, 2, 1, -1}) {
    EXPECT_EQ(camera.EnableDebugLog(on), 1);
    EXPECT_EQ(g_bDebugPrint, on == 1) << on;
    EXPECT_EQ(camera.DebugPrint, on == 1 ? 1 : 0) << on;
    ORQ_BOOL stored = 7;
    EXPECT_EQ(camera.GetDebugLogIsEnabled(&stored), 1);
    EXPECT_EQ(stored, on == 1 ? 1 : 0) << on;
  }
  g_bDebugPrint = false;
}

TEST(DebugLog, AClosedCameraHasNoNumberInItsLines) {
  BareCamera camera;
  LogText log;
  camera.DbgPrint2("Focus", "moved %d of %s\n", 12, "20");
  EXPECT_EQ(log.Text(), Line("Focus", "moved 12 of 20\n"));
}

TEST(DebugLog, AnOpenCameraPutsItsNumberInHexadecimal) {
  BareCamera camera;
  camera.handleNumber = 0x1AB;
  LogText log;
  camera.DbgPrint2("Focus", "moved %d\n", 12);
  EXPECT_EQ(log.Text(), "[" + std::to_string(getpid()) + "," + std::to_string(syscall(SYS_gettid)) +
                            " 1AB::Focus]: moved 12\n");
}

TEST(DebugLog, AnswersNobodyWithoutHarm) {
  BareCamera camera;
  EXPECT_EQ(camera.GetDebugLogIsEnabled(nullptr), 1);
  EXPECT_EQ(ORQGetDebugLogPath(nullptr), 1);
}

}  // namespace
