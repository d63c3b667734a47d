#include "output/Watch.h"

#include "options/Quantities.h"
#include "output/ExitCodes.h"
#include "output/Signals.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kLeastInterval = 0.01;
constexpr double kMostInterval = 86'400.0;

// Waits until `when`; false when the user asked to stop.
bool SleepUntil(Clock::time_point when) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(when - Clock::now());
    if (left.count() <= 0) return !StopRequested();
    if (WaitForStop(left)) return false;
  }
}

}  // namespace

void WatchOptions::AddTo(const Command& command, const Option* needed) {
  const Option every = command.AddOption("--interval", interval, "Seconds between two readings").Default("1");
  const Option most = command.AddOption("-n,--count", count, "Stop after this many readings");
  if (needed == nullptr) return;
  every.Needs(*needed);
  most.Needs(*needed);
}

WatchLimits WatchOptions::Limits() const {
  WatchLimits limits;
  limits.interval = std::chrono::duration<double>(ParseSeconds(interval, "--interval"));
  if (limits.interval.count() < kLeastInterval || limits.interval.count() > kMostInterval)
    throw CliError(kExitUsage, "--interval must be from 0.01 to 86400 seconds");
  if (!count.empty()) {
    const std::int64_t number = ParseInteger(count, "--count");
    if (number < 1) throw CliError(kExitUsage, "--count must be 1 or more");
    limits.count = static_cast<std::uint64_t>(number);
  }
  return limits;
}

void WatchEvery(const WatchLimits& limits, const std::function<bool()>& read) {
  const auto start = Clock::now();
  for (std::uint64_t taken = 0; limits.count == 0 || taken < limits.count; ++taken) {
    const auto due =
        start + std::chrono::duration_cast<Clock::duration>(limits.interval * static_cast<double>(taken));
    if (SleepUntil(due) && read()) continue;
    if (limits.count != 0) throw CliError(ORQ_ERROR_CANCELLED, "interrupted");
    return;
  }
}

}  // namespace orq::cli
