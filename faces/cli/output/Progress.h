// Progress bars for what takes long.
#pragma once

#include <chrono>
#include <cstdint>

namespace orq::cli {

/// Draws on standard error while that is a terminal and the exposure takes longer than a second; otherwise every
/// call does nothing. Gone without trace at the end of its life.
class Progress {
 public:
  Progress(std::uint64_t exposureUs, std::uint64_t frame, std::uint64_t frames);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Update();

 private:
  using Clock = std::chrono::steady_clock;
  bool active_;
  double seconds_;
  std::uint64_t frame_;
  std::uint64_t frames_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_{};
};

/// The same for work whose size is known; drawn from the first update on.
class WorkProgress {
 public:
  WorkProgress();
  ~WorkProgress();
  WorkProgress(const WorkProgress&) = delete;
  WorkProgress& operator=(const WorkProgress&) = delete;

  void Update(const char* what, std::uint64_t done, std::uint64_t total);

 private:
  using Clock = std::chrono::steady_clock;
  bool active_;
  Clock::time_point drawn_{};
};

}  // namespace orq::cli
