// Waits that leave the interpreter to others and end with Ctrl-C.
#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <utility>

namespace orq::python {

/// So soon a wait sees a signal.
inline constexpr std::chrono::milliseconds kSlice{50};

/// Throws what a Python signal handler has raised, KeyboardInterrupt as a rule.
inline void DemandNoSignal() {
  if (PyErr_CheckSignals() != 0) throw pybind11::error_already_set();
}

/// Waits with `wait`, slice by slice, for `seconds` (nothing: for ever). With the interpreter's lock held.
Frame AwaitFrame(const std::function<Frame(std::chrono::nanoseconds)>& wait, std::optional<double> seconds);

/// Runs `work`, which blocks, on a thread of its own, and calls `abort` when a signal comes: again and again, as
/// the first time may be before there is anything to abort. With the interpreter's lock held; `work` must not need
/// it.
template <class Work, class Abort>
auto Interruptible(Work work, Abort abort) {
  auto running = std::async(std::launch::async, std::move(work));
  for (;;) {
    {
      const pybind11::gil_scoped_release others;
      if (running.wait_for(kSlice) == std::future_status::ready) break;
    }
    if (PyErr_CheckSignals() == 0) continue;
    pybind11::error_already_set raised;
    {
      const pybind11::gil_scoped_release others;
      do abort();
      while (running.wait_for(kSlice) != std::future_status::ready);
    }
    throw raised;
  }
  return running.get();
}

}  // namespace orq::python
