// What users are told of a recording before, while and after it is made.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "camera/Context.h"
#include "output/StatusLine.h"

namespace orq::cli {

/// Size, rate, and how long the disk lasts. `fps` 0: not known. JSON: an object with "begin".
void ReportPlan(const Context& context, const orq_recording_plan& plan, double fps);

/// On a terminal a line that changes, otherwise a line each second.
class RecordProgress {
 public:
  RecordProgress(const Context& context, const orq_recording_plan& plan) : context_(context), plan_(plan) {}
  void Show(const orq_recording_state& state);

 private:
  using Clock = std::chrono::steady_clock;
  const Context& context_;
  const orq_recording_plan& plan_;
  StatusLine line_;
  Clock::time_point last_ = Clock::now();
  std::uint64_t frames_ = 0;
  double fps_ = 0.0;  ///< of the last second
};

/// What has become of it. JSON: an object with "final".
void ReportRecorded(const Context& context, const orq_recording_plan& plan, const Recording& recording);

/// "12 GB", three figures.
std::string SizeText(double bytes);

}  // namespace orq::cli
