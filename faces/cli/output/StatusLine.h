// One line on the terminal that changes while something is waited for.
#pragma once

#include <chrono>
#include <string>

namespace orq::cli {

/// Draws on standard error while that is a terminal; otherwise every call does nothing. Gone without trace at the
/// end of its life.
class StatusLine {
 public:
  StatusLine();
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  bool IsShown() const { return active_; }
  /// Ten times a second at most; between that it does nothing.
  void Show(const std::string& text);

 private:
  using Clock = std::chrono::steady_clock;
  bool active_;
  Clock::time_point drawn_{};
};

}  // namespace orq::cli
