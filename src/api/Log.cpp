// Where the library's text goes.
#include <string>
#include <string_view>

#include "api/Guard.h"
#include "api/Structs.h"
#include "session/files/StateDirectory.h"
#include "support/DbgPrint.h"
#include "support/TextSink.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

// Debug lines begin with the process in brackets; what else goes to standard error is the USB library's.
std::int32_t LevelOf(TextStream stream, std::string_view text) {
  if (stream == TextStream::Output) return ORQ_LOG_INFO;
  return text.starts_with('[') ? ORQ_LOG_DEBUG : ORQ_LOG_WARNING;
}

void TellLines(std::string_view text, std::int32_t level, orq_log_callback callback, void* user) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string line(text.substr(0, end));
    if (!line.empty()) callback(user, level, line.c_str());
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  }
}

}  // namespace

orq_status orq_log_set(int32_t level, orq_log_callback callback, void* user) {
  return Guarded([&] {
    if (callback != nullptr && (level < ORQ_LOG_WARNING || level > ORQ_LOG_DEBUG))
      throw session::Failure(session::Status::Invalid, "level must be one of ORQ_LOG_...");
    g_bDebugPrint = callback != nullptr && level == ORQ_LOG_DEBUG;
    if (callback == nullptr) return SetTextSink(DropText);
    SetTextSink([level, callback, user](TextStream stream, std::string_view text) {
      const std::int32_t importance = LevelOf(stream, text);
      if (importance <= level) TellLines(text, importance, callback, user);
    });
  });
}

orq_status orq_log_path(orq_path* path) {
  return Guarded([&] {
    DemandStruct(path, "path");
    const std::string file = session::LogPath();
    if (file.empty())
      throw session::Failure(session::Status::File, "there is no place for a log: set HOME or XDG_STATE_HOME");
    GivePath(file, path);
  });
}
