// What the commands that use a camera's flash share.
#pragma once

#include <string>

#include "camera/Session.h"
#include "models/flash/HotPixelStore.h"
#include "options/CommandLine.h"

namespace orq::cli {

/// Options of a command that overwrites flash.
struct OverwriteOptions {
  bool yes = false;
  std::string backupDirectory;  ///< empty: beside the debug log
};
void AddOverwriteOptions(const Command& command, OverwriteOptions& options);

/// Flash work under a progress bar; Ctrl-C stops it where it can be stopped. Each throws CliError when it is not
/// done.
FlashImage ReadFlash(Session& session);
FlashImage LoadFlash(const std::string& path);
/// Throws CliError when `PrepareOverwrite` would have nobody to ask: before long work whose result is to be saved.
void DemandAnswerable(Session& session, const OverwriteOptions& options, const std::string& what);
/// Asks the user, then backs flash up; returns the backup. `what` ends the question "this will ...".
FlashBackup PrepareOverwrite(Session& session, const OverwriteOptions& options, const std::string& what);
/// These three overwrite flash. No number of signals kills the tool meanwhile; a failure says how to put the
/// backup back.
void RestoreFlash(Session& session, const FlashImage& image, const FlashBackup& backup);
void StoreId(Session& session, const _ORQ_ID& id, const FlashBackup& backup);
/// Saves the hot pixels of the dark that was taken.
void SaveTable(Session& session, const FlashBackup& backup);
/// False when flash differs; the reason is then in `difference`.
bool FlashIsLike(Session& session, const FlashImage& image, std::string& difference);
/// Empty: the camera has no table.
HotPixelMarks ReadTable(Session& session);

}  // namespace orq::cli
