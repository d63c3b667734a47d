#include "session/files/StateDirectory.h"

#include <array>
#include <filesystem>

#include "support/DbgPrint.h"

namespace orq::session {

// The debug log knows it already.
std::string StateDirectory() {
  constexpr std::size_t kPathBytes = 4096;
  std::array<char, kPathBytes> log{};
  ORQGetDebugLogPath(log.data());
  return log[0] == '\0' ? std::string() : std::filesystem::path(log.data()).parent_path().string();
}

}  // namespace orq::session
