#include "camera/FlashWork.h"

#include <filesystem>

#include "output/Confirm.h"
#include "output/Progress.h"
#include "output/Signals.h"
#include "session/files/StateDirectory.h"
#include "session/flash/FlashFailure.h"

namespace orq::cli {

namespace {

// Runs `work` with a watcher that draws and listens for Ctrl-C.
template <class Work>
FlashOutcome Watched(Work&& work) {
  WorkProgress progress;
  return work([&progress](const FlashProgress& at) {
    progress.Update(at.step, at.done, at.total);
    return !StopRequested();
  });
}

// A failure after which flash may have changed says how to put the backup back.
void DemandStored(Session& session, const FlashOutcome& outcome, const FlashBackup& backup) {
  try {
    DemandDone(session.Camera(), outcome);
  } catch (const Failure& failure) {
    if (outcome.result == FlashResult::Refused) throw;
    throw Failure(failure.Code(),
                  failure.what() + ("; what flash held before: orqcam flash restore '" + backup.path + "'"));
  }
}

std::string BackupDirectory(const OverwriteOptions& options) {
  if (!options.backupDirectory.empty()) return options.backupDirectory;
  const std::string state = StateDirectory();
  if (state.empty()) {
    throw CliError(Status::File, "there is no place for a backup of flash; name a directory with --backup");
  }
  return (std::filesystem::path(state) / "flash").string();
}

std::string Question(Session& session, const std::string& what) {
  const std::string serial = session.Serial();
  return "this will " + what + " of the " + session.Camera().modelName +
         (serial.empty() ? "" : " with serial number " + serial);
}

}  // namespace

void AddOverwriteOptions(const Command& command, OverwriteOptions& options) {
  command.AddFlag("--yes", options.yes, "Do not ask");
  command.AddOption("--backup", options.backupDirectory, "Directory for the backup that is made first")
      .Default("~/.local/state/orqcam/flash");
}

FlashImage ReadFlash(Session& session) {
  FlashImage image;
  DemandDone(session.Camera(), Watched([&](const FlashWatcher& watcher) {
               return ReadFlashImage(session.Camera(), image, watcher);
             }));
  return image;
}

FlashImage LoadFlash(const std::string& path) {
  FlashImage image;
  const FlashOutcome outcome = LoadFlashImage(path, image);
  if (!outcome.Done()) throw CliError(Status::File, outcome.reason);
  return image;
}

void DemandAnswerable(Session& session, const OverwriteOptions& options, const std::string& what) {
  if (!options.yes) DemandSomebodyToAsk(Question(session, what));
}

FlashBackup PrepareOverwrite(Session& session, const OverwriteOptions& options, const std::string& what) {
  const std::string directory = BackupDirectory(options);
  DemandAnswerable(session, options, what);
  if (!options.yes) Confirm(Question(session, what));
  FlashBackup backup;
  const FlashOutcome outcome = Watched(
      [&](const FlashWatcher& watcher) { return BackUpFlash(session.Camera(), directory, backup, watcher); });
  if (outcome.result == FlashResult::FileFailed) {
    throw CliError(Status::File, outcome.reason + "; nothing was changed; name another directory with --backup");
  }
  DemandDone(session.Camera(), outcome);
  return backup;
}

void RestoreFlash(Session& session, const FlashImage& image, const FlashBackup& backup) {
  const StopShield shield;  // it stops between two sectors, not inside one
  FlashOutcome outcome =
      Watched([&](const FlashWatcher& watcher) { return RestoreFlashImage(session.Camera(), image, watcher); });
  if (outcome.result == FlashResult::Cancelled || outcome.result == FlashResult::CameraFailed) {
    outcome.reason += "; restore it again to finish";
  }
  DemandStored(session, outcome, backup);
}

bool FlashIsLike(Session& session, const FlashImage& image, std::string& difference) {
  const FlashOutcome outcome =
      Watched([&](const FlashWatcher& watcher) { return CompareFlashImage(session.Camera(), image, watcher); });
  difference = outcome.reason;
  if (outcome.result != FlashResult::Differs) DemandDone(session.Camera(), outcome);
  return outcome.Done();
}

void StoreId(Session& session, const _ORQ_ID& id, const FlashBackup& backup) {
  const StopShield shield;  // the sector that is erased for it holds other things too
  const FlashOutcome outcome = Watched(
      [&](const FlashWatcher& watcher) { return StoreUserId(session.Camera(), id, backup.image, watcher); });
  DemandStored(session, outcome, backup);
}

HotPixelMarks ReadTable(Session& session) {
  HotPixelMarks marks;
  DemandDone(session.Camera(), ReadHotPixels(session.Camera(), marks));
  return marks;
}

void SaveTable(Session& session, const FlashBackup& backup) {
  if (StopRequested()) throw CliError(Status::Cancelled, "interrupted; nothing was changed");
  const StopShield shield;  // a table of which half is there is worse than either
  const FlashOutcome outcome = Watched(
      [&](const FlashWatcher& watcher) { return StoreHotPixels(session.Camera(), backup.image, watcher); });
  DemandStored(session, outcome, backup);
}

}  // namespace orq::cli
