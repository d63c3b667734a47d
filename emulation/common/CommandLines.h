// Where a program's commands come from: its standard input, or a socket that others connect to.
#pragma once

#include <functional>
#include <list>
#include <string>
#include <vector>

#include "emulation/common/FileDescriptor.h"

struct pollfd;

namespace orq {

/// Reads lines and writes an answer to each. Caller-serialised.
class CommandLines {
 public:
  using Obey = std::function<std::string(const std::string& line)>;

  explicit CommandLines(Obey obey) : obey_(std::move(obey)) {}
  ~CommandLines();
  CommandLines(const CommandLines&) = delete;
  CommandLines& operator=(const CommandLines&) = delete;

  /// Lines come on standard input, answers go to standard error (standard output is for data).
  void UseStandardInput();
  /// Lines come over connections to a socket at `path`, answers go back. False with a reason in `error`.
  bool UseSocket(const std::string& path, std::string& error);

  /// What to wait for, appended to `polls`; and the answer to what came.
  void AddPolls(std::vector<pollfd>& polls) const;
  void Serve(const std::vector<pollfd>& polls);

 private:
  struct Source {
    FileDescriptor input;
    int answers = -1;  ///< descriptor; not owned
    std::string pending;
    bool ended = false;
  };
  void Read(Source& source);

  const Obey obey_;
  std::string path_;
  FileDescriptor listener_;
  std::list<Source> sources_;
};

}  // namespace orq
