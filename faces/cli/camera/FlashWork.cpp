#include "camera/FlashWork.h"

#include "output/Confirm.h"
#include "output/Progress.h"
#include "output/Signals.h"

namespace orq::cli {

namespace {

// Draws, and listens for Ctrl-C.
struct Watcher {
  Device& camera;
  WorkProgress bar;

  static void Look(void* user, const orq_flash_progress* at) {
    auto& self = *static_cast<Watcher*>(user);
    if (StopRequested()) self.camera->abort();
    self.bar.Update(at->step, at->done, at->total);
  }
};

std::string Question(const Device& camera, const std::string& what) {
  const std::string serial = camera.Info().serial;
  return "this will " + what + " of the " + camera.Info().model +
         (serial.empty() ? "" : " with serial number " + serial);
}

}  // namespace

void AddOverwriteOptions(const Command& command, OverwriteOptions& options) {
  command.AddFlag("--yes", options.yes, "Do not ask");
  command.AddOption("--backup", options.backupDirectory, "Directory for the backup that is made first")
      .Default("~/.local/state/orqcam/flash");
}

void RunFlashWork(Device& camera, const FlashCall& call) {
  Watcher watcher{camera, {}};
  check(call(Watcher::Look, &watcher));
}

void DemandAnswerable(const Device& camera, const OverwriteOptions& options, const std::string& what) {
  if (!options.yes) DemandSomebodyToAsk(Question(camera, what));
}

std::string OverwriteFlash(Device& camera, const OverwriteOptions& options, const std::string& what,
                           const OverwriteCall& call) {
  DemandAnswerable(camera, options, what);
  if (!options.yes) Confirm(Question(camera, what));
  const char* const folder = options.backupDirectory.empty() ? nullptr : options.backupDirectory.c_str();
  const StopShield shield;  // it stops between two sectors, not inside one
  RunFlashWork(camera, [&](orq_flash_callback callback, void* user) { return call(folder, callback, user); });
  return camera->flashBackup();
}

}  // namespace orq::cli
