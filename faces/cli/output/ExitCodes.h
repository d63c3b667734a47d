// How a run of orqcam ends.
#pragma once

#include <orqcam/orqcam.hpp>
#include <string>

#include "session/Failure.h"

namespace orq::cli {

using namespace session;  // the services that the commands are made of

enum ExitCode : int {
  kExitOk = 0,
  kExitFailed = 1,  ///< the operation failed, or was interrupted before it was done
  kExitUsage = 2,   ///< the command line is wrong
  kExitNoCamera = 3,
  kExitCameraLost = 4,  ///< the camera vanished while in use
};

/// A status as programs read it. The names are stable.
const char* TextOf(Status status);

/// A failure of the command line's own; with an exit code that says more than the status, where there is one.
class CliError : public Failure {
 public:
  /// A wrong command line, no such camera, lost; any other is a matter of how things are now (`Status::State`).
  CliError(ExitCode code, const std::string& message);
  /// With the exit code of such a failure.
  CliError(Status status, const std::string& message);
  ExitCode Exit() const { return exit_; }

 private:
  ExitCode exit_;
};

/// What a failure ends the command with: a wrong argument was on the command line, a lost camera is lost.
ExitCode ExitCodeOf(const Failure& failure);
ExitCode ExitCodeOf(const Error& error);

}  // namespace orq::cli
