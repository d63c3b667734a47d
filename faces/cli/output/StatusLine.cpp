#include "output/StatusLine.h"

#include <unistd.h>

namespace orq::cli {

namespace {

constexpr std::chrono::milliseconds kRedraw{100};

void Draw(const std::string& text) {
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

StatusLine::StatusLine() : active_(isatty(STDERR_FILENO) == 1) {}

StatusLine::~StatusLine() {
  if (active_) Draw("\r\033[K");
}

void StatusLine::Show(const std::string& text) {
  const auto now = Clock::now();
  if (!active_ || now - drawn_ < kRedraw) return;
  drawn_ = now;
  Draw("\r" + text + "\033[K");
}

}  // namespace orq::cli
