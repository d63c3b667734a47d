#include "support/TextSink.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <utility>

namespace orq {
namespace {

struct Sink {
  std::shared_mutex mutex;  // held shared while the sink is called: who replaces it waits
  TextSink take;
};

// Never destroyed: destructors of other static objects may still print.
Sink& TheSink() {
  static Sink& sink = *new Sink;  // NOLINT
  return sink;
}

/// Whether this thread is in the sink.
thread_local bool t_taking = false;

void WriteToStream(TextStream stream, std::string_view text) {
  if (stream == TextStream::Output) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return;
  }
  // A standard error that is gone is nobody's failure.
  [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

void SetTextSink(TextSink sink) {
  TextSink before;  // goes after the lock: what it holds may print when it ends
  Sink& the = TheSink();
  const std::unique_lock lock(the.mutex);
  before = std::exchange(the.take, std::move(sink));
}

void DropText(TextStream, std::string_view) {}

void PrintText(TextStream stream, std::string_view text) {
  if (t_taking) return;
  const int callersErrno = errno;
  Sink& sink = TheSink();
  const std::shared_lock lock(sink.mutex);
  if (sink.take) {
    t_taking = true;
    sink.take(stream, text);
    t_taking = false;
  } else {
    WriteToStream(stream, text);
  }
  errno = callersErrno;
}

}  // namespace orq
