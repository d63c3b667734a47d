// Tests that read what the debug log wrote.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// Switches the debug log on and captures standard error; the log file is in a temporary directory.
class DebugLogFixture : public testing::Test {
 protected:
  DebugLogFixture();
  ~DebugLogFixture() override;

  /// What was written to standard error since the test began or since the last call.
  static std::string TakeStandardError();
  /// What was written to the log file since the test began, without time stamps and levels.
  std::vector<std::string> LogFileTexts() const;
  /// "[<this process>,<this thread> <tag>]: "
  static std::string Prefix(const std::string& tag);

 private:
  static std::vector<std::string> AllLogFileTexts();
  std::size_t earlierTexts_;
};
