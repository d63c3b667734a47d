#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

constexpr const char* kReadVersion = "C0 D4 00 00 00 00 04 00";
constexpr const char* kReadFpgaType = "C0 D0 1C 00 00 00 01 00";

/// Waits out its stop.
void UntilStopped(bool* running, void*) {
  while (ThreadCtrl::KeepRunning(running)) std::this_thread::yield();
}

class Lifecycle : public testing::Test {
 protected:
  /// Opens, and forgets how.
  void Open(int index = 0) {
    ASSERT_EQ(camera.OpenCamera(index), 1);
    camera.TakeCalls();
    camera.port->TakeEvents();
  }

  RecordingCamera camera;
};

TEST_F(Lifecycle, OpeningTalksToUsbInOrder) {
  camera.LibusbLogLever = 3;
  EXPECT_EQ(camera.OpenCamera(2), 1);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("debug 3", "open 1234:5678 #2", "configuration 1", "claim 0",
                                                     kReadVersion, kReadFpgaType));
  EXPECT_EQ(camera.bOpened, 1);
  EXPECT_EQ(camera.cameraIndex, 2);
  EXPECT_EQ(camera.usbContext, camera.port->Context());
  EXPECT_EQ(camera.usbHandle, camera.port->Handle());
  EXPECT_EQ(camera.camMode, 0);
}

TEST_F(Lifecycle, OpeningUsesTheLowBitsOfIdsAndIndex) {
  camera.iVID = 0x7FFF1234;
  camera.iPID = 0x00015678;
  EXPECT_EQ(camera.OpenCamera(0x301), 1);
  EXPECT_EQ(camera.port->TakeEvents()[1], "open 1234:5678 #1");
  EXPECT_EQ(camera.cameraIndex, 0x301);
}

TEST_F(Lifecycle, OpeningKeepsTheFirmwareVersion) {
  camera.port->answers[0xD4] = {1, 22, 7, 3};
  ASSERT_EQ(camera.OpenCamera(0), 1);
  EXPECT_THAT(camera.firmwareVersion, ElementsAre(1, 22, 7, 3));
}

TEST_F(Lifecycle, OpeningWithoutAVendorIdIsRefused) {
  camera.iVID = 0;
  LogText log;
  EXPECT_EQ(camera.OpenCamera(4), 0);
  EXPECT_EQ(log.Text(), Line("OpenCamera", "PID or PID is not assigned\n"));
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
  EXPECT_EQ(camera.cameraIndex, 4);
  EXPECT_EQ(camera.bOpened, 0);
}

TEST_F(Lifecycle, OpeningWithoutAProductIdIsRefused) {
  camera.iPID = 0;
  LogText log;
  EXPECT_EQ(camera.OpenCamera(0), 0);
  EXPECT_EQ(log.Text(), Line("OpenCamera", "PID or PID is not assigned\n"));
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST_F(Lifecycle, ADeviceThatCannotBeOpenedIsReported) {
  camera.port->openFails = true;
  LogText log;
  EXPECT_EQ(camera.OpenCamera(0), 0);
  EXPECT_EQ(log.Text(), Line("OpenCamera", "open camera fail\n"));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("debug 0", "open 1234:5678 #0"));
  EXPECT_EQ(camera.bOpened, 0);
  EXPECT_EQ(camera.usbHandle, nullptr);
}

TEST_F(Lifecycle, ResultsOfConfigurationAndClaimAreNotExamined) {
  camera.port->configurationResult = orq::kUsbIo;
  camera.port->claimResult = orq::kUsbBusy;
  EXPECT_EQ(camera.OpenCamera(0), 1);
}

TEST_F(Lifecycle, ASilentCameraIsClosedThroughTheTable) {
  camera.port->refusedRequests.insert(0xD4);
  LogText log;
  EXPECT_EQ(camera.OpenCamera(0), 0);
  EXPECT_EQ(log.Text(), Line("OpenCamera", "open camera success\n") + Line("CloseCamera", "camera closed\n") +
                            Line("OpenCamera", "Failed to get firmware version, close camera\n"));
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("OpenCamera 0", "CloseCamera"));
  EXPECT_EQ(camera.bOpened, 0);
  EXPECT_EQ(camera.usbHandle, nullptr);
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("debug 0", "open 1234:5678 #0", "configuration 1", "claim 0",
                                                     kReadVersion, "release 0", "close"));
}

TEST_F(Lifecycle, ASilentCameraCountsAsClosedEvenIfItsModelDoesNotCloseIt) {
  camera.port->refusedRequests.insert(0xD4);
  camera.ignoreClose = true;
  EXPECT_EQ(camera.OpenCamera(0), 0);
  EXPECT_EQ(camera.bOpened, 0);
}

TEST_F(Lifecycle, AUsb3HostBringsTheModelsBandwidth) {
  camera.usb3Bandwidth = 85;
  camera.bandwidthPerc = 40;
  camera.transferUnit = 1;
  camera.port->speed = orq::UsbSpeed::Super;
  LogText log;
  EXPECT_EQ(camera.OpenCamera(0), 1);
  EXPECT_EQ(log.Text(), Line("OpenCamera", "open camera success\n") +
                            Line("OpenCamera", "***********USB3.0 Host*********** \n"));
  EXPECT_EQ(camera.usb3Host, 1);
  EXPECT_EQ(camera.bandwidthPerc, 85);
  EXPECT_EQ(camera.transferUnit, 33);
}

TEST_F(Lifecycle, AUsb2HostKeepsTheBandwidth) {
  camera.usb3Bandwidth = 85;
  camera.bandwidthPerc = 40;
  camera.usb3Host = 1;
  camera.port->speed = orq::UsbSpeed::High;
  LogText log;
  EXPECT_EQ(camera.OpenCamera(0), 1);
  EXPECT_EQ(log.Text(), Line("OpenCamera", "open camera success\n") +
                            Line("OpenCamera", "***********USB2.0 Host***********\n"));
  EXPECT_EQ(camera.usb3Host, 0);
  EXPECT_EQ(camera.bandwidthPerc, 40);
  EXPECT_EQ(camera.transferUnit, 97);
}

TEST_F(Lifecycle, OpeningLearnsTheTriggerModesAfterEverythingElse) {
  camera.port->fpga[28] = 0xC3;
  camera.usb3Bandwidth = 85;
  EXPECT_EQ(camera.OpenCamera(0), 1);
  EXPECT_EQ(camera.port->TakeEvents().back(), kReadFpgaType);
  EXPECT_EQ(camera.supportTrigger, 1);
  EXPECT_EQ(camera.supportModes1to3, 1);
  EXPECT_EQ(camera.supportModes4to6, 1);
}

TEST_F(Lifecycle, ACameraWhoseFpgaTypeCannotBeReadIsOpenedWithoutTriggerModes) {
  camera.port->fpga[28] = 0xC3;
  camera.port->refusedRegisters.insert({0xD0, 28});
  camera.supportTrigger = camera.supportModes1to3 = camera.supportModes4to6 = 1;
  EXPECT_EQ(camera.OpenCamera(0), 1);
  EXPECT_EQ(camera.supportTrigger, 0);
  EXPECT_EQ(camera.supportModes1to3, 0);
  EXPECT_EQ(camera.supportModes4to6, 0);
}

TEST_F(Lifecycle, OpeningAnOpenCameraTouchesNothing) {
  Open(1);
  camera.bandwidthPerc = 12;
  LogText log;
  EXPECT_EQ(camera.OpenCamera(5), 1);
  EXPECT_EQ(log.Text(), "");
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
  EXPECT_EQ(camera.cameraIndex, 1);
  EXPECT_EQ(camera.bandwidthPerc, 12);
}

TEST_F(Lifecycle, ClosingAClosedCameraDoesNothing) {
  LogText log;
  camera.CloseCamera();
  EXPECT_EQ(log.Text(), "");
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST_F(Lifecycle, ClosingReleasesAndClosesTheDevice) {
  Open();
  LogText log;
  camera.CloseCamera();
  EXPECT_EQ(log.Text(), Line("CloseCamera", "camera closed\n"));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("release 0", "close"));
  EXPECT_EQ(camera.bOpened, 0);
  EXPECT_EQ(camera.usbHandle, nullptr);
  EXPECT_EQ(camera.handleNumber, 0);
}

TEST_F(Lifecycle, ClosingStopsTheCaptureFirst) {
  Open();
  camera.captureThr.InitFuncPt(UntilStopped);
  ASSERT_EQ(camera.StartCapture(false), 1);
  LogText log;
  camera.CloseCamera();
  EXPECT_EQ(log.Text(),
            Line("StopCapture", "stop capture\n") + Line("StopCapture", ">> wait Working thread exit\n") +
                Line("Stop", "WaitForSingleObject >\n") + Line("Stop", "WaitForSingleObject <\n") +
                Line("StopCapture", "<< wait Working thread exit\n") + Line("CloseCamera", "camera closed\n"));
  EXPECT_FALSE(camera.IsCaptureRunning());
  EXPECT_EQ(camera.bOpened, 0);
}

TEST_F(Lifecycle, ACameraCanBeOpenedAgainAfterClosing) {
  Open();
  camera.CloseCamera();
  EXPECT_EQ(camera.OpenCamera(0), 1);
}

TEST_F(Lifecycle, EveryOpenGetsANumberOfItsOwn) {
  Open();
  const int first = camera.handleNumber;
  EXPECT_GT(first, 0);
  camera.CloseCamera();
  Open();
  EXPECT_GT(camera.handleNumber, 0);
  EXPECT_NE(camera.handleNumber, first);
}

TEST_F(Lifecycle, ReconnectingWithoutAHandleIsRefused) {
  LogText log;
  EXPECT_EQ(camera.ReConnectCamera(), 0);
  EXPECT_EQ(log.Text(), Line("ReConnectCamera", "reconnect camera\n"));
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST_F(Lifecycle, ReconnectingClosesAndOpensTheSameCameraThroughTheTable) {
  Open(3);
  LogText log;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(camera.ReConnectCamera(), 1);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(150));
  EXPECT_EQ(log.Text(), Line("ReConnectCamera", "reconnect camera\n") +
                            Line("ReConnectCamera", "camera closed\n") +
                            Line("OpenCamera", "open camera success\n") +
                            Line("OpenCamera", "***********USB3.0 Host*********** \n"));
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("OpenCamera 3"));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("release 0", "close", "debug 0", "open 1234:5678 #3",
                                                     "configuration 1", "claim 0", kReadVersion, kReadFpgaType));
  EXPECT_EQ(camera.bOpened, 1);
}

TEST_F(Lifecycle, ReconnectingTriesOnceMoreAfterASecond) {
  Open(3);
  camera.openResults = {0};
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(camera.ReConnectCamera(), 1);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1150));
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("OpenCamera 3", "OpenCamera 3"));
}

TEST_F(Lifecycle, ReconnectingGivesUpAfterTheSecondTry) {
  Open(3);
  camera.port->openFails = true;
  EXPECT_EQ(camera.ReConnectCamera(), 0);
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("OpenCamera 3", "OpenCamera 3"));
  EXPECT_EQ(camera.bOpened, 0);
  // Nothing is open now: another reconnect has nothing to start from, an open has.
  EXPECT_EQ(camera.ReConnectCamera(), 0);
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
  camera.port->openFails = false;
  EXPECT_EQ(camera.OpenCamera(3), 1);
}

}  // namespace
