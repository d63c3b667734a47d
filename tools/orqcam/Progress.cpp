#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "Text.h"

namespace orq::cli {

namespace {

constexpr std::uint64_t kShortestUs = 1'000'000;
constexpr int kBarChars = 30;
constexpr std::chrono::milliseconds kRedraw{100};

void Draw(const std::string& text) {
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Progress::Progress(std::uint64_t exposureUs, std::uint64_t frame, std::uint64_t frames)
    : active_(exposureUs > kShortestUs && isatty(STDERR_FILENO) == 1),
      seconds_(static_cast<double>(exposureUs) / 1e6),
      frame_(frame),
      frames_(frames) {}

Progress::~Progress() {
  if (active_) Draw("\r\033[K");
}

void Progress::Update() {
  const auto now = Clock::now();
  if (!active_ || now - drawn_ < kRedraw) return;
  drawn_ = now;
  const double elapsed = std::chrono::duration<double>(now - start_).count();
  const double left = std::max(seconds_ - elapsed, 0.0);
  const int full = static_cast<int>(kBarChars * std::min(elapsed / seconds_, 1.0));
  const std::string bar = std::string(static_cast<std::size_t>(full), '#') +
                          std::string(static_cast<std::size_t>(kBarChars - full), '.');
  const std::string rest = left > 0.0 ? Format("%.1f s left", left) : std::string("reading out");
  Draw(Format("\r[%s] frame %llu of %llu, %s\033[K", bar.c_str(), static_cast<unsigned long long>(frame_),
              static_cast<unsigned long long>(frames_), rest.c_str()));
}

}  // namespace orq::cli
