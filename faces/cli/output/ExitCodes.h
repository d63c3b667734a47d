// How a run of orqcam ends.
#pragma once

#include <orqcam/orqcam.hpp>
#include <string>

namespace orq::cli {

enum ExitCode : int {
  kExitOk = 0,
  kExitFailed = 1,  ///< the operation failed, or was interrupted before it was done
  kExitUsage = 2,   ///< the command line is wrong
  kExitNoCamera = 3,
  kExitCameraLost = 4,  ///< the camera vanished while in use
};

/// An error of the command line's own; with an exit code that says more than the status, where there is one.
class CliError : public Error {
 public:
  /// A wrong command line, no such camera, lost; any other is a matter of how things are now (ORQ_ERROR_STATE).
  CliError(ExitCode code, const std::string& message);
  /// With the exit code of such an error.
  CliError(orq_status status, const std::string& message);
  ExitCode Exit() const { return exit_; }

 private:
  ExitCode exit_;
};

/// What an error ends the command with: a wrong argument was on the command line, a lost camera is lost.
ExitCode ExitCodeOf(const Error& error);

}  // namespace orq::cli
