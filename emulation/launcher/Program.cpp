#include "emulation/launcher/Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace orq {
namespace {

constexpr const char* kPreload = "libumockdev-preload.so.0";
constexpr int kSignalled = 128;

/// The environment, with the library that leads device files to the emulated bus.
std::vector<std::string> Environment() {
  const std::string preload = "LD_PRELOAD=";
  std::vector<std::string> all;
  std::string libraries = kPreload;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (text.starts_with(preload))
      libraries += ":" + text.substr(preload.size());
    else
      all.push_back(text);
  }
  all.push_back(preload + libraries);
  return all;
}

std::vector<char*> Pointers(std::vector<std::string>& words) {
  std::vector<char*> all;
  all.reserve(words.size() + 1);
  for (std::string& word : words) all.push_back(word.data());
  all.push_back(nullptr);
  return all;
}

}  // namespace

int Program::Start(const Settings& settings) {
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t actions;
  ::posix_spawnattr_init(&attributes);
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawnattr_setsigmask(&attributes, &settings.signals);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  if (!settings.ownInput) ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  std::vector<std::string> words = settings.words;
  std::vector<std::string> environment = Environment();
  const int error = ::posix_spawnp(&pid_, words.front().c_str(), &actions, &attributes, Pointers(words).data(),
                                   Pointers(environment).data());
  ::posix_spawn_file_actions_destroy(&actions);
  ::posix_spawnattr_destroy(&attributes);
  return error;
}

void Program::Signal(int number) const {
  ::kill(pid_, number);
}

std::optional<int> Program::Ended() const {
  int status = 0;
  if (::waitpid(pid_, &status, WNOHANG) != pid_) return std::nullopt;
  return WIFSIGNALED(status) ? kSignalled + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace orq
