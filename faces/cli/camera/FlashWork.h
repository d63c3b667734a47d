// What the commands that use a camera's flash share.
#pragma once

#include <functional>
#include <string>

#include "camera/Device.h"
#include "options/CommandLine.h"

namespace orq::cli {

/// Options of a command that overwrites flash.
struct OverwriteOptions {
  bool yes = false;
  std::string backupDirectory;  ///< empty: beside the debug log
};
void AddOverwriteOptions(const Command& command, OverwriteOptions& options);

/// A call of the library that works on flash.
using FlashCall = std::function<orq_status(orq_flash_callback callback, void* user)>;
/// Makes it under a progress bar; Ctrl-C stops it where it can be stopped. Throws Error.
void RunFlashWork(Device& camera, const FlashCall& call);

/// Throws CliError when `OverwriteFlash` would have nobody to ask: before long work whose result is to be saved.
void DemandAnswerable(const Device& camera, const OverwriteOptions& options, const std::string& what);
/// The same of a call that overwrites flash, and is told where to save it first.
using OverwriteCall = std::function<orq_status(const char* backupFolder, orq_flash_callback callback, void* user)>;
/// Asks the user, then makes the call; no number of signals kills the tool meanwhile. Returns the file that flash
/// was saved to. `what` ends the question "this will ...". Throws Error, CliError.
std::string OverwriteFlash(Device& camera, const OverwriteOptions& options, const std::string& what,
                           const OverwriteCall& call);

}  // namespace orq::cli
