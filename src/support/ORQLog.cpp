#include "support/ORQLog.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <log4cpp/Layout.hh>
#include <log4cpp/LoggingEvent.hh>
#include <log4cpp/Priority.hh>
#include <log4cpp/RollingFileAppender.hh>
#include <memory>
#include <string_view>
#include <system_error>

#include "support/threads/Mutex.h"

namespace {

constexpr std::size_t kMaxFileBytes = std::size_t{1} << 20;
constexpr std::size_t kMaxTextBytes = 4096;
constexpr std::size_t kMaxStampBytes = 64;
constexpr unsigned kOlderFiles = 3;
constexpr std::size_t kPathBytes = 4096;
constexpr mode_t kPrivateDirectory = 0700;

/// "2026-01-31T23:59:59.123Z INFO text". Made here because log4cpp's own layouts stamp local time, which
/// jumps twice a year, in the middle of the night.
class UtcLayout : public log4cpp::Layout {
 public:
  std::string format(const log4cpp::LoggingEvent& event) override {
    const std::time_t seconds = event.timeStamp.getSeconds();
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, kMaxStampBytes> stamp{};
    const std::size_t used = std::strftime(stamp.data(), stamp.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(stamp.data() + used, stamp.size() - used, ".%03dZ ", event.timeStamp.getMilliSeconds());
    return stamp.data() + log4cpp::Priority::getPriorityName(event.priority) + ' ' + event.message + '\n';
  }
};

/// The user's state directory after the XDG base directory rules; empty when the environment names none.
std::string UserStateDirectory() {
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') return std::string(state) + "/orqcam";
  const char* home = std::getenv("HOME");
  if (home != nullptr && home[0] == '/') return std::string(home) + "/.local/state/orqcam";
  return {};
}

void MakePrivateDirectory(const std::filesystem::path& directory) {
  std::error_code ignored;  // what cannot be made shows when the file is opened
  std::filesystem::create_directories(directory.parent_path(), ignored);
  ::mkdir(directory.c_str(), kPrivateDirectory);
}

}  // namespace

struct ORQLog::Impl {
  explicit Impl(const std::string& directory_) : directory(directory_) {
    if (!directory.empty()) path = directory + "/orqcam.log";
    if (path.size() >= kPathBytes) path.clear();
  }

  /// Opens the file with the first line, so that asking for the path leaves no trace on the disk.
  void Open() ORQ_REQUIRES(mutex) {
    opened = true;
    if (path.empty()) return;
    MakePrivateDirectory(directory);
    // log4cpp looks at the size after it has written a line, so room for one line is kept free.
    file = std::make_unique<log4cpp::RollingFileAppender>(
        path, path, kMaxFileBytes - kMaxTextBytes - kMaxStampBytes, kOlderFiles);
    file->setLayout(new UtcLayout);  // NOLINT: owned by the appender
  }

  void Append(std::string_view text) ORQ_REQUIRES(mutex) {
    if (!opened) Open();
    if (file == nullptr) return;
    const log4cpp::LoggingEvent event("orqcam", std::string(text.substr(0, kMaxTextBytes)), "",
                                      log4cpp::Priority::INFO);
    file->doAppend(event);
  }

  void Close() {
    const orq::MutexLock lock(mutex);
    opened = true;
    file.reset();
  }

  std::string directory;
  std::string path;  // empty: the log goes nowhere
  orq::Mutex mutex;  // log4cpp does not promise that an appender may be used by two threads
  int priority ORQ_GUARDED_BY(mutex) = log4cpp::Priority::DEBUG;
  bool opened ORQ_GUARDED_BY(mutex) = false;
  std::unique_ptr<log4cpp::RollingFileAppender> file ORQ_GUARDED_BY(mutex);
};

ORQLog& ORQLog::get_instance() {
  // The object outlives every other static one, because their destructors may still log; only its file is
  // closed at exit.
  static ORQLog& instance = *new ORQLog(UserStateDirectory());  // NOLINT
  struct CloseAtExit {
    ~CloseAtExit() {
      if (instance.impl_) instance.impl_->Close();
    }
  };
  static const CloseAtExit closeAtExit;
  return instance;
}

ORQLog::ORQLog(const std::string& directory) {
  try {
    impl_ = std::make_unique<Impl>(directory);
  } catch (...) {  // out of memory: the log goes nowhere
  }
}

ORQLog::~ORQLog() = default;

void ORQLog::setPriority(int priority) {
  if (!impl_) return;
  const orq::MutexLock lock(impl_->mutex);
  impl_->priority = priority;
}

void ORQLog::info(const char* line) {
  if (!impl_) return;
  const orq::MutexLock lock(impl_->mutex);
  if (log4cpp::Priority::INFO > impl_->priority) return;
  try {
    impl_->Append(line);
  } catch (...) {  // a log that cannot be written must not trouble whoever logs
  }
}

void ORQLog::getLogPath(char* path) const {
  path[0] = '\0';
  if (impl_) std::memcpy(path, impl_->path.c_str(), impl_->path.size() + 1);
}
