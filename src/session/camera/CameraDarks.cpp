// Darks and hot pixels of an open camera.
#include "session/camera/CameraControls.h"
#include "session/darks/DarkFile.h"
#include "session/darks/FrameCorrections.h"
#include "session/files/StateDirectory.h"

namespace orq::session {
namespace {

void Demand(Camera& camera, const DarkOutcome& outcome) {
  switch (outcome.result) {
    case DarkResult::Done:
      return;
    case DarkResult::Cancelled:
      throw Failure(Status::Cancelled, outcome.reason);
    case DarkResult::Refused:
      throw Failure(Status::State, outcome.reason);
    case DarkResult::CameraFailed:
      camera.Fail(outcome.reason);
  }
}

}  // namespace

DarkFacts TakeDark(Camera& camera, const std::string& path, int frames, bool overwrite,
                   const std::function<void(const DarkProgress&)>& tell) {
  if (frames < 0 || frames > kMostDarkFrames) {
    throw Failure(Status::Range, "a dark is made of 1 to " + std::to_string(kMostDarkFrames) + " frames");
  }
  { const Camera::Use open(camera); }  // what is wrong with the camera is told before what is wrong with the file
  const Existing existing = overwrite ? Existing::Overwrite : Existing::Keep;
  DemandDarkName(path);
  CheckDarkWritable(path, existing);
  const CameraFacts facts = camera.Facts();
  const Camera::Turn turn(camera);
  turn->Mailbox().Mute(false);
  DarkSession work(*turn);
  DarkDescription description{.model = facts.model, .serial = facts.serial, .facts = {}};
  const auto watch = [&](const DarkProgress& progress) {
    if (tell) tell(progress);
    return !turn.IsOver();
  };
  const DarkOutcome outcome = work.Collect(frames, watch, description.facts);
  const DarkOutcome restored = work.Restore();
  Demand(camera, outcome);
  Demand(camera, restored);
  WriteDarkFile(path, MakeDarkFile(*turn, description), existing);
  return description.facts;
}

void UseDark(Camera& camera, const std::optional<std::string>& path) {
  const Camera::Turn turn(camera);
  FrameOrigin used;
  FrameCorrections corrections(*turn, camera.Facts().serial);
  if (path) {
    used.darkTrouble = corrections.UseDark(*path);
    used.dark = corrections.Dark();
    used.darkDescription = corrections.Description();
  }
  camera.ChangeOrigin([&](FrameOrigin& origin) {
    origin.dark = used.dark;
    origin.darkDescription = used.darkDescription;
    origin.darkTrouble = used.darkTrouble;
  });
}

DarkState DarkInUse(Camera& camera) {
  const Camera::Use device(camera);
  const FrameOrigin origin = camera.Origin();
  DarkState state{.inUse = !origin.dark.darkFile.empty(), .trouble = origin.darkTrouble, .differences = {}};
  if (origin.darkDescription) {
    state.differences = DarkDifferences(*origin.darkDescription, PresentSettings(*device, camera.Facts().serial));
  }
  return state;
}

DarkStore DarkStoreOf(Camera& camera) {
  const Camera::Use open(camera);
  return {StateDirectory(), camera.Model(), camera.Facts().serial};
}

void RepairHotPixels(Camera& camera, bool on) {
  const Camera::Turn turn(camera);
  RepairHotPixels(*turn, on);
}

}  // namespace orq::session
