// Taking a dark under a progress bar.
#pragma once

#include <string>

#include "camera/Session.h"
#include "session/DarkSession.h"

namespace orq::cli {

/// `frames` of a command line; empty: 0, the camera's choice. Throws CliError (usage).
int ParseDarkFrames(const std::string& text);

/// Collects a dark; Ctrl-C stops it, and then the camera is as it was before. Says on standard error when the dark
/// shows nothing, or looks as if the sensor had not been covered. Throws CliError when it is not done.
DarkFacts CollectDark(Session& session, DarkSession& dark, int frames);

}  // namespace orq::cli
