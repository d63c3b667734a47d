#include "output/ExitCodes.h"

namespace orq::cli {

namespace {

orq_status StatusOf(ExitCode code) {
  switch (code) {
    case kExitUsage:
      return ORQ_ERROR_INVALID;
    case kExitNoCamera:
      return ORQ_ERROR_NOT_FOUND;
    case kExitCameraLost:
      return ORQ_ERROR_LOST;
    default:
      return ORQ_ERROR_STATE;
  }
}

ExitCode ExitCodeOf(orq_status status) {
  switch (status) {
    case ORQ_ERROR_INVALID:
      return kExitUsage;
    case ORQ_ERROR_LOST:
      return kExitCameraLost;
    default:
      return kExitFailed;
  }
}

}  // namespace

CliError::CliError(ExitCode code, const std::string& message) : Error(StatusOf(code), message), exit_(code) {}

CliError::CliError(orq_status status, const std::string& message)
    : Error(status, message), exit_(ExitCodeOf(status)) {}

ExitCode ExitCodeOf(const Error& error) {
  const auto* const own = dynamic_cast<const CliError*>(&error);
  return own != nullptr ? own->Exit() : ExitCodeOf(error.status());
}

}  // namespace orq::cli
