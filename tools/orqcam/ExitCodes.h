// How a run of orqcam ends.
#pragma once

#include <stdexcept>
#include <string>

namespace orq::cli {

enum ExitCode : int {
  kExitOk = 0,
  kExitFailed = 1,  ///< the operation failed, or was interrupted before it was done
  kExitUsage = 2,   ///< the command line is wrong
  kExitNoCamera = 3,
  kExitCameraLost = 4,  ///< the camera vanished while in use
};

/// Ends the command: one line that says what is wrong and what to do, and the exit code.
class CliError : public std::runtime_error {
 public:
  CliError(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace orq::cli
