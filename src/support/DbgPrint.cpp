#include "support/DbgPrint.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "support/ORQLog.h"
#include "support/TextSink.h"
#include "support/TickCount.h"

orq::Relaxed<bool> g_bDebugPrint{false};

namespace {

constexpr std::size_t kLineBytes = 256;
constexpr int kLogPriority = 700;

using Line = std::array<char, kLineBytes>;

/// How many characters of the line a printf-like result stands for, when `space` bytes were left for them.
std::size_t Written(int result, std::size_t space) {
  return result < 0 ? 0 : std::min(static_cast<std::size_t>(result), space - 1);
}

std::size_t WritePrefix(Line& line, int handle, const char* func) {
  const int process = ::getpid();
  const int thread = ::gettid();
  const int result = handle > 0 ? std::snprintf(line.data(), line.size(), "[%d,%d %X::%s]: ", process, thread,
                                                static_cast<unsigned>(handle), func)
                                : std::snprintf(line.data(), line.size(), "[%d,%d %s]: ", process, thread, func);
  return Written(result, line.size());
}

}  // namespace

void DbgPrint(int handle, const char* func, const char* format, ...) {
  std::va_list args;
  va_start(args, format);
  DbgPrintV(handle, func, format, args);
  va_end(args);
}

void DbgPrintV(int handle, const char* func, const char* format, std::va_list args) {
  static std::atomic<std::uint32_t> lastPrintTick{GetTickCount()};
  if (!g_bDebugPrint) return;

  const int callersErrno = errno;  // callers log in the middle of handling their own failures
  Line line{};
  const std::size_t prefix = WritePrefix(line, handle, func);
  lastPrintTick.store(GetTickCount(), std::memory_order_relaxed);
  const std::size_t space = line.size() - prefix;
  std::size_t length = prefix + Written(std::vsnprintf(line.data() + prefix, space, format, args), space);

  orq::PrintText(orq::TextStream::Error, {line.data(), length});
  if (length > 0 && line[length - 1] == '\n') line[length - 1] = '\0';
  ORQLog::get_instance().setPriority(kLogPriority);
  ORQLog::get_instance().info(line.data());
  errno = callersErrno;
}

int ORQGetDebugLogPath(char* path) {
  if (path != nullptr) ORQLog::get_instance().getLogPath(path);
  return 1;
}
