#include "session/files/StateDirectory.h"

#include <array>
#include <filesystem>

#include "support/DbgPrint.h"

namespace orq::session {

// The debug log knows it already.
std::string StateDirectory() {
  return std::filesystem::path(LogPath()).parent_path().string();
}

std::string LogPath() {
  constexpr std::size_t kPathBytes = 4096;
  std::array<char, kPathBytes> log{};
  ORQGetDebugLogPath(log.data());
  return log.data();
}

}  // namespace orq::session
