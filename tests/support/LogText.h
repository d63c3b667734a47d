// The debug log of a stretch of a test, exactly as it was written.
#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/DbgPrint.h"

namespace orq::test {

/// Switches the debug log on and collects what goes to standard error, until `Text` or the end of the scope.
/// The log file goes to the tests' temporary folder.
class LogText {
 public:
  LogText() {
    setenv("XDG_STATE_HOME", testing::TempDir().c_str(), 1);
    testing::internal::CaptureStderr();
    g_bDebugPrint = true;
  }
  ~LogText() {
    if (!taken_) Text();
  }
  LogText(const LogText&) = delete;
  LogText& operator=(const LogText&) = delete;

  /// Everything written since the construction; switches the log off.
  std::string Text() {
    g_bDebugPrint = false;
    taken_ = true;
    return testing::internal::GetCapturedStderr();
  }

 private:
  bool taken_ = false;
};

/// A log line of this thread as the log writes it: prefix, then the message with its newline.
inline std::string Line(const std::string& tag, const std::string& message) {
  return "[" + std::to_string(getpid()) + "," + std::to_string(syscall(SYS_gettid)) + " " + tag + "]: " + message;
}

}  // namespace orq::test
