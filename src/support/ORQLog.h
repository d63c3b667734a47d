// The process-wide log file.
#pragma once

#include <memory>
#include <string>

/// One log file per user, "orqcam.log", kept through log4cpp: at most 1 MiB with three older files beside
/// it, in `$XDG_STATE_HOME/orqcam` (by default `~/.local/state/orqcam`). The directory and the file appear
/// with the first line. When they cannot be written the log goes nowhere and nothing else changes: no
/// member throws or prints. Thread rule: any-thread.
class ORQLog {
 public:
  /// The single instance; built on first use. Its file is closed at process exit; what is logged later
  /// goes nowhere.
  static ORQLog& get_instance();

  /// log4cpp priority of the log (700 is "debug": everything passes, and so it is at first; below 600 `info`
  /// is silent).
  void setPriority(int priority);
  /// Writes one line at log4cpp's "info" priority: UTC time to the millisecond, "INFO" and the text as it
  /// stands, its first 4096 bytes at most.
  void info(const char* line);
  /// Copies the log file's path, with its terminator, into `path` (room for 4096 bytes): an empty text when
  /// neither XDG_STATE_HOME nor HOME holds an absolute path, or when the path has no room there.
  void getLogPath(char* path) const;

  /// A log in a directory of its own; for tests and for programs with a place of their own for logs.
  explicit ORQLog(const std::string& directory);
  ~ORQLog();
  ORQLog(const ORQLog&) = delete;
  ORQLog& operator=(const ORQLog&) = delete;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};
