#include "Waiting.h"

#include <algorithm>

namespace orq::python {
namespace {

using Clock = std::chrono::steady_clock;

/// So long, others may hold all frames; as the library has it.
constexpr std::chrono::seconds kMemoryWait{2};

}  // namespace

Frame AwaitFrame(const std::function<Frame(std::chrono::nanoseconds)>& wait, std::optional<double> seconds) {
  constexpr double kLongest = 1e9;  // thirty years
  const auto begin = Clock::now();
  const auto end = begin + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                               std::clamp(seconds.value_or(kLongest), 0.0, kLongest)));
  std::optional<Clock::time_point> starvedSince;
  for (;;) {
    const auto left = end - Clock::now();
    const bool last = left <= kSlice;
    const auto sliceBegin = Clock::now();
    try {
      const pybind11::gil_scoped_release others;
      return wait(std::clamp<std::chrono::nanoseconds>(left, std::chrono::nanoseconds(0), kSlice));
    } catch (const TimeoutError&) {
      if (last) throw;
    } catch (const MemoryError&) {
      const auto now = Clock::now();
      if (!starvedSince) starvedSince = now;
      // One that did not wait is the end of an exposure that found no memory.
      if (last || now - sliceBegin < kSlice || (!seconds && now - *starvedSince > kMemoryWait)) throw;
    }
    DemandNoSignal();
  }
}

}  // namespace orq::python
