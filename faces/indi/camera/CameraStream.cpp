// Videos, shown and recorded by INDI's stream manager.
#include <indilogger.h>

#include <algorithm>
#include <thread>

#include "camera/CameraDevice.h"

namespace orq::indi {

bool CameraDevice::StartStreaming() {
  return attempt([this] {
    if (const std::string why = whyNoVideo(); !why.empty()) throw StateError(why);
    uploads_.awaitIdle();
    setStreamExposure();
    stopListening();
    try {
      pump_->start(*camera_);
    } catch (...) {
      startListening();
      throw;
    }
  });
}

// Also called on the pump's thread, by the manager at the end of a recording.
bool CameraDevice::StopStreaming() {
  pump_->stop();
  posts_.poster().post([this] {
    if (!camera_ || lost_ || pump_->isRunning()) return;
    streamShown_ = {};
    showStream();  // the last word
    startListening();
  });
  return true;
}

/// Ends it on behalf of the camera; `why` null: silently.
void CameraDevice::endStream(const char* why) {
  if (!Streamer || !Streamer->isBusy()) return;
  if (why != nullptr) LOGF_ERROR("The stream has ended: %s", why);
  const bool streamed = Streamer->isStreaming();
  const bool recorded = Streamer->isRecording();
  if (recorded) closeRecording();
  Streamer->setStream(false);
  pump_->stop();
  if (why != nullptr && streamed) putOnAlert("CCD_VIDEO_STREAM");
  if (why != nullptr && recorded) putOnAlert("RECORD_STREAM");
  if (camera_ && !lost_) startListening();
}

void CameraDevice::putOnAlert(const char* property) {
  INDI::Property known = getProperty(property);
  known.setState(IPS_ALERT);
  known.apply();
}

/// Is carried out with the next frame.
void CameraDevice::switchRecordingOff() {
  const char* off = "RECORD_OFF";
  ISState on = ISS_ON;
  char* names[] = {const_cast<char*>(off)};
  Streamer->ISNewSwitch(getDeviceName(), "RECORD_STREAM", &on, names, 1);
}

/// Where no frame comes any more.
void CameraDevice::closeRecording() {
  switchRecordingOff();
  Streamer->newFrame(nullptr, 0);
}

/// On behalf of the disk. A live view goes on.
void CameraDevice::endRecording(const std::string& why) {
  if (!Streamer->isRecording()) return;
  LOGF_ERROR("The recording has ended: %s", why.c_str());
  switchRecordingOff();
  pump_->closeRecording();
  awaitRecordingsEnd();
  putOnAlert("RECORD_STREAM");
}

/// The manager takes a recording that could not be begun for one that runs, and would take up no other.
void CameraDevice::undoFailedRecording() {
  const bool failed = getProperty("RECORD_STREAM").getState() == IPS_ALERT;
  if (!failed || !Streamer->isRecording() || pump_->isRunning()) return;
  closeRecording();
  putOnAlert("RECORD_STREAM");
}

/// The manager closes the file with the next frame, and tells of a recording's end before it has closed it; what
/// clients ask for after that is to find it closed, and where nothing is shown the camera free.
void CameraDevice::awaitRecordingsEnd() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  const auto goesOn = [this] {
    const bool toldOfEnd = getProperty("RECORD_STREAM").getState() != IPS_BUSY;
    return pump_->isClosing() || (toldOfEnd && Streamer->isRecording()) ||
           (!Streamer->isBusy() && pump_->isRunning());
  };
  while (goesOn() && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
}

/// Of the frames to come; automatic exposure goes its own way.
void CameraDevice::applyStreamExposure() {
  if (!camera_ || lost_ || !pump_->isRunning()) return;
  attempt([this] { setStreamExposure(); });
}

void CameraDevice::setStreamExposure() {
  if (camera_->isAutomatic(ORQ_CONTROL_EXPOSURE)) return;
  const orq_control_info limits = camera_->control("Exposure");
  const auto wanted = static_cast<std::int64_t>(Streamer->getTargetExposure() * 1e6);
  camera_->control(ORQ_CONTROL_EXPOSURE, std::clamp(wanted, limits.minimum, limits.maximum));
}

void CameraDevice::showStream() {
  const auto now = std::chrono::steady_clock::now();
  if (now - streamShown_ < std::chrono::seconds(1)) return;
  streamShown_ = now;
  attempt([this] {
    const orq_stream_counters counters = camera_->counters();
    streamCounts_[0].setValue(Streamer->getTargetFPS());
    streamCounts_[1].setValue(static_cast<double>(counters.completed));
    streamCounts_[2].setValue(static_cast<double>(pump_->counters().dropped));
    streamCounts_[3].setValue(static_cast<double>(counters.failed + counters.lost + counters.dropped));
    streamCounts_.setState(IPS_OK);
    streamCounts_.apply();
  });
}

}  // namespace orq::indi
