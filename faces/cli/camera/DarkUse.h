// Darks as the commands take and show them.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "camera/Device.h"

namespace orq::cli {

/// `frames` of a command line; empty: 0, the camera's choice. Throws CliError (usage).
int ParseFrames(const std::string& text);

/// A call of the library that takes a dark.
using DarkCall = std::function<orq_status(orq_dark_callback callback, void* user, orq_dark_info* info)>;
/// Makes it under a progress bar; Ctrl-C stops it. Says on standard error when the dark shows nothing, or looks as
/// if the sensor had not been covered. Throws Error.
orq_dark_info WatchDark(Device& camera, const DarkCall& call);
/// Takes one into a file; no path: the camera's own.
orq_dark_info TakeDark(Device& camera, const std::optional<std::string>& path, int frames, bool overwrite);

/// How a dark was taken; nothing when that is not known.
void AddDark(Report& report, const orq_dark_info& info);

}  // namespace orq::cli
