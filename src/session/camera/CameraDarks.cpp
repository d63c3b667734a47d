// Darks of an open camera.
#include "session/camera/CameraControls.h"
#include "session/darks/DarkFile.h"
#include "session/darks/FrameCorrections.h"
#include "session/files/StateDirectory.h"

namespace orq::session {
namespace {

void Demand(const CModelCamera& device, const DarkOutcome& outcome) {
  switch (outcome.result) {
    case DarkResult::Done:
      return;
    case DarkResult::Cancelled:
      throw Failure(Status::Cancelled, outcome.reason);
    case DarkResult::Refused:
      throw Failure(Status::State, outcome.reason);
    case DarkResult::CameraFailed:
      if (device.DeviceLost()) throw Failure(Status::Lost, outcome.reason + "; check the camera's cable");
      throw Failure(Status::Refused, outcome.reason);
  }
}

/// A place that a dark can be written to.
struct DarkPlace {
  std::string path;
  Existing existing = Existing::Keep;
  std::optional<DarkStore> store;  ///< whose own dark it is

  void Write(const DarkFile& dark) const {
    WriteDarkFile(path, dark, existing);
    if (store) store->Choose(path);
  }
};

// What is wrong with the camera is told before what is wrong with the file.
DarkPlace Place(Camera& camera, const DarkTarget& target) {
  DarkStore store = DarkStoreOf(camera);
  DarkPlace place;
  if (target.path) {
    place.path = *target.path;
    place.existing = target.overwrite ? Existing::Overwrite : Existing::Keep;
    DemandDarkName(place.path);
  } else {
    store.DemandPlace();
    place = {store.KeptPath(), Existing::Overwrite, store};
  }
  CheckDarkWritable(place.path, place.existing);
  return place;
}

}  // namespace

void CheckDarkTarget(Camera& camera, const DarkTarget& target) {
  Place(camera, target);
}

void DemandDarkFrames(int frames) {
  if (frames >= 0 && frames <= kMostDarkFrames) return;
  throw Failure(Status::Range, "a dark is made of 1 to " + std::to_string(kMostDarkFrames) + " frames");
}

DarkDescription CollectDark(Camera& camera, const Camera::Turn& turn, int frames,
                            const std::function<void(const DarkProgress&)>& tell) {
  const CameraFacts facts = camera.Facts();
  turn->Mailbox().Mute(false);
  DarkSession work(*turn);
  DarkDescription description{.model = facts.model, .serial = facts.serial, .facts = {}};
  const auto watch = [&](const DarkProgress& progress) {
    if (tell) tell(progress);
    return !turn.IsOver();
  };
  const DarkOutcome outcome = work.Collect(frames, watch, description.facts);
  const DarkOutcome restored = work.Restore();
  Demand(*turn, outcome);
  Demand(*turn, restored);
  return description;
}

DarkDescription TakeDark(Camera& camera, const DarkTarget& target, int frames,
                         const std::function<void(const DarkProgress&)>& tell) {
  DemandDarkFrames(frames);
  const DarkPlace place = Place(camera, target);
  // The image in memory will be another one's: frames must not name the dark that it was.
  if (DarkInUse(camera).inUse) UseDark(camera, std::nullopt);
  const Camera::Turn turn(camera);
  DarkDescription description = CollectDark(camera, turn, frames, tell);
  place.Write(MakeDarkFile(*turn, description));
  return description;
}

DarkFile ReadDark(Camera& camera, const std::string& path) {
  const Camera::Use device(camera);
  DarkFile dark = ReadDarkFile(path);
  DemandGeometry(*device, dark, path);
  return dark;
}

void CopyDark(Camera& camera, const std::string& from, const DarkTarget& to) {
  const DarkFile dark = ReadDark(camera, from);
  Place(camera, to).Write(dark);
}

void UseDark(Camera& camera, const std::optional<std::string>& path) {
  const Camera::Turn turn(camera);
  FrameOrigin used;
  FrameCorrections corrections(*turn);
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
  if (origin.darkDescription)
    state.differences = DarkDifferences(*origin.darkDescription, PresentSettings(*device, camera.Facts().serial));
  return state;
}

DarkStore DarkStoreOf(Camera& camera) {
  const Camera::Use open(camera);
  return {StateDirectory(), camera.Model(), camera.Facts().serial};
}

}  // namespace orq::session
