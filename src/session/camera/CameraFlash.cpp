#include "session/camera/CameraFlash.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "link/WireProtocol.h"
#include "models/flash/HotPixelStore.h"
#include "session/files/SafeFile.h"
#include "session/files/StateDirectory.h"
#include "session/flash/FlashFailure.h"

namespace orq::session {
namespace {

std::string BackupFolder(const FlashSafety& safety) {
  if (!safety.backupFolder.empty()) return safety.backupFolder;
  const std::string state = StateDirectory();
  if (state.empty()) throw Failure(Status::File, "there is no place for a backup of flash; name a folder for it");
  return (std::filesystem::path(state) / "flash").string();
}

FlashWatcher WatcherOf(const Camera::Turn& turn, const FlashTeller& tell) {
  return [&turn, tell](const FlashProgress& at) {
    if (tell) tell(at);
    return !turn.IsOver();
  };
}

// A failure after which flash may have changed says where its contents are.
void DemandStored(CModelCamera& camera, const FlashOutcome& outcome, const FlashBackup& backup) {
  try {
    DemandDone(camera, outcome);
  } catch (const Failure& failure) {
    if (outcome.result == FlashResult::Refused) throw;
    throw Failure(failure.Code(),
                  std::string(failure.what()) + "; what flash held before is in '" + backup.path + "'");
  }
}

/// Backs flash up, and has `work` overwrite it.
template <class Work>
void Overwrite(Camera& camera, const FlashSafety& safety, Work work) {
  const std::string folder = BackupFolder(safety);
  const Camera::FlashTurn turn(camera);
  const FlashWatcher watcher = WatcherOf(turn, safety.tell);
  FlashBackup backup;
  FlashOutcome saved = BackUpFlash(*turn, folder, backup, watcher);
  if (saved.result == FlashResult::FileFailed)
    saved.reason += "; nothing was changed; name another folder for the backup";
  DemandDone(*turn, saved);
  // The last moment at which stopping costs nothing.
  if (!watcher({"reading", kBackupBytes, kBackupBytes}))
    throw Failure(Status::Cancelled, "interrupted; nothing was changed");
  camera.NoteBackup(backup.path);
  DemandStored(*turn, work(*turn, backup, watcher), backup);
}

FlashImage Load(const std::string& path) {
  FlashImage image;
  const FlashOutcome loaded = LoadFlashImage(path, image);
  if (!loaded.Done()) throw Failure(Status::File, loaded.reason);
  return image;
}

// What is wrong with the camera is told before what is wrong with a file.
void DemandUsable(Camera& camera) {
  const Camera::Turn turn(camera);
  DemandDone(*turn, FlashUsable(*turn));
}

}  // namespace

void SaveFlash(Camera& camera, const std::string& path, bool overwrite, const FlashTeller& tell) {
  const Existing existing = overwrite ? Existing::Overwrite : Existing::Keep;
  DemandUsable(camera);
  DemandWritable(path, existing);
  const Camera::FlashTurn turn(camera);
  FlashImage image;
  DemandDone(*turn, ReadFlashImage(*turn, image, WatcherOf(turn, tell)));
  const FlashOutcome saved = SaveFlashImage(path, image, existing);
  if (!saved.Done()) throw Failure(Status::File, saved.reason);
}

FlashFile ReadFlashFile(Camera& camera, const std::string& path) {
  { const Camera::Use open(camera); }
  FlashFile file{.image = Load(path), .isOfCamera = false};
  const Camera::Use device(camera);
  file.isOfCamera = IsImageOf(*device, file.image);
  return file;
}

void RestoreFlash(Camera& camera, const std::string& path, bool otherCamera, const FlashSafety& safety) {
  DemandUsable(camera);
  const FlashFile file = ReadFlashFile(camera, path);
  if (!otherCamera && !file.isOfCamera) throw Failure(Status::Invalid, "the file is of another camera");
  Overwrite(camera, safety, [&](CModelCamera& device, const FlashBackup&, const FlashWatcher& watcher) {
    FlashOutcome outcome = RestoreFlashImage(device, file.image, watcher);
    if (outcome.result == FlashResult::Cancelled || outcome.result == FlashResult::CameraFailed)
      outcome.reason += "; restore it again to finish";
    return outcome;
  });
  camera.RefreshFacts();  // the id may be another
}

std::string FlashDifference(Camera& camera, const std::string& path, const FlashTeller& tell) {
  DemandUsable(camera);
  const FlashImage image = Load(path);
  const Camera::FlashTurn turn(camera);
  const FlashOutcome outcome = CompareFlashImage(*turn, image, WatcherOf(turn, tell));
  if (outcome.result != FlashResult::Differs) DemandDone(*turn, outcome);
  return outcome.reason;
}

void StoreUserId(Camera& camera, const std::string& id, const FlashSafety& safety) {
  _ORQ_ID bytes{};
  const bool plain = std::ranges::all_of(id, [](char c) { return c >= ' ' && c <= '~'; });
  if (id.size() > sizeof bytes.id || !plain)
    throw Failure(Status::Invalid, "an id has up to 8 plain characters, not '" + id + "'");
  std::ranges::copy(id, bytes.id);
  Overwrite(camera, safety, [&](CModelCamera& device, const FlashBackup& backup, const FlashWatcher& watcher) {
    return orq::StoreUserId(device, bytes, backup.image, watcher);
  });
  camera.RefreshFacts();
}

void StoreHotPixels(Camera& camera, const FlashSafety& safety) {
  Overwrite(
      camera, safety,
      [&](CModelCamera& device, const FlashBackup& backup, const FlashWatcher& watcher) {
        return orq::StoreHotPixels(device, backup.image, watcher);
      });
}

std::string UserId(Camera& camera) {
  const Camera::Use device(camera);
  std::array<unsigned char, 1> probe{};  // an id that cannot be read looks like none
  _ORQ_ID id{};
  if (!device->ReadSPI(probe.data(), 0, 1)) camera.Fail("cannot read the id");
  return device->GetIDFromSPI(&id) ? IdText(id) : std::string();
}

std::string SensorId(Camera& camera) {
  constexpr std::size_t kDigits = 22;
  const Camera::Use device(camera);
  std::array<unsigned char, kDigits + 1> digits{};
  device->GetIMX582SensorId(digits.data());
  // The operation does not tell whether the sensor answered.
  unsigned char byte = 0;
  if (!device->ReadSONYREG(wire::kSensorIdentity, &byte)) camera.Fail("the sensor does not answer");
  std::string id(digits.begin(), digits.begin() + kDigits);
  if (id.find_first_not_of('0') == std::string::npos)
    throw Failure(Status::Unsupported, "the sensor of this camera tells no identity");
  return id;
}

FocusState Focus(Camera& camera) {
  const Camera::Use device(camera);
  return FocusMotor(*device).State();
}

void MoveFocus(Camera& camera, int position) {
  const Camera::Use device(camera);
  FocusMotor(*device).MoveTo(position, camera.UntilAborted(), {});
}

}  // namespace orq::session
