// Commands that read something again and again.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "options/CommandLine.h"

namespace orq::cli {

struct WatchLimits {
  std::chrono::duration<double> interval{1.0};
  std::uint64_t count = 0;  ///< 0: none
};

struct WatchOptions {
  std::string interval = "1";
  std::string count;  ///< empty: no limit

  /// Adds them to a command; they count only with `needed`, when there is one.
  void AddTo(const Command& command, const Option* needed = nullptr);
  /// Throws CliError (usage).
  WatchLimits Limits() const;
};

/// Calls `read` at once and then every interval, until the count is reached or the user asks to stop (also within
/// `read`, which answers false then). Throws CliError when that is before the count: without one Ctrl-C is how
/// watching ends.
void WatchEvery(const WatchLimits& limits, const std::function<bool()>& read);

}  // namespace orq::cli
