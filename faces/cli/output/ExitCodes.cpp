#include "output/ExitCodes.h"

namespace orq::cli {

const char* TextOf(ErrorName name) {
  switch (name) {
    case ErrorName::Invalid:
      return "invalid";
    case ErrorName::NotFound:
      return "not-found";
    case ErrorName::Permission:
      return "permission";
    case ErrorName::Busy:
      return "busy";
    case ErrorName::Lost:
      return "lost";
    case ErrorName::Timeout:
      return "timeout";
    case ErrorName::Cancelled:
      return "cancelled";
    case ErrorName::Unsupported:
      return "unsupported";
    case ErrorName::Refused:
      return "refused";
    case ErrorName::State:
      return "state";
    case ErrorName::Range:
      return "range";
    case ErrorName::File:
      return "file";
    case ErrorName::Memory:
      return "memory";
    case ErrorName::Internal:
      break;
  }
  return "internal";
}

ErrorName CliError::NameOf(ExitCode code) {
  switch (code) {
    case kExitUsage:
      return ErrorName::Invalid;
    case kExitNoCamera:
      return ErrorName::NotFound;
    case kExitCameraLost:
      return ErrorName::Lost;
    default:
      return ErrorName::State;
  }
}

}  // namespace orq::cli
