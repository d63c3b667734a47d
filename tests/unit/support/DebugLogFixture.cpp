#include "unit/support/DebugLogFixture.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>

#include "support/DbgPrint.h"
#include "support/ORQLog.h"
#include "unit/support/TempDirectory.h"
#include "unit/support/threads/PthreadFaults.h"

namespace {

/// Before the process-wide log is built it must know its directory.
class StateHome : public testing::Environment {
 public:
  void SetUp() override {
    // Built here, so that it is removed after the log was closed.
    static const TempDirectory directory;
    ::setenv("XDG_STATE_HOME", directory.Path().c_str(), 1);
  }
};

const testing::Environment* const kStateHome = testing::AddGlobalTestEnvironment(new StateHome);

}  // namespace

DebugLogFixture::DebugLogFixture() : earlierTexts_(AllLogFileTexts().size()) {
  faults::Reset();
  g_bDebugPrint = true;
  testing::internal::CaptureStderr();
}

DebugLogFixture::~DebugLogFixture() {
  testing::internal::GetCapturedStderr();
  g_bDebugPrint = false;
  faults::Reset();
}

std::string DebugLogFixture::TakeStandardError() {
  const std::string text = testing::internal::GetCapturedStderr();
  testing::internal::CaptureStderr();
  return text;
}

std::vector<std::string> DebugLogFixture::LogFileTexts() const {
  auto texts = AllLogFileTexts();
  texts.erase(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(earlierTexts_));
  return texts;
}

std::string DebugLogFixture::Prefix(const std::string& tag) {
  return '[' + std::to_string(::getpid()) + ',' + std::to_string(::gettid()) + ' ' + tag + "]: ";
}

std::vector<std::string> DebugLogFixture::AllLogFileTexts() {
  std::array<char, 4096> path{};
  ORQLog::get_instance().getLogPath(path.data());
  std::ifstream in(path.data());
  std::vector<std::string> texts;
  constexpr std::size_t kStamp = 30;  // "2026-01-31T23:59:59.123Z INFO "
  for (std::string line; std::getline(in, line);)
    texts.push_back(line.size() >= kStamp ? line.substr(kStamp) : "(no stamp) " + line);
  return texts;
}
