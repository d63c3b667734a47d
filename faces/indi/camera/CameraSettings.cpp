// The configuration that INDI keeps of a camera, and what a request has to wait for.
#include <indilogger.h>

#include <cstdlib>
#include <filesystem>

#include "camera/CameraDevice.h"

namespace orq::indi {
namespace {

constexpr const char* kWarming = "the sensor is being warmed up: wait for its end, or switch the cooler off";

/// Where INDI keeps it.
std::filesystem::path configFile(const char* device) {
  if (const char* const named = std::getenv("INDICONFIG")) return named;
  const char* const home = std::getenv("HOME");
  return std::filesystem::path(home != nullptr ? home : "") / ".indi" / (std::string(device) + "_config.xml");
}

}  // namespace

bool CameraDevice::saveConfigItems(FILE* file) {
  INDI::CCD::saveConfigItems(file);
  if (choice_.offersVirtual) virtualName_.save(file);
  for (const auto& panel : panels_) panel->save(file);
  return true;
}

/// INDI says nothing of a configuration that is there and cannot be read.
void CameraDevice::loadSettings() {
  if (loadConfig(true)) return;
  const std::filesystem::path file = configFile(getDeviceName());
  std::error_code unknown;
  if (!std::filesystem::exists(file, unknown)) return;
  LOGF_WARN("%s is damaged: none of its settings is loaded. Set them anew, and save them.", file.c_str());
}

std::string CameraDevice::whyNoVideo() const {
  if (!camera_ || lost_) return "the camera is gone: plug it in";
  if (!busyWith_.empty()) return busyWith_ + ": wait for its end";
  if (exposing_) return "an exposure is under way: wait for it, or abort it";
  return {};
}

std::string CameraDevice::whyNotNow(const NumberRequest& request) const {
  // INDI's stream manager would not even answer.
  const bool ofRecording = request.property == "RECORD_OPTIONS" || request.property == "CCD_STREAM_FRAME";
  if (ofRecording && Streamer->isRecording()) return "a video is being recorded: end that first";
  if (request.property == "CCD_TEMPERATURE" && isWarmingUp()) return kWarming;
  return {};
}

std::string CameraDevice::whyNotNow(const SwitchRequest& request) const {
  if (request.property == "CCD_COOLER" && request.chosen() == "COOLER_ON" && isWarmingUp()) return kWarming;
  // INDI's stream manager takes a recording that could not be begun for one that runs.
  const bool begins = request.property == "RECORD_STREAM" && request.chosen() != "RECORD_OFF";
  return begins && !Streamer->isBusy() ? whyNoVideo() : std::string();
}

std::string CameraDevice::whyNotNow(const TextRequest& request) const {
  if (request.property != "RECORD_FILE") return {};
  for (const auto& [element, text] : request.values) {
    // With the one INDI takes no other name any more, with the other it ends the program.
    if (element == "RECORD_FILE_NAME" && text.find('/') != std::string::npos)
      return "RECORD_FILE_NAME has no / in it";
    if (element == "RECORD_FILE_DIR" && text.empty()) return "RECORD_FILE_DIR must name a folder";
  }
  return {};
}

}  // namespace orq::indi
