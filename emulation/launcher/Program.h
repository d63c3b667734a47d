// A program that runs beside the emulated bus.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace orq {

/// The started program. Its end shows as SIGCHLD.
class Program {
 public:
  struct Settings {
    std::vector<std::string> words;  ///< its name and arguments
    sigset_t signals{};              ///< the signal mask it is to start with
    bool ownInput = true;            ///< false: it reads nothing on its standard input
  };
  /// 0, or the errno that tells why it could not be started.
  int Start(const Settings& settings);
  void Signal(int number) const;
  /// Its exit status once it has ended, 128 + the signal that ended it where one did.
  std::optional<int> Ended() const;

 private:
  pid_t pid_ = 0;
};

}  // namespace orq
