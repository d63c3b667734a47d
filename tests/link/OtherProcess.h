// Another process on the same bus: this program, run again.
#pragma once

#include <string>

namespace orq::test {

inline constexpr const char* kOtherProcess = "--other-process";

/// Does what `task` says and reports the port's error code: "claim" opens the camera and claims its interface,
/// "unprivileged" opens it without any privileges, "abandon" is gone in the middle of a frame. The exit status is
/// the negated error code.
int ActAsOtherProcess(const std::string& task);

/// Runs that process to its end; its error code (0: success).
int AskOtherProcess(const std::string& task);

}  // namespace orq::test
