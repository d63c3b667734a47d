#include "output/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::uint64_t kShortestUs = 1'000'000;
constexpr std::size_t kBarChars = 30;
constexpr std::chrono::milliseconds kRedraw{100};

void Draw(const std::string& text) {
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, text.data(), text.size());
}

// `fraction` from 0 to 1 of a bar.
std::string Bar(double fraction) {
  const auto full = static_cast<std::size_t>(static_cast<double>(kBarChars) * std::clamp(fraction, 0.0, 1.0));
  return "[" + std::string(full, '#') + std::string(kBarChars - full, '.') + "]";
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
  const std::string rest = left > 0.0 ? Format("%.1f s left", left) : std::string("reading out");
  Draw(Format("\r%s frame %llu of %llu, %s\033[K", Bar(elapsed / seconds_).c_str(),
              static_cast<unsigned long long>(frame_), static_cast<unsigned long long>(frames_), rest.c_str()));
}

WorkProgress::WorkProgress() : active_(isatty(STDERR_FILENO) == 1) {}

WorkProgress::~WorkProgress() {
  if (active_) Draw("\r\033[K");
}

void WorkProgress::Update(const char* what, std::uint64_t done, std::uint64_t total) {
  const auto now = Clock::now();
  if (!active_ || total == 0 || now - drawn_ < kRedraw) return;
  drawn_ = now;
  const double fraction = static_cast<double>(done) / static_cast<double>(total);
  Draw(Format("\r%s %s, %.0f %%\033[K", Bar(fraction).c_str(), what, 100.0 * fraction));
}

}  // namespace orq::cli
