#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>

#include "support/LogText.h"
#include "support/RecordingCamera.h"

namespace {

using orq::test::Line;
using orq::test::LogText;
using orq::test::RecordingCamera;
using testing::ElementsAre;
using testing::IsEmpty;

enum class Worker { None, Capture, Exposure };
std::atomic<Worker> g_started{Worker::None};
std::atomic<void*> g_param{nullptr};
std::atomic<int> g_ended{0};

// What a worker may need on a busy computer, though it has only to return.
constexpr std::chrono::milliseconds kLinger{50};

template <Worker Kind>
void UntilStopped(bool* running, void* param) {
  g_param = param;
  g_started = Kind;
  while (ThreadCtrl::KeepRunning(running)) std::this_thread::yield();
  ++g_ended;
}

void AtOnce(bool*, void*) {
  ++g_ended;
}

/// Announces its end, shows a failed exposure and takes its time to return.
void FailAndLinger(bool*, void* param) {
  auto& camera = *static_cast<CCameraBase*>(param);
  (camera.camMode == 0 ? camera.captureThr : camera.exposureThr).AnnounceEnd();
  camera.expStatus = ExpFailed;
  std::this_thread::sleep_for(kLinger);
  ++g_ended;
}

Worker WaitForWorker() {
  while (g_started == Worker::None) std::this_thread::yield();
  return g_started;
}

class Capture : public testing::Test {
 protected:
  Capture() {
    g_started = Worker::None;
    g_param = nullptr;
    g_ended = 0;
    camera.captureThr.InitFuncPt(UntilStopped<Worker::Capture>);
    camera.exposureThr.InitFuncPt(UntilStopped<Worker::Exposure>);
  }
  ~Capture() override { camera.CloseCamera(); }

  void Open() {
    ASSERT_EQ(camera.OpenCamera(0), 1);
    camera.TakeCalls();
    camera.port->TakeEvents();
  }

  RecordingCamera camera;
};

TEST_F(Capture, NeedsAnOpenCamera) {
  LogText log;
  EXPECT_EQ(camera.StartCapture(true), 0);
  EXPECT_EQ(camera.StartExposure(), 0);
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(camera.snapMode, 0);
  EXPECT_EQ(camera.expStatus, ExpIdle);
  EXPECT_EQ(camera.captureStartMark, 0);
  EXPECT_FALSE(camera.IsCaptureRunning());
}

TEST_F(Capture, StartsTheCaptureWorkerInTheNormalMode) {
  Open();
  LogText log;
  EXPECT_EQ(camera.StartCapture(false), 1);
  EXPECT_EQ(log.Text(), Line("StartCapture", "start capture create thread\n"));
  EXPECT_EQ(WaitForWorker(), Worker::Capture);
  EXPECT_EQ(g_param, static_cast<void*>(static_cast<CCameraBase*>(&camera)));
  EXPECT_EQ(camera.expStatus, ExpWorking);
  EXPECT_EQ(camera.captureStartMark, 1);
  EXPECT_EQ(camera.snapMode, 0);
  EXPECT_TRUE(camera.IsCaptureRunning());
  EXPECT_TRUE(camera.captureThr.IsActive());
  EXPECT_FALSE(camera.exposureThr.IsActive());
}

TEST_F(Capture, AnExposureIsACaptureInSnapMode) {
  Open();
  EXPECT_EQ(camera.StartExposure(), 1);
  EXPECT_EQ(WaitForWorker(), Worker::Capture);
  EXPECT_EQ(camera.snapMode, 1);
}

TEST_F(Capture, StartsTheExposureWorkerInEveryTriggerMode) {
  Open();
  for (int mode = 1; mode <= 6; ++mode) {
    camera.camMode = mode;
    g_started = Worker::None;
    EXPECT_EQ(camera.StartExposure(), 1);
    EXPECT_EQ(WaitForWorker(), Worker::Exposure) << mode;
    EXPECT_EQ(g_param, static_cast<void*>(static_cast<CCameraBase*>(&camera)));
    EXPECT_FALSE(camera.captureThr.IsActive());
    EXPECT_EQ(camera.StopCapture(), 1);
  }
}

TEST_F(Capture, StartingWhileOneRunsChangesNothing) {
  Open();
  ASSERT_EQ(camera.StartCapture(false), 1);
  camera.expStatus = ExpSuccess;
  camera.captureStartMark = 0;
  LogText log;
  EXPECT_EQ(camera.StartCapture(true), 1);
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(camera.snapMode, 0);
  EXPECT_EQ(camera.expStatus, ExpSuccess);
  EXPECT_EQ(camera.captureStartMark, 0);
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST_F(Capture, ARunningExposureWorkerCountsAsRunningInAnyMode) {
  Open();
  camera.camMode = 2;
  ASSERT_EQ(camera.StartExposure(), 1);
  camera.camMode = 0;
  EXPECT_EQ(camera.StartCapture(false), 1);
  EXPECT_FALSE(camera.captureThr.IsActive());
  EXPECT_EQ(camera.snapMode, 1);
}

TEST_F(Capture, TellsTheModeToTwoProductsOnly) {
  Open();
  for (const std::int32_t product : {0x461E, 0x411E}) {
    camera.iPID = product;
    camera.port->fpga[69] = 0x01;
    ASSERT_EQ(camera.StartCapture(true), 1);
    camera.StopCapture();
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("C0 D0 45 00 00 00 01 00", "40 D1 45 00 03 00 00 00"));
    ASSERT_EQ(camera.StartCapture(false), 1);
    camera.StopCapture();
    EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("C0 D0 45 00 00 00 01 00", "40 D1 45 00 01 00 00 00"));
  }
  for (const std::int32_t product : {0x461D, 0x461F, 0x411D, 0x411F, 0x1101}) {
    camera.iPID = product;
    ASSERT_EQ(camera.StartCapture(true), 1);
    camera.StopCapture();
    EXPECT_THAT(camera.port->TakeEvents(), IsEmpty()) << product;
  }
}

TEST_F(Capture, AFailedStartIsAFailedExposure) {
  Open();
  camera.captureThr.InitFuncPt(nullptr);
  LogText log;
  EXPECT_EQ(camera.StartCapture(true), 0);
  EXPECT_EQ(log.Text(),
            Line("StartCapture", "start capture create thread\n") + Line("Start", "pointer is not assigned\n"));
  EXPECT_EQ(camera.expStatus, ExpFailed);
  EXPECT_EQ(camera.snapMode, 1);  // nothing else is undone
  EXPECT_EQ(camera.captureStartMark, 1);
  EXPECT_FALSE(camera.IsCaptureRunning());
}

TEST_F(Capture, StoppingWithNothingRunningIsDone) {
  LogText log;
  EXPECT_EQ(camera.StopCapture(), 1);  // closed
  Open();
  EXPECT_EQ(camera.StopCapture(), 1);  // open
  const std::string text = log.Text();
  EXPECT_EQ(text.find("StopCapture"), std::string::npos);
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST_F(Capture, StoppingWaitsForTheWorker) {
  Open();
  ASSERT_EQ(camera.StartCapture(false), 1);
  LogText log;
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_EQ(log.Text(), Line("StopCapture", "stop capture\n") +
                            Line("StopCapture", ">> wait Working thread exit\n") +
                            Line("Stop", "WaitForSingleObject >\n") + Line("Stop", "WaitForSingleObject <\n") +
                            Line("StopCapture", "<< wait Working thread exit\n"));
  EXPECT_EQ(g_ended, 1);
  EXPECT_FALSE(camera.IsCaptureRunning());
}

TEST_F(Capture, StoppingEndsBothWorkers) {
  Open();
  ASSERT_EQ(camera.captureThr.Start(&camera), 1);
  ASSERT_EQ(camera.exposureThr.Start(&camera), 1);
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_EQ(g_ended, 2);
  EXPECT_FALSE(camera.IsCaptureRunning());
}

TEST_F(Capture, StoppingAClosedCameraIsRefusedWhileAWorkerRuns) {
  ASSERT_EQ(camera.captureThr.Start(&camera), 1);
  LogText log;
  EXPECT_EQ(camera.StopCapture(), 0);
  EXPECT_EQ(log.Text(), "");
  EXPECT_TRUE(camera.IsCaptureRunning());
  camera.captureThr.Stop();
}

TEST_F(Capture, StoppingStillJoinsAfterAnUnplug) {
  Open();
  ASSERT_EQ(camera.StartCapture(false), 1);
  camera.port->unplugged = true;
  unsigned char value = 0;
  EXPECT_FALSE(camera.ReadFPGAREG(28, &value));
  EXPECT_TRUE(camera.DeviceLost());
  EXPECT_NE(camera.bOpened, 0);
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_EQ(g_ended, 1);
  EXPECT_FALSE(camera.IsCaptureRunning());
}

TEST_F(Capture, AWorkerThatEndsByItselfLeavesTheCameraReadyForTheNextStart) {
  Open();
  camera.captureThr.InitFuncPt(AtOnce);
  ASSERT_EQ(camera.StartCapture(true), 1);
  while (camera.IsCaptureRunning()) std::this_thread::yield();
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_EQ(camera.StartCapture(true), 1);
  while (camera.IsCaptureRunning()) std::this_thread::yield();
  EXPECT_EQ(g_ended, 2);
}

TEST_F(Capture, StartingWaitsForAWorkerThatHasAnnouncedItsEnd) {
  Open();
  camera.captureThr.InitFuncPt(FailAndLinger);
  camera.exposureThr.InitFuncPt(FailAndLinger);
  int started = 0;
  for (const int mode : {0, 2}) {
    camera.camMode = mode;
    for (const bool snap : {true, false, true}) {
      ASSERT_EQ(camera.StartCapture(snap), 1);
      EXPECT_GE(g_ended, started++) << "those before have returned";
      EXPECT_EQ(camera.snapMode, snap ? 1 : 0);
      while (camera.expStatus == ExpWorking) std::this_thread::yield();
    }
  }
  EXPECT_EQ(camera.StopCapture(), 1);
  EXPECT_EQ(g_ended, started);
}

TEST_F(Capture, AModeChangeWaitsForAWorkerThatHasAnnouncedItsEnd) {
  Open();
  camera.captureThr.InitFuncPt(FailAndLinger);
  ASSERT_EQ(camera.StartExposure(), 1);
  while (camera.expStatus == ExpWorking) std::this_thread::yield();
  EXPECT_EQ(camera.SetCameraMode(0), MODE_OK);
  EXPECT_EQ(g_ended, 1);
}

TEST_F(Capture, AStatusAloneAnnouncesNoEnd) {
  Open();
  ASSERT_EQ(camera.StartCapture(true), 1);
  WaitForWorker();
  camera.expStatus = ExpFailed;
  EXPECT_EQ(camera.StartExposure(), 1);
  EXPECT_EQ(camera.expStatus, ExpFailed) << "a worker that goes on is a capture that runs";
  EXPECT_EQ(camera.SetCameraMode(0), MODE_CAPTURE_RUNNING);
}

TEST_F(Capture, TheAutomaticControlWorkerRunsOnce) {
  Open();
  EXPECT_EQ(camera.StartAutoControlThr(), 1);
  LogText log;
  EXPECT_EQ(camera.StartAutoControlThr(), 0);
  EXPECT_EQ(log.Text(), Line("Start", "thread is already running\n"));
  EXPECT_TRUE(camera.autoThr.IsActive());
  camera.StopAutoControlThr();
  EXPECT_FALSE(camera.autoThr.IsActive());
}

TEST_F(Capture, StoppingAutomaticControlStopsItsWorkerOnly) {
  Open();
  ASSERT_EQ(camera.StartCapture(false), 1);
  camera.autoThr.InitFuncPt(UntilStopped<Worker::None>);
  ASSERT_EQ(camera.autoThr.Start(&camera), 1);
  camera.StopAutoControlThr();
  EXPECT_FALSE(camera.autoThr.IsActive());
  EXPECT_TRUE(camera.IsCaptureRunning());
  camera.StopAutoControlThr();  // with none running: nothing
}

TEST_F(Capture, ClosingDoesNotStopAutomaticControl) {
  Open();
  camera.autoThr.InitFuncPt(UntilStopped<Worker::None>);
  ASSERT_EQ(camera.autoThr.Start(&camera), 1);
  camera.CloseCamera();
  EXPECT_TRUE(camera.autoThr.IsActive());
  camera.StopAutoControlThr();
}

TEST_F(Capture, AFrameIsFetchedOnlyAfterASuccessfulExposure) {
  std::array<unsigned char, 16> buffer{};
  for (const int status : {ExpIdle, ExpWorking, ExpFailed}) {
    camera.expStatus = status;
    EXPECT_EQ(camera.GetImageAfterExp(buffer.data(), 16), 0);
    EXPECT_EQ(camera.expStatus, status);
  }
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(Capture, AnExposedFrameIsFetchedThroughTheTableWithATenSecondWait) {
  std::array<unsigned char, 16> buffer{};
  for (const int result : {1, 0}) {
    camera.expStatus = ExpSuccess;
    camera.imageResult = result;
    EXPECT_EQ(camera.GetImageAfterExp(buffer.data(), 16), result);
    EXPECT_THAT(camera.TakeCalls(), ElementsAre("GetImageData 16 10000"));
    EXPECT_EQ(camera.imageBuffer, buffer.data());
    EXPECT_EQ(camera.expStatus, ExpIdle);
  }
}

}  // namespace
