#include "output/ExitCodes.h"

namespace orq::cli {

namespace {

Status StatusOf(ExitCode code) {
  switch (code) {
    case kExitUsage:
      return Status::Invalid;
    case kExitNoCamera:
      return Status::NotFound;
    case kExitCameraLost:
      return Status::Lost;
    default:
      return Status::State;
  }
}

ExitCode ExitCodeOf(Status status) {
  switch (status) {
    case Status::Invalid:
      return kExitUsage;
    case Status::Lost:
      return kExitCameraLost;
    default:
      return kExitFailed;
  }
}

}  // namespace

const char* TextOf(Status status) {
  switch (status) {
    case Status::Ok:
      return "ok";
    case Status::Invalid:
      return "invalid";
    case Status::NotFound:
      return "not-found";
    case Status::Permission:
      return "permission";
    case Status::Busy:
      return "busy";
    case Status::Lost:
      return "lost";
    case Status::Timeout:
      return "timeout";
    case Status::Cancelled:
      return "cancelled";
    case Status::Unsupported:
      return "unsupported";
    case Status::Refused:
      return "refused";
    case Status::State:
      return "state";
    case Status::Range:
      return "range";
    case Status::File:
      return "file";
    case Status::Memory:
      return "memory";
    case Status::Internal:
      break;
  }
  return "internal";
}

CliError::CliError(ExitCode code, const std::string& message) : Failure(StatusOf(code), message), exit_(code) {}

CliError::CliError(Status status, const std::string& message)
    : Failure(status, message), exit_(ExitCodeOf(status)) {}

ExitCode ExitCodeOf(const Failure& failure) {
  const auto* const own = dynamic_cast<const CliError*>(&failure);
  return own != nullptr ? own->Exit() : ExitCodeOf(failure.Code());
}

ExitCode ExitCodeOf(const Error& error) {
  return ExitCodeOf(static_cast<Status>(error.status()));
}

}  // namespace orq::cli
