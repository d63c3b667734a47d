// Starting and stopping the workers that take frames.
#include <chrono>

#include "camera/CameraBase.h"
#include "controls/ModelQuirks.h"
#include "support/DbgPrint.h"

namespace {

constexpr int kNormalMode = 0;
constexpr int kExposedFrameWaitMs = 10'000;
// Ending takes a worker microseconds; a computer that swaps takes longer.
constexpr std::chrono::seconds kWorkerEndWait{10};

}  // namespace

bool CCameraBase::IsCaptureRunning() const {
  return captureThr.IsActive() || exposureThr.IsActive();
}

void CCameraBase::AwaitEndingWorker() {
  captureThr.AwaitEnd(kWorkerEndWait);
  exposureThr.AwaitEnd(kWorkerEndWait);
}

int CCameraBase::StartCapture(bool snap) {
  // Or a worker that has only to return would be taken for a capture that runs, and none would follow.
  AwaitEndingWorker();
  if (bOpened == 0) return 0;
  if (IsCaptureRunning()) return 1;
  if (orq::quirks::WantsCaptureMode(iPID)) TellFpgaCaptureMode(snap);
  expStatus = ExpWorking;
  captureStartMark = 1;
  snapMode = snap ? 1 : 0;
  DbgPrint(-1, "StartCapture", "start capture create thread\n");
  ThreadCtrl& worker = camMode == kNormalMode ? captureThr : exposureThr;
  if (worker.Start(this) == 0) {
    expStatus = ExpFailed;
    return 0;
  }
  return 1;
}

int CCameraBase::StartExposure() {
  return StartCapture(true);
}

int CCameraBase::StopCapture() {
  if (!IsCaptureRunning()) return 1;
  if (bOpened == 0) return 0;
  // After single exposures, closing does.
  if (snapMode == 0 && settingsUse == orq::SettingsUse::LoadAndKeep) SaveSetting();
  DbgPrint(-1, "StopCapture", "stop capture\n");
  DbgPrint(-1, "StopCapture", ">> wait Working thread exit\n");
  captureThr.Stop();
  exposureThr.Stop();
  DbgPrint(-1, "StopCapture", "<< wait Working thread exit\n");
  return 1;
}

int CCameraBase::GetImageAfterExp(unsigned char* buffer, int size) {
  if (expStatus != ExpSuccess) return 0;
  const int got = GetImageData(buffer, size, kExposedFrameWaitMs);
  expStatus = ExpIdle;
  return got;
}
