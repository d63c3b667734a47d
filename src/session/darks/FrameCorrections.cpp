#include "session/darks/FrameCorrections.h"

#include <filesystem>
#include <utility>

#include "image/dark/DarkImage.h"
#include "session/Failure.h"
#include "session/darks/DarkFile.h"

namespace orq::session {

namespace {

constexpr int kDarkLoaded = 1;  // what loading a BMP answers

}  // namespace

FrameCorrections::FrameCorrections(CModelCamera& camera) : camera_(camera) {
  camera.UsingDark(false);
}

std::string FrameCorrections::UseDark(const std::string& path) {
  DarkFile dark = ReadDarkFile(path);
  DemandGeometry(camera_, dark, path);
  if (camera_.LoadBMPFromFile(path.c_str()) != kDarkLoaded)
    throw Failure(Status::File, "cannot load the dark '" + path + "'");
  name_ = std::filesystem::path(path).filename().string();
  description_ = std::move(dark.description);
  return dark.trouble;
}

CorrectionFacts FrameCorrections::Dark() const {
  CorrectionFacts facts;
  facts.darkFile = name_;
  if (description_ && !name_.empty()) facts.dark = DescriptionText(*description_);
  return facts;
}

void RepairHotPixels(CModelCamera& camera, bool on) {
  if (!on) {
    camera.SetHPCStates(false);
    return;
  }
  // Opening the camera has loaded the table of a correction that is on.
  if (camera.HPC != 0 || camera.SetHPCStates(true)) return;
  if (camera.DeviceLost())
    throw Failure(Status::Lost, "cannot read the table of hot pixels: the camera was lost; check its cable");
  throw Failure(Status::State,
                "the camera's flash holds no table of hot pixels that can be read; take a dark and store its hot "
                "pixels first");
}

}  // namespace orq::session
