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

/// What kind of failure it was, for programs: each means one thing to do. The names are stable.
enum class ErrorName {
  Invalid,      ///< "invalid": the command line is wrong
  NotFound,     ///< "not-found": no such camera, or nothing of what was asked for
  Permission,   ///< "permission": the camera may not be opened
  Busy,         ///< "busy": another program has the camera
  Lost,         ///< "lost": the camera vanished while in use
  Timeout,      ///< "timeout": what was waited for did not come
  Cancelled,    ///< "cancelled": interrupted, or the question was answered with no
  Unsupported,  ///< "unsupported": not with this camera
  Refused,      ///< "refused": the camera refused, or what it sent was no good
  State,        ///< "state": not as things are now
  Range,        ///< "range": beyond a limit
  File,         ///< "file": something cannot be read or written
  Memory,       ///< "memory": none left
  Internal,     ///< "internal": a fault of the program's own
};
/// As programs read it.
const char* TextOf(ErrorName name);

/// Ends the command: one line that says what is wrong and what to do, the exit code, and the failure's name.
class CliError : public std::runtime_error {
 public:
  /// Named after the code: a wrong command line, no such camera, lost; else "state".
  CliError(ExitCode code, const std::string& message) : CliError(code, NameOf(code), message) {}
  /// The operation failed, or the camera was lost.
  CliError(ErrorName name, const std::string& message)
      : CliError(name == ErrorName::Lost ? kExitCameraLost : kExitFailed, name, message) {}
  CliError(ExitCode code, ErrorName name, const std::string& message)
      : std::runtime_error(message), code_(code), name_(name) {}
  ExitCode Code() const { return code_; }
  ErrorName Name() const { return name_; }

 private:
  static ErrorName NameOf(ExitCode code);
  ExitCode code_;
  ErrorName name_;
};

}  // namespace orq::cli
