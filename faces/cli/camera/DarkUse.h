// Darks as the commands take and show them.
#pragma once

#include <optional>
#include <string>

#include "camera/Device.h"

namespace orq::cli {

/// `frames` of a command line; empty: 0, the camera's choice. Throws CliError (usage).
int ParseFrames(const std::string& text);

/// Takes a dark under a progress bar; Ctrl-C stops it. No path: the camera's own. Says on standard error when the
/// dark shows nothing, or looks as if the sensor had not been covered. Throws Error.
orq_dark_info TakeDark(Device& camera, const std::optional<std::string>& path, int frames, bool overwrite);

/// How a dark was taken; nothing when that is not known.
void AddDark(Report& report, const orq_dark_info& info);

}  // namespace orq::cli
